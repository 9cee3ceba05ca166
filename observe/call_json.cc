#include "mediastores/observe/call_json.h"

#include "observe/figure_table.h"

namespace kelStore {
namespace observe {

namespace {

void AppendKey(std::string& out, const char* key) {
  out += '"';
  out += key;
  out += "\":";
}

// The members of every figure of `record`, comma separated, in table order.
void AppendFigures(std::string& out, FigureRecord record, const unsigned char* bytes) {
  bool first = true;
  for (size_t i = 0; i < kFigureCount; ++i) {
    const Figure& figure = kFigures[i];
    if (figure.record != record) continue;
    if (!first) out += ',';
    first = false;
    AppendKey(out, figure.json);
    if (figure.elementLabel != nullptr) out += '[';
    for (int element = 0; element < figure.count; ++element) {
      if (element > 0) out += ',';
      AppendFigureValue(out, figure, bytes, element, ValueForm::kJson);
    }
    if (figure.elementLabel != nullptr) out += ']';
  }
}

// `name`: an array of one object per receive stream or layer, each led by its index.
void AppendIndexedRecords(std::string& out, const char* name, const ObservedObject& object,
                          FigureRecord record) {
  AppendKey(out, name);
  out += '[';
  bool first = true;
  for (const RecordView& view : RecordsOf(object, record)) {
    if (!first) out += ',';
    first = false;
    out += '{';
    AppendKey(out, IndexLabelOf(record));
    out += std::to_string(view.index) + ',';
    AppendFigures(out, record, view.bytes);
    out += '}';
  }
  out += ']';
}

void AppendObject(std::string& out, const ObservedObject& object) {
  const bool audio = IsAudioKind(object.kind);
  const FigureRecord send = audio ? FigureRecord::kAudioSend : FigureRecord::kVideoSend;
  AppendKey(out, MediaJsonName(object.kind));
  out += '{';
  AppendKey(out, "send");
  out += '{';
  AppendFigures(out, send, RecordsOf(object, send).front().bytes);
  if (!audio) {
    out += ',';
    AppendIndexedRecords(out, "layers", object, FigureRecord::kVideoLayer);
  }
  out += '}';
  if (audio) {
    out += ',';
    AppendIndexedRecords(out, "receive", object, FigureRecord::kAudioReceive);
  }
  out += '}';
}

}  // namespace

std::string RenderCallJson(const CStatisticsSnapshot& snapshot, unsigned int callId) {
  std::string out = "{\"callId\":" + std::to_string(callId);
  for (const ObservedObject& object : snapshot.Objects()) {
    if (object.callId != callId) continue;
    out += ',';
    AppendObject(out, object);
  }
  out += '}';
  return out;
}

}  // namespace observe
}  // namespace kelStore
