// The constraint handler of the bounds-checked routines and the logger of the default handler.
#include <errno.h>
#include <stdio.h>

#include "mediastores/safe_lib.h"

extern "C" {

constraint_handler_t safe_constraint_handler = dcdi_handler_s;
unsigned int safe_desired_log_lvl = 1;
safe_log_func_t safe_log_func = nullptr;

constraint_handler_t set_constraint_handler_s(constraint_handler_t handler) {
  constraint_handler_t previous = safe_constraint_handler;
  safe_constraint_handler = handler != nullptr ? handler : dcdi_handler_s;
  return previous;
}

static void InvokeConstraintHandler(const char* msg, int error) {
  errno = error;
  // The global may have been cleared by direct assignment; fall back to the default then.
  constraint_handler_t handler = safe_constraint_handler;
  (handler != nullptr ? handler : dcdi_handler_s)(msg, nullptr, errno);
}

void invoke_safe_mem_constraint_handler(const char* msg, void* /*ptr*/, int error) {
  InvokeConstraintHandler(msg, error);
}

void invoke_safe_str_constraint_handler(const char* msg, void* /*ptr*/, int error) {
  InvokeConstraintHandler(msg, error);
}

void dcdi_handler_s(const char* msg, void* /*ptr*/, int error) {
  safe_log(1, "DATA INCONSISTENCY/DATA CORRUPTION: (%u) %s\n", static_cast<unsigned>(error),
           msg != nullptr ? msg : "");
}

int safe_init_logger(unsigned int level, safe_log_func_t func) {
  safe_desired_log_lvl = level;
  safe_log_func = func;
  return 0;
}

void safe_log(unsigned int level, const char* format, ...) {
  if (safe_desired_log_lvl < level) return;
  va_list args;
  va_start(args, format);
  safe_log_func_t func = safe_log_func;
  if (func != nullptr) {
    func(format, args);
  } else {
    flockfile(stderr);
    vfprintf(stderr, format, args);
    fflush(stderr);
    funlockfile(stderr);
  }
  va_end(args);
}

void safe_enable_backtrace(void) {}

void safe_log_backtrace(void) {}

}  // extern "C"
