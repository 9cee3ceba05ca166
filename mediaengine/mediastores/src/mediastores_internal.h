// Every header of the library, internal classes included. For the library's own tests and tools;
// not installed.
#ifndef MEDIASTORES_INTERNAL_H_
#define MEDIASTORES_INTERNAL_H_

#include "mediastores/mediastores.h"

// Platform layer
#include "platform/func_tracer.h"
#include "platform/kel_trace.h"
#include "platform/kel_unknown_impl.h"
#include "platform/mutex.h"
#include "platform/text_formator.h"

#endif  // MEDIASTORES_INTERNAL_H_
