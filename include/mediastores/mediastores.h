// Umbrella header of the installed public API of libmediastores. The JSON module is not included
// (its namespace is `json`, a name programs often give their own JSON type): include
// <mediastores/json/json.h> for it.
#ifndef MEDIASTORES_MEDIASTORES_H_
#define MEDIASTORES_MEDIASTORES_H_

#include "mediastores/assertion.h"
#include "mediastores/clock.h"
#include "mediastores/config_data.h"
#include "mediastores/config_event.h"
#include "mediastores/export.h"
#include "mediastores/feature_toggle.h"
#include "mediastores/kel_config.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/kel_config_helper.h"
#include "mediastores/kel_unknown.h"
#include "mediastores/media_info.h"
#include "mediastores/mediastores_entity.h"
#include "mediastores/result_codes.h"
#include "mediastores/safe_lib.h"
#include "mediastores/session_type.h"
#include "mediastores/thread.h"
#include "mediastores/timer_fact.h"
#include "mediastores/trace.h"
#include "mediastores/version.h"

#endif  // MEDIASTORES_MEDIASTORES_H_
