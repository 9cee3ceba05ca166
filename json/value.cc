// json::Value: construction, typed access, merge, equality and depth-safe destruction.
#include "mediastores/json/value.h"

#include <errno.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace json {
namespace {

// Prints what the standard assertion prints and ends the process. Used instead of assert() so
// that a type mismatch stops the process in release builds too: continuing would hand the caller
// a reference into the wrong view.
[[noreturn]] void TypeAssertionFailed(const char* expression, const char* file, unsigned line,
                                      const char* function) {
#if defined(__GLIBC__)
  const char* program = program_invocation_short_name;
#else
  const char* program = "mediastores";
#endif
  std::fprintf(stderr, "%s: %s:%u: %s: Assertion `%s' failed.\n", program, file, line, function,
               expression);
  std::fflush(stderr);
  std::abort();
}

#define JSON_REQUIRE_TYPE(expected, function)                                        \
  do {                                                                               \
    if (mValueType != (expected)) {                                                  \
      TypeAssertionFailed("mValueType == " #expected, __FILE__, __LINE__, function); \
    }                                                                                \
  } while (0)

// Integer view of a floating number: truncated toward zero, saturated at the limits, 0 for NaN.
template <typename Int>
Int SaturatingCast(double value) {
  if (std::isnan(value)) return 0;
  constexpr double kMin = static_cast<double>(std::numeric_limits<Int>::min());
  // 2^(bits) for unsigned, 2^(bits-1) for signed: the first value above the type's range.
  constexpr double kLimit = static_cast<double>(std::numeric_limits<Int>::max() / 2 + 1) * 2.0;
  if (value <= kMin) return std::numeric_limits<Int>::min();
  if (value >= kLimit) return std::numeric_limits<Int>::max();
  return static_cast<Int>(value);
}

bool IsInteger(ValueType type) {
  return type == IntVal || type == UIntVal || type == Int64Val;
}

bool IsNumeric(ValueType type) {
  return type == IntVal || type == Int64Val || type == FloatVal || type == DoubleVal ||
         type == UIntVal;
}

bool NearlyEqual(double lhs, double rhs) {
  return std::fabs(lhs - rhs) < 1e-9;
}

// The difference is taken in single precision, then tested as a double.
bool NearlyEqual(float lhs, float rhs) {
  const float difference = lhs - rhs;
  return std::fabs(static_cast<double>(difference)) < 1e-9;
}

// Destruction of nested values recurses through the containers' destructors. Past this many
// levels on one thread, the remaining containers are handed to the outermost destructor, which
// destroys them one after another, so any depth is destroyed in bounded stack.
constexpr int kMaxRecursiveDestroyDepth = 64;
thread_local int tDestroyDepth = 0;
thread_local std::vector<Value>* tDeferredDestroy = nullptr;

}  // namespace

Value::Value() : mValueType(NULLVal), mHeld(NULLVal) {}

Value::Value(const char* value) : Value() {
  if (value != nullptr) HoldString() = value;
}

Value::Value(const std::string& value) : Value() {
  HoldString() = value;
}

Value::Value(std::string&& value) : Value() {
  HoldString() = std::move(value);
}

Value::Value(int value) : mValueType(IntVal), mHeld(IntVal) {
  mPayload.integer = value;
}

Value::Value(unsigned int value) : mValueType(UIntVal), mHeld(UIntVal) {
  mPayload.integer = value;
}

Value::Value(long long value) : mValueType(Int64Val), mHeld(Int64Val) {
  mPayload.integer = value;
}

Value::Value(float value) : mValueType(FloatVal), mHeld(FloatVal) {
  mPayload.single = value;
}

Value::Value(double value) : mValueType(DoubleVal), mHeld(DoubleVal) {
  mPayload.number = value;
}

Value::Value(bool value) : mValueType(BoolVal), mHeld(BoolVal) {
  mPayload.boolean = value;
}

Value::Value(const Object& value) : Value() {
  HoldObject() = value;
}

Value::Value(Object&& value) : Value() {
  HoldObject() = std::move(value);
}

Value::Value(const Array& value) : Value() {
  HoldArray() = value;
}

Value::Value(Array&& value) : Value() {
  HoldArray() = std::move(value);
}

Value::Value(const Value& other) : Value() {
  CopyFrom(other);
}

Value::Value(Value&& other) noexcept : Value() {
  TakeFrom(other);
}

// Both assignments build the new contents before the old ones go, so assigning a value's own
// member or element to it is safe.
Value& Value::operator=(const Value& other) {
  if (this != &other) {
    Value copy(other);
    Release();
    TakeFrom(copy);
  }
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    Value taken(std::move(other));
    Release();
    TakeFrom(taken);
  }
  return *this;
}

