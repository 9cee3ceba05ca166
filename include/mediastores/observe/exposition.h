// Prometheus text exposition (format version 0.0.4) of a statistics snapshot.
#ifndef MEDIASTORES_OBSERVE_EXPOSITION_H_
#define MEDIASTORES_OBSERVE_EXPOSITION_H_

#include <string>

#include "mediastores/observe/statistics_snapshot.h"

namespace kelStore {
namespace observe {

// Content type to serve the exposition with.
inline constexpr char kExpositionContentType[] = "text/plain; version=0.0.4; charset=utf-8";

// One metric family per named figure of the records, prefixed "mediastores_", each with its
// "# HELP" and "# TYPE" lines and all its samples together; families without a sample are left
// out. Labels: call_id, media ("audio", "video", "content-audio", "content-video"), direction
// ("send" or "receive"), then stream (audio receive stream), layer (video layer) and index or
// reason (element of an array figure). Values are in base units: bit rates as bytes per second,
// times in seconds. Counters end in "_total". docs/statistics-records.md lists every family.
std::string RenderExposition(const CStatisticsSnapshot& snapshot);

}  // namespace observe
}  // namespace kelStore

#endif  // MEDIASTORES_OBSERVE_EXPOSITION_H_
