// json::Value: construction, typed access, merge, equality and depth-safe destruction.
#include "mediastores/json/value.h"

#include <errno.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
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

Value::Value()
    : mValueType(NULLVal),
      mIntVal(0),
      mFloatVal(0),
      mDoubleVal(0),
      mBoolVal(false),
      mUIntVal(0),
      mInt64Val(0) {}

Value::Value(const char* value) : Value() {
  if (value != nullptr) {
    mValueType = StringVal;
    mStringVal = value;
  }
}

Value::Value(const std::string& value) : Value() {
  mValueType = StringVal;
  mStringVal = value;
}

Value::Value(std::string&& value) : Value() {
  mValueType = StringVal;
  mStringVal = std::move(value);
}

Value::Value(int value) : Value() {
  mValueType = IntVal;
  mIntVal = value;
  mFloatVal = static_cast<float>(value);
  mDoubleVal = value;
  mInt64Val = value;
  mUIntVal = value >= 0 ? static_cast<unsigned int>(value) : 0;
}

Value::Value(unsigned int value) : Value() {
  mValueType = UIntVal;
  mIntVal = static_cast<int>(value);
  mFloatVal = static_cast<float>(value);
  mDoubleVal = value;
  mInt64Val = value;
  mUIntVal = value;
}

Value::Value(long long value) : Value() {
  mValueType = Int64Val;
  mIntVal = static_cast<int>(value);
  mFloatVal = static_cast<float>(value);
  mDoubleVal = static_cast<double>(value);
  mInt64Val = value;
  mUIntVal = value >= 0 ? static_cast<unsigned int>(value) : 0;
}

Value::Value(float value) : Value() {
  mValueType = FloatVal;
  SetNumberViews(value);
  mFloatVal = value;
}

Value::Value(double value) : Value() {
  mValueType = DoubleVal;
  SetNumberViews(value);
}

Value::Value(bool value) : Value() {
  mValueType = BoolVal;
  mBoolVal = value;
}

Value::Value(const Object& value) : Value() {
  mValueType = ObjectVal;
  mObjectVal = value;
}

Value::Value(Object&& value) : Value() {
  mValueType = ObjectVal;
  mObjectVal = std::move(value);
}

Value::Value(const Array& value) : Value() {
  mValueType = ArrayVal;
  mArrayVal = value;
}

Value::Value(Array&& value) : Value() {
  mValueType = ArrayVal;
  mArrayVal = std::move(value);
}

Value::Value(const Value& other)
    : mValueType(other.mValueType),
      mIntVal(other.mIntVal),
      mFloatVal(other.mFloatVal),
      mDoubleVal(other.mDoubleVal),
      mStringVal(other.mStringVal),
      mObjectVal(other.mObjectVal),
      mArrayVal(other.mArrayVal),
      mBoolVal(other.mBoolVal),
      mUIntVal(other.mUIntVal),
      mInt64Val(other.mInt64Val) {}

Value::Value(Value&& other) noexcept
    : mValueType(other.mValueType),
      mIntVal(other.mIntVal),
      mFloatVal(other.mFloatVal),
      mDoubleVal(other.mDoubleVal),
      mStringVal(std::move(other.mStringVal)),
      mObjectVal(std::move(other.mObjectVal)),
      mArrayVal(std::move(other.mArrayVal)),
      mBoolVal(other.mBoolVal),
      mUIntVal(other.mUIntVal),
      mInt64Val(other.mInt64Val) {}

// Both assignments build the new contents before the old ones go, so assigning a value's own
// member or element to it is safe.
Value& Value::operator=(const Value& other) {
  if (this != &other) {
    Value copy(other);
    Swap(copy);
  }
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    Value taken(std::move(other));
    Swap(taken);
  }
  return *this;
}

Value::~Value() {
  if (!mObjectVal.empty() || !mArrayVal.empty()) DestroyNested();
}

