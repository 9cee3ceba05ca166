// The checks run on one input by the JSON fuzz target (fuzz/json_fuzz.cc) and by the seed corpus
// replay test (tests/json/corpus_replay_test.cc).
//
// For every input:
// - json::Deserialize gives null, an object or an array, and json::Serialize gives "" for null
//   and a text that starts with the container's bracket otherwise;
// - for inputs up to kSlicingReaderLimit bytes, the result equals, view by view, that of a
//   straightforward slicing reader (SlicingReader below: it copies substrings at every step, the
//   way the reader's rules are stated, so it is quadratic but easy to check by eye);
// - a document whose strings hold no quote or backslash (and whose array strings hold no ",",
//   "]", "[" or "{") reads back from its own text to the same text.
#ifndef MEDIASTORES_FUZZ_JSON_FUZZ_BODY_H_
#define MEDIASTORES_FUZZ_JSON_FUZZ_BODY_H_

#include <strings.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <utility>

#include "mediastores/json/json.h"

namespace json_fuzz {

constexpr size_t kSlicingReaderLimit = 4096;

// The reader's rules applied literally, on copies.
class SlicingReader {
 public:
  json::Value Deserialize(const std::string& text) { return DeserializeInternal(text); }

 private:
  enum { kObject = 0, kArray = 1 };

  static bool IsSpace(char c) { return c == '\0' || std::isspace(static_cast<unsigned char>(c)); }

  static std::string Trim(const std::string& s) {
    size_t b = 0;
    size_t e = s.size();
    while (b < e && IsSpace(s[b]))
      ++b;
    while (e > b && IsSpace(s[e - 1]))
      --e;
    return s.substr(b, e - b);
  }

  static size_t GetQuotePos(const std::string& s, size_t start) {
    bool escaped = false;
    for (size_t i = start; i < s.size(); ++i) {
      if (escaped) {
        escaped = false;
      } else if (s[i] == '\\') {
        escaped = true;
      } else if (s[i] == '"') {
        return i;
      }
    }
    return std::string::npos;
  }

  size_t GetEndOfArrayOrObj(const std::string& s) {
    if (s.size() < 2) return 1;
    const size_t depth = stack_.size();
    bool inString = false;
    for (size_t i = 1; i < s.size(); ++i) {
      const char c = s[i];
      if (c == '"') {
        if (s[i - 1] != '\\') inString = !inString;
      } else if (!inString && (c == '[' || c == '{')) {
        stack_.push_back(c == '[' ? kArray : kObject);
      } else if (!inString && (c == ']' || c == '}')) {
        const int expected = c == ']' ? kArray : kObject;
        if (stack_.empty() || stack_.back() != expected) return std::string::npos;
        const size_t before = stack_.size();
        stack_.pop_back();
        if (before == depth) return i;
      }
    }
    return s.size();
  }

  static int Hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  static std::string Unescape(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
      if (s[i] != '\\') {
        out += s[i];
        continue;
      }
      if (i + 1 == s.size()) {
        out += '\\';
        break;
      }
      const char n = s[++i];
      const char* from = "\"\\/bfnrt";
      const char* to = "\"\\/\b\f\n\r\t";
      if (const char* hit = std::strchr(from, n); hit != nullptr && n != '\0') {
        out += to[hit - from];
      } else if (n == 'u' && i + 4 < s.size() && Hex(s[i + 1]) >= 0 && Hex(s[i + 2]) >= 0 &&
                 Hex(s[i + 3]) >= 0 && Hex(s[i + 4]) >= 0) {
        out += static_cast<char>(Hex(s[i + 3]) * 16 + Hex(s[i + 4]));
        i += 4;
      }
    }
    return out;
  }

  static json::Value Classify(const std::string& token, bool dot, bool exponent) {
    const char* t = token.c_str();
    if (strcasecmp(t, "true") == 0) return json::Value(true);
    if (strcasecmp(t, "false") == 0) return json::Value(false);
    if (dot || exponent) return json::Value(std::atof(t));
    if (strcasecmp(t, "null") == 0) return json::Value();
    const double d = std::atof(t);
    if (d >= -2147483648.0 && d <= 2147483647.0) {
      return json::Value(static_cast<int>(std::strtol(t, nullptr, 10)));
    }
    if (d >= 0 && d <= 4294967295.0) return json::Value(static_cast<unsigned int>(d));
    if (d >= -9223372036854775808.0 && d <= 9223372036854775808.0) {
      return json::Value(d >= 9223372036854775807.0 ? 9223372036854775807LL
                                                    : static_cast<long long>(d));
    }
    return json::Value(d);
  }

