// ConfigData: the value type of the configuration store. A value is either invalid (the marker of
// an absent value) or holds a text, a bool, an integer or a double, and always has a text form.
#ifndef MEDIASTORES_CONFIG_DATA_H_
#define MEDIASTORES_CONFIG_DATA_H_

#include <cstdint>
#include <string>

#include "mediastores/export.h"

// A self-contained configuration value with value semantics.
//
//   ConfigData v("720p");          // text
//   ConfigData on(true);           // bool, text "true"
//   ConfigData rate(uint32_t{48000});
//   if (!v.IsValid()) { ... }      // absent
//
// Numbers and short texts are kept inside the object: building, copying and reading them does not
// allocate.
class MEDIASTORES_API ConfigData {
 public:
  // An invalid value.
  ConfigData() noexcept;
  // A valid text value; "" is a valid (empty) text.
  ConfigData(const std::string& text);  // NOLINT(runtime/explicit)
  // A valid text value; a null pointer gives an invalid value.
  ConfigData(const char* text);                   // NOLINT(runtime/explicit)
  ConfigData(bool value) noexcept;                // NOLINT(runtime/explicit)
  ConfigData(int32_t value) noexcept;             // NOLINT(runtime/explicit)
  ConfigData(uint32_t value) noexcept;            // NOLINT(runtime/explicit)
  ConfigData(long value) noexcept;                // NOLINT(runtime/explicit)
  ConfigData(unsigned long value) noexcept;       // NOLINT(runtime/explicit)
  ConfigData(long long value) noexcept;           // NOLINT(runtime/explicit)
  ConfigData(unsigned long long value) noexcept;  // NOLINT(runtime/explicit)
  ConfigData(double value) noexcept;              // NOLINT(runtime/explicit)

  ConfigData(const ConfigData& other);
  ConfigData(ConfigData&& other) noexcept;
  ConfigData& operator=(const ConfigData& other);
  ConfigData& operator=(ConfigData&& other) noexcept;
  ~ConfigData() = default;

  // True for a value that holds something.
  bool IsValid() const noexcept { return kind_ != Kind::kInvalid; }
  // Makes the value invalid.
  void SetInvalid() noexcept;

  // The value's text ("" for an invalid value).
  std::string ToString() const;
  // The value's text as a NUL-terminated string, valid while the value lives and is unchanged.
  const char* ToCstr() const noexcept;

  // The value read as a boolean: invalid is false; a bool is itself; a number is true when
  // non-zero; a text is false when it is "", "0", "false", "off" or "no" in any letter case.
  explicit operator bool() const noexcept;

  // Two invalid values are equal; invalid and valid are not. Otherwise equal when of the same kind
  // and value; integers compare by numeric value across signed and unsigned; a text never equals
  // a number or a bool.
  bool operator==(const ConfigData& other) const noexcept;
  bool operator!=(const ConfigData& other) const noexcept { return !(*this == other); }

 private:
  enum class Kind : uint8_t { kInvalid, kBool, kSigned, kUnsigned, kDouble, kText };

  void SetSigned(int64_t value) noexcept;
  void SetUnsigned(uint64_t value) noexcept;

  Kind kind_ = Kind::kInvalid;
  // Text of a bool or number (longest: 24 characters for a double), NUL-terminated.
  char number_text_[26] = {};
  union {
    bool b;
    int64_t i;
    uint64_t u;
    double d;
  } number_ = {};
  std::string text_;  // text values only
};

// The name under which ConfigData appears in the store's interfaces.
using ConfigValue = ConfigData;

#endif  // MEDIASTORES_CONFIG_DATA_H_