void Value::DestroyNested() noexcept {
  if (tDestroyDepth >= kMaxRecursiveDestroyDepth && tDeferredDestroy != nullptr) {
    if (!mObjectVal.empty()) tDeferredDestroy->emplace_back(std::move(mObjectVal));
    if (!mArrayVal.empty()) tDeferredDestroy->emplace_back(std::move(mArrayVal));
    return;
  }
  std::vector<Value> deferred;
  const bool outermost = tDeferredDestroy == nullptr;
  if (outermost) tDeferredDestroy = &deferred;
  ++tDestroyDepth;
  mObjectVal.Clear();
  mArrayVal.Clear();
  if (outermost) {
    while (!deferred.empty()) {
      Value next(std::move(deferred.back()));
      deferred.pop_back();
      // `next` is destroyed here, one level deep, possibly deferring more.
    }
    tDeferredDestroy = nullptr;
  }
  --tDestroyDepth;
}

void Value::Swap(Value& other) noexcept {
  std::swap(mValueType, other.mValueType);
  std::swap(mIntVal, other.mIntVal);
  std::swap(mFloatVal, other.mFloatVal);
  std::swap(mDoubleVal, other.mDoubleVal);
  mStringVal.swap(other.mStringVal);
  std::swap(mObjectVal, other.mObjectVal);
  std::swap(mArrayVal, other.mArrayVal);
  std::swap(mBoolVal, other.mBoolVal);
  std::swap(mUIntVal, other.mUIntVal);
  std::swap(mInt64Val, other.mInt64Val);
}

void Value::SetNumberViews(double value) {
  mIntVal = SaturatingCast<int>(value);
  mFloatVal = static_cast<float>(value);
  mDoubleVal = value;
  mInt64Val = SaturatingCast<long long>(value);
  mUIntVal = value >= 0 ? SaturatingCast<unsigned int>(value) : 0;
}

Value& Value::operator[](unsigned long index) {
  JSON_REQUIRE_TYPE(ArrayVal, "operator[]");
  return mArrayVal[index];
}

const Value& Value::operator[](unsigned long index) const {
  JSON_REQUIRE_TYPE(ArrayVal, "operator[]");
  return mArrayVal[index];
}

Value& Value::operator[](const char* key) {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  return mObjectVal[key];
}

Value& Value::operator[](const std::string& key) {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  return mObjectVal[key];
}

const Value& Value::operator[](const char* key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  const Object& members = mObjectVal;
  return members[key];
}

const Value& Value::operator[](const std::string& key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "operator[]");
  const Object& members = mObjectVal;
  return members[key];
}

size_t Value::size() const {
  if (mValueType == ObjectVal) return mObjectVal.size();
  if (mValueType == ArrayVal) return mArrayVal.size();
  return 1;
}

void Value::Clear() {
  mValueType = NULLVal;
}

bool Value::HasKey(const std::string& key) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKey");
  return mObjectVal.HasKey(key);
}

int Value::HasKeys(const char** keys, int count) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKeys");
  return mObjectVal.HasKeys(keys, count);
}

int Value::HasKeys(const std::vector<std::string>& keys) const {
  JSON_REQUIRE_TYPE(ObjectVal, "HasKeys");
  return mObjectVal.HasKeys(keys);
}

