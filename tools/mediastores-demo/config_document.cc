#include "tools/mediastores-demo/config_document.h"

#include <mediastores/mediastores.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace msdemo {

// Feature toggles: EnableOpusDtx is stored on, EnableVideoDenoiser off ("off" reads as false);
// every toggle the document does not name is on by default.
const char kDefaultConfigDocument[] = R"({
  "Common": [
    {"key": "CallProfile", "value": "meeting"}
  ],
  "Feature": [
    {"key": "EnableOpusDtx", "value": "true"},
    {"key": "EnableOpusInbandFec", "value": "1"},
    {"key": "EnableVideoDenoiser", "value": "off"}
  ],
  "Audio": [
    {"key": "Codec", "value": "opus"},
    {"key": "SampleRate", "value": "48000"},
    {"key": "TargetBitrateKbps", "value": "32"},
    {"key": "JitterBufferMinMs", "value": "40"},
    {"key": "JitterBufferMaxMs", "value": "200"}
  ],
  "Video": [
    {"key": "Codec", "value": "h264"},
    {"key": "MaxResolution", "value": "1280x720"},
    {"key": "MaxFrameRate", "value": "30"},
    {"key": "SimulcastLayers", "value": "3"},
    {"key": "TargetBitrateKbps", "value": "1200"}
  ],
  "Application": [
    {"key": "RateControlIntervalMs", "value": "500"},
    {"key": "CongestionFrameRate", "value": "15"},
    {"key": "KeyFrameRequestsPerMinute", "value": "20"}
  ],
  "Transmission": [
    {"key": "StartBandwidthKbps", "value": "1500"},
    {"key": "MinBandwidthKbps", "value": "300"},
    {"key": "MaxBandwidthKbps", "value": "2500"},
    {"key": "CongestionBelowKbps", "value": "600"}
  ]
}
)";

namespace {

// A call id that no simulated call uses (they count up from 1001).
constexpr uint32_t kScratchCallId = 1;

// The file's bytes; false with the system's reason when it cannot be opened or read.
bool ReadWholeFile(const std::string& path, std::string* text, std::string* error) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    *error = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  text->clear();
  char block[65536];
  size_t n = 0;
  while ((n = std::fread(block, 1, sizeof(block), file)) > 0)
    text->append(block, n);
  const int reason = std::ferror(file) ? errno : 0;
  std::fclose(file);
  if (reason != 0) {
    *error = "cannot read " + path + ": " + std::strerror(reason);
    return false;
  }
  return true;
}

}  // namespace

bool LoadConfigDocument(const std::string& path, std::string* document, std::string* error) {
  if (path.empty()) {
    *document = kDefaultConfigDocument;
  } else if (!ReadWholeFile(path, document, error)) {
    return false;
  }
  int32_t result = KEL_S_OK;
  {
    kelStore::KelConfigHelper scratch(kScratchCallId);
    result = scratch.ApplyKelConfigs(document->c_str());
  }
  kelStore::CleanUpKelConfig(kScratchCallId);
  if (result != KEL_S_OK) {
    *error = (path.empty() ? std::string("the embedded document") : path) +
             " is refused by the store (ApplyKelConfigs answered KEL_E_BADSTATE); "
             "run 'mediastores-config check " +
             (path.empty() ? std::string("FILE") : path) + "' to see why";
    return false;
  }
  return true;
}

}  // namespace msdemo
