#include "tools/mediastores-config/document_schema.h"

#include <mediastores/kel_config_group.h>

#include <cstdint>
#include <string>

#include "mediaengine/mediastores/src/config/kel_config_group_table.h"
#include "tools/mediastores-config/json_text.h"

namespace msconfig {
namespace {

struct ToggleRow {
  uint32_t id;
  const char* name;  // the KelFeatureToggleID enumerator without its KEL_FT_ prefix
  const char* key;
};

const ToggleRow kToggleRows[] = {
#define KEL_FEATURE_TOGGLE(id, name, key) {id, #name, key},
#include "mediastores/feature_toggle_list.h"
};

// Where a group's entries are described: the Feature group's keys are the toggles.
std::string GroupRef(kelStore::KelConfigGroup group) {
  return group == kelStore::kGroupFeature ? "#/$defs/featureGroup" : "#/$defs/group";
}

// An array of entries of definition `entryRef`.
std::string GroupDef(const char* description, const char* entryRef) {
  return std::string("{\n      \"description\": ") + JsonQuoted(description) +
         ",\n      \"type\": \"array\",\n      \"items\": {\"$ref\": \"" + entryRef + "\"}\n    }";
}

}  // namespace

std::string ConfigDocumentSchema() {
  std::string groups;
  for (const kelStore::KelConfigGroupRow& row : kelStore::kKelConfigGroupRows) {
    groups += std::string(groups.empty() ? "" : ",\n") + "    " + JsonQuoted(row.name) +
              ": {\"$ref\": \"" + GroupRef(row.group) +
              "\", \"description\": \"configuration group " + std::to_string(row.group) + "\"}";
  }
  std::string toggles;
  for (const ToggleRow& toggle : kToggleRows) {
    toggles += std::string(toggles.empty() ? "" : ",\n") +
               "        {\"const\": " + JsonQuoted(toggle.key) +
               ", \"description\": \"feature toggle " + std::to_string(toggle.id) + ", KEL_FT_" +
               toggle.name + "\"}";
  }
  return std::string("{\n") +
         "  \"$schema\": \"https://json-schema.org/draft/2020-12/schema\",\n"
         "  \"title\": \"mediastores configuration document\",\n"
         "  \"description\": \"The JSON text IKelConfig::ApplyKelConfigs loads and DumpKelConfigs "
         "writes: one object whose members are group names, each an array of {\\\"key\\\": name, "
         "\\\"value\\\": text} entries. `mediastores-config check` also reports what a dump cannot "
         "give back, \\\\u escapes above \\\\u007f and repeated groups and keys.\",\n"
         "  \"type\": \"object\",\n"
         "  \"properties\": {\n" +
         groups +
         "\n  },\n"
         "  \"additionalProperties\": false,\n"
         "  \"$defs\": {\n"
         "    \"group\": " +
         GroupDef("Entries, set in the order written; a key given twice keeps the last value.",
                  "#/$defs/entry") +
         ",\n    \"featureGroup\": " +
         GroupDef(
             "Feature toggles: a toggle is on unless a value that reads as false (\"\", "
             "\"0\", \"false\", \"off\", \"no\", any letter case) is stored for its key.",
             "#/$defs/featureEntry") +
         ",\n"
         "    \"entry\": {\n"
         "      \"description\": \"Members other than key and value are ignored; the reader drops "
         "null elements of an array.\",\n"
         "      \"type\": [\"object\", \"null\"],\n"
         "      \"required\": [\"key\", \"value\"],\n"
         "      \"properties\": {\n"
         "        \"key\": {\"type\": \"string\", \"minLength\": 1, \"description\": \"the "
         "configuration name (case-sensitive)\"},\n"
         "        \"value\": {\"type\": \"string\", \"description\": \"the value's text; numbers "
         "and switches are texts too: \\\"30\\\", \\\"off\\\"\"}\n"
         "      }\n"
         "    },\n"
         "    \"featureEntry\": {\n"
         "      \"$ref\": \"#/$defs/entry\",\n"
         "      \"properties\": {\"key\": {\"anyOf\": [{\"$ref\": \"#/$defs/toggleKey\"}, "
         "{\"type\": \"string\"}]}}\n"
         "    },\n"
         "    \"toggleKey\": {\n"
         "      \"anyOf\": [\n" +
         toggles +
         "\n      ]\n"
         "    }\n"
         "  }\n"
         "}\n";
}

}  // namespace msconfig
