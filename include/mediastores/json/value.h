// json::Value: one JSON value (null, string, number, bool, object or array) with every view of it
// kept side by side.
#ifndef MEDIASTORES_JSON_VALUE_H_
#define MEDIASTORES_JSON_VALUE_H_

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "mediastores/export.h"
#include "mediastores/json/array.h"
#include "mediastores/json/object.h"

namespace json {

// The type tag of a value. The numbers are fixed.
enum ValueType {
  NULLVal = 0,
  StringVal = 1,
  IntVal = 2,
  Int64Val = 3,
  FloatVal = 4,
  DoubleVal = 5,
  ObjectVal = 6,
  ArrayVal = 7,
  BoolVal = 8,
  UIntVal = 9,
};

namespace internal {
class Reader;
class Writer;
}  // namespace internal

// A tagged JSON value. Besides its tag it holds every view side by side: a 32-bit integer, a
// float, a double, a string, an object, an array, a bool, an unsigned 32-bit integer and a 64-bit
// integer. A number fills all of its numeric views, so ToInt(), ToDouble() and the other view
// readers answer for any number: the unsigned view stays 0 for a negative number, a narrower
// integer view of an integer keeps its low bits, and an integer view of a float or double is
// truncated toward zero and saturates at the view's limits (NaN gives 0).
//
//   json::Value doc = json::Deserialize(text);
//   if (doc.GetType() == json::ObjectVal && doc.HasKey("Audio")) {
//     json::Array entries = doc["Audio"];
//   }
//
// The typed accessors (operator[], the conversions, ToString/ToObject/ToArray, the As* views,
// HasKey/HasKeys) require their type: used on a value of another type they print an assertion
// message naming the expected type (for example "mValueType == StringVal") to standard error and
// end the process, in every build type. Check GetType() first when the type is not known.
//
// Copying, comparing and merging recurse through nested values; json::Deserialize never builds a
// value nested deeper than kMaxNestingDepth. Destruction and json::Serialize handle any depth.
class MEDIASTORES_API Value {
 public:
  // A null value.
  Value();
  // A string value. A null pointer gives a null value.
  Value(const char* value);         // NOLINT(runtime/explicit)
  Value(const std::string& value);  // NOLINT(runtime/explicit)
  Value(std::string&& value);       // NOLINT(runtime/explicit)
  // Numbers, with every numeric view filled.
  Value(int value);            // NOLINT(runtime/explicit)
  Value(unsigned int value);   // NOLINT(runtime/explicit)
  Value(long long value);      // NOLINT(runtime/explicit)
  Value(float value);          // NOLINT(runtime/explicit)
  Value(double value);         // NOLINT(runtime/explicit)
  Value(bool value);           // NOLINT(runtime/explicit)
  Value(const Object& value);  // NOLINT(runtime/explicit)
  Value(Object&& value);       // NOLINT(runtime/explicit)
  Value(const Array& value);   // NOLINT(runtime/explicit)
  Value(Array&& value);        // NOLINT(runtime/explicit)

  // Copies every view (recursively for objects and arrays).
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  // Safe for values nested to any depth.
  ~Value();

  ValueType GetType() const { return mValueType; }

  // The stored views, whatever the type (no check). A string, object, array or null value has
  // every numeric view 0 and the bool view false; a number's bool view is false.
  int ToInt() const;
  unsigned int ToUInt() const;
  long long ToInt64() const;
  float ToFloat() const;
  double ToDouble() const;
  bool ToBool() const { return mHeld == BoolVal && mPayload.boolean; }

  // Array element at `index` (requires ArrayVal; no bounds check).
  Value& operator[](unsigned long index);
  const Value& operator[](unsigned long index) const;
  // The same for any integer index type, so that v[0] and v[i] pick the element accessor.
  template <typename Index, typename = std::enable_if_t<std::is_integral<Index>::value &&
                                                        !std::is_same<Index, bool>::value>>
  Value& operator[](Index index) {
    return (*this)[static_cast<unsigned long>(index)];
  }
  template <typename Index, typename = std::enable_if_t<std::is_integral<Index>::value &&
                                                        !std::is_same<Index, bool>::value>>
  const Value& operator[](Index index) const {
    return (*this)[static_cast<unsigned long>(index)];
  }

