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

#include "mediaengine/mediastores/src/config/config_document.h"
#include "tools/mediastores-config/json_syntax.h"

namespace msconfig {
namespace {

using kelStore::ConfigDocument;
using kelStore::ConfigDocumentEntry;
using kelStore::ConfigDocumentFault;

const char kExample[] = "{\"Audio\":[{\"key\":\"SampleRate\",\"value\":\"48000\"}]}";

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string Lower(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Where(const TextPosition& position) {
  return "line " + std::to_string(position.line) + ", column " + std::to_string(position.column);
}

const char* GroupName(uint32_t group) {
  return kelStore::KelConfigGroup2GroupName(static_cast<kelStore::KelConfigGroup>(group));
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

std::string NotAnObject(const std::string& kind) {
  return "the document is " + kind +
         ", not an object: the top level must be an object whose members are group names, for "
         "example " +
         kExample;
}

// Where an entry sits, as people count (from 1) and as JSON tools index (from 0).
std::string EntryPlace(const std::string& group, size_t index) {
  return "group " + Quoted(group) + ", entry " + std::to_string(index + 1) + " (index " +
         std::to_string(index) + ")";
}

// Edit distance between two texts, a swap of two neighbouring letters ("Vidoe") counting as one.
size_t EditDistance(const std::string& a, const std::string& b) {
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

// The group name closest to `name` (letter case ignored), or "" when none is close enough to be a
// likely typing slip: a few letters, about a third of the name, at least one and at most three.
std::string ClosestGroupName(const std::string& name) {
  std::string best;
  size_t bestDistance = 0;
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
    const size_t distance = EditDistance(Lower(name), Lower(GroupName(g)));
    if (best.empty() || distance < bestDistance) {
      best = GroupName(g);
      bestDistance = distance;
    }
  }
  const size_t limit = std::min<size_t>(3, std::max<size_t>(1, (best.size() + 1) / 3));
  return bestDistance <= limit ? best : std::string();
}

std::string UnknownGroupMessage(const std::string& name) {
  std::string message;
  if (name == GroupName(kelStore::kGroupLast)) {
    message = Quoted(name) + " counts the groups; it is not a group";
  } else {
    message = "unknown group name " + Quoted(name);
    const std::string close = ClosestGroupName(name);
    if (!close.empty()) {
      message += Lower(name) == Lower(close) ? " (group names are case-sensitive: did you mean "
                                             : " (did you mean ";
      message += Quoted(close) + "?)";
    }
  }
  std::string names;
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g)
    names += std::string(g == 0 ? "" : ", ") + GroupName(g);
  return message + "; valid names: " + names;
}

// Why `text`, stored by the store, would not read back the same from a dump; "" when it does.
std::string RoundTripFault(const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    return "holds a NUL character (\\u0000); the store keeps only the text before it";
  }
  if (ConfigDocument::ReadsBack(text)) return std::string();
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

// Why the library's reader finds no document in `text`, and where. A syntax fault is shown where
// it is; for a text that is JSON, the reader itself is asked which is the smallest piece it
// refuses.
std::string ExplainUnreadable(const std::string& text, const SyntaxScan& scan,
                              TextPosition* where) {
  if (scan.faulty) {
    *where = scan.faultPosition;
    return "not a JSON document the library can read: " + Where(scan.faultPosition) + ": " +
           scan.fault;
  }
  const char root = scan.nodes[0].start;
  *where = scan.nodes[0].position;
  if (root != '{' && root != '[') {
    return NotAnObject(root == '"' ? "a text"
                       : std::isalpha(static_cast<unsigned char>(root))
                           ? "a single word (true, false or null)"
                           : "a number");
  }
  for (const JsonNode& node : scan.nodes) {
    if ((node.start == '{' || node.start == '[') && node.depth > json::kMaxNestingDepth) {
      *where = node.position;
      return "not a JSON document the library can read: " + Where(node.position) +
             ": containers are nested deeper than " + std::to_string(json::kMaxNestingDepth) +
             " levels";
    }
  }
  // Go into the first member or element that the reader refuses on its own, in a container of
  // the kind that holds it, for as long as there is one.
  int at = 0;
  for (bool deeper = true; deeper;) {
    deeper = false;
    const bool inObject = scan.nodes[at].start == '{';
    for (size_t i = at + 1; i < scan.nodes.size() && !deeper; ++i) {
      const JsonNode& node = scan.nodes[i];
      if (node.parent != at) continue;
      const std::string piece = text.substr(node.begin, node.end - node.begin);
      if (json::Deserialize(inObject ? "{\"k\":" + piece + "}" : "[" + piece + "]").GetType() ==
          json::NULLVal) {
        at = static_cast<int>(i);
        deeper = true;
      }
    }
  }
  *where = scan.nodes[at].position;
  return "not a JSON document the library can read: " + Where(scan.nodes[at].position) +
         ": the reader refuses the " + (at == 0 ? "document" : "value that starts here") +
         ", although it is valid JSON (json::Deserialize in mediastores/json/json.h says what "
         "the reader takes)";
}

// Why an escape above 0x7F is not held as written: the reader keeps only its last two digits.
std::string WideEscapeFault(const WideEscape& escape) {
  char text[256];
  std::snprintf(text, sizeof(text),
                "holds \\u%04x (%s): the library's reader keeps only its last two hexadecimal "
                "digits, the single byte 0x%02X, not the character U+%04X; write the character "
                "itself (UTF-8), not an escape",
                escape.code, Where(escape.position).c_str(), escape.code & 0xFFu, escape.code);
  return text;
}

// Line and column of the byte at `offset`.
TextPosition PositionOf(const std::string& text, size_t offset) {
  TextPosition position;
  for (size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++position.line;
      position.column = 1;
    } else {
      ++position.column;
    }
  }
  return position;
}

const TextPosition kNowhere = {0, 0};

// The check of one document: the library's walk, with a person's view of every fault.
class Checker {
 public:
  Checker(const std::string& text, CheckReport* report) : text_(text), report_(*report) {}

