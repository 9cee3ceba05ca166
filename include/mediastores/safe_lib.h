// Bounds-checked memory and string routines with a pluggable constraint handler and a minimal
// logger. Usable from C and C++ (plain C linkage, global namespace).
//
// Each routine checks its arguments in a fixed order; the first check that fails sets errno to
// the error number, calls the current constraint handler with (message, NULL, error number) and
// returns the error number. Error numbers are the platform's EINVAL (every constraint violation)
// and EOVERFLOW (a truncated string copy). A failed check leaves the destination untouched, except
// where a routine says otherwise. Sizes with the top bit set exceed the maximum (RSIZE_MAX, half
// the address space).
#ifndef MEDIASTORES_SAFE_LIB_H_
#define MEDIASTORES_SAFE_LIB_H_

#include <stdarg.h>
#include <stddef.h>

#include "mediastores/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Called on every constraint violation with the message, a pointer (always NULL) and the error
// number.
typedef void (*constraint_handler_t)(const char* msg, void* ptr, int error);

// Output function of the logger, vprintf-like: receives the format and its argument list and
// returns what vprintf would (the number of characters written, or a negative value).
typedef int (*safe_log_func_t)(const char* format, va_list args);

// The current constraint handler; initially dcdi_handler_s. Set it at start-up (see
// set_constraint_handler_s): it is a plain variable, read without synchronisation.
MEDIASTORES_API extern constraint_handler_t safe_constraint_handler;
// Messages of a level above this are dropped; initially 1. 0 silences the logger.
MEDIASTORES_API extern unsigned int safe_desired_log_lvl;
// Where safe_log writes; NULL (the initial value) means standard error.
MEDIASTORES_API extern safe_log_func_t safe_log_func;

// Copies n bytes from src to dest, whose capacity is dmax. Fails with EINVAL when dest is NULL,
// dmax or n exceeds RSIZE_MAX, n exceeds dmax, src is NULL, or the areas overlap. The overlap
// test is deliberately wide: src lying anywhere inside dest's whole capacity [dest, dest + dmax)
// counts, even when the n bytes copied would not touch it. dest == src or n == 0 copies nothing.
MEDIASTORES_API int memcpy_s(void* dest, size_t dmax, const void* src, size_t n);

// Fills n bytes of dest (capacity smax) with the low byte of value. Fails with EINVAL when dest
// is NULL, smax exceeds RSIZE_MAX, n exceeds RSIZE_MAX or n exceeds smax; on the last two it
// first fills all smax bytes, so the buffer is wiped as far as it is known to reach.
MEDIASTORES_API int memset_s(void* dest, size_t smax, int value, size_t n);

// Length of s, at most maxsize; 0 for a NULL s. Never calls the constraint handler.
MEDIASTORES_API size_t strnlen_s(const char* s, size_t maxsize);

// Copies at most n characters of src into dest (capacity dmax) and terminates it. Fails with
// EINVAL when dest is NULL, dmax is 0, dmax exceeds RSIZE_MAX, src is NULL, n exceeds RSIZE_MAX
// or the strings overlap. When n is at least dmax and src does not fit, copies dmax - 1
// characters, reports the truncation to the handler and returns EOVERFLOW. When src is shorter
// than n (and n < dmax), pads dest with zero bytes up to n, then terminates at dest[n].
MEDIASTORES_API int strncpy_s(char* dest, size_t dmax, const char* src, size_t n);

// Installs handler (dcdi_handler_s when handler is NULL); returns the previous handler.
MEDIASTORES_API constraint_handler_t set_constraint_handler_s(constraint_handler_t handler);

// Set errno to error, then call the current handler with (msg, NULL, errno). Used by the memory
// and the string routines respectively.
MEDIASTORES_API void invoke_safe_mem_constraint_handler(const char* msg, void* ptr, int error);
MEDIASTORES_API void invoke_safe_str_constraint_handler(const char* msg, void* ptr, int error);

// The default handler: logs "DATA INCONSISTENCY/DATA CORRUPTION: (<error>) <msg>" at level 1.
MEDIASTORES_API void dcdi_handler_s(const char* msg, void* ptr, int error);

// Sets the logger's level and output function (NULL: standard error); returns 0.
MEDIASTORES_API int safe_init_logger(unsigned int level, safe_log_func_t func);

// Logs a printf-style message when safe_desired_log_lvl is at least level: through safe_log_func
// if set, else to standard error (under the stream's lock, then flushed).
MEDIASTORES_API void safe_log(unsigned int level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Accepted for compatibility; they do nothing.
MEDIASTORES_API void safe_enable_backtrace(void);
MEDIASTORES_API void safe_log_backtrace(void);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // MEDIASTORES_SAFE_LIB_H_