Value::~Value() {
  Release();
}

std::string& Value::HoldString() {
  new (&mPayload.string) std::string();
  mValueType = mHeld = StringVal;
  return mPayload.string;
}

std::string& Value::HoldString(const char* text, size_t length) {
  new (&mPayload.string) std::string(text, length);
  mValueType = mHeld = StringVal;
  return mPayload.string;
}

Object& Value::HoldObject() {
  new (&mPayload.object) Object();
  mValueType = mHeld = ObjectVal;
  return mPayload.object;
}

Array& Value::HoldArray() {
  new (&mPayload.array) Array();
  mValueType = mHeld = ArrayVal;
  return mPayload.array;
}

// What TakeFrom and CopyFrom share: `other`'s string, object or array moved or copied in as
// `Source` says, any other payload copied.
template <class Source>
void Value::Adopt(Source&& other) {
  switch (other.mHeld) {
    case StringVal:
      new (&mPayload.string) std::string(std::forward<Source>(other).mPayload.string);
      break;
    case ObjectVal:
      new (&mPayload.object) Object(std::forward<Source>(other).mPayload.object);
      break;
    case ArrayVal:
      new (&mPayload.array) Array(std::forward<Source>(other).mPayload.array);
      break;
    default:
      mPayload.integer = other.mPayload.integer;
      break;
  }
  mValueType = other.mValueType;
  mHeld = other.mHeld;
}

void Value::TakeFrom(Value& other) noexcept {
  Adopt(std::move(other));
}

void Value::CopyFrom(const Value& other) {
  Adopt(other);
}

void Value::Release() noexcept {
  switch (mHeld) {
    case StringVal:
      mPayload.string.~basic_string();
      break;
    case ObjectVal:
      if (!mPayload.object.empty()) DestroyNested();
      mPayload.object.~Object();
      break;
    case ArrayVal:
      if (!mPayload.array.empty()) DestroyNested();
      mPayload.array.~Array();
      break;
    default:
      break;
  }
  mValueType = mHeld = NULLVal;
  mPayload.integer = 0;
}

// Empties the object or array this value holds.
void Value::DestroyNested() noexcept {
  if (tDeferredDestroy != nullptr) {
    // Inside an outer destruction: empty in place, or hand over past the depth limit.
    if (tDestroyDepth >= kMaxRecursiveDestroyDepth) {
      if (mHeld == ObjectVal) {
        tDeferredDestroy->emplace_back(std::move(mPayload.object));
      } else {
        tDeferredDestroy->emplace_back(std::move(mPayload.array));
      }
      return;
    }
    ++tDestroyDepth;
    ClearContainer();
    --tDestroyDepth;
    return;
  }
  std::vector<Value> deferred;
  tDeferredDestroy = &deferred;
  tDestroyDepth = 1;
  ClearContainer();
  while (!deferred.empty()) {
    Value next(std::move(deferred.back()));
    deferred.pop_back();
    // `next` is destroyed here, one level deep, possibly deferring more.
  }
  tDeferredDestroy = nullptr;
  tDestroyDepth = 0;
}

void Value::ClearContainer() noexcept {
  if (mHeld == ObjectVal) {
    mPayload.object.Clear();
  } else {
    mPayload.array.Clear();
  }
}

// The numeric views. An integer's narrower views keep its low bits (the unsigned view is 0 for a
// negative number); a float's or double's integer views are truncated and saturated.
int Value::ToInt() const {
  if (IsInteger(mHeld)) return static_cast<int>(mPayload.integer);
  return IsNumeric(mHeld) ? SaturatingCast<int>(ToDouble()) : 0;
}

unsigned int Value::ToUInt() const {
  if (IsInteger(mHeld)) {
    return mPayload.integer >= 0 ? static_cast<unsigned int>(mPayload.integer) : 0;
  }
  const double value = ToDouble();
  return value >= 0 ? SaturatingCast<unsigned int>(value) : 0;
}

