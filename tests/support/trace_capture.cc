#include "tests/support/trace_capture.h"

#include <atomic>
#include <mutex>

#include "mediastores/assertion.h"
#include "mediastores/trace.h"

namespace {

std::mutex g_mutex;
std::vector<CapturedTrace> g_lines;
std::atomic<int> g_assertions{0};

void CaptureSink(int level, const char* module, const char* text, int length) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.push_back(CapturedTrace{level, module != nullptr ? module : "",
                                  std::string(text, length > 0 ? static_cast<size_t>(length) : 0)});
}

void CountAssertion() {
  g_assertions.fetch_add(1);
}

util_trace_sink_t g_previousSink = nullptr;
ox_assertion_handler_t g_previousHandler = nullptr;
uint32_t g_previousMask = 1;

}  // namespace

TraceCapture::TraceCapture(uint32_t mask) {
  Clear();
  g_previousMask = get_external_trace_mask();
  g_previousSink = set_util_trace_sink(&CaptureSink);
  g_previousHandler = set_ox_assertion_handler(&CountAssertion);
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

std::vector<std::string> TraceCapture::Texts() const {
  std::vector<std::string> texts;
  for (const CapturedTrace& line : Lines())
    texts.push_back(line.text);
  return texts;
}

std::vector<std::string> TraceCapture::TextsAtLevel(int level) const {
  std::vector<std::string> texts;
  for (const CapturedTrace& line : Lines()) {
    if (line.level == level) texts.push_back(line.text);
  }
  return texts;
}

int TraceCapture::CountContaining(const std::string& fragment) const {
  int count = 0;
  for (const CapturedTrace& line : Lines()) {
    if (line.text.find(fragment) != std::string::npos) ++count;
  }
  return count;
}

int TraceCapture::AssertionCount() const {
  return g_assertions.load();
}

void TraceCapture::Clear() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.clear();
  g_assertions.store(0);
}
