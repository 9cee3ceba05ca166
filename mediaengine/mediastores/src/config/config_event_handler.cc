#include "mediaengine/mediastores/src/config/config_event_handler.h"

#include "mediastores/timer_fact.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

// The platform timer in milliseconds (the mock clock when one is set). Read twice per delivery,
// so it is the coarse clock: a few milliseconds of resolution are plenty for a 100 ms threshold.
long long NowMillis() {
  return timer_fact<low_tick_policy>::now() / 1000;
}

// Priority of a posted notification on the subscriber's queue.
constexpr uint32_t kPostPriority = 128;

}  // namespace

template <typename Deliver>
void ConfigEventHandler::RunCounted(const char* signature, const KelConfigEvent& event,
                                    Deliver&& deliver) {
  const uint32_t depth = level.fetch_add(1) + 1;
  if (depth >= 2) {
    KEL_TRACE_AS(1, signature,
                 ", level=" << depth << ", " << event.name << ", "
                            << static_cast<uint32_t>(event.group) << TraceThis{this});
  }
  const long long start = NowMillis();
  struct LevelGuard {  // the depth drops also when a callback throws
    std::atomic<uint32_t>& level;
    ~LevelGuard() { level.fetch_sub(1); }
  };
  {
    LevelGuard guard{level};
    deliver();
  }
  long long cost = NowMillis() - start;
  if (cost < 0) cost = 0;
  if (cost > 100) {
    KEL_TRACE_AS(1, signature,
                 ", " << event.name << ", " << static_cast<uint32_t>(event.group)
                      << ", cost=" << cost << "ms" << TraceThis{this});
  }
}

bool ConfigEventHandler::Notify(const KelConfigEvent& event) {
  if (!onChanged) return false;
  const char* const signature = __PRETTY_FUNCTION__;
  RunCounted(signature, event, [&] {
    if (m_pRunThread == nullptr) {
      onChanged(event);
    } else if (IOxEventQueue* queue = m_pRunThread->GetEventQueue(); queue == nullptr) {
      KEL_TRACE_AS(0, signature,
                   ", m_pRunThread=" << static_cast<const void*>(m_pRunThread)
                                     << ", EventQueue == NULL" << TraceThis{this});
    } else if (bAsync) {
      queue->PostEvent(new CSwitchThreadEvent(event, onChanged), kPostPriority);
    } else if (m_pRunThread->GetThreadId() == GetThreadSelfId()) {
      onChanged(event);
    } else {
      queue->SendEvent(new CSwitchThreadEvent(event, onChanged));
    }
  });
  return true;
}

ConfigValue ConfigEventHandler::Invoke(const KelConfigEvent& event) {
  if (!onInvoke) return ConfigValue();
  ConfigValue answer;
  RunCounted(__PRETTY_FUNCTION__, event, [&] { answer = onInvoke(event); });
  return answer;
}

}  // namespace kelStore