long long Value::ToInt64() const {
  if (IsInteger(mHeld)) return mPayload.integer;
  return IsNumeric(mHeld) ? SaturatingCast<long long>(ToDouble()) : 0;
}

float Value::ToFloat() const {
  if (mHeld == FloatVal) return mPayload.single;
  if (mHeld == DoubleVal) return static_cast<float>(mPayload.number);
  return IsInteger(mHeld) ? static_cast<float>(mPayload.integer) : 0;
}

double Value::ToDouble() const {
  if (mHeld == DoubleVal) return mPayload.number;
  if (mHeld == FloatVal) return mPayload.single;
  return IsInteger(mHeld) ? static_cast<double>(mPayload.integer) : 0;
}

Value& Value::operator[](unsigned long index) {
  JSON_REQUIRE_TYPE(ArrayVal, "operator[]");
  return mPayload.array[index];
}

const Value& Value::operator[](unsigned long index) const {
  JSON_REQUIRE_TYPE(ArrayVal, "operator[]");
  return mPayload.array[index];
}

Value& Value::operator[](const char* key) {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  return mPayload.object[key];
}

Value& Value::operator[](const std::string& key) {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  return mPayload.object[key];
}

const Value& Value::operator[](const char* key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  const Object& members = mPayload.object;
  return members[key];
}

const Value& Value::operator[](const std::string& key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  const Object& members = mPayload.object;
  return members[key];
}

size_t Value::size() const {
  if (mValueType == ObjectVal) return mPayload.object.size();
  if (mValueType == ArrayVal) return mPayload.array.size();
  return 1;
}

void Value::Clear() {
  mValueType = NULLVal;
}

bool Value::HasKey(const std::string& key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKey");
  return mPayload.object.HasKey(key);
}

int Value::HasKeys(const char** keys, int count) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKeys");
  return mPayload.object.HasKeys(keys, count);
}

int Value::HasKeys(const std::vector<std::string>& keys) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKeys");
  return mPayload.object.HasKeys(keys);
}

bool Value::MergeValue(const Value& other) {
  if (&other == this) return true;
  if (other.mValueType == NULLVal || other.mValueType != mValueType) return false;
  if (mValueType != ObjectVal) {
    *this = other;
    return true;
  }
  // Adding a member moves the members after it, and `other` may be one of this object's
  // members or lie inside one: the merge reads from a copy of it.
  const Value source(other);
  return MergeMembers(source.mPayload.object);
}

bool Value::MergeMembers(const Object& other) {
  bool merged = true;
  for (const auto& member : other) {
    Value& mine = mPayload.object[member.first];
    if (mine.mValueType == ObjectVal) {
      merged = member.second.mValueType == ObjectVal
                   ? mine.MergeMembers(member.second.mPayload.object)
                   : false;
    } else if (mine.mValueType != NULLVal && mine.mValueType != member.second.mValueType) {
      merged = false;
    } else {
      mine = member.second;
    }
  }
  return merged;
}

Value::operator Array() const {
  JSON_REQUIRE_TYPE(ArrayVal, "operator Array");
  return mPayload.array;
}

Array Value::ToArray() const {
  JSON_REQUIRE_TYPE(ArrayVal, "ToArray");
  return mPayload.array;
}

Object Value::ToObject() const {
  JSON_REQUIRE_TYPE(ObjectVal, "ToObject");
  return mPayload.object;
}

Value::operator std::string() const {
  JSON_REQUIRE_TYPE(StringVal, "operator basic_string");
  return mPayload.string;
}

std::string Value::ToString() const {
  JSON_REQUIRE_TYPE(StringVal, "ToString");
  return mPayload.string;
}

const Array& Value::AsArray() const {
  JSON_REQUIRE_TYPE(ArrayVal, "AsArray");
  return mPayload.array;
}

const Object& Value::AsObject() const {
  JSON_REQUIRE_TYPE(ObjectVal, "AsObject");
  return mPayload.object;
}

const std::string& Value::AsString() const {
  JSON_REQUIRE_TYPE(StringVal, "AsString");
  return mPayload.string;
}

