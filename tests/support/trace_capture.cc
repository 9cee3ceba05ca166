#include "tests/support/trace_capture.h"

#include <atomic>
#include <mutex>

#include "mediastores/assertion.h"
#include "mediastores/trace.h"

namespace {

std::mutex g_mutex;
std::vector<CapturedTrace> g_lines;
std::atomic<int> g_assertions{0};
util_trace_sink_t g_previousSink = nullptr;
ox_assertion_handler_t g_previousHandler = nullptr;
uint32_t g_previousMask = 1;

void Capture(int level, const char* module, const char* text, int length) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.push_back({level, module ? module : "", std::string(text, length > 0 ? length : 0)});
}

}  // namespace

TraceCapture::TraceCapture(uint32_t mask) {
  Clear();
  g_previousMask = get_external_trace_mask();
  g_previousSink = set_util_trace_sink(&Capture);
  g_previousHandler = set_ox_assertion_handler([] { ++g_assertions; });
  set_external_trace_mask(mask);
}

TraceCapture::~TraceCapture() {
  set_external_trace_mask(g_previousMask);
  set_util_trace_sink(g_previousSink);
  set_ox_assertion_handler(g_previousHandler);
}

std::vector<CapturedTrace> TraceCapture::Lines() const {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_lines;
}

std::vector<std::string> TraceCapture::TextsAtLevel(int level) const {
  std::vector<std::string> texts;
  for (const CapturedTrace& line : Lines()) {
    if (level < 0 || line.level == level) texts.push_back(line.text);
  }
  return texts;
}

int TraceCapture::CountContaining(const std::string& fragment) const {
  int count = 0;
  for (const std::string& text : Texts())
    count += text.find(fragment) != std::string::npos;
  return count;
}

int TraceCapture::AssertionCount() const {
  return g_assertions;
}

void TraceCapture::Clear() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.clear();
  g_assertions = 0;
}
