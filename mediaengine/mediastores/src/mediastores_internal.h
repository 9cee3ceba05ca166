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

// JSON module
#include "json/reader.h"
#include "json/writer.h"

// Configuration store
#include "atom_map.h"
#include "config_event_handler.h"
#include "kel_config_observer_mgr.h"
#include "kel_config_observer_helper.h"
#include "kel_config_registry.h"
#include "kel_config_store.h"

// Media statistics store
#include "kel_audio_info.h"
#include "kel_mediastores.h"
#include "kel_stats_access.h"
#include "kel_video_info.h"

#endif  // MEDIASTORES_INTERNAL_H_
