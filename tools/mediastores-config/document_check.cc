#include "tools/mediastores-config/document_check.h"

#include <mediastores/json/json.h>
#include <mediastores/kel_config_group.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/mediastores-config/json_syntax.h"

namespace msconfig {
namespace {

const char kExample[] = "{\"Audio\":[{\"key\":\"SampleRate\",\"value\":\"48000\"}]}";

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// "a text", "a number", ... for messages about a value of the wrong kind.
std::string KindOf(const json::Value& value) {
  switch (value.GetType()) {
    case json::NULLVal:
      return "null";
    case json::StringVal:
      return "a text";
    case json::IntVal:
    case json::UIntVal:
    case json::Int64Val:
    case json::FloatVal:
    case json::DoubleVal:
      return "a number";
    case json::ObjectVal:
      return "an object";
    case json::ArrayVal:
      return "an array";
    case json::BoolVal:
      return "a boolean";
  }
  return "a value";
}

// The value as a text (numbers and booleans), for "write it as a text" advice.
std::string Printed(const json::Value& value) {
  if (value.GetType() == json::FloatVal || value.GetType() == json::DoubleVal) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.15g", value.ToDouble());
    return text;
  }
  json::Array holder;
  holder.push_back(value);
  const std::string text = json::Serialize(json::Value(holder));
  return text.size() >= 2 ? text.substr(1, text.size() - 2) : text;
}

// Where an entry sits, as people count (from 1) and as JSON tools index (from 0).
std::string EntryPlace(const std::string& group, size_t index) {
  return "group " + Quoted(group) + ", entry " + std::to_string(index + 1) + " (index " +
         std::to_string(index) + ")";
}

// Why `text`, stored by the store, would not read back the same from a dump; "" when it does.
// The answer is found by writing and reading the text with the library's own writer and reader.
std::string RoundTripFault(const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    return "holds a NUL character (\\u0000); the store keeps only the text before it";
  }
  json::Object entry;
  entry["key"] = json::Value("k");
  entry["value"] = json::Value(text);
  json::Array entries;
  entries.push_back(json::Value(std::move(entry)));
  json::Object root;
  root["Common"] = json::Value(std::move(entries));
  const json::Value back = json::Deserialize(json::Serialize(json::Value(std::move(root))));
  bool same = false;
  if (back.GetType() == json::ObjectVal && back.AsObject().HasKey("Common")) {
    const json::Value& group = back.AsObject()["Common"];
    if (group.GetType() == json::ArrayVal && group.size() == 1 &&
        group.AsArray()[0].GetType() == json::ObjectVal) {
      const json::Object& fields = group.AsArray()[0].AsObject();
      const auto value = fields.find("value");
      same = value != fields.end() && value->second.GetType() == json::StringVal &&
             value->second.AsString() == text;
    }
  }
  if (same) return std::string();
  if (text.find('"') != std::string::npos) {
    return "holds a double quote (\"); a dump writes texts without escapes, so the dump is not "
           "valid JSON and can't be loaded again";
  }
  if (text.find('\\') != std::string::npos) {
    return "holds a backslash (\\); a dump writes it unescaped and reading the dump back takes it "
           "as the start of an escape, so the text changes";
  }
  if (!text.empty() && (std::isspace(static_cast<unsigned char>(text.front())) ||
                        std::isspace(static_cast<unsigned char>(text.back())))) {
    return "begins or ends with blanks, which the reader strips when a dump is read back";
  }
  return "does not read back the same from a dump (the writer does not escape it)";
}

// The walk of one document in the store's order. Hard faults (the store refuses the document)
// end the walk; the first soft fault (an entry lost or not readable back) is kept while the walk
// goes on, since a later hard fault matters more.
class DocumentWalker {
 public:
  explicit DocumentWalker(CheckReport* report) : report_(*report) {}

