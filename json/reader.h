// The lenient reader behind json::Deserialize.
#ifndef MEDIASTORES_JSON_READER_H_
#define MEDIASTORES_JSON_READER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mediastores/json/value.h"

namespace json {
namespace internal {

// Reads one document. The reader recognises containers by their first and last characters and
// reads members and elements from the front of what is left of the text, as a slicing reader
// would, but it works on positions in the caller's text: nothing is copied except what ends up in
// a value, so reading time is linear in the text's length.
//
// Every step returns false on failure, and any failure fails the whole document. A text range is
// given as [begin, end) positions in the text.
class Reader {
 public:
  explicit Reader(std::string_view text);
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader();

  // The document: an object or array value, or a null value when the text is not one.
  Value Read();

 private:
  // Kinds of the entries of the depth stack.
  enum StackDepthType : uint8_t { kInObject = 0, kInArray = 1 };
  // The most members or elements a container reserves room for ahead of reading them.
  static constexpr size_t kMaxReserve = 1 << 14;

  // Each step reads into `out`, a null value on entry, and returns false on failure.

  // A text whose trimmed form starts with "[" and ends with "]" (an array) or starts with "{" and
  // ends with "}" (an object), pushing the container's entry around the work.
  bool ReadDocument(size_t begin, size_t end, Value& out);
  // The members between an object's braces.
  bool ReadMembers(size_t begin, size_t end, Object& object);
  // An array text: the elements between its brackets; null elements are dropped.
  bool ReadArray(size_t begin, size_t end, Value& out);
  // One value from the front of [begin, end): trims the range and leaves in it what follows the
  // value.
  bool ReadValue(size_t& begin, size_t& end, Value& out);
  // A string value starting at `begin` (a quote); `begin` moves past its closing quote.
  bool ReadString(size_t& begin, size_t end, Value& out);
  // A bare token up to the next comma; `begin` moves to that comma or to `end`.
  bool ReadScalar(size_t& begin, size_t end, Value& out);
  void ClassifyToken(bool hasDot, bool hasExponent, Value& out) const;

  // Position of the bracket or brace that closes the container opening at `begin`, or npos when
  // the text ends first or a closing character does not match.
  size_t FindContainerEnd(size_t begin, size_t end);
  size_t ScanContainerEnd(size_t begin, size_t end, bool record);
  // Position of the first double quote in [begin, end) that is not escaped by a backslash, or npos.
  size_t GetQuotePos(size_t begin, size_t end) const;
  // Makes `value` (a null value holding nothing) the string [begin, end), which holds a
  // backslash, with escapes undone, trimmed.
  void Unescape(size_t begin, size_t end, Value& value) const;

  // The room to reserve for the container about to be read, once.
  size_t TakeSizeHint() {
    const size_t hint = mSizeHint < kMaxReserve ? mSizeHint : kMaxReserve;
    mSizeHint = 0;
    return hint;
  }
  // Narrows [begin, end) to exclude leading and trailing whitespace.
  void Trim(size_t& begin, size_t& end) const {
    while (begin < end && IsSpace(mText[begin]))
      ++begin;
    while (end > begin && IsSpace(mText[end - 1]))
      --end;
  }
  // Whitespace of the format: NUL and what the C library classifies as space in the "C" locale.
  static bool IsSpace(char c) { return c == '\0' || c == ' ' || (c >= '\t' && c <= '\r'); }

  std::string_view mText;
  // One entry per container being read. A bare closing brace or bracket in a token pops it.
  std::vector<uint8_t> mDepthStack;
  // Number of containers being read, the document itself included.
  int mDepth = 1;

  // Closing positions found by earlier container scans: (opening, closing) pairs sorted by
  // opening position. Where a nested container was seen by the scan of an enclosing one, its
  // extent is taken from here instead of being scanned again, so each byte is scanned about once
  // whatever the nesting.
  struct Extent {
    size_t open;
    size_t close;
    // One more than the commas between the container's own entries: its member or element
    // count when the text is well formed, a hint otherwise.
    size_t entries;
  };
  // The records live in a buffer of the thread that is kept between documents, up to a bound,
  // so that reading a document does not start by allocating and touching fresh memory for them.
  static std::vector<Extent>& ExtentBuffer();
  std::vector<Extent>& mExtents;
  size_t mExtentCursor = 0;
  // The last position covered by recorded scans; a scan starting after it is recorded.
  size_t mRecordedUntil = 0;
  // Scratch stack of a container scan: entry kind and index into mExtents.
  std::vector<std::pair<uint8_t, size_t>> mScanStack;
  // Entry count of the container FindContainerEnd found last, when its scan counted it, else 0:
  // the room its reading reserves.
  size_t mSizeHint = 0;
  // Scratch buffer of a bare token.
  std::string mToken;
};

}  // namespace internal
}  // namespace json

#endif  // MEDIASTORES_JSON_READER_H_
