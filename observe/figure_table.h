// The one table of exported statistics figures: where each figure sits in its record, how it is
// read, and what it is called in the exposition and in the call JSON. Both renderers walk it;
// docs/statistics-records.md documents it row by row.
#ifndef MEDIASTORES_OBSERVE_FIGURE_TABLE_H_
#define MEDIASTORES_OBSERVE_FIGURE_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mediastores/observe/statistics_snapshot.h"

namespace kelStore {
namespace observe {

// The record a figure is read from.
enum class FigureRecord : uint8_t {
  kAudioSend,     // st_KelAudioTxStatisticsInfo
  kAudioReceive,  // st_KelAudioRxStatisticsInfo, one per receive stream
  kVideoSend,     // st_KelVideoTxStatisticsInfo, encoder-wide part
  kVideoLayer,    // st_KelVideoLayerStatisticsInfo, one per layer
};

// How the bytes at a figure's position read.
enum class FigureValue : uint8_t { kBool, kUint32, kInt32, kFloat };

enum class MetricType : uint8_t { kGauge, kCounter };

struct Figure {
  FigureRecord record;
  uint16_t position;  // byte position in the record
  FigureValue value;
  uint8_t count;             // 1, or the number of elements of an array figure
  const char* elementLabel;  // label naming an array element ("index", "reason"); null for 1
  const char* metric;        // family name after the "mediastores_" prefix
  MetricType type;
  uint16_t divisor;  // record unit to the metric's base unit (bits -> bytes: 8)
  const char* json;  // member name in the call JSON
  const char* help;  // HELP text; rows of one family share the first row's
};

// The exported figures; the rows of one metric family are next to each other.
extern const Figure kFigures[];
extern const size_t kFigureCount;

// One record of an object that figures of a FigureRecord read from: its bytes and its index
// (receive stream or layer; -1 for a send record).
struct RecordView {
  const unsigned char* bytes;
  int index;
};

// The records of `object` for `record`. A send record is always there for its media family.
// A receive stream is there when any byte of its record is set; a layer when its index is below
// the layer count or any byte of its record is set. Other streams and layers hold nothing.
std::vector<RecordView> RecordsOf(const ObservedObject& object, FigureRecord record);

// "send" or "receive"; the label of a record's index ("stream", "layer"; null for send records).
const char* DirectionOf(FigureRecord record);
const char* IndexLabelOf(FigureRecord record);

// The media families: audio and content audio; video and content video.
bool IsAudioKind(KelMediastoresEntityType kind);
bool IsVideoKind(KelMediastoresEntityType kind);

// The media label ("content-audio") and the call JSON member ("contentAudio") of a kind.
const char* MediaLabel(KelMediastoresEntityType kind);
const char* MediaJsonName(KelMediastoresEntityType kind);

// How a figure's value is written.
enum class ValueForm : uint8_t {
  kMetric,  // base unit (divided by the divisor); flags 1/0; NaN, +Inf, -Inf as Prometheus has them
  kJson,    // the record's unit; flags true/false; a float that is not finite as null
};

// Appends element `element` of `figure` read from `record`.
void AppendFigureValue(std::string& out, const Figure& figure, const unsigned char* record,
                       int element, ValueForm form);

}  // namespace observe
}  // namespace kelStore

#endif  // MEDIASTORES_OBSERVE_FIGURE_TABLE_H_
