// ConfigDocument: the walk of a configuration document, the JSON text that ApplyKelConfigs takes
// and DumpKelConfigs writes. A document is one object whose member names are group names, each
// holding an array of {"key": name, "value": text} entries. The walk is the single statement of
// what the store accepts: ApplyKelConfigs sets what it finds, and the configuration tool explains
// where and why it stopped.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_DOCUMENT_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_DOCUMENT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "mediastores/json/value.h"
#include "mediastores/kel_config_group.h"

namespace kelStore {

// What stopped a walk; every fault makes ApplyKelConfigs answer KEL_E_BADSTATE.
enum class ConfigDocumentFault {
  kNone,            // the walk reached the end
  kNotAnObject,     // the text does not read as a JSON object
  kUnknownGroup,    // a member name that is not exactly the name of a usable group
  kGroupNotArray,   // a group whose value is not an array
  kEntryNotObject,  // an entry that is not an object
  kNoKey,           // an entry without "key"
  kKeyNotText,      // a "key" that is not a string
  kNoValue,         // an entry without "value"
  kValueNotText,    // a "value" that is not a string
};

// One entry as the walk found it. The key is taken as read: it may be empty or hold a NUL, and
// a set takes it only up to its first NUL and refuses it when that leaves nothing.
struct ConfigDocumentEntry {
  KelConfigGroup group = kGroupLast;
  size_t index = 0;  // the entry's place in its group's array, from 0
  std::string key;
  std::string value;
  // Names of the entry's members other than "key" and "value", which the walk ignores.
  std::vector<std::string> ignored;
};

// The entry {"key": key, "value": value}, as a dump writes it.
json::Value MakeConfigDocumentEntry(const std::string& key, const std::string& value);

// Reads a text and walks it in the order the store applies it: members in the object's order
// (byte-wise order of their names), each group's entries in array order, until the first fault.
// Keeps the read document, which the fault's place refers to.
class ConfigDocument {
 public:
  explicit ConfigDocument(const std::string& text);
  ConfigDocument(const ConfigDocument&) = delete;
  ConfigDocument& operator=(const ConfigDocument&) = delete;

  // The entries before the fault, every entry when there is none.
  const std::vector<ConfigDocumentEntry>& Entries() const { return m_entries; }
  // The groups the walk went into, in order; a group whose value is not an array is not one.
  const std::vector<KelConfigGroup>& Groups() const { return m_groups; }

  ConfigDocumentFault Fault() const { return m_fault; }
  // Where the walk stopped: the member name as written (empty for kNotAnObject); for the faults
  // of an entry, its index in the group's array; for kNoValue and kValueNotText, its key.
  const std::string& FaultGroup() const { return m_faultGroup; }
  size_t FaultIndex() const { return m_faultIndex; }
  const std::string& FaultKey() const { return m_faultKey; }
  // What the walk found there: the document, the group's value, the entry (kEntryNotObject,
  // kNoKey, kNoValue), or the entry's "key" or "value". A null value without a fault.
  const json::Value& FaultValue() const { return m_faultValue != nullptr ? *m_faultValue : m_none; }

  // Whether `text`, written by a dump as an entry's key and value, walks back as itself. The
  // writer does not escape and the reader undoes escapes and trims texts, so for example a text
  // with a quote, a backslash or blanks at either end does not.
  static bool ReadsBack(const std::string& text);

 private:
  void Walk();
  bool WalkGroup(const std::string& name, const json::Value& entries);
  bool WalkEntry(KelConfigGroup group, const std::string& groupName, size_t index,
                 const json::Value& entry);
  // Records the fault and returns false, so that a step can end the walk with it.
  bool Stop(ConfigDocumentFault fault, const std::string& group, const json::Value& found,
            size_t index = 0);

  const json::Value m_document;
  const json::Value m_none;
  std::vector<ConfigDocumentEntry> m_entries;
  std::vector<KelConfigGroup> m_groups;
  ConfigDocumentFault m_fault = ConfigDocumentFault::kNone;
  std::string m_faultGroup;
  size_t m_faultIndex = 0;
  std::string m_faultKey;
  const json::Value* m_faultValue = nullptr;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_DOCUMENT_H_
