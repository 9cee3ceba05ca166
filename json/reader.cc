// json::Deserialize: the lenient reader.
#include "json/reader.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tuple>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "mediastores/json/json.h"

namespace json {
namespace internal {
namespace {

constexpr size_t kNotFound = std::string_view::npos;

// The characters a container scan stops at outside strings: quotes, brackets, braces and the
// commas that separate entries.
struct StructuralTable {
  bool entries[256] = {};
  constexpr StructuralTable() {
    entries[static_cast<unsigned char>('"')] = true;
    entries[static_cast<unsigned char>(',')] = true;
    entries[static_cast<unsigned char>('[')] = true;
    entries[static_cast<unsigned char>(']')] = true;
    entries[static_cast<unsigned char>('{')] = true;
    entries[static_cast<unsigned char>('}')] = true;
  }
  constexpr bool operator[](unsigned char c) const { return entries[c]; }
};
constexpr StructuralTable kStructural;

// The first `c` in [from, end), or nullptr.
inline const char* FindByte(const char* from, const char* end, char c) {
  return static_cast<const char*>(std::memchr(from, c, static_cast<size_t>(end - from)));
}

// Word-at-a-time search: eight bytes are tested together for a byte equal to a given one. The
// lowest marked byte of HasByte is the first match (a false mark can only follow a true one).
constexpr uint64_t kOnes = 0x0101010101010101ULL;
constexpr uint64_t kHighs = 0x8080808080808080ULL;

inline uint64_t HasByte(uint64_t word, uint64_t pattern) {
  const uint64_t x = word ^ pattern;
  return (x - kOnes) & ~x & kHighs;
}

// The first byte in [from, end) equal to `a` or `b`, or `end`.
inline size_t FindEither(const char* text, size_t from, size_t end, char a, char b) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  const uint64_t patternA = kOnes * static_cast<unsigned char>(a);
  const uint64_t patternB = kOnes * static_cast<unsigned char>(b);
  while (end - from >= 8) {
    uint64_t word;
    std::memcpy(&word, text + from, 8);
    const uint64_t marks = HasByte(word, patternA) | HasByte(word, patternB);
    if (marks != 0) return from + static_cast<size_t>(__builtin_ctzll(marks) >> 3);
    from += 8;
  }
#endif
  while (from < end && text[from] != a && text[from] != b)
    ++from;
  return from;
}

// Commas without entries (or null elements, which are dropped) leave a container with far more
// room than entries: the room is given back then.
template <typename Vector>
void GiveBackRoom(Vector& entries) {
  if (entries.size() * 2 < entries.capacity()) entries.shrink_to_fit();
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

// The largest extent buffer a thread keeps for its next document.
constexpr size_t kKeptExtentBytes = 1 << 20;

std::vector<Reader::Extent>& Reader::ExtentBuffer() {
  thread_local std::vector<Extent> buffer;
  return buffer;
}

Reader::Reader(std::string_view text) : mText(text), mExtents(ExtentBuffer()) {}

Reader::~Reader() {
  mExtents.clear();
  if (mExtents.capacity() * sizeof(Extent) > kKeptExtentBytes) std::vector<Extent>().swap(mExtents);
}

Value Reader::Read() {
  Value document;
  if (!ReadDocument(0, mText.size(), document)) return Value();
  return document;
}

bool Reader::ReadDocument(size_t begin, size_t end, Value& out) {
  Trim(begin, end);
  if (begin == end) return false;
  const char first = mText[begin];
  const char last = mText[end - 1];
  if (first == '[' && last == ']') {
    mDepthStack.push_back(kInArray);
    if (!ReadArray(begin, end, out)) return false;
    if (!mDepthStack.empty() && mDepthStack.back() == kInArray) mDepthStack.pop_back();
    return true;
  }
  if (first == '{' && last == '}') {
    mDepthStack.push_back(kInObject);
    if (!ReadMembers(begin + 1, end - 1, out.HoldObject())) return false;
    if (!mDepthStack.empty() && mDepthStack.back() == kInObject) mDepthStack.pop_back();
    return true;
  }
  // A bare scalar, unbalanced ends: the top level must be a container.
  return false;
}

bool Reader::ReadMembers(size_t begin, size_t end, Object& object) {
  Trim(begin, end);
  const char* text = mText.data();
  Object::MemberVector& members = object.mMembers;
  // Room for the members the container scan counted, in one allocation.
  const size_t room = TakeSizeHint();
  if (begin < end) members.reserve(room);
  bool ordered = true;
  while (begin < end) {
    // Whatever precedes the key's opening quote is skipped, the comma included. Most keys follow
    // the separating comma directly; a quote right after a comma is not escaped.
    if (text[begin] == ',' && begin + 1 < end && text[begin + 1] == '"') ++begin;
    const size_t keyQuote = text[begin] == '"' ? begin : GetQuotePos(begin, end);
    if (keyQuote == kNotFound) return false;
    size_t keyEnd = FindEither(text, keyQuote + 1, end, '"', '\\');
    // A key with a backslash before its closing quote takes the general search.
    if (keyEnd < end && text[keyEnd] == '\\') keyEnd = GetQuotePos(keyQuote + 1, end);
    if (keyEnd == kNotFound || keyEnd == end) return false;
    const char* colon = keyEnd + 1 < end && text[keyEnd + 1] == ':'
                            ? text + keyEnd + 1
                            : FindByte(text + keyEnd + 1, text + end, ':');
    if (colon == nullptr) return false;
    // The key is taken as it stands, escapes included.
    const std::string_view key(text + keyQuote + 1, keyEnd - keyQuote - 1);
    if (key.empty()) return false;
    begin = static_cast<size_t>(colon - text) + 1;

    // Keys usually come in ascending order; any other order is sorted out at the end.
    if (ordered && !members.empty() && !(members.back().first < key)) ordered = false;
    members.emplace_back(std::piecewise_construct, std::forward_as_tuple(key),
                         std::forward_as_tuple());
    if (!ReadValue(begin, end, members.back().second)) return false;
  }
  if (!ordered) {
    // Sorted through positions, the later of equal keys first, and only the first of equal keys
    // is kept: a repeated key replaces the earlier value.
    std::vector<size_t> order(members.size());
    for (size_t k = 0; k < order.size(); ++k)
      order[k] = k;
    std::sort(order.begin(), order.end(), [&members](size_t a, size_t b) {
      const int byKey = members[a].first.compare(members[b].first);
      return byKey != 0 ? byKey < 0 : a > b;
    });
    Object::MemberVector sorted;
    sorted.reserve(order.size());
    for (const size_t k : order) {
      if (!sorted.empty() && members[k].first == sorted.back().first) continue;
      sorted.push_back(std::move(members[k]));
    }
    members.swap(sorted);
  }
  GiveBackRoom(members);
  return true;
}

bool Reader::ReadArray(size_t begin, size_t end, Value& out) {
  Trim(begin, end);
  if (begin == end || mText[begin] != '[' || mText[end - 1] != ']') return false;
  const char* text = mText.data();
  size_t rest = begin + 1;
  size_t restEnd = end - 1;
  Array::ValueVector& elements = out.HoldArray().mVector;
  // Room for the elements the container scan counted, in one allocation.
  const size_t room = TakeSizeHint();
  if (rest < restEnd) elements.reserve(room);
  while (rest < restEnd) {
    for (size_t i = rest;; ++i) {
      const char c = text[i];
      if (c == '{' || c == '[') {
        // A nested container: read from here; what was collected before it is dropped.
        size_t valueBegin = i;
        elements.emplace_back();
        if (!ReadValue(valueBegin, restEnd, elements.back())) return false;
        rest = valueBegin;
        break;
      }
      size_t tokenEnd;
      if (c == ',' || c == ']') {
        tokenEnd = i;
      } else if (i + 1 == restEnd) {
        tokenEnd = restEnd;
      } else {
        continue;
      }
      // A scalar element: the characters up to the stop character, which is consumed.
      size_t tokenBegin = rest;
      Trim(tokenBegin, tokenEnd);
      if (tokenBegin < tokenEnd) {
        elements.emplace_back();
        if (!ReadValue(tokenBegin, tokenEnd, elements.back())) return false;
        // Null elements are dropped.
        if (elements.back().mValueType == NULLVal) elements.pop_back();
      }
      rest = i + 1;
      break;
    }
  }
  GiveBackRoom(elements);
  return true;
}

bool Reader::ReadValue(size_t& begin, size_t& end, Value& out) {
  Trim(begin, end);
  if (begin == end) return true;
  const char first = mText[begin];
  if (first == '[' || first == '{') {
    if (mDepth >= kMaxNestingDepth) return false;
    const size_t close = FindContainerEnd(begin, end);
    if (close == kNotFound) return false;
    ++mDepth;
    const bool ok =
        first == '[' ? ReadArray(begin, close + 1, out) : ReadDocument(begin, close + 1, out);
    --mDepth;
    if (!ok) return false;
    begin = close + 1;
    return true;
  }
  if (first == '"') return ReadString(begin, end, out);
  return ReadScalar(begin, end, out);
}

bool Reader::ReadString(size_t& begin, size_t end, Value& out) {
  // Most strings hold no backslash: up to the first quote or backslash in one pass, and a string
  // that closes before any backslash is taken as it stands (trimmed).
  const char* text = mText.data();
  const size_t i = FindEither(text, begin + 1, end, '"', '\\');
  if (i < end && text[i] == '"') {
    size_t first = begin + 1;
    size_t last = i;
    Trim(first, last);
    out.HoldString(text + first, last - first);
    begin = i + 1;
    return true;
  }
  const size_t close = GetQuotePos(begin + 1, end);
  if (close == kNotFound) return false;
  Unescape(begin + 1, close, out);
  begin = close + 1;
  return true;
}

bool Reader::ReadScalar(size_t& begin, size_t end, Value& out) {
  mToken.clear();
  bool hasDot = false;
  bool hasExponent = false;
  size_t i = begin;
  for (; i < end; ++i) {
    const char c = mText[i];
    if (c == ',') break;
    if (c == '.') {
      hasDot = true;
    } else if (c == 'e') {
      hasExponent = true;
    } else if (c == '}' || c == ']') {
      // A closing character inside a token ends the container entry it matches, if that entry
      // is on top; otherwise the document is malformed. The character stays in the token.
      const uint8_t expected = c == '}' ? kInObject : kInArray;
      if (mDepthStack.empty() || mDepthStack.back() != expected) return false;
      mDepthStack.pop_back();
    }
    if (!IsSpace(c)) mToken.push_back(c);
  }
  begin = i;
  ClassifyToken(hasDot, hasExponent, out);
  return true;
}

namespace {

// Gives `out` (a null value holding nothing) the type and views of a number or bool.
template <typename Number>
void SetScalar(Value& out, Number number) {
  out = Value(number);
}

}  // namespace

void Reader::ClassifyToken(bool hasDot, bool hasExponent, Value& out) const {
  const char* token = mToken.c_str();
  // Only a token starting with a letter can be a word (the case of a letter is bit 0x20).
  const char lower = static_cast<char>(token[0] | 0x20);
  if (lower == 't' && strcasecmp(token, "true") == 0) return SetScalar(out, true);
  if (lower == 'f' && strcasecmp(token, "false") == 0) return SetScalar(out, false);
  if (hasDot || hasExponent) return SetScalar(out, std::strtod(token, nullptr));
  if (lower == 'n' && strcasecmp(token, "null") == 0) return;

  // Short decimal integers: the value atof and atoi would give, without calling them.
  const size_t length = mToken.size();
  const size_t sign = (length > 0 && token[0] == '-') ? 1 : 0;
  if (length > sign && length - sign <= 9) {
    int magnitude = 0;
    size_t i = sign;
    for (; i < length && token[i] >= '0' && token[i] <= '9'; ++i) {
      magnitude = magnitude * 10 + (token[i] - '0');
    }
    if (i == length) return SetScalar(out, sign ? -magnitude : magnitude);
  }

  // atof, then the narrowest integer type whose range holds the number.
  const double number = std::strtod(token, nullptr);
  if (number >= -2147483648.0 && number <= 2147483647.0) {
    // atoi: strtol truncated to int.
    return SetScalar(out, static_cast<int>(std::strtol(token, nullptr, 10)));
  }
  if (number >= 0.0 && number <= 4294967295.0) {
    return SetScalar(out, static_cast<unsigned int>(number));
  }
  if (number >= -9223372036854775808.0 && number <= 9223372036854775808.0) {
    // 2^63 itself is one past the type's range: it is kept as the largest 64-bit value.
    return SetScalar(out, number >= 9223372036854775807.0 ? 9223372036854775807LL
                                                          : static_cast<long long>(number));
  }
  SetScalar(out, number);
}

size_t Reader::FindContainerEnd(size_t begin, size_t end) {
  if (end - begin < 2) return kNotFound;
  // A scan that saw this opening outside a string found its closing; a scan from here would
  // process the same characters in the same state, so it would find the same closing if the text
  // reaches that far, and run off the end otherwise.
  while (mExtentCursor < mExtents.size() && mExtents[mExtentCursor].open < begin) {
    ++mExtentCursor;
  }
  if (mExtentCursor < mExtents.size() && mExtents[mExtentCursor].open == begin) {
    const Extent& extent = mExtents[mExtentCursor];
    mSizeHint = extent.entries;
    return extent.close < end ? extent.close : kNotFound;
  }
  // Record only past everything recorded so far, to keep the records sorted.
  const bool record = mExtents.empty() || begin > mRecordedUntil;
  // About one container per few dozen bytes in configuration documents.
  if (mExtents.empty()) mExtents.reserve((end - begin) / 64);
  const size_t index = mExtents.size();
  const size_t close = ScanContainerEnd(begin, end, record);
  if (record && close != kNotFound) mRecordedUntil = close;
  mSizeHint = record && close != kNotFound ? mExtents[index].entries : 0;
  return close;
}

size_t Reader::ScanContainerEnd(size_t begin, size_t end, bool record) {
  const char* text = mText.data();
  mScanStack.clear();
  auto push = [this, record](size_t at) {
    const uint8_t kind = mText[at] == '{' ? kInObject : kInArray;
    size_t index = 0;
    if (record) {
      index = mExtents.size();
      mExtents.push_back(Extent{at, kNotFound, 1});
    }
    mScanStack.emplace_back(kind, index);
  };
  push(begin);
  bool inString = false;
  size_t result = kNotFound;
  // Takes the character at `i`, a quote inside a string or a structural character outside one;
  // false when the scan is over, with its outcome in `result`. A quote right after a backslash
  // neither opens nor closes a string (so a string ending in an escaped backslash runs on: the
  // scan looks at one character back).
  auto visit = [&](size_t i) {
    const char c = text[i];
    if (c == '"') {
      if (text[i - 1] != '\\') inString = !inString;
      return true;
    }
    if (c == ',') {
      if (record) ++mExtents[mScanStack.back().second].entries;
      return true;
    }
    if (c == '[' || c == '{') {
      push(i);
      return true;
    }
    const uint8_t expected = c == '}' ? kInObject : kInArray;
    if (mScanStack.back().first != expected) return false;
    if (record) mExtents[mScanStack.back().second].close = i;
    mScanStack.pop_back();
    if (!mScanStack.empty()) return true;
    result = i;
    return false;
  };
  size_t i = begin + 1;
#if defined(__SSE2__)
  // Sixteen bytes at a time: a mask of the quotes and one of every structural character, whose
  // bits are taken in order (only the quotes inside a string).
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i comma = _mm_set1_epi8(',');
  const __m128i caseBit = _mm_set1_epi8(0x20);
  const __m128i opening = _mm_set1_epi8('{');  // also '[' once the 0x20 bit is set
  const __m128i closing = _mm_set1_epi8('}');  // also ']'
  for (; end - i >= 16; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i folded = _mm_or_si128(block, caseBit);
    const unsigned quotes = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, quote)));
    const unsigned all =
        quotes | static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
                     _mm_cmpeq_epi8(block, comma), _mm_or_si128(_mm_cmpeq_epi8(folded, opening),
                                                                _mm_cmpeq_epi8(folded, closing)))));
    unsigned offset = 0;
    for (;;) {
      const unsigned pending = (inString ? quotes : all) >> offset;
      if (pending == 0) break;
      offset += static_cast<unsigned>(__builtin_ctz(pending));
      if (!visit(i + offset)) return result;
      if (++offset == 16) break;
    }
  }