  void Run() {
    if (text_.find_first_not_of(" \t\r\n") == std::string::npos) {
      Refuse(std::string("the file is empty: a configuration document is a JSON object such as ") +
                 kExample,
             kNowhere);
      return;
    }
    const ConfigDocument document(text_);
    scan_ = ScanJsonSyntax(text_);
    if (document.Fault() == ConfigDocumentFault::kNotAnObject &&
        document.FaultValue().GetType() == json::NULLVal) {
      TextPosition where;
      const std::string why = ExplainUnreadable(text_, scan_, &where);
      Refuse(why, where);
      return;
    }
    if (scan_.faulty) {
      report_.notes.push_back(
          "the library's lenient reader takes this text, but it is not strict JSON: " +
          Where(scan_.faultPosition) + ": " + scan_.fault);
    }
    IndexWideEscapes();
    FindRepeatedGroups();
    if (document.Fault() == ConfigDocumentFault::kNone && document.Groups().empty()) {
      report_.notes.push_back("the document holds no groups: nothing is set");
    }
    for (const kelStore::KelConfigGroup group : document.Groups())
      report_.groupMask |= 1u << group;
    for (const ConfigDocumentEntry& entry : document.Entries())
      CheckEntry(entry);
    report_.groupCount = static_cast<int>(document.Groups().size());
    if (document.Fault() != ConfigDocumentFault::kNone) {
      Refuse(FaultMessage(document), FaultPosition(document));
      return;
    }
    report_.accepted = report_.problem.empty();
  }

 private:
  void Refuse(const std::string& problem, TextPosition where) {
    report_.refusedByStore = true;
    report_.appliedBeforeRefusal = report_.entries.size();
    report_.problem = problem;
    report_.problemAt = where;
  }

  // A later refusal replaces a soft problem; the first soft problem stays otherwise.
  void Soft(const std::string& problem, TextPosition where) {
    if (!report_.problem.empty()) return;
    report_.problem = problem;
    report_.problemAt = where;
  }

