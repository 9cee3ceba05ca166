#include "mediaengine/mediastores/src/config/config_document.h"

#include <utility>

#include "mediastores/json/json.h"

namespace kelStore {

json::Value MakeConfigDocumentEntry(const std::string& key, const std::string& value) {
  json::Object entry;
  entry["key"] = json::Value(key);
  entry["value"] = json::Value(value);
  return json::Value(std::move(entry));
}

ConfigDocument::ConfigDocument(const std::string& text) : m_document(json::Deserialize(text)) {
  Walk();
}

// The text comes from outside the process: every value's type is checked before a typed access,
// since a wrong-typed access would end the process.
void ConfigDocument::Walk() {
  if (m_document.GetType() != json::ObjectVal) {
    Stop(ConfigDocumentFault::kNotAnObject, std::string(), m_document);
    return;
  }
  for (const auto& member : m_document.AsObject()) {
    if (!WalkGroup(member.first, member.second)) return;
  }
}

bool ConfigDocument::WalkGroup(const std::string& name, const json::Value& entries) {
  const KelConfigGroup group = GroupName2KelConfigGroup(name.c_str());
  // The name must be the group's name exactly: a NUL inside it must not cut it short.
  if (group >= kGroupLast || name != KelConfigGroup2GroupName(group)) {
    return Stop(ConfigDocumentFault::kUnknownGroup, name, entries);
  }
  if (entries.GetType() != json::ArrayVal) {
    return Stop(ConfigDocumentFault::kGroupNotArray, name, entries);
  }
  m_groups.push_back(group);
  const json::Array& array = entries.AsArray();
  for (size_t index = 0; index < array.size(); ++index) {
    if (!WalkEntry(group, name, index, array[index])) return false;
  }
  return true;
}

bool ConfigDocument::WalkEntry(KelConfigGroup group, const std::string& groupName, size_t index,
                               const json::Value& entry) {
  if (entry.GetType() != json::ObjectVal) {
    return Stop(ConfigDocumentFault::kEntryNotObject, groupName, entry, index);
  }
  const json::Object& fields = entry.AsObject();
  const auto key = fields.find("key");
  if (key == fields.end()) return Stop(ConfigDocumentFault::kNoKey, groupName, entry, index);
  if (key->second.GetType() != json::StringVal) {
    return Stop(ConfigDocumentFault::kKeyNotText, groupName, key->second, index);
  }
  const auto value = fields.find("value");
  if (value == fields.end() || value->second.GetType() != json::StringVal) {
    m_faultKey = key->second.AsString();
    return value == fields.end()
               ? Stop(ConfigDocumentFault::kNoValue, groupName, entry, index)
               : Stop(ConfigDocumentFault::kValueNotText, groupName, value->second, index);
  }
  ConfigDocumentEntry walked;
  walked.group = group;
  walked.index = index;
  walked.key = key->second.AsString();
  walked.value = value->second.AsString();
  for (const auto& field : fields) {
    if (field.first != "key" && field.first != "value") walked.ignored.push_back(field.first);
  }
  m_entries.push_back(std::move(walked));
  return true;
}

bool ConfigDocument::Stop(ConfigDocumentFault fault, const std::string& group,
                          const json::Value& found, size_t index) {
  m_fault = fault;
  m_faultGroup = group;
  m_faultIndex = index;
  m_faultValue = &found;
  return false;
}

bool ConfigDocument::ReadsBack(const std::string& text) {
  json::Array entries;
  entries.push_back(MakeConfigDocumentEntry(text, text));
  json::Object root;
  root[KelConfigGroup2GroupName(kGroupCommon)] = json::Value(std::move(entries));
  const ConfigDocument back(json::Serialize(json::Value(std::move(root))));
  return back.Entries().size() == 1 && back.Entries()[0].key == text &&
         back.Entries()[0].value == text;
}

}  // namespace kelStore