bool operator==(const Value& lhs, const Value& rhs) {
  const ValueType left = lhs.mValueType;
  const ValueType right = rhs.mValueType;
  if (!IsNumeric(left)) {
    // The right operand is read through its view of the left's kind, also when it is a number:
    // a number's string, object and array views are empty and its bool view is false.
    if (left == right) {
      switch (left) {
        case StringVal:
          return lhs.mPayload.string == rhs.mPayload.string;
        case BoolVal:
          return lhs.mPayload.boolean == rhs.mPayload.boolean;
        case ObjectVal: {
          const Object& a = lhs.mPayload.object;
          const Object& b = rhs.mPayload.object;
          if (a.size() != b.size()) return false;
          for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
            if (i->first != j->first || !(i->second == j->second)) return false;
          }
          return true;
        }
        case ArrayVal: {
          const Array& a = lhs.mPayload.array;
          const Array& b = rhs.mPayload.array;
          if (a.size() != b.size()) return false;
          for (size_t i = 0; i < a.size(); ++i) {
            if (!(a[i] == b[i])) return false;
          }
          return true;
        }
        default:
          return true;  // two nulls
      }
    }
    if (!IsNumeric(right)) return false;
    switch (left) {
      case NULLVal:
        return true;
      case StringVal:
        return lhs.mPayload.string.empty();
      case BoolVal:
        return !lhs.mPayload.boolean;
      case ObjectVal:
        return lhs.mPayload.object.empty();
      case ArrayVal:
        return lhs.mPayload.array.empty();
      default:
        return false;
    }
  }
  if (!IsNumeric(right)) return false;

  switch (left) {
    case IntVal:
      switch (right) {
        case IntVal:
          return lhs.ToInt() == rhs.ToInt();
        case UIntVal:
          return static_cast<unsigned int>(lhs.ToInt()) == rhs.ToUInt();
        case Int64Val:
          return static_cast<uint32_t>(lhs.ToInt()) == static_cast<uint32_t>(rhs.ToInt64());
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.ToInt()), rhs.ToFloat());
        default:
          return NearlyEqual(static_cast<double>(lhs.ToInt()), rhs.ToDouble());
      }
    case Int64Val:
      switch (right) {
        case IntVal:
          return lhs.ToInt64() == static_cast<long long>(rhs.ToInt());
        case UIntVal:
          return lhs.ToInt64() == static_cast<long long>(rhs.ToUInt());
        case Int64Val:
          return lhs.ToInt64() == rhs.ToInt64();
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.ToInt64()), rhs.ToFloat());
        default:
          return NearlyEqual(static_cast<double>(lhs.ToInt64()), rhs.ToDouble());
      }
    case UIntVal:
      switch (right) {
        case IntVal:
          return lhs.ToUInt() == static_cast<unsigned int>(rhs.ToInt());
        case UIntVal:
          return lhs.ToUInt() == rhs.ToUInt();
        case Int64Val:
          // The left's bit pattern read as a signed 32-bit number.
          return rhs.ToInt64() == static_cast<long long>(static_cast<int32_t>(lhs.ToUInt()));
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.ToUInt()), rhs.ToFloat());
        default:
          return NearlyEqual(static_cast<double>(lhs.ToUInt()), rhs.ToDouble());
      }
    case FloatVal:
      switch (right) {
        case IntVal:
          return NearlyEqual(lhs.ToFloat(), static_cast<float>(rhs.ToInt()));
        case UIntVal:
          return NearlyEqual(lhs.ToFloat(), static_cast<float>(rhs.ToUInt()));
        case Int64Val:
          return NearlyEqual(lhs.ToFloat(), static_cast<float>(rhs.ToInt64()));
        case FloatVal:
          return NearlyEqual(lhs.ToFloat(), rhs.ToFloat());
        default:
          return NearlyEqual(static_cast<double>(lhs.ToFloat()), rhs.ToDouble());
      }
    default:  // DoubleVal
      switch (right) {
        case IntVal:
          return NearlyEqual(lhs.ToDouble(), static_cast<double>(rhs.ToInt()));
        case UIntVal:
          return NearlyEqual(lhs.ToDouble(), static_cast<double>(rhs.ToUInt()));
        case Int64Val:
          return NearlyEqual(lhs.ToDouble(), static_cast<double>(rhs.ToInt64()));
        case FloatVal:
          return NearlyEqual(lhs.ToDouble(), static_cast<double>(rhs.ToFloat()));
        default:
          return NearlyEqual(lhs.ToDouble(), rhs.ToDouble());
      }
  }
}

}  // namespace json
