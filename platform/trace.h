// The library's one way to emit a trace line and one way to assert.
//
//   KEL_TRACE_INFO(", " << groupName << ", ret=" << ret << TraceCid{callId} << TraceThis{this});
//   KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
//
// A line starts with the short name of the emitting function, then the message pieces exactly as
// given, then the decorations. The mask is tested before anything is formatted; the line is built
// in a 1024-byte stack buffer.
#ifndef MEDIASTORES_PLATFORM_TRACE_H_
#define MEDIASTORES_PLATFORM_TRACE_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "mediastores/assertion.h"
#include "mediastores/trace.h"
#include "platform/func_tracer.h"
#include "platform/text_formator.h"

// Short function name from a compiler signature text: the text after the last blank that comes
// before the first "(", up to that "(". The whole text when there is no "(" or nothing lies
// between the last blank and it; "ErrorName" for null.
std::string ExtractClassFunctionName(const char* signature);
// The same, as a view into `signature` (no allocation).
std::string_view ExtractClassFunctionNameView(const char* signature);

// The name the trace macros print: ExtractClassFunctionNameView without a "*" or "&" that a
// compiler glued to the name of a function returning a pointer or reference
// ("const char *ns::F(...)").
std::string_view KelTraceFunctionName(const char* signature);

// `name` when it is non-null and non-empty, else the module's own name "UTIL".
const char* GetCurrentModuleName(const char* name);

// Whether a line of `level` passes the trace mask (read anew on every call).
inline bool KelTraceEnabled(int level) {
  return static_cast<int32_t>(get_external_trace_mask()) >= level;
}

// Hands a finished line to the sink under the module name.
void KelTraceEmit(int level, COxTextFormator& line);

// Traces "<file base name>:<line> Assert failed: <expression>" at level 0 (when the mask admits
// it), then calls ox_assertion_report() in every case.
void KelAssertFailed(const char* file, int line, const char* expression);

// Decorations and key/value pieces of a trace line.
struct TraceCid {
  uint32_t callId;
};
struct TraceThis {
  const void* object;
};
inline COxTextFormator& operator<<(COxTextFormator& f, TraceCid cid) {
  return f << " [cid=" << cid.callId << "]";
}
inline COxTextFormator& operator<<(COxTextFormator& f, TraceThis self) {
  return f << " [this=" << self.object << "]";
}

// The text after the last "/" of a compile-time path.
constexpr const char* KelFileBaseName(const char* path) {
  const char* base = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/') base = p + 1;
  }
  return base;
}

// Entry/exit tracer throttle: true (and counted) for the first 150 calls of a function.
inline bool KelTracerThrottle(std::atomic<int32_t>& calls) {
  const int32_t seen = calls.load(std::memory_order_relaxed);
  if (seen >= 150) return false;
  calls.store(seen + 1, std::memory_order_relaxed);
  return true;
}

// Emits one line of `level`: the emitting function's short name followed by the `<<` pieces.
#define KEL_TRACE(level, ...)                                                        \
  do {                                                                               \
    if (KelTraceEnabled(level)) {                                                    \
      char kel_trace_buffer_[1024];                                                  \
      COxTextFormator kel_trace_line_(kel_trace_buffer_, sizeof(kel_trace_buffer_)); \
      kel_trace_line_ << KelTraceFunctionName(__PRETTY_FUNCTION__) << __VA_ARGS__;   \
      KelTraceEmit(level, kel_trace_line_);                                          \
    }                                                                                \
  } while (0)

// Emits one line of `level` named after the function whose __PRETTY_FUNCTION__ is `signature`
// (for lines built inside a lambda or helper on behalf of that function).
#define KEL_TRACE_AS(level, signature, ...) \
  KEL_TRACE_TEXT(level, KelTraceFunctionName(signature) << __VA_ARGS__)

// Emits one line of `level` whose text is given whole (no function name in front).
#define KEL_TRACE_TEXT(level, ...)                                                   \
  do {                                                                               \
    if (KelTraceEnabled(level)) {                                                    \
      char kel_trace_buffer_[1024];                                                  \
      COxTextFormator kel_trace_line_(kel_trace_buffer_, sizeof(kel_trace_buffer_)); \
      kel_trace_line_ << __VA_ARGS__;                                                \
      KelTraceEmit(level, kel_trace_line_);                                          \
    }                                                                                \
  } while (0)

#define KEL_TRACE_ERROR(...) KEL_TRACE(0, __VA_ARGS__)
#define KEL_TRACE_WARN(...) KEL_TRACE(1, __VA_ARGS__)
#define KEL_TRACE_INFO(...) KEL_TRACE(2, __VA_ARGS__)

// Checks a precondition; on failure traces the assertion line, reports it and returns `result`
// (write KEL_ASSERT_RETURN(expr, ) in a function returning void).
#define KEL_ASSERT_RETURN(expression, result)                            \
  do {                                                                   \
    if (!(expression)) {                                                 \
      KelAssertFailed(KelFileBaseName(__FILE__), __LINE__, #expression); \
      return result;                                                     \
    }                                                                    \
  } while (0)

// Builds an entry/exit tracer for the current scope, enabled for the first 150 calls of the
// function. `name` is the function's name text, `line` the number printed after ",line=",
// `args` the argument text as `<<` pieces (or "").
#define KEL_FUNC_TRACER(name, line, args)                                                  \
  static std::atomic<int32_t> kel_tracer_calls_{0};                                        \
  const bool kel_tracer_on_ = KelTracerThrottle(kel_tracer_calls_);                        \
  char kel_tracer_name_[256] = {};                                                         \
  char kel_tracer_args_[256] = {};                                                         \
  if (kel_tracer_on_ && KelTraceEnabled(2)) {                                              \
    COxTextFormator kel_tracer_name_f_(kel_tracer_name_, sizeof(kel_tracer_name_));        \
    kel_tracer_name_f_ << name << ",line=" << line;                                        \
    COxTextFormator kel_tracer_args_f_(kel_tracer_args_, sizeof(kel_tracer_args_));        \
    kel_tracer_args_f_ << args;                                                            \
  }                                                                                        \
  COxUtilFuncTracer kel_func_tracer_(kel_tracer_on_, false, GetCurrentModuleName(nullptr), \
                                     kel_tracer_name_, kel_tracer_args_)

#endif  // MEDIASTORES_PLATFORM_TRACE_H_
