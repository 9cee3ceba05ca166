// Checks a configuration document with the store's own walk of it (ConfigDocument, the walk
// behind ApplyKelConfigs), and explains the first thing that would keep the store from taking
// every entry as written.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_CHECK_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_CHECK_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/mediastores-config/json_syntax.h"

namespace msconfig {

// One entry of a document, as the store would hold it.
struct DocumentEntry {
  uint32_t group = 0;  // kelStore::KelConfigGroup
  std::string key;
  std::string value;
};

struct CheckReport {
  // True when the store applies every entry of the document as written and a dump of the result
  // reads back the same.
  bool accepted = false;
  // True when ApplyKelConfigs itself refuses the document (KEL_E_BADSTATE); a document can be
  // applied and still not be accepted (an entry skipped or not readable back).
  bool refusedByStore = false;
  // With a refusal: how many entries the store had set before it stopped (they stay set).
  size_t appliedBeforeRefusal = 0;
  // The first problem, in words a person can act on (empty when accepted), and where in the text
  // it is (line 0 when it has no one place).
  std::string problem;
  TextPosition problemAt = {0, 0};
  // Remarks that do not stop the document (members the store ignores, an empty document).
  std::vector<std::string> notes;
  // What the store would hold, in the order it applies them (the last of a repeated key wins).
  std::vector<DocumentEntry> entries;
  // The groups the walk went into (up to a refusal).
  int groupCount = 0;
  // Bit g set for every group g the document names.
  uint32_t groupMask = 0;
};

CheckReport CheckConfigDocument(const std::string& text);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_CHECK_H_
