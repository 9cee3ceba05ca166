#include "mediastores/config_data.h"

#include <strings.h>
#include <charconv>
#include <cstring>

ConfigData::ConfigData() noexcept = default;

// Copies take the number and its text as two fixed-size blocks (a few moves) and the text value
// through std::string.
ConfigData::ConfigData(const ConfigData& other)
    : kind_(other.kind_), number_(other.number_), text_(other.text_) {
  std::memcpy(number_text_, other.number_text_, sizeof(number_text_));
}

ConfigData::ConfigData(ConfigData&& other) noexcept
    : kind_(other.kind_), number_(other.number_), text_(std::move(other.text_)) {
  std::memcpy(number_text_, other.number_text_, sizeof(number_text_));
}

ConfigData& ConfigData::operator=(const ConfigData& other) {
  if (this != &other) {
    kind_ = other.kind_;
    number_ = other.number_;
    std::memcpy(number_text_, other.number_text_, sizeof(number_text_));
    text_ = other.text_;
  }
  return *this;
}

ConfigData& ConfigData::operator=(ConfigData&& other) noexcept {
  if (this != &other) {
    kind_ = other.kind_;
    number_ = other.number_;
    std::memcpy(number_text_, other.number_text_, sizeof(number_text_));
    text_ = std::move(other.text_);
  }
  return *this;
}

ConfigData::ConfigData(const std::string& text) : kind_(Kind::kText), text_(text) {}

ConfigData::ConfigData(const char* text) {
  if (text != nullptr) {
    kind_ = Kind::kText;
    text_ = text;
  }
}

ConfigData::ConfigData(bool value) noexcept : kind_(Kind::kBool) {
  number_.b = value;
  std::memcpy(number_text_, value ? "true" : "false", value ? 5 : 6);
}

ConfigData::ConfigData(int32_t value) noexcept {
  SetSigned(value);
}
ConfigData::ConfigData(uint32_t value) noexcept {
  SetUnsigned(value);
}
ConfigData::ConfigData(long value) noexcept {
  SetSigned(value);
}
ConfigData::ConfigData(unsigned long value) noexcept {
  SetUnsigned(value);
}
ConfigData::ConfigData(long long value) noexcept {
  SetSigned(value);
}
ConfigData::ConfigData(unsigned long long value) noexcept {
  SetUnsigned(value);
}

ConfigData::ConfigData(double value) noexcept : kind_(Kind::kDouble) {
  number_.d = value;
  auto res = std::to_chars(number_text_, number_text_ + sizeof(number_text_) - 1, value);
  *res.ptr = '\0';
}

void ConfigData::SetSigned(int64_t value) noexcept {
  kind_ = Kind::kSigned;
  number_.i = value;
  auto res = std::to_chars(number_text_, number_text_ + sizeof(number_text_) - 1, value);
  *res.ptr = '\0';
}

void ConfigData::SetUnsigned(uint64_t value) noexcept {
  kind_ = Kind::kUnsigned;
  number_.u = value;
  auto res = std::to_chars(number_text_, number_text_ + sizeof(number_text_) - 1, value);
  *res.ptr = '\0';
}

void ConfigData::SetInvalid() noexcept {
  kind_ = Kind::kInvalid;
  number_text_[0] = '\0';
  text_.clear();
}

std::string ConfigData::ToString() const {
  return std::string(ToCstr());
}

const char* ConfigData::ToCstr() const noexcept {
  return kind_ == Kind::kText ? text_.c_str() : number_text_;
}

ConfigData::operator bool() const noexcept {
  switch (kind_) {
    case Kind::kInvalid:
      return false;
    case Kind::kBool:
      return number_.b;
    case Kind::kSigned:
      return number_.i != 0;
    case Kind::kUnsigned:
      return number_.u != 0;
    case Kind::kDouble:
      return number_.d != 0.0;
    case Kind::kText:
      break;
  }
  static const char* const kFalseTexts[] = {"0", "false", "off", "no"};
  if (text_.empty()) return false;
  for (const char* falseText : kFalseTexts) {
    if (text_.size() == std::strlen(falseText) && strcasecmp(text_.c_str(), falseText) == 0) {
      return false;
    }
  }
  return true;
}

bool ConfigData::operator==(const ConfigData& other) const noexcept {
  const bool leftInteger = kind_ == Kind::kSigned || kind_ == Kind::kUnsigned;
  const bool rightInteger = other.kind_ == Kind::kSigned || other.kind_ == Kind::kUnsigned;
  if (leftInteger && rightInteger) {
    if (kind_ == other.kind_) return number_.u == other.number_.u;  // same bits, same value
    const int64_t s = kind_ == Kind::kSigned ? number_.i : other.number_.i;
    const uint64_t u = kind_ == Kind::kUnsigned ? number_.u : other.number_.u;
    return s >= 0 && static_cast<uint64_t>(s) == u;
  }
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case Kind::kInvalid:
      return true;
    case Kind::kBool:
      return number_.b == other.number_.b;
    case Kind::kDouble:
      return number_.d == other.number_.d;
    case Kind::kText:
      return text_ == other.text_;
    default:
      return false;
  }
}
