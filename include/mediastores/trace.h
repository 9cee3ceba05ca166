// Trace hooks of the library: every diagnostic line goes through util_adapter_trace to one sink,
// gated by a process-wide mask. A host process installs its own sink to route the lines into its
// logging.
#ifndef MEDIASTORES_TRACE_H_
#define MEDIASTORES_TRACE_H_

#include <cstdint>

#include "mediastores/export.h"

extern "C" {

// Trace levels: 0 error, 1 warning, 2 info. A line of level L is emitted only when the mask,
// read as a signed number, is at least L (so -1 silences everything). Default mask: 1.
MEDIASTORES_API uint32_t get_external_trace_mask();
MEDIASTORES_API void set_external_trace_mask(uint32_t mask);

// Receives one finished line: level, module name ("UTIL"), text and its length in bytes (the
// text is NUL-terminated as well).
typedef void (*util_trace_sink_t)(int level, const char* module, const char* text, int length);

// Installs `sink` and returns the previous one. Null restores the default sink, which writes
// one line per trace to standard error with its level and module.
MEDIASTORES_API util_trace_sink_t set_util_trace_sink(util_trace_sink_t sink);

// Hands one line to the current sink. The caller has already applied the mask.
MEDIASTORES_API void util_adapter_trace(int level, const char* module, const char* text,
                                        int length);

}  // extern "C"

#endif  // MEDIASTORES_TRACE_H_