  void Walk(const std::string& text) {
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
      Refuse(std::string("the file is empty: a configuration document is a JSON object such as ") +
             kExample);
      return;
    }
    const json::Value document = json::Deserialize(text);
    const SyntaxScan scan = ScanJsonSyntax(text);
    if (document.GetType() != json::NULLVal && scan.faulty) {
      report_.notes.push_back(
          "the library's lenient reader takes this text, but it is not strict "
          "JSON: line " +
          std::to_string(scan.faultPosition.line) + ", column " +
          std::to_string(scan.faultPosition.column) + ": " + scan.fault);
    }
    if (document.GetType() == json::NULLVal) {
      if (!scan.faulty && scan.rootStart != '{' && scan.rootStart != '[') {
        // The reader takes only an object or an array as a document.
        const char c = scan.rootStart;
        const char* kind = c == '"' ? "a text"
                           : std::isalpha(static_cast<unsigned char>(c))
                               ? "a single word (true, false or null)"
                               : "a number";
        Refuse(std::string("the document is ") + kind +
               ", not an object: the top level must be an object whose members are group names, "
               "for example " +
               kExample);
      } else if (scan.faulty) {
        Refuse("not a JSON document the library can read: line " +
               std::to_string(scan.faultPosition.line) + ", column " +
               std::to_string(scan.faultPosition.column) + ": " + scan.fault);
      } else {
        Refuse("the library's JSON reader refuses the text, although no syntax fault was found");
      }
      return;
    }
    if (document.GetType() != json::ObjectVal) {
      Refuse("the document is " + KindOf(document) +
             ", not an object: the top level must be an object whose members are group names, "
             "for example " +
             kExample);
      return;
    }
    FindRepeatedGroups(scan);
    const json::Object& root = document.AsObject();
    if (root.empty()) report_.notes.push_back("the document holds no groups: nothing is set");
    for (const auto& member : root) {
      if (!WalkGroup(member.first, member.second)) return;
      ++report_.groupCount;
    }
    report_.accepted = report_.problem.empty();
  }

 private:
  void Refuse(const std::string& problem) {
    report_.refusedByStore = true;
    report_.appliedBeforeRefusal = report_.entries.size();
    report_.accepted = false;
    report_.problem = problem;
  }

  // A later refusal replaces a soft problem; the first soft problem stays otherwise.
  void Soft(const std::string& problem) {
    if (report_.problem.empty()) report_.problem = problem;
  }

  // The reader keeps only the last of two members with one name: the first group's entries are
  // dropped without a word.
  void FindRepeatedGroups(const SyntaxScan& scan) {
    std::map<std::string, TextPosition> seen;
    for (const RootMember& member : scan.rootMembers) {
      const auto first = seen.find(member.name);
      if (first == seen.end()) {
        seen.emplace(member.name, member.position);
        continue;
      }
      Soft("group " + Quoted(member.name) + " appears twice (lines " +
           std::to_string(first->second.line) + " and " + std::to_string(member.position.line) +
           "): the reader keeps only the last, so the entries of the first are lost; merge them "
           "into one array");
      return;
    }
  }

  // Returns false when the store would stop here.
  bool WalkGroup(const std::string& name, const json::Value& value) {
    const kelStore::KelConfigGroup group = kelStore::GroupName2KelConfigGroup(name.c_str());
    if (group >= kelStore::kGroupLast || name != kelStore::KelConfigGroup2GroupName(group)) {
      Refuse(UnknownGroupMessage(name));
      return false;
    }
    if (value.GetType() != json::ArrayVal) {
      Refuse("group " + Quoted(name) + " holds " + KindOf(value) +
             ", not an array of {\"key\": ..., \"value\": ...} entries");
      return false;
    }
    report_.groupMask |= 1u << group;
    std::map<std::string, std::pair<size_t, std::string>> keys;  // key -> (index, value)
    const json::Array& entries = value.AsArray();
    for (size_t index = 0; index < entries.size(); ++index) {
      if (!WalkEntry(name, group, index, entries[index], &keys)) return false;
    }
    return true;
  }

  bool WalkEntry(const std::string& groupName, kelStore::KelConfigGroup group, size_t index,
                 const json::Value& entry,
                 std::map<std::string, std::pair<size_t, std::string>>* keys) {
    const std::string place = EntryPlace(groupName, index);
    if (entry.GetType() != json::ObjectVal) {
      Refuse(place + ": " + KindOf(entry) + ", not an object with \"key\" and \"value\"");
      return false;
    }
    const json::Object& fields = entry.AsObject();
    const auto key = fields.find("key");
    const auto value = fields.find("value");
    if (key == fields.end()) {
      Refuse(place + ": no \"key\" member");
      return false;
    }
    if (key->second.GetType() != json::StringVal) {
      Refuse(place + ": \"key\" is " + KindOf(key->second) + ", not a text");
      return false;
    }
    const std::string& keyText = key->second.AsString();
    const std::string keyPlace = place + ", key " + Quoted(keyText);
    if (value == fields.end()) {
      Refuse(keyPlace + ": no \"value\" member");
      return false;
    }
    if (value->second.GetType() != json::StringVal) {
      std::string advice;
      if (value->second.GetType() != json::ObjectVal && value->second.GetType() != json::ArrayVal &&
          value->second.GetType() != json::NULLVal) {
        advice = "; write it in quotes: " + Quoted(Printed(value->second));
      }
      Refuse(keyPlace + ": \"value\" is " + KindOf(value->second) + ", not a text" + advice);
      return false;
    }
    for (const auto& field : fields) {
      if (field.first != "key" && field.first != "value") {
        report_.notes.push_back(place + ": member " + Quoted(field.first) +
                                " is ignored (an entry has only \"key\" and \"value\")");
      }
    }
    const std::string& valueText = value->second.AsString();
    if (keyText.c_str()[0] == '\0') {
      Soft(place +
           ": the \"key\" is empty; the store refuses empty names, so this entry is "
           "skipped");
      return true;
    }
    if (const std::string fault = RoundTripFault(keyText); !fault.empty()) {
      Soft(keyPlace + ": the key " + fault);
    } else if (const std::string valueFault = RoundTripFault(valueText); !valueFault.empty()) {
      Soft(keyPlace + ": the value " + valueFault);
    }
    const std::string storedKey = keyText.c_str();
    const std::string storedValue = valueText.c_str();
    const auto earlier = keys->find(storedKey);
    if (earlier != keys->end() && earlier->second.second != storedValue) {
      Soft("group " + Quoted(groupName) + ": key " + Quoted(storedKey) + " appears in entry " +
           std::to_string(earlier->second.first + 1) + " and entry " + std::to_string(index + 1) +
           " with different values; the store keeps the last (" + Quoted(storedValue) + ")");
    }
    (*keys)[storedKey] = {index, storedValue};
    report_.entries.push_back({static_cast<uint32_t>(group), storedKey, storedValue});
    return true;
  }

  static std::string UnknownGroupMessage(const std::string& name) {
    std::string message;
    if (name == kelStore::KelConfigGroup2GroupName(kelStore::kGroupLast)) {
      message = Quoted(name) + " counts the groups; it is not a group";
    } else {
      message = "unknown group name " + Quoted(name);
      const std::string close = ClosestGroupName(name);
      if (!close.empty()) {
        std::string lowerName = name;
        std::string lowerClose = close;
        for (char& c : lowerName)
          c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (char& c : lowerClose) {
          c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        message += lowerName == lowerClose ? " (group names are case-sensitive: did you mean "
                                           : " (did you mean ";
        message += Quoted(close) + "?)";
      }
    }
    return message + "; valid names: " + ValidGroupNames();
  }

  CheckReport& report_;
};

}  // namespace

