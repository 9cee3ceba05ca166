#include "mediaengine/mediastores/src/config/config_event_handler.h"

#include <utility>

#include "mediaengine/mediastores/src/config/block_recycler.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

// Priority of a posted notification on the subscriber's queue.
constexpr uint32_t kPostPriority = 128;

// A callback slower than this many whole milliseconds is reported.
constexpr long long kSlowMillis = 100;

}  // namespace

WalkEvent::~WalkEvent() {
  if (m_carrier != nullptr) m_carrier->Release();
}

CSwitchThreadEvent* WalkEvent::Post(std::shared_ptr<const ConfigEventHandler> handler, bool last) {
  if (m_carrier != nullptr) return new CSwitchThreadEvent(*m_carrier, std::move(handler));
  // Moved or copied straight into its place: no event in between.
  auto* const carrier = m_movable != nullptr
                            ? new CSwitchThreadEvent(std::move(*m_movable), std::move(handler))
                            : new CSwitchThreadEvent(*m_event, std::move(handler));
  m_movable = nullptr;
  if (last) {
    // Nothing of this walk reads the event again: the subscriber's thread alone owns the copy.
    m_event = nullptr;
    return carrier;
  }
  m_carrier = carrier;
  m_event = m_carrier->AddReader();  // this walk reads the copy too, until it ends
  return carrier;
}

static_assert(sizeof(CSwitchThreadEvent) <= BlockRecycler::kBlockBytes,
              "a posted delivery fits in a recycled block");

void* CSwitchThreadEvent::operator new(size_t /*size: always the class's own, it is final*/) {
  return BlockRecycler::Allocate();
}

void CSwitchThreadEvent::operator delete(void* block) noexcept {
  BlockRecycler::Free(block);
}

void CSwitchThreadEvent::OnDestorySelf() {
  CSwitchThreadEvent* const carrier = m_carrier;
  if (carrier == this) {
    m_handler.reset();
    Release();
    return;
  }
  IOxEvent::OnDestorySelf();
  if (carrier != nullptr) carrier->Release();
}

void ConfigEventHandler::ReportDepth(const char* signature, uint32_t depth,
                                     const KelConfigEvent& event) const {
  if (depth < 2) return;
  KEL_TRACE_AS(1, signature,
               ", level=" << depth << ", " << event.name << ", "
                          << static_cast<uint32_t>(event.group) << TraceThis{this});
}

void ConfigEventHandler::ReportCost(const char* signature, long long cost, const std::string& key,
                                    KelConfigGroup keyGroup) const {
  if (cost <= kSlowMillis) return;
  KEL_TRACE_AS(1, signature,
               ", " << key << ", " << static_cast<uint32_t>(keyGroup) << ", cost=" << cost << "ms"
                    << TraceThis{this});
}

void ConfigEventHandler::Hand(const char* signature, WalkEvent& event, const Ptr* handler,
                              bool last) {
  if (m_pRunThread == nullptr) {
    onChanged(event.Get());
  } else if (IOxEventQueue* queue = m_pRunThread->GetEventQueue(); queue == nullptr) {
    KEL_TRACE_AS(0, signature,
                 ", m_pRunThread=" << static_cast<const void*>(m_pRunThread)
                                   << ", EventQueue == NULL" << TraceThis{this});
  } else if (bAsync) {
    // The walk's one copy of the event, and this handler instead of a copy of its callback.
    queue->PostEvent(handler != nullptr ? event.Post(*handler, last)
                                        : new CSwitchThreadEvent(event.Get(), onChanged),
                     kPostPriority);
  } else if (m_pRunThread->GetThreadId() == GetThreadSelfId()) {
    onChanged(event.Get());
  } else {
    queue->SendEvent(new CSwitchThreadEvent(&event.Get(), *this));
  }
}

bool ConfigEventHandler::Notify(const KelConfigEvent& event) {
  if (!onChanged) return false;
  const char* const signature = __PRETTY_FUNCTION__;
  WalkEvent walkEvent(event);
  DeliveryTimer timer;
  {
    const BusyMark::Run running(busy);
    ReportDepth(signature, running.Depth(), event);
    Hand(signature, walkEvent, nullptr, true);
  }
  ReportCost(signature, timer.Lap(), event.name, event.group);
  return true;
}

void ConfigEventHandler::Notify(WalkEvent& event, DeliveryTimer& timer, uint64_t self,
                                const Ptr& handler, bool last) {
  const char* const signature = __PRETTY_FUNCTION__;
  const BusyMark::Run running(busy, self);
  ReportDepth(signature, running.Depth(), event.Get());
  Hand(signature, event, &handler, last);
  // The walk's key is this handler's: the event itself may be with the subscriber's thread now.
  ReportCost(signature, timer.Lap(), name, group);
}

ConfigValue ConfigEventHandler::Invoke(const KelConfigEvent& event) {
  if (!onInvoke) return ConfigValue();
  const char* const signature = __PRETTY_FUNCTION__;
  DeliveryTimer timer;
  ConfigValue answer;
  {
    const BusyMark::Run running(busy);
    ReportDepth(signature, running.Depth(), event);
    answer = onInvoke(event);
  }
  ReportCost(signature, timer.Lap(), event.name, event.group);
  return answer;
}

ConfigValue ConfigEventHandler::Invoke(const KelConfigEvent& event, DeliveryTimer& timer,
                                       uint64_t self) {
  const char* const signature = __PRETTY_FUNCTION__;
  const BusyMark::Run running(busy, self);
  ReportDepth(signature, running.Depth(), event);
  ConfigValue answer = onInvoke(event);
  ReportCost(signature, timer.Lap(), event.name, event.group);
  return answer;
}

}  // namespace kelStore
