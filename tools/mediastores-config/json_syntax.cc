#include "tools/mediastores-config/json_syntax.h"

#include <cctype>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace msconfig {
namespace {

bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// The grammar without recursion: the containers being read are kept on a stack, so any depth
// scans in linear time.
class Scanner {
 public:
  explicit Scanner(const std::string& text) : text_(text) {}

  SyntaxScan Run() {
    SkipBlanks();
    if (AtEnd()) {
      Fail("the text is empty");
    } else if (Value(-1)) {
      while (!open_.empty() && Step()) {
      }
      SkipBlanks();
      if (!AtEnd()) Fail("unexpected " + Found() + " after the end of the document");
    }
    return std::move(result_);
  }

 private:
  // A container being read.
  struct Open {
    int node;
    bool object;
    bool first;          // nothing read in it yet
    std::string member;  // the name of the object's last member
    size_t count = 0;    // elements of an array so far, without nulls (the reader drops them)
  };

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
    while (Peek() == ' ' || Peek() == '\t' || Peek() == '\n' || Peek() == '\r')
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

  // One step in the innermost open container: its end, or its next member or element.
  bool Step() {
    Open& open = open_.back();
    const char close = open.object ? '}' : ']';
    SkipBlanks();
    if (Peek() == close) {
      Advance();
      result_.nodes[open.node].end = pos_;
      open_.pop_back();
      return true;
    }
    if (!open.first) {
      if (Peek() != ',') {
        return Fail(open.object ? "expected ',' or '}' after the value of member \"" + open.member +
                                      "\" but found " + Found()
                                : "expected ',' or ']' in an array but found " + Found());
      }
      Advance();
      SkipBlanks();
      if (Peek() == close) {
        return Fail(std::string("a ',' must be followed by another ") +
                    (open.object ? "member" : "element") + " (remove the ',')");
      }
    }
    open.first = false;
    if (!open.object) ++open.count;
    const int container = open.node;
    if (open.object) {
      if (Peek() == '\'') {
        return Fail("member names must be in double quotes (\"), not single quotes");
      }
      if (Peek() != '"') {
        return Fail("expected a member name in double quotes but found " + Found());
      }
      const TextPosition namePosition = here_;
      const size_t nameBegin = pos_ + 1;
      if (!String(false)) return false;
      open.member = text_.substr(nameBegin, pos_ - 1 - nameBegin);
      if (container == 0) {
        result_.rootMembers.push_back({open.member, namePosition, -1});
        result_.rootMembers.back().node = static_cast<int>(result_.nodes.size());
      }
      SkipBlanks();
      if (Peek() != ':') {
        return Fail("expected ':' after the member name \"" + open.member + "\" but found " +
                    Found());
      }
      Advance();
      SkipBlanks();
    }
    return Value(container);  // may open a container: `open` is not used after this
  }

  // A value in `container` (-1: the document); a container is opened, a scalar read whole.
  bool Value(int container) {
    JsonNode node;
    node.start = Peek();
    node.begin = pos_;
    node.position = here_;
    node.parent = container;
    node.depth = container < 0 ? 1 : result_.nodes[container].depth + 1;
    result_.nodes.push_back(node);
    const int index = static_cast<int>(result_.nodes.size()) - 1;
    const char c = Peek();
    bool read = false;
    if (c == '{' || c == '[') {
      Advance();
      open_.push_back({index, c == '{', true, std::string()});
      return true;
    } else if (c == '"') {
      read = String(true);
    } else if (c == '-' || IsDigit(c)) {
      read = Number();
    } else if (std::isalpha(static_cast<unsigned char>(c))) {
      read = Word();
    } else if (c == '\'') {
      return Fail("texts must be in double quotes (\"), not single quotes");
    } else {
      return Fail("expected a value (object, array, text, number, true, false or null) but found " +
                  Found());
    }
    result_.nodes[index].end = pos_;
    return read;
  }

  // A text; `isValue` when it is a value rather than a member name.
  bool String(bool isValue) {
    const TextPosition start = here_;
    Advance();  // opening quote
    for (;;) {
      if (AtEnd()) return FailAt(start, "the text that starts here has no closing '\"'");
      const char c = Peek();
      if (c == '"') {
        Advance();
        return true;
      }
      if (static_cast<unsigned char>(c) < 0x20) {
        return Fail("a control character (" + Found() + ") must be written as an escape");
      }
      const TextPosition escape = here_;
      Advance();
      if (c != '\\') continue;
      const char e = Peek();
      if (e == 'u') {
        Advance();
        unsigned code = 0;
        for (int i = 0; i < 4; ++i, Advance()) {
          const char digit = Peek();
          if (!std::isxdigit(static_cast<unsigned char>(digit))) {
            return Fail("'\\u' must be followed by four hexadecimal digits");
          }
          code = code * 16 + static_cast<unsigned>(
                                 IsDigit(digit)
                                     ? digit - '0'
                                     : std::tolower(static_cast<unsigned char>(digit)) - 'a' + 10);
        }
        if (isValue && code > 0x7F) NoteWideEscape(escape, code);
      } else if (e != '\0' && std::string("\"\\/bfnrt").find(e) != std::string::npos) {
        Advance();
      } else if (!AtEnd()) {
        return Fail("unknown escape: '\\' followed by " + Found());
      }
    }
  }

  // Keeps a wide escape met in the "key" or "value" of an entry of a group.
  void NoteWideEscape(TextPosition where, unsigned code) {
    if (open_.size() != 3 || !open_[0].object || open_[1].object || !open_[2].object) return;
    const std::string& member = open_[2].member;
    if (member != "key" && member != "value") return;
    result_.wideEscapes.push_back(
        {where, code, result_.rootMembers.size() - 1, open_[1].count - 1, member == "key"});
  }

  bool Digits(const char* missing) {
    if (!IsDigit(Peek())) return Fail(missing);
    while (IsDigit(Peek()))
      Advance();
    return true;
  }

  bool Number() {
    if (Peek() == '-') Advance();
    if (Peek() == '0') {
      Advance();
      if (IsDigit(Peek())) return Fail("a number must not have a leading 0");
    } else if (!Digits("a number must have digits after its sign")) {
      return false;
    }
    if (Peek() == '.') {
      Advance();
      if (!Digits("a number needs digits after the '.'")) return false;
    }
    if (Peek() == 'e' || Peek() == 'E') {
      Advance();
      if (Peek() == '-' || Peek() == '+') Advance();
      if (!Digits("a number needs digits in its exponent")) return false;
    }
    return true;
  }

  bool Word() {
    const TextPosition start = here_;
    std::string word;
    while (std::isalnum(static_cast<unsigned char>(Peek())) || Peek() == '_') {
      word.push_back(Peek());
      Advance();
    }
    if (word == "null" && !open_.empty() && !open_.back().object) --open_.back().count;
    if (word == "true" || word == "false" || word == "null") return true;
    return FailAt(start, "unknown word '" + word +
                             "': texts must be in double quotes, and the only words are true, "
                             "false and null");
  }

  const std::string& text_;
  size_t pos_ = 0;
  TextPosition here_;
  std::vector<Open> open_;
  SyntaxScan result_;
};

}  // namespace

SyntaxScan ScanJsonSyntax(const std::string& text) {
  return Scanner(text).Run();
}

}  // namespace msconfig