#endif
  for (; i < end; ++i) {
    const bool stop = inString ? text[i] == '"' : kStructural[static_cast<unsigned char>(text[i])];
    if (stop && !visit(i)) return result;
  }
  return kNotFound;
}

size_t Reader::GetQuotePos(size_t begin, size_t end) const {
  // A backslash escapes the character after it, so a quote is escaped exactly when an odd run of
  // backslashes (counted from `begin` on) stands right before it: whatever precedes the run is
  // consumed on its own or as an escaped character, and the run then pairs up from its start.
  const char* text = mText.data();
  size_t from = begin;
  while (from < end) {
    const char* found = FindByte(text + from, text + end, '"');
    if (found == nullptr) return kNotFound;
    const size_t quote = static_cast<size_t>(found - text);
    size_t run = quote;
    while (run > begin && text[run - 1] == '\\')
      --run;
    if ((quote - run) % 2 == 0) return quote;
    from = quote + 1;
  }
  return kNotFound;
}

void Reader::Unescape(size_t begin, size_t end, Value& value) const {
  const char* text = mText.data();
  std::string& out = value.HoldString();
  auto trim = [&out] {
    size_t last = out.size();
    while (last > 0 && IsSpace(out[last - 1]))
      --last;
    size_t first = 0;
    while (first < last && IsSpace(out[first]))
      ++first;
    out.erase(last);
    out.erase(0, first);
  };
  out.reserve(end - begin);
  size_t i = begin;
  while (i < end) {
    const void* slashAt = std::memchr(text + i, '\\', end - i);
    const size_t slash =
        slashAt != nullptr ? static_cast<size_t>(static_cast<const char*>(slashAt) - text) : end;
    out.append(text + i, slash - i);
    if (slash == end) break;
    if (slash + 1 == end) {
      // A backslash as the last character is kept.
      out.push_back('\\');
      break;
    }
    i = slash + 2;
    switch (text[slash + 1]) {
      case '"':
        out.push_back('"');
        break;
      case '\\':
        out.push_back('\\');
        break;
      case '/':
        out.push_back('/');
        break;
      case 'b':
        out.push_back('\b');
        break;
      case 'f':
        out.push_back('\f');
        break;
      case 'n':
        out.push_back('\n');
        break;
      case 'r':
        out.push_back('\r');
        break;
      case 't':
        out.push_back('\t');
        break;
      case 'u':
        // Four hex digits give one byte: the value of the last two (no UTF-8 is produced).
        if (slash + 6 <= end && HexDigit(text[slash + 2]) >= 0 && HexDigit(text[slash + 3]) >= 0 &&
            HexDigit(text[slash + 4]) >= 0 && HexDigit(text[slash + 5]) >= 0) {
          out.push_back(
              static_cast<char>(HexDigit(text[slash + 4]) * 16 + HexDigit(text[slash + 5])));
          i = slash + 6;
        }
        break;
      default:
        // An unknown escape is dropped with its backslash.
        break;
    }
  }
  trim();
}

}  // namespace internal

Value Deserialize(const std::string& text) {
  return internal::Reader(text).Read();
}

}  // namespace json