  json::Value DeserializeValue(std::string& str, bool* error) {
    *error = false;
    str = Trim(str);
    if (str.empty()) return json::Value();
    const char first = str[0];
    if (first == '[' || first == '{') {
      if (depth_ >= json::kMaxNestingDepth) {
        *error = true;
        return json::Value();
      }
      stack_.push_back(first == '[' ? kArray : kObject);
      const size_t end = GetEndOfArrayOrObj(str);
      if (end == std::string::npos || end >= str.size()) {
        *error = true;
        return json::Value();
      }
      ++depth_;
      json::Value v = first == '[' ? DeserializeArray(str.substr(0, end + 1))
                                   : DeserializeInternal(str.substr(0, end + 1));
      --depth_;
      str = str.substr(end + 1);
      if (v.GetType() == json::NULLVal) *error = true;
      return v;
    }
    if (first == '"') {
      const size_t close = GetQuotePos(str, 1);
      if (close == std::string::npos) {
        *error = true;
        return json::Value();
      }
      json::Value v(Trim(Unescape(str.substr(1, close - 1))));
      str = str.substr(close + 1);
      return v;
    }
    std::string token;
    bool dot = false;
    bool exponent = false;
    size_t i = 0;
    for (; i < str.size() && str[i] != ','; ++i) {
      const char c = str[i];
      if (c == '.') dot = true;
      if (c == 'e') exponent = true;
      if (c == '}' || c == ']') {
        const int expected = c == '}' ? kObject : kArray;
        if (stack_.empty() || stack_.back() != expected) {
          *error = true;
          return json::Value();
        }
        stack_.pop_back();
      }
      if (!IsSpace(c)) token += c;
    }
    str = str.substr(i);
    return Classify(token, dot, exponent);
  }

  json::Value DeserializeArray(std::string str) {
    str = Trim(str);
    if (str.empty() || str[0] != '[' || str.back() != ']') return json::Value();
    str = str.substr(1, str.size() - 2);
    json::Array elements;
    bool error = false;
    while (!str.empty()) {
      std::string token;
      for (size_t i = 0; i < str.size(); ++i) {
        const char c = str[i];
        if (c == '{' || c == '[') {
          std::string rest = str.substr(i);
          json::Value v = DeserializeValue(rest, &error);
          if (error) return json::Value();
          if (v.GetType() != json::NULLVal) elements.push_back(std::move(v));
          str = rest;
          break;
        }
        bool last = false;
        if (c == ',' || c == ']') {
          last = true;
        } else {
          token += c;
          last = i + 1 == str.size();
        }
        if (last) {
          json::Value v = DeserializeValue(token, &error);
          if (error) return json::Value();
          if (v.GetType() != json::NULLVal) elements.push_back(std::move(v));
          str = str.substr(i + 1);
          break;
        }
      }
    }
    return json::Value(std::move(elements));
  }

  json::Value DeserializeInternal(std::string str) {
    str = Trim(str);
    if (str.empty()) return json::Value();
    if (str[0] == '[' && str.back() == ']') {
      stack_.push_back(kArray);
      json::Value v = DeserializeArray(str);
      if (!stack_.empty() && stack_.back() == kArray) stack_.pop_back();
      return v;
    }
    if (str[0] == '{' && str.back() == '}') {
      stack_.push_back(kObject);
      std::string members = Trim(str.substr(1, str.size() - 2));
      json::Object object;
      while (!members.empty()) {
        const size_t q1 = GetQuotePos(members, 0);
        if (q1 == std::string::npos) return json::Value();
        const size_t q2 = GetQuotePos(members, q1 + 1);
        if (q2 == std::string::npos) return json::Value();
        const size_t colon = members.find(':', q2 + 1);
        if (colon == std::string::npos) return json::Value();
        const std::string key = members.substr(q1 + 1, q2 - q1 - 1);
        if (key.empty()) return json::Value();
        members = members.substr(colon + 1);
        bool error = false;
        json::Value v = DeserializeValue(members, &error);
        if (error) return json::Value();
        object[key] = std::move(v);
      }
      if (!stack_.empty() && stack_.back() == kObject) stack_.pop_back();
      return json::Value(std::move(object));
    }
    return json::Value();
  }

