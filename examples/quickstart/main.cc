// A first look at the library's building blocks: configuration values, a worker thread with an
// event queue, elapsed-time timers driven by the mock clock, and the bounds-checked routines.
#include <mediastores/mediastores.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Prints a message on the worker thread that runs it.
class PrintEvent : public IOxEvent {
 public:
  explicit PrintEvent(const char* text) : m_text(text) {}
  int OnEventFire() override {
    std::printf("  worker thread %llu runs: %s\n",
                static_cast<unsigned long long>(GetThreadSelfId()), m_text);
    return 0;
  }

 private:
  const char* m_text;
};

void ShowValues() {
  std::printf("configuration values\n");
  const ConfigData values[] = {ConfigData("opus"), ConfigData(uint32_t{48000}), ConfigData(true),
                               ConfigData("off"), ConfigData()};
  for (const ConfigData& v : values) {
    std::printf("  %-8s valid=%d as-bool=%d\n", v.IsValid() ? v.ToCstr() : "(none)", v.IsValid(),
                static_cast<bool>(v));
  }
  std::printf("  48000 (unsigned) == 48000 (signed): %d\n",
              ConfigData(uint32_t{48000}) == ConfigData(int32_t{48000}));
}

void ShowWorker() {
  std::printf("worker thread (caller is thread %llu)\n",
              static_cast<unsigned long long>(GetThreadSelfId()));
  COxEventThread worker;
  worker.GetEventQueue()->PostEvent(new PrintEvent("a posted event"), 128);
  worker.GetEventQueue()->SendEvent(new PrintEvent("a sent event (the caller waits)"));
}

void ShowTimers() {
  std::printf("timers on the mock clock\n");
  timer_fact<tick_policy>::MockNow(1000000);  // 1 s
  timer_fact<tick_policy> timer;
  timer_fact<tick_policy>::MockNow(3250000);  // 3.25 s
  std::printf("  elapsed %lld us, %lld ms, %lld s; overtime_mills(2000)=%d\n", timer.elapsed(),
              timer.elapsed_mills(), timer.elapsed_sec(), timer.overtime_mills(2000));
  timer_fact<tick_policy>::MockNow(~0ULL);  // back to the real clock
}

void ShowSafeRoutines() {
  std::printf("bounds-checked routines\n");
  set_constraint_handler_s([](const char* msg, void*, int error) {
    std::printf("  constraint handler: %s (errno %d)\n", msg, error);
  });
  char codec[8];
  int rc = strncpy_s(codec, sizeof codec, "multiopus", 9);
  std::printf("  strncpy_s into 8 bytes: rc=%d (EOVERFLOW=%d) -> \"%s\"\n", rc, EOVERFLOW, codec);
  char record[16] = {};
  rc = memcpy_s(record, sizeof record, "0123456789abcdefXYZ", 19);
  std::printf("  memcpy_s of 19 bytes into 16: rc=%d (EINVAL=%d)\n", rc, EINVAL);
  set_constraint_handler_s(nullptr);
}

}  // namespace

int main() {
  ShowValues();
  ShowWorker();
  ShowTimers();
  ShowSafeRoutines();
  return 0;
}
