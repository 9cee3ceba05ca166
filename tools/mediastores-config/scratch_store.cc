#include "tools/mediastores-config/scratch_store.h"

#include <mediastores/config_data.h>
#include <mediastores/kel_config.h>
#include <mediastores/result_codes.h>

namespace msconfig {

ScratchStore::ScratchStore(uint32_t callId)
    : m_callId(callId), m_helper(std::make_unique<kelStore::KelConfigHelper>(callId)) {}

ScratchStore::~ScratchStore() {
  m_helper.reset();
  kelStore::CleanUpKelConfig(m_callId);
}

int32_t ScratchStore::Apply(const std::string& document) {
  return m_helper->ApplyKelConfigs(document.c_str());
}

std::string ScratchStore::Dump(uint32_t groups) {
  const char* text = m_helper->DumpKelConfigs(groups);
  return text != nullptr ? std::string(text) : std::string();
}

bool ScratchStore::Get(uint32_t group, const std::string& key, std::string* value) {
  ConfigData stored;
  if (m_helper->GetKelConfig(key.c_str(), stored, static_cast<kelStore::KelConfigGroup>(group)) !=
      KEL_S_OK) {
    return false;
  }
  *value = stored.ToString();
  return true;
}

}  // namespace msconfig