  // The top-level member the reader keeps for `name` (the last of that name), or null.
  const RootMember* LastMember(const std::string& name) const {
    for (auto member = scan_.rootMembers.rbegin(); member != scan_.rootMembers.rend(); ++member) {
      if (member->name == name) return &*member;
    }
    return nullptr;
  }

  // Where entry `index` of group `name` starts, counted as the reader does (nulls dropped).
  TextPosition EntryPosition(const std::string& name, size_t index) const {
    const RootMember* member = LastMember(name);
    if (member == nullptr) return kNowhere;
    for (size_t i = static_cast<size_t>(member->node) + 1; i < scan_.nodes.size(); ++i) {
      const JsonNode& node = scan_.nodes[i];
      if (node.parent != member->node || node.start == 'n') continue;
      if (index-- == 0) return node.position;
    }
    return kNowhere;
  }

  TextPosition FaultPosition(const ConfigDocument& document) const {
    const RootMember* member = LastMember(document.FaultGroup());
    switch (document.Fault()) {
      case ConfigDocumentFault::kNotAnObject:
        return scan_.nodes.empty() ? kNowhere : scan_.nodes[0].position;
      case ConfigDocumentFault::kUnknownGroup:
        return member != nullptr ? member->position : kNowhere;
      case ConfigDocumentFault::kGroupNotArray:
        return member != nullptr && static_cast<size_t>(member->node) < scan_.nodes.size()
                   ? scan_.nodes[member->node].position
                   : kNowhere;
      default:
        return EntryPosition(document.FaultGroup(), document.FaultIndex());
    }
  }

  // The first wide escape of each entry's key and value, in the members the reader keeps.
  void IndexWideEscapes() {
    for (const WideEscape& escape : scan_.wideEscapes) {
      const std::string& name = scan_.rootMembers[escape.member].name;
      if (LastMember(name) != &scan_.rootMembers[escape.member]) continue;
      auto& slot = wideEscapes_[{name, escape.entry}];
      const WideEscape*& first = escape.inKey ? slot.first : slot.second;
      if (first == nullptr) first = &escape;
    }
  }

  // The reader keeps only the last of two members with one name: the first group's entries are
  // dropped without a word.
  void FindRepeatedGroups() {
    std::map<std::string, TextPosition> seen;
    for (const RootMember& member : scan_.rootMembers) {
      const auto first = seen.emplace(member.name, member.position);
      if (first.second) continue;
      Soft("group " + Quoted(member.name) + " appears twice (lines " +
               std::to_string(first.first->second.line) + " and " +
               std::to_string(member.position.line) +
               "): the reader keeps only the last, so the entries of the first are lost; merge "
               "them into one array",
           member.position);
      return;
    }
  }

  void CheckEntry(const ConfigDocumentEntry& entry) {
    const std::string group = GroupName(entry.group);
    const std::string place = EntryPlace(group, entry.index);
    for (const std::string& member : entry.ignored) {
      report_.notes.push_back(place + ": member " + Quoted(member) +
                              " is ignored (an entry has only \"key\" and \"value\")");
    }
    const std::string storedKey = entry.key.c_str();
    const std::string storedValue = entry.value.c_str();
    if (storedKey.empty()) {
      SoftAt(entry, place +
                        ": the \"key\" is empty; the store refuses empty names, so this entry is "
                        "skipped");
      return;
    }
    const std::string keyPlace = place + ", key " + Quoted(entry.key);
    const auto wide = wideEscapes_.find({group, entry.index});
    if (const std::string fault = RoundTripFault(entry.key); !fault.empty()) {
      SoftAt(entry, keyPlace + ": the key " + fault);
    } else if (const std::string valueFault = RoundTripFault(entry.value); !valueFault.empty()) {
      SoftAt(entry, keyPlace + ": the value " + valueFault);
    } else if (wide != wideEscapes_.end()) {
      const WideEscape& escape =
          wide->second.first != nullptr ? *wide->second.first : *wide->second.second;
      Soft(keyPlace + ": the " + (escape.inKey ? "key " : "value ") + WideEscapeFault(escape),
           escape.position);
    }
    const auto earlier = keys_.find({entry.group, storedKey});
    if (earlier != keys_.end() && earlier->second.second != storedValue) {
      SoftAt(entry, "group " + Quoted(group) + ": key " + Quoted(storedKey) + " appears in entry " +
                        std::to_string(earlier->second.first + 1) + " and entry " +
                        std::to_string(entry.index + 1) +
                        " with different values; the store keeps the last (" + Quoted(storedValue) +
                        ")");
    }
    keys_[{entry.group, storedKey}] = {entry.index, storedValue};
    report_.entries.push_back({static_cast<uint32_t>(entry.group), storedKey, storedValue});
  }

