// KelConfig's JSON dump and apply of configuration documents; the shape of a document and the walk
// that applies it are in config_document.h.
#include <memory>
#include <string>
#include <utility>

#include "mediaengine/mediastores/src/config/config_document.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/json/json.h"
#include "mediastores/result_codes.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"
#include "platform/trace.h"

namespace kelStore {
namespace {

// A document's text with its walk.
struct WalkedDocument {
  explicit WalkedDocument(const char* source) : text(source), walk(text) {}
  const std::string text;
  const ConfigDocument walk;
};

// The walk of the last document applied. An engine applies one document to call after call, and
// the walk of a text is always the same, so a text like the last one is not read again.
class LastWalkedDocument {
 public:
  std::shared_ptr<const WalkedDocument> Of(const char* text) {
    std::shared_ptr<const WalkedDocument> last;
    {
      COxMutexGuard<COxStdMutex> guard(m_lock);
      last = m_last;
    }
    if (last != nullptr && last->text == text) return last;
    auto made = std::make_shared<const WalkedDocument>(text);
    COxMutexGuard<COxStdMutex> guard(m_lock);
    m_last = made;
    return made;
  }

 private:
  COxStdMutex m_lock;
  std::shared_ptr<const WalkedDocument> m_last MS_GUARDED_BY(m_lock);
};

LastWalkedDocument& LastWalked() {
  static LastWalkedDocument last;
  return last;
}

}  // namespace

json::Array KelConfig::getConfigsJsonArray(KelConfigGroup group) {
  json::Array entries;
  const GroupParts* const used = group < kGroupLast ? groupIfUsed(group) : nullptr;
  if (used == nullptr) return entries;
  used->values.Traverse([&entries](const std::string& name, const ConfigData& value) {
    entries.push_back(MakeConfigDocumentEntry(name, value.ToCstr()));
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

  // Walk, then set what the walk found: with a fault, what comes before it is still set (there
  // is no rollback) and the answer is KEL_E_BADSTATE.
  const std::shared_ptr<const WalkedDocument> walked = LastWalked().Of(szJsonConfig);
  const ConfigDocument& document = walked->walk;
  // Through the store's own interface, so subscribers are told as for any set; an entry the set
  // refuses (an empty name) is skipped.
  IKelConfig* const self = this;
  for (const ConfigDocumentEntry& entry : document.Entries()) {
    self->SetKelConfig(entry.group, entry.key.c_str(), ConfigData(entry.value), false, false);
  }
  return document.Fault() == ConfigDocumentFault::kNone ? KEL_S_OK : KEL_E_BADSTATE;
}

}  // namespace kelStore
