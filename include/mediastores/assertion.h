// Assertion report hook. The library's argument checks trace an "Assert failed" line and then
// call ox_assertion_report(); the caller of the failed operation gets an error result.
#ifndef MEDIASTORES_ASSERTION_H_
#define MEDIASTORES_ASSERTION_H_

#include "mediastores/export.h"

extern "C" {

typedef void (*ox_assertion_handler_t)();

// Called after every failed argument check, also when the trace mask hides the line. Runs the
// installed handler; the default handler does nothing and returns.
MEDIASTORES_API void ox_assertion_report();

// Installs `handler` and returns the previous one; null restores the default.
MEDIASTORES_API ox_assertion_handler_t set_ox_assertion_handler(ox_assertion_handler_t handler);

}  // extern "C"

#endif  // MEDIASTORES_ASSERTION_H_
