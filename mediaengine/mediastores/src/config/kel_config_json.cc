// KelConfig's JSON dump and apply: a document is one object whose members are group names, each
// holding an array of {"key": name, "value": text} entries.
#include <string>
#include <utility>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/json/json.h"
#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

json::Array KelConfig::getConfigsJsonArray(KelConfigGroup group) {
  json::Array entries;
  if (group >= kGroupLast) return entries;
  m_values[group].Traverse([&entries](const std::string& name, const ConfigData& value) {
    json::Object entry;
    entry["key"] = json::Value(name);
    entry["value"] = json::Value(value.ToCstr());
    entries.push_back(json::Value(std::move(entry)));
  });
  return entries;
}

const char* KelConfig::DumpKelConfigs(ConfigMultGroup_t groups) {
  KEL_TRACE_INFO(", groups=" << groups << TraceCid{callId} << TraceThis{this});
  json::Object root;
  // Bits 13 and up name no group: the walk ends after bit 12, or earlier once no bit is left.
  for (uint32_t g = 0; g < kGroupLast && (groups >> g) != 0; ++g) {
    if ((groups >> g) & 1u) {
      const auto group = static_cast<KelConfigGroup>(g);
      root[KelConfigGroup2GroupName(group)] = json::Value(getConfigsJsonArray(group));
    }
  }
  m_dumpText = json::Serialize(json::Value(std::move(root)));
  return m_dumpText.c_str();
}

int32_t KelConfig::ApplyKelConfigs(const char* szJsonConfig) {
  if (szJsonConfig == nullptr) return KEL_E_BADSTATE;
  KEL_TRACE_INFO(TraceCid{callId} << ", szJsonConfig=" << szJsonConfig << TraceThis{this});

  // The text comes from outside the process: every value's type is checked before a typed
  // access, since a wrong-typed access would end the process.
  const json::Value document = json::Deserialize(szJsonConfig);
  if (document.GetType() != json::ObjectVal) return KEL_E_BADSTATE;

  // Members in the object's (byte-wise) order; the first fault ends the walk, and what was set
  // before it stays set.
  for (const auto& member : document.AsObject()) {
    const std::string& groupName = member.first;
    const KelConfigGroup group = GroupName2KelConfigGroup(groupName.c_str());
    // The name must be the group's name exactly (a NUL inside the text must not cut it short).
    if (group >= kGroupLast || groupName != KelConfigGroup2GroupName(group)) {
      return KEL_E_BADSTATE;
    }
    if (member.second.GetType() != json::ArrayVal) return KEL_E_BADSTATE;
    for (const json::Value& entry : member.second.AsArray()) {
      if (entry.GetType() != json::ObjectVal) return KEL_E_BADSTATE;
      const json::Object& fields = entry.AsObject();
      const auto key = fields.find("key");
      const auto value = fields.find("value");
      if (key == fields.end() || value == fields.end() ||
          key->second.GetType() != json::StringVal || value->second.GetType() != json::StringVal) {
        return KEL_E_BADSTATE;
      }
      // Through the store's own interface, so subscribers are told as for any set; a value the
      // set refuses (an empty name) is skipped.
      IKelConfig* const self = this;
      self->SetKelConfig(group, key->second.AsString().c_str(),
                         ConfigData(value->second.AsString()), false, false);
    }
  }
  return KEL_S_OK;
}

}  // namespace kelStore