  std::deque<int> stack_;
  int depth_ = 1;
};

// Same type and the same bits in every view, recursively.
inline bool SameValue(const json::Value& a, const json::Value& b) {
  if (a.GetType() != b.GetType() || a.ToInt() != b.ToInt() || a.ToUInt() != b.ToUInt() ||
      a.ToInt64() != b.ToInt64() || a.ToBool() != b.ToBool()) {
    return false;
  }
  const float fa = a.ToFloat();
  const float fb = b.ToFloat();
  const double da = a.ToDouble();
  const double db = b.ToDouble();
  if (std::memcmp(&fa, &fb, sizeof(fa)) != 0 || std::memcmp(&da, &db, sizeof(da)) != 0) {
    return false;
  }
  switch (a.GetType()) {
    case json::StringVal:
      return a.AsString() == b.AsString();
    case json::ObjectVal: {
      const json::Object& oa = a.AsObject();
      const json::Object& ob = b.AsObject();
      if (oa.size() != ob.size()) return false;
      for (auto i = oa.begin(), j = ob.begin(); i != oa.end(); ++i, ++j) {
        if (i->first != j->first || !SameValue(i->second, j->second)) return false;
      }
      return true;
    }
    case json::ArrayVal: {
      const json::Array& xa = a.AsArray();
      const json::Array& xb = b.AsArray();
      if (xa.size() != xb.size()) return false;
      for (size_t i = 0; i < xa.size(); ++i) {
        if (!SameValue(xa[i], xb[i])) return false;
      }
      return true;
    }
    default:
      return true;
  }
}

// Whether the writer's text of `v` reads back as the same text: no string or key holds a quote
// or backslash, and no string element of an array holds a character that ends an array token.
inline bool WritesReadably(const json::Value& v, bool inArray = false) {
  switch (v.GetType()) {
    case json::StringVal: {
      const std::string& s = v.AsString();
      return s.find_first_of(inArray ? "\"\\,[]{" : "\"\\") == std::string::npos;
    }
    case json::ObjectVal:
      for (const auto& member : v.AsObject()) {
        if (member.first.find_first_of("\"\\") != std::string::npos) return false;
        if (!WritesReadably(member.second)) return false;
      }
      return true;
    case json::ArrayVal:
      for (const json::Value& element : v.AsArray()) {
        if (!WritesReadably(element, true)) return false;
      }
      return true;
    default:
      return true;
  }
}

// Runs every check on one input; returns "" or a description of the first failed check.
inline std::string CheckOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const json::Value value = json::Deserialize(text);
  const std::string written = json::Serialize(value);
  const json::ValueType type = value.GetType();
  if (type == json::NULLVal) {
    if (!written.empty()) return "a null document was written as text";
  } else if (type == json::ObjectVal || type == json::ArrayVal) {
    if (written.empty() || written[0] != (type == json::ObjectVal ? '{' : '[')) {
      return "a container was written without its bracket";
    }
  } else {
    return "the document is neither null nor a container";
  }

  if (size <= kSlicingReaderLimit) {
    const json::Value expected = SlicingReader().Deserialize(text);
    if (!SameValue(value, expected)) {
      return "the reader differs from the slicing reader; expected \"" + json::Serialize(expected) +
             "\", got \"" + written + "\"";
    }
  }

  if (type != json::NULLVal && WritesReadably(value)) {
    const std::string rewritten = json::Serialize(json::Deserialize(written));
    if (rewritten != written) {
      return "text \"" + written + "\" reads back as \"" + rewritten + "\"";
    }
  }
  return std::string();
}

}  // namespace json_fuzz

#endif  // MEDIASTORES_FUZZ_JSON_FUZZ_BODY_H_
