#include "tools/mediastores-config/json_syntax.h"

#include <mediastores/json/json.h>

#include <cctype>
#include <cstdio>
#include <string>

namespace msconfig {
namespace {

// Recursive descent over the JSON grammar, stopping at the first fault.
class Scanner {
 public:
  explicit Scanner(const std::string& text) : text_(text) {}

  SyntaxScan Run() {
    SkipBlanks();
    if (AtEnd()) {
      Fail("the text is empty");
      return result_;
    }
    result_.rootStart = Peek();
    result_.rootIsObject = Peek() == '{';
    if (!Value(1, true)) return result_;
    SkipBlanks();
    if (!AtEnd()) Fail("unexpected " + Found() + " after the end of the document");
    return result_;
  }

 private:
  bool AtEnd() const { return pos_ >= text_.size(); }
  char Peek() const { return AtEnd() ? '\0' : text_[pos_]; }

  void Advance() {
    if (text_[pos_] == '\n') {
      ++here_.line;
      here_.column = 1;
    } else {
      ++here_.column;
    }
    ++pos_;
  }

  void SkipBlanks() {
    while (!AtEnd() && std::isspace(static_cast<unsigned char>(Peek())))
      Advance();
  }

  // What stands at the current position, for messages.
  std::string Found() const {
    if (AtEnd()) return "end of text";
    const unsigned char c = static_cast<unsigned char>(Peek());
    if (std::isprint(c)) return std::string("'") + static_cast<char>(c) + "'";
    char text[16];
    std::snprintf(text, sizeof(text), "byte 0x%02X", c);
    return text;
  }

  bool Fail(const std::string& message) { return FailAt(here_, message); }

  bool FailAt(TextPosition where, const std::string& message) {
    if (!result_.faulty) {
      result_.faulty = true;
      result_.faultPosition = where;
      result_.fault = message;
    }
    return false;
  }

  bool Value(int depth, bool root) {
    if (depth > json::kMaxNestingDepth) {
      return Fail("containers are nested deeper than " + std::to_string(json::kMaxNestingDepth) +
                  " levels");
    }
    const char c = Peek();
    if (c == '{') return Object(depth, root);
    if (c == '[') return Array(depth);
    if (c == '"') return String(nullptr);
    if (c == '-' || c == '+' || std::isdigit(static_cast<unsigned char>(c))) return Number();
    if (std::isalpha(static_cast<unsigned char>(c))) return Literal();
    if (c == '\'') return Fail("texts must be in double quotes (\"), not single quotes");
    return Fail("expected a value (object, array, string, number, true, false or null) but found " +
                Found());
  }

  bool Object(int depth, bool root) {
    Advance();  // '{'
    SkipBlanks();
    if (Peek() == '}') {
      Advance();
      return true;
    }
    for (;;) {
      if (Peek() == '\'')
        return Fail("member names must be in double quotes (\"), not single quotes");
      if (Peek() != '"')
        return Fail("expected a member name in double quotes but found " + Found());
      const TextPosition namePosition = here_;
      std::string name;
      if (!String(&name)) return false;
      if (root) result_.rootMembers.push_back({Trim(name), namePosition});
      SkipBlanks();
      if (Peek() != ':') {
        return Fail("expected ':' after the member name \"" + name + "\" but found " + Found());
      }
      Advance();
      SkipBlanks();
      if (!Value(depth + 1, false)) return false;
      SkipBlanks();
      if (Peek() == '}') {
        Advance();
        return true;
      }
      if (Peek() != ',') {
        return Fail("expected ',' or '}' after the value of member \"" + name + "\" but found " +
                    Found());
      }
      Advance();
      SkipBlanks();
      if (Peek() == '}') return Fail("a ',' must be followed by another member (remove the ',')");
    }
  }

  bool Array(int depth) {
    Advance();  // '['
    SkipBlanks();
    if (Peek() == ']') {
      Advance();
      return true;
    }
    for (;;) {
      if (Peek() == '"') {
        // The library's reader cuts a string element of an array at these characters.
        const TextPosition start = here_;
        std::string element;
        if (!String(&element)) return false;
        if (element.find_first_of(",][{") != std::string::npos) {
          return FailAt(start,
                        "a text element of an array must not hold ',', ']', '[' or '{' "
                        "(the library's reader refuses it)");
        }
      } else if (!Value(depth + 1, false)) {
        return false;
      }
      SkipBlanks();
      if (Peek() == ']') {
        Advance();
        return true;
      }
      if (Peek() != ',') return Fail("expected ',' or ']' in an array but found " + Found());
      Advance();
      SkipBlanks();
      if (Peek() == ']') return Fail("a ',' must be followed by another element (remove the ',')");
    }
  }

  // A string; `out` (if given) receives its text with the simple escapes undone.
  bool String(std::string* out) {
    const TextPosition start = here_;
    Advance();  // opening quote
    for (;;) {
      if (AtEnd()) return FailAt(start, "the text that starts here has no closing '\"'");
      const char c = Peek();
      if (c == '"') {
        Advance();
        return true;
      }
      if (c == '\\') {
        Advance();
        if (AtEnd()) return FailAt(start, "the text that starts here has no closing '\"'");
        const char e = Peek();
        if (e == 'u') {
          Advance();
          for (int i = 0; i < 4; ++i) {
            if (!std::isxdigit(static_cast<unsigned char>(Peek()))) {
              return Fail("'\\u' must be followed by four hexadecimal digits");
            }
            Advance();
          }
          continue;
        }
        if (out != nullptr) out->push_back(e == 'n' ? '\n' : e == 't' ? '\t' : e);
        Advance();
        continue;
      }
      if (out != nullptr) out->push_back(c);
      Advance();
    }
  }

  bool Number() {
    const TextPosition start = here_;
    if (Peek() == '-' || Peek() == '+') Advance();
    if (!std::isdigit(static_cast<unsigned char>(Peek()))) {
      return FailAt(start, "a number must have digits after its sign");
    }
    while (std::isdigit(static_cast<unsigned char>(Peek())))
      Advance();
    if (Peek() == '.') {
      Advance();
      if (!std::isdigit(static_cast<unsigned char>(Peek()))) {
        return Fail("a number needs digits after the '.'");
      }
      while (std::isdigit(static_cast<unsigned char>(Peek())))
        Advance();
    }
    if (Peek() == 'e' || Peek() == 'E') {
      Advance();
      if (Peek() == '-' || Peek() == '+') Advance();
      if (!std::isdigit(static_cast<unsigned char>(Peek()))) {
        return Fail("a number needs digits in its exponent");
      }
      while (std::isdigit(static_cast<unsigned char>(Peek())))
        Advance();
    }
    return true;
  }

  bool Literal() {
    const TextPosition start = here_;
    std::string word;
    while (std::isalnum(static_cast<unsigned char>(Peek())) || Peek() == '_') {
      word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(Peek()))));
      Advance();
    }
    if (word == "true" || word == "false" || word == "null") return true;
    return FailAt(start, "unknown word '" + word + "': texts must be in double quotes");
  }

  static std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return std::string();
    const size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
  }

  const std::string& text_;
  size_t pos_ = 0;
  TextPosition here_;
  SyntaxScan result_;
};

}  // namespace

SyntaxScan ScanJsonSyntax(const std::string& text) {
  return Scanner(text).Run();
}

}  // namespace msconfig