std::string ValidGroupNames() {
  std::string names;
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
    if (!names.empty()) names += ", ";
    names += kelStore::KelConfigGroup2GroupName(static_cast<kelStore::KelConfigGroup>(g));
  }
  return names;
}

size_t EditDistance(const std::string& a, const std::string& b) {
  // Optimal string alignment: a swap of two neighbouring letters ("Vidoe") counts as one edit.
  std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i)
    d[i][0] = i;
  for (size_t j = 0; j <= b.size(); ++j)
    d[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
      }
    }
  }
  return d[a.size()][b.size()];
}

std::string ClosestGroupName(const std::string& name) {
  auto lower = [](std::string text) {
    for (char& c : text)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  const std::string wanted = lower(name);
  std::string best;
  size_t bestDistance = 0;
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
    const std::string candidate =
        kelStore::KelConfigGroup2GroupName(static_cast<kelStore::KelConfigGroup>(g));
    const size_t distance = EditDistance(wanted, lower(candidate));
    if (best.empty() || distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  // A slip is a few letters: about a third of the name, at least one and at most three.
  const size_t limit = std::min<size_t>(3, std::max<size_t>(1, (best.size() + 1) / 3));
  return bestDistance <= limit ? best : std::string();
}

CheckReport CheckConfigDocument(const std::string& text) {
  CheckReport report;
  DocumentWalker(&report).Walk(text);
  if (!report.problem.empty()) report.accepted = false;
  return report;
}

}  // namespace msconfig
