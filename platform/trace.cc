// Trace mask, sink and the helpers behind KEL_TRACE / KEL_ASSERT_RETURN.
#include <atomic>
#include <cstdio>

#include "platform/trace.h"

namespace {

std::atomic<uint32_t> g_traceMask{1};

void DefaultTraceSink(int level, const char* module, const char* text, int length) {
  static const char* const kLevelNames[] = {"ERROR", "WARN", "INFO"};
  const char* levelName = (level >= 0 && level <= 2) ? kLevelNames[level] : "TRACE";
  std::fprintf(stderr, "[%s][%s] %.*s\n", module != nullptr ? module : "", levelName,
               length > 0 ? length : 0, text != nullptr ? text : "");
}

std::atomic<util_trace_sink_t> g_traceSink{&DefaultTraceSink};

}  // namespace

extern "C" {

uint32_t get_external_trace_mask() {
  return g_traceMask.load(std::memory_order_relaxed);
}

void set_external_trace_mask(uint32_t mask) {
  g_traceMask.store(mask, std::memory_order_relaxed);
}

util_trace_sink_t set_util_trace_sink(util_trace_sink_t sink) {
  return g_traceSink.exchange(sink != nullptr ? sink : &DefaultTraceSink);
}

void util_adapter_trace(int level, const char* module, const char* text, int length) {
  g_traceSink.load()(level, module, text, length);
}

}  // extern "C"

std::string_view ExtractClassFunctionNameView(const char* signature) {
  if (signature == nullptr) return "ErrorName";
  size_t nameStart = 0;
  size_t i = 0;
  for (; signature[i] != '\0' && signature[i] != '('; ++i) {
    if (signature[i] == ' ') nameStart = i + 1;
  }
  if (signature[i] == '(' && i > nameStart) {
    return std::string_view(signature + nameStart, i - nameStart);
  }
  return std::string_view(signature);
}

std::string_view KelTraceFunctionName(const char* signature) {
  std::string_view name = ExtractClassFunctionNameView(signature);
  while (!name.empty() && (name.front() == '*' || name.front() == '&'))
    name.remove_prefix(1);
  return name;
}

std::string ExtractClassFunctionName(const char* signature) {
  return std::string(ExtractClassFunctionNameView(signature));
}

const char* GetCurrentModuleName(const char* name) {
  static const char kModule[5] = {'U', 'T', 'I', 'L', '\0'};
  return (name != nullptr && name[0] != '\0') ? name : kModule;
}

void KelTraceEmit(int level, COxTextFormator& line) {
  util_adapter_trace(level, GetCurrentModuleName(nullptr), line, static_cast<int>(line.tell()));
}

void KelAssertFailed(const char* file, int line, const char* expression) {
  if (KelTraceEnabled(0)) {
    char buffer[1024];
    COxTextFormator text(buffer, sizeof(buffer));
    text << file << ":" << line << " Assert failed: " << expression;
    KelTraceEmit(0, text);
  }
  ox_assertion_report();
}

COxUtilFuncTracer::COxUtilFuncTracer(bool enabled, bool /*reserved*/, const char* module,
                                     const char* name, const char* args)
    : m_enabled(enabled), m_module(GetCurrentModuleName(module)), m_name(name) {
  if (m_enabled && KelTraceEnabled(2)) {
    char buffer[1024];
    COxTextFormator text(buffer, sizeof(buffer));
    text << "Enter, " << name << (args != nullptr ? args : "");
    util_adapter_trace(2, m_module, text, static_cast<int>(text.tell()));
  }
}

COxUtilFuncTracer::~COxUtilFuncTracer() {
  if (m_enabled && KelTraceEnabled(2)) {
    char buffer[1024];
    COxTextFormator text(buffer, sizeof(buffer));
    text << "Leave, " << m_name;
    util_adapter_trace(2, m_module, text, static_cast<int>(text.tell()));
  }
}

namespace {
void DefaultAssertionHandler() {}
std::atomic<ox_assertion_handler_t> g_assertionHandler{&DefaultAssertionHandler};
}  // namespace

extern "C" void ox_assertion_report() {
  g_assertionHandler.load()();
}

extern "C" ox_assertion_handler_t set_ox_assertion_handler(ox_assertion_handler_t handler) {
  return g_assertionHandler.exchange(handler != nullptr ? handler : &DefaultAssertionHandler);
}
