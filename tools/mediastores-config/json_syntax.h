// A strict scan of a JSON text, for people: where the text stops being JSON (line and column),
// where each value stands, and the member names of the top-level object as written. The library's
// reader only answers "no document"; the tool asks the reader what it takes, and uses this scan
// to point at the place.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_

#include <cstddef>
#include <string>
#include <vector>

namespace msconfig {

// A place in the text, counted from 1.
struct TextPosition {
  int line = 1;
  int column = 1;
};

// One value of the text.
struct JsonNode {
  char start = '\0';  // its first character: '{', '[', '"', or that of a number or a word
  size_t begin = 0;   // its text is [begin, end)
  size_t end = 0;
  TextPosition position;
  int parent = -1;  // the node of the enclosing container; -1 for the document itself
  int depth = 1;    // 1 for the document, one more for each enclosing container
};

// A member name of the top-level object: the characters between its quotes, as written.
struct RootMember {
  std::string name;
  TextPosition position;
  int node = -1;  // the node of its value
};

// A \u escape above 0x7F in the "key" or "value" of an entry (an object in an array that is the
// value of a top-level member). The library's reader keeps one byte of it, not the character.
struct WideEscape {
  TextPosition position;  // of the backslash
  unsigned code = 0;      // the four hexadecimal digits
  size_t member = 0;      // the top-level member: its index in rootMembers
  size_t entry = 0;       // the entry's index in the array as the reader counts (nulls dropped)
  bool inKey = false;     // in "key", else in "value"
};

struct SyntaxScan {
  // The first fault, if any.
  bool faulty = false;
  TextPosition faultPosition;
  std::string fault;
  // Every value met before the fault, in the order of the text (the document first).
  std::vector<JsonNode> nodes;
  std::vector<RootMember> rootMembers;
  std::vector<WideEscape> wideEscapes;
};

// Scans `text` against the JSON grammar, at any depth, up to the first fault.
SyntaxScan ScanJsonSyntax(const std::string& text);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_SYNTAX_H_