bool Value::MergeValue(const Value& other) {
  if (&other == this) return true;
  if (other.mValueType == NULLVal || other.mValueType != mValueType) return false;
  if (mValueType != ObjectVal) {
    *this = other;
    return true;
  }
  bool merged = true;
  for (const auto& member : other.mObjectVal) {
    Value& mine = mObjectVal[member.first];
    if (mine.mValueType == ObjectVal) {
      merged = mine.MergeValue(member.second);
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
  return mArrayVal;
}

Array Value::ToArray() const {
  JSON_REQUIRE_TYPE(ArrayVal, "ToArray");
  return mArrayVal;
}

Object Value::ToObject() const {
  JSON_REQUIRE_TYPE(ObjectVal, "ToObject");
  return mObjectVal;
}

Value::operator std::string() const {
  JSON_REQUIRE_TYPE(StringVal, "operator basic_string");
  return mStringVal;
}

std::string Value::ToString() const {
  JSON_REQUIRE_TYPE(StringVal, "ToString");
  return mStringVal;
}

const Array& Value::AsArray() const {
  JSON_REQUIRE_TYPE(ArrayVal, "AsArray");
  return mArrayVal;
}

const Object& Value::AsObject() const {
  JSON_REQUIRE_TYPE(ObjectVal, "AsObject");
  return mObjectVal;
}

const std::string& Value::AsString() const {
  JSON_REQUIRE_TYPE(StringVal, "AsString");
  return mStringVal;
}

bool operator==(const Value& lhs, const Value& rhs) {
  const ValueType left = lhs.mValueType;
  const ValueType right = rhs.mValueType;
  if (!IsNumeric(left)) {
    // The right operand is read through its view of the left's kind, also when it is a number.
    if (left != right && !IsNumeric(right)) return false;
    switch (left) {
      case NULLVal:
        return true;
      case StringVal:
        return lhs.mStringVal == rhs.mStringVal;
      case BoolVal:
        return lhs.mBoolVal == rhs.mBoolVal;
      case ObjectVal: {
        const Object& a = lhs.mObjectVal;
        const Object& b = rhs.mObjectVal;
        if (a.size() != b.size()) return false;
        for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
          if (i->first != j->first || !(i->second == j->second)) return false;
        }
        return true;
      }
      case ArrayVal: {
        const Array& a = lhs.mArrayVal;
        const Array& b = rhs.mArrayVal;
        if (a.size() != b.size()) return false;
        for (size_t i = 0; i < a.size(); ++i) {
          if (!(a[i] == b[i])) return false;
        }
        return true;
      }
      default:
        return false;
    }
  }
  if (!IsNumeric(right)) return false;

  switch (left) {
    case IntVal:
      switch (right) {
        case IntVal:
          return lhs.mIntVal == rhs.mIntVal;
        case UIntVal:
          return static_cast<unsigned int>(lhs.mIntVal) == rhs.mUIntVal;
        case Int64Val:
          return static_cast<uint32_t>(lhs.mIntVal) == static_cast<uint32_t>(rhs.mInt64Val);
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.mIntVal), rhs.mFloatVal);
        default:
          return NearlyEqual(static_cast<double>(lhs.mIntVal), rhs.mDoubleVal);
      }
    case Int64Val:
      switch (right) {
        case IntVal:
          return lhs.mInt64Val == static_cast<long long>(rhs.mIntVal);
        case UIntVal:
          return lhs.mInt64Val == static_cast<long long>(rhs.mUIntVal);
        case Int64Val:
          return lhs.mInt64Val == rhs.mInt64Val;
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.mInt64Val), rhs.mFloatVal);
        default:
          return NearlyEqual(static_cast<double>(lhs.mInt64Val), rhs.mDoubleVal);
      }
    case UIntVal:
      switch (right) {
        case IntVal:
          return lhs.mUIntVal == static_cast<unsigned int>(rhs.mIntVal);
        case UIntVal:
          return lhs.mUIntVal == rhs.mUIntVal;
        case Int64Val:
          // The left's bit pattern read as a signed 32-bit number.
          return rhs.mInt64Val == static_cast<long long>(static_cast<int32_t>(lhs.mUIntVal));
        case FloatVal:
          return NearlyEqual(static_cast<float>(lhs.mUIntVal), rhs.mFloatVal);
        default:
          return NearlyEqual(static_cast<double>(lhs.mUIntVal), rhs.mDoubleVal);
      }
    case FloatVal:
      switch (right) {
        case IntVal:
          return NearlyEqual(lhs.mFloatVal, static_cast<float>(rhs.mIntVal));
        case UIntVal:
          return NearlyEqual(lhs.mFloatVal, static_cast<float>(rhs.mUIntVal));
        case Int64Val:
          return NearlyEqual(lhs.mFloatVal, static_cast<float>(rhs.mInt64Val));
        case FloatVal:
          return NearlyEqual(lhs.mFloatVal, rhs.mFloatVal);
        default:
          return NearlyEqual(static_cast<double>(lhs.mFloatVal), rhs.mDoubleVal);
      }
    default:  // DoubleVal
      switch (right) {
        case IntVal:
          return NearlyEqual(lhs.mDoubleVal, static_cast<double>(rhs.mIntVal));
        case UIntVal:
          return NearlyEqual(lhs.mDoubleVal, static_cast<double>(rhs.mUIntVal));
        case Int64Val:
          return NearlyEqual(lhs.mDoubleVal, static_cast<double>(rhs.mInt64Val));
        case FloatVal:
          return NearlyEqual(lhs.mDoubleVal, static_cast<double>(rhs.mFloatVal));
        default:
          return NearlyEqual(lhs.mDoubleVal, rhs.mDoubleVal);
      }
  }
}

}  // namespace json
