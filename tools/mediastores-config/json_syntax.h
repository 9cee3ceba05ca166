// A strict syntax scan of a JSON text that says where the text goes wrong (line and column) and
// which member names the top-level object holds. The library's reader only answers "no document";
// this scan turns that into something a person can fix, and finds repeated group names, which the
// reader silently merges into the last one.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_

#include <string>
#include <vector>

namespace msconfig {

// A place in the text, counted from 1.
struct TextPosition {
  int line = 1;
  int column = 1;
};

// A member name of the top-level object, as written (escapes undone, surrounding blanks removed
// as the library's reader removes them).
struct RootMember {
  std::string name;
  TextPosition position;
};

struct SyntaxScan {
  // The first syntax fault, if any.
  bool faulty = false;
  TextPosition faultPosition;
  std::string fault;
  // The first character of the document (after blanks); '\0' for a blank text.
  char rootStart = '\0';
  // True when the text starts with an object; its member names, in the order written.
  bool rootIsObject = false;
  std::vector<RootMember> rootMembers;
};

// Scans `text` as JSON. Literals true, false and null are accepted in any letter case, as the
// library's reader accepts them; everything else follows the JSON grammar.
SyntaxScan ScanJsonSyntax(const std::string& text);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_
