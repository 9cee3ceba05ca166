// One call's figures from a statistics snapshot as a JSON object.
#ifndef MEDIASTORES_OBSERVE_CALL_JSON_H_
#define MEDIASTORES_OBSERVE_CALL_JSON_H_

#include <string>

#include "mediastores/observe/statistics_snapshot.h"

namespace kelStore {
namespace observe {

// The figures of call `callId`, the same ones the exposition carries, in the records' own units
// (bit rates in bits per second, times in milliseconds), compact, without whitespace:
//
//   {"callId":7,
//    "audio":{"send":{"bitRate":32000,...},"receive":[{"stream":0,"bitRate":24000,...}]},
//    "video":{"send":{"layerCount":2,...,"layers":[{"layer":0,...},{"layer":1,...}]}}}
//
// One member per media kind the snapshot holds for the call ("audio", "video", "contentAudio",
// "contentVideo"); flags are true or false, array figures JSON arrays, a float that is not finite
// null. Receive streams and layers appear as in the exposition. Only {"callId":N} when the
// snapshot holds nothing of the call. docs/statistics-records.md lists every member.
std::string RenderCallJson(const CStatisticsSnapshot& snapshot, unsigned int callId);

}  // namespace observe
}  // namespace kelStore

#endif  // MEDIASTORES_OBSERVE_CALL_JSON_H_