  void SoftAt(const ConfigDocumentEntry& entry, const std::string& problem) {
    if (report_.problem.empty()) Soft(problem, EntryPosition(GroupName(entry.group), entry.index));
  }

  static std::string FaultMessage(const ConfigDocument& document) {
    const std::string& group = document.FaultGroup();
    const json::Value& found = document.FaultValue();
    const std::string place = EntryPlace(group, document.FaultIndex());
    const std::string keyPlace = place + ", key " + Quoted(document.FaultKey());
    switch (document.Fault()) {
      case ConfigDocumentFault::kNotAnObject:
        return NotAnObject(KindOf(found));
      case ConfigDocumentFault::kUnknownGroup:
        return UnknownGroupMessage(group);
      case ConfigDocumentFault::kGroupNotArray:
        return "group " + Quoted(group) + " holds " + KindOf(found) +
               ", not an array of {\"key\": ..., \"value\": ...} entries";
      case ConfigDocumentFault::kEntryNotObject:
        return place + ": " + KindOf(found) + ", not an object with \"key\" and \"value\"";
      case ConfigDocumentFault::kNoKey:
        return place + ": no \"key\" member";
      case ConfigDocumentFault::kKeyNotText:
        return place + ": \"key\" is " + KindOf(found) + ", not a text";
      case ConfigDocumentFault::kNoValue:
        return keyPlace + ": no \"value\" member";
      case ConfigDocumentFault::kValueNotText: {
        const json::ValueType type = found.GetType();
        const bool printable =
            type != json::ObjectVal && type != json::ArrayVal && type != json::NULLVal;
        return keyPlace + ": \"value\" is " + KindOf(found) + ", not a text" +
               (printable ? "; write it in quotes: " + Quoted(Printed(found)) : std::string());
      }
      case ConfigDocumentFault::kNone:
        break;
    }
    return std::string();
  }

  const std::string& text_;
  CheckReport& report_;
  SyntaxScan scan_;
  // By group name and entry index: the first wide escape in the entry's key and in its value.
  std::map<std::pair<std::string, size_t>, std::pair<const WideEscape*, const WideEscape*>>
      wideEscapes_;
  // Keys set so far, by group and key: the entry's index and value.
  std::map<std::pair<uint32_t, std::string>, std::pair<size_t, std::string>> keys_;
};

}  // namespace

CheckReport CheckConfigDocument(const std::string& text) {
  CheckReport report;
  const size_t nul = text.find('\0');
  if (nul == std::string::npos) {
    Checker(text, &report).Run();
    return report;
  }
  // ApplyKelConfigs takes a C string: the store sees the text before the first NUL byte only,
  // and the verdict on what it does is that of this text.
  const std::string seen = text.substr(0, nul);
  Checker(seen, &report).Run();
  if (!report.problem.empty()) {
    report.notes.push_back("in the text before the NUL byte: " + report.problem);
  }
  report.accepted = false;
  report.problemAt = PositionOf(text, nul);
  report.problem = "the library reads only the first " + std::to_string(nul) +
                   " bytes: a NUL byte ends the text (" + Where(report.problemAt) + ")";
  return report;
}

}  // namespace msconfig
