// A private configuration store for one document: the tool applies a document to it and reads
// back what the store holds, through the same calls an engine module uses.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_SCRATCH_STORE_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_SCRATCH_STORE_H_

#include <mediastores/kel_config_helper.h>

#include <cstdint>
#include <memory>
#include <string>

namespace msconfig {

class ScratchStore {
 public:
  // Takes the store of `callId`, which nothing else in the process uses.
  explicit ScratchStore(uint32_t callId);
  // Gives the store back and ends its call, so the registry is empty again.
  ~ScratchStore();

  ScratchStore(const ScratchStore&) = delete;
  ScratchStore& operator=(const ScratchStore&) = delete;

  // ApplyKelConfigs' result.
  int32_t Apply(const std::string& document);
  // DumpKelConfigs of the groups selected by `groups` (bit g for group g).
  std::string Dump(uint32_t groups);
  // The stored text of `key` in `group`; false when the store holds no value for it.
  bool Get(uint32_t group, const std::string& key, std::string* value);

 private:
  uint32_t m_callId;
  std::unique_ptr<kelStore::KelConfigHelper> m_helper;
};

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_SCRATCH_STORE_H_
