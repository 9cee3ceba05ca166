#include "mediaengine/mediastores/src/config/config_event_handler.h"

#include <utility>

#include "platform/trace.h"

namespace kelStore {

namespace {

// Priority of a posted notification on the subscriber's queue.
constexpr uint32_t kPostPriority = 128;

// A callback slower than this many whole milliseconds is reported.
constexpr long long kSlowMillis = 100;

// A reference that owns nothing: for a sent event, whose sender waits until it has fired.
template <class T>
std::shared_ptr<const T> Borrowed(const T& object) {
  return std::shared_ptr<const T>(std::shared_ptr<const T>(), &object);
}

}  // namespace

const std::shared_ptr<const KelConfigEvent>& WalkEvent::Shared() {
  if (!m_shared) {
    m_shared = m_movable != nullptr ? std::make_shared<const KelConfigEvent>(std::move(*m_movable))
                                    : std::make_shared<const KelConfigEvent>(*m_event);
    m_event = m_shared.get();
    m_movable = nullptr;
  }
  return m_shared;
}

void ConfigEventHandler::ReportDepth(const char* signature, uint32_t depth,
                                     const KelConfigEvent& event) const {
  if (depth < 2) return;
  KEL_TRACE_AS(1, signature,
               ", level=" << depth << ", " << event.name << ", "
                          << static_cast<uint32_t>(event.group) << TraceThis{this});
}

void ConfigEventHandler::ReportCost(const char* signature, long long cost,
                                    const KelConfigEvent& event) const {
  if (cost <= kSlowMillis) return;
  KEL_TRACE_AS(1, signature,
               ", " << event.name << ", " << static_cast<uint32_t>(event.group) << ", cost=" << cost
                    << "ms" << TraceThis{this});
}

void ConfigEventHandler::Hand(const char* signature, WalkEvent& event, const Ptr* handler) {
  if (m_pRunThread == nullptr) {
    onChanged(event.Get());
  } else if (IOxEventQueue* queue = m_pRunThread->GetEventQueue(); queue == nullptr) {
    KEL_TRACE_AS(0, signature,
                 ", m_pRunThread=" << static_cast<const void*>(m_pRunThread)
                                   << ", EventQueue == NULL" << TraceThis{this});
  } else if (bAsync) {
    // The walk's one shared event, and this handler instead of a copy of its callback.
    queue->PostEvent(handler != nullptr ? new CSwitchThreadEvent(event.Shared(), *handler)
                                        : new CSwitchThreadEvent(event.Get(), onChanged),
                     kPostPriority);
  } else if (m_pRunThread->GetThreadId() == GetThreadSelfId()) {
    onChanged(event.Get());
  } else {
    queue->SendEvent(new CSwitchThreadEvent(Borrowed(event.Get()), Borrowed(*this)));
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
    Hand(signature, walkEvent, nullptr);
  }
  ReportCost(signature, timer.Lap(), event);
  return true;
}

void ConfigEventHandler::Notify(WalkEvent& event, DeliveryTimer& timer, uint64_t self,
                                const Ptr& handler) {
  const char* const signature = __PRETTY_FUNCTION__;
  const BusyMark::Run running(busy, self);
  ReportDepth(signature, running.Depth(), event.Get());
  Hand(signature, event, &handler);
  ReportCost(signature, timer.Lap(), event.Get());
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
  ReportCost(signature, timer.Lap(), event);
  return answer;
}

ConfigValue ConfigEventHandler::Invoke(const KelConfigEvent& event, DeliveryTimer& timer,
                                       uint64_t self) {
  const char* const signature = __PRETTY_FUNCTION__;
  const BusyMark::Run running(busy, self);
  ReportDepth(signature, running.Depth(), event);
  ConfigValue answer = onInvoke(event);
  ReportCost(signature, timer.Lap(), event);
  return answer;
}

}  // namespace kelStore
