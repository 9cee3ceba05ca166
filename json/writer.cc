// json::Serialize: compact text of an object or array.
#include "json/writer.h"

#include <langinfo.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

#include "mediastores/json/json.h"

namespace json {
namespace internal {
namespace {

// Size of the buffer numbers are formatted into; "%f" of the largest double needs about 320.
constexpr size_t kNumberBufferSize = 500;

// One container being written: either an object with its next member, or an array with the index
// of its next element.
struct Frame {
  const Value* container;
  Object::const_iterator nextMember;
  size_t nextIndex;
  bool isObject;
};

}  // namespace

void Writer::WriteDouble(double value) {
  char buffer[kNumberBufferSize];
  if (!mRadixKnown) {
    // "%f" differs from the locale-free form only in the decimal point of the current locale.
    mPlainRadix = std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
    mRadixKnown = true;
  }
  if (mPlainRadix) {
    // The same digits as "%f": fixed notation, six decimals, correctly rounded.
    const auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::fixed, 6);
    if (result.ec == std::errc()) {
      mOut.append(buffer, static_cast<size_t>(result.ptr - buffer));
      return;
    }
  }
  const int length = std::snprintf(buffer, sizeof(buffer), "%f", value);
  if (length > 0) {
    mOut.append(buffer, std::min<size_t>(static_cast<size_t>(length), sizeof(buffer) - 1));
  }
}

void Writer::WriteScalar(const Value& value) {
  char digits[24];
  switch (value.mValueType) {
    case NULLVal:
      mOut.append("null", 4);
      break;
    case StringVal:
      // Written as it is: no escaping, by design of the format's producer.
      mOut.push_back('"');
      mOut.append(value.mStringVal);
      mOut.push_back('"');
      break;
    case IntVal: {
      // Same digits as "%d", "%lld" and "%u", without going through printf.
      auto end = std::to_chars(digits, digits + sizeof(digits), value.mIntVal).ptr;
      mOut.append(digits, static_cast<size_t>(end - digits));
      break;
    }
    case Int64Val: {
      auto end = std::to_chars(digits, digits + sizeof(digits), value.mInt64Val).ptr;
      mOut.append(digits, static_cast<size_t>(end - digits));
      break;
    }
    case UIntVal: {
      auto end = std::to_chars(digits, digits + sizeof(digits), value.mUIntVal).ptr;
      mOut.append(digits, static_cast<size_t>(end - digits));
      break;
    }
    case FloatVal:
      WriteDouble(static_cast<double>(value.mFloatVal));
      break;
    case DoubleVal:
      WriteDouble(value.mDoubleVal);
      break;
    case BoolVal:
      if (value.mBoolVal) {
        mOut.append("true", 4);
      } else {
        mOut.append("false", 5);
      }
      break;
    default:
      break;
  }
}

void Writer::WriteValue(const Value& value) {
  if (value.mValueType != ObjectVal && value.mValueType != ArrayVal) {
    WriteScalar(value);
    return;
  }
  std::vector<Frame> stack;
  auto open = [this, &stack](const Value& container) {
    if (container.mValueType == ObjectVal) {
      mOut.push_back('{');
      stack.push_back(Frame{&container, container.mObjectVal.begin(), 0, true});
    } else {
      mOut.push_back('[');
      stack.push_back(Frame{&container, Object::const_iterator(), 0, false});
    }
  };
  open(value);
  while (!stack.empty()) {
    Frame& frame = stack.back();
    const Value* child;
    if (frame.isObject) {
      const Object& members = frame.container->mObjectVal;
      if (frame.nextMember == members.end()) {
        mOut.push_back('}');
        stack.pop_back();
        continue;
      }
      if (frame.nextMember != members.begin()) mOut.push_back(',');
      mOut.push_back('"');
      mOut.append(frame.nextMember->first);
      mOut.append("\":", 2);
      child = &frame.nextMember->second;
      ++frame.nextMember;
    } else {
      const Array& elements = frame.container->mArrayVal;
      if (frame.nextIndex == elements.size()) {
        mOut.push_back(']');
        stack.pop_back();
        continue;
      }
      if (frame.nextIndex != 0) mOut.push_back(',');
      child = &elements[frame.nextIndex];
      ++frame.nextIndex;
    }
    // `frame` may dangle from here on: open() can grow the stack.
    if (child->mValueType == ObjectVal || child->mValueType == ArrayVal) {
      open(*child);
    } else {
      WriteScalar(*child);
    }
  }
}

}  // namespace internal

std::string Serialize(const Value& value) {
  std::string out;
  const ValueType type = value.GetType();
  if (type == ObjectVal || type == ArrayVal) internal::Writer(out).WriteValue(value);
  return out;
}

}  // namespace json