  // Object member under `key` (requires ObjectVal). The non-const forms insert a null member
  // when the key is absent; the const forms do not (an absent key gives a shared null value).
  Value& operator[](const char* key);
  Value& operator[](const std::string& key);
  const Value& operator[](const char* key) const;
  const Value& operator[](const std::string& key) const;

  // Members of an object, elements of an array, and 1 for every other type (null included).
  size_t size() const;

  // Sets the tag to NULLVal and nothing else: the other views keep their contents.
  void Clear();

  // Require ObjectVal; see Object::HasKey and Object::HasKeys.
  bool HasKey(const std::string& key) const;
  int HasKeys(const char** keys, int count) const;
  int HasKeys(const std::vector<std::string>& keys) const;

  // Merges `other` into this value and returns whether it merged without conflict.
  // - `other` is this very value: true.
  // - `other` is null or of another type: nothing changes, false.
  // - Both objects: each member of `other`, in key order, is merged into the member of the same
  //   key here (created null when absent): an object member merges recursively and its result
  //   becomes the running result; a non-null member of another type stays and makes the result
  //   false; otherwise the member is replaced by a copy of `other`'s.
  // - Otherwise this value becomes a copy of `other`: true.
  bool MergeValue(const Value& other);

  // Copies of the array, object or string (each requires its type).
  operator Array() const;
  Array ToArray() const;
  Object ToObject() const;
  operator std::string() const;
  std::string ToString() const;

  // Read-only references to the array, object or string, without copying (each requires its
  // type). Valid while this value lives and is not changed.
  const Array& AsArray() const;
  const Object& AsObject() const;
  const std::string& AsString() const;

 private:
  friend class internal::Reader;
  friend class internal::Writer;
  friend MEDIASTORES_API bool operator==(const Value& lhs, const Value& rhs);

  // What a value holds is decided by the type it was built with (mHeld), which Clear() leaves
  // alone: only the tag changes, so the views of a cleared value still answer. Only the part that
  // type uses is built: a number keeps the one number it was made from and derives its other
  // views from it on demand; a string, object or array keeps only that.
  union Payload {
    Payload() : integer(0) {}
    ~Payload() {}
    long long integer;  // IntVal, UIntVal (zero-extended) and Int64Val
    float single;       // FloatVal
    double number;      // DoubleVal
    bool boolean;       // BoolVal
    std::string string;
    Object object;
    Array array;
  };

  // Makes this value, a null one holding nothing, hold an empty string, object or array.
  std::string& HoldString();
  std::string& HoldString(const char* text, size_t length);
  Object& HoldObject();
  Array& HoldArray();
  // Takes over what `other` holds; this value must hold nothing. `other` keeps its type and a
  // moved-from string, object or array.
  void TakeFrom(Value& other) noexcept;
  // Copies what `other` holds; this value must hold nothing.
  void CopyFrom(const Value& other);
  template <class Source>
  void Adopt(Source&& other);
  // Destroys what this value holds (nested values of any depth in bounded stack) and leaves a
  // null value holding nothing.
  void Release() noexcept;
  void DestroyNested() noexcept;
  void ClearContainer() noexcept;
  // Merges the members of `other`, which must not lie inside this value, into this object.
  bool MergeMembers(const Object& other);

  ValueType mValueType;
  ValueType mHeld;
  Payload mPayload;
};

// Asymmetric equality: the left operand's type chooses the comparison.
// - Same non-numeric type: nulls are equal; strings and bools by value; objects by member count,
//   then key by key and value by value in key order; arrays by length, then element by element.
// - Numeric left, non-numeric right: unequal.
// - Non-numeric left, numeric right: the right operand is read through its view of the left's
//   kind, so null equals any number, "" and an empty object or array equal a number, and false
//   equals a number.
// - Both numeric: integers compare exactly in the left's width (an IntVal against an Int64Val looks
//   at the low 32 bits of the right); any pair involving a float or double is equal when the
//   absolute difference is below 1e-9 (computed in single precision against a float).
MEDIASTORES_API bool operator==(const Value& lhs, const Value& rhs);
inline bool operator!=(const Value& lhs, const Value& rhs) {
  return !(lhs == rhs);
}

}  // namespace json

#endif  // MEDIASTORES_JSON_VALUE_H_
