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

// Room for the decimal digits and sign of any 64-bit integer.
constexpr size_t kIntegerDigits = 24;

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
      Put(buffer, static_cast<size_t>(result.ptr - buffer));
      return;
    }
  }
  const int length = std::snprintf(buffer, sizeof(buffer), "%f", value);
  if (length > 0) {
    Put(buffer, std::min<size_t>(static_cast<size_t>(length), sizeof(buffer) - 1));
  }
}

void Writer::WriteScalar(const Value& value) {
  switch (value.mValueType) {
    case NULLVal:
      Put("null", 4);
      break;
    case StringVal:
      // Written as it is: no escaping, by design of the format's producer.
      Put('"');
      Put(value.mPayload.string);
      Put('"');
      break;
    case IntVal: {
      // Same digits as "%d", "%lld" and "%u", without going through printf.
      char* at = Room(kIntegerDigits);
      mPos = std::to_chars(at, at + kIntegerDigits, static_cast<int>(value.mPayload.integer)).ptr;
      break;
    }
    case Int64Val: {
      char* at = Room(kIntegerDigits);
      mPos = std::to_chars(at, at + kIntegerDigits, value.mPayload.integer).ptr;
      break;
    }
    case UIntVal: {
      char* at = Room(kIntegerDigits);
      mPos =
          std::to_chars(at, at + kIntegerDigits, static_cast<unsigned int>(value.mPayload.integer))
              .ptr;
      break;
    }
    case FloatVal:
      WriteDouble(static_cast<double>(value.mPayload.single));
      break;
    case DoubleVal:
      WriteDouble(value.mPayload.number);
      break;
    case BoolVal:
      if (value.mPayload.boolean) {
        Put("true", 4);
      } else {
        Put("false", 5);
      }
      break;
    default:
      break;
  }
}

void Writer::Grow(size_t count) {
  const size_t used = static_cast<size_t>(mPos - mOut.data());
  mOut.resize(std::max({used + count, 2 * mOut.size(), size_t{256}}));
  mPos = &mOut[0] + used;
  mEnd = &mOut[0] + mOut.size();
}

void Writer::WriteValue(const Value& value) {
  mPos = &mOut[0] + mOut.size();
  mEnd = mPos;
  if (value.mValueType != ObjectVal && value.mValueType != ArrayVal) {
    WriteScalar(value);
    Finish();
    return;
  }
  std::vector<Frame> stack;
  auto open = [this, &stack](const Value& container) {
    if (container.mValueType == ObjectVal) {
      Put('{');
      stack.push_back(Frame{&container, container.mPayload.object.begin(), 0, true});
    } else {
      Put('[');
      stack.push_back(Frame{&container, Object::const_iterator(), 0, false});
    }
  };
  open(value);
  while (!stack.empty()) {
    Frame& frame = stack.back();
    const Value* child;
    if (frame.isObject) {
      const Object& members = frame.container->mPayload.object;
      if (frame.nextMember == members.end()) {
        Put('}');
        stack.pop_back();
        continue;
      }
      if (frame.nextMember != members.begin()) Put(',');
      Put('"');
      Put(frame.nextMember->first);
      Put("\":", 2);
      child = &frame.nextMember->second;
      ++frame.nextMember;
    } else {
      const Array& elements = frame.container->mPayload.array;
      if (frame.nextIndex == elements.size()) {
        Put(']');
        stack.pop_back();
        continue;
      }
      if (frame.nextIndex != 0) Put(',');
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
  Finish();
}

}  // namespace internal

std::string Serialize(const Value& value) {
  std::string out;
  const ValueType type = value.GetType();
  if (type == ObjectVal || type == ArrayVal) internal::Writer(out).WriteValue(value);
  return out;
}

}  // namespace json
