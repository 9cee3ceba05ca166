#include "mediastores/observe/exposition.h"

#include "observe/figure_table.h"

namespace kelStore {
namespace observe {

namespace {

constexpr char kPrefix[] = "mediastores_";

void AppendLabel(std::string& out, const char* name, const std::string& value) {
  out += ',';
  out += name;
  out += "=\"";
  out += value;
  out += '"';
}

// Every sample of one table row: each object of the row's media family, each of its records
// (receive stream, layer), each element of an array figure.
void AppendRowSamples(std::string& out, const Figure& figure, const CStatisticsSnapshot& snapshot) {
  for (const ObservedObject& object : snapshot.Objects()) {
    for (const RecordView& view : RecordsOf(object, figure.record)) {
      for (int element = 0; element < figure.count; ++element) {
        out += kPrefix;
        out += figure.metric;
        out += "{call_id=\"" + std::to_string(object.callId) + '"';
        AppendLabel(out, "media", MediaLabel(object.kind));
        AppendLabel(out, "direction", DirectionOf(figure.record));
        if (view.index >= 0)
          AppendLabel(out, IndexLabelOf(figure.record), std::to_string(view.index));
        if (figure.elementLabel != nullptr)
          AppendLabel(out, figure.elementLabel, std::to_string(element));
        out += "} ";
        AppendFigureValue(out, figure, view.bytes, element, ValueForm::kMetric);
        out += '\n';
      }
    }
  }
}

}  // namespace

std::string RenderExposition(const CStatisticsSnapshot& snapshot) {
  std::string out;
  std::string samples;
  for (size_t first = 0; first < kFigureCount;) {
    // A family is the run of rows that share a metric name.
    const Figure& family = kFigures[first];
    size_t end = first;
    samples.clear();
    for (; end < kFigureCount && std::string(kFigures[end].metric) == family.metric; ++end)
      AppendRowSamples(samples, kFigures[end], snapshot);
    first = end;
    if (samples.empty()) continue;
    const std::string name = std::string(kPrefix) + family.metric;
    out += "# HELP " + name + ' ' + family.help + '\n';
    out += "# TYPE " + name + (family.type == MetricType::kCounter ? " counter\n" : " gauge\n");
    out += samples;
  }
  return out;
}

}  // namespace observe
}  // namespace kelStore
