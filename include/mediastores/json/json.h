// The JSON module: the value model (json::Value, json::Object, json::Array), the compact writer
// and the lenient reader that the configuration dump and apply use.
#ifndef MEDIASTORES_JSON_JSON_H_
#define MEDIASTORES_JSON_JSON_H_

#include <string>

#include "mediastores/export.h"
#include "mediastores/json/array.h"
#include "mediastores/json/object.h"
#include "mediastores/json/value.h"

namespace json {

// Containers nested deeper than this read as a null document.
constexpr int kMaxNestingDepth = 256;

// Compact JSON text of an object or array value; the empty string for any other type (the top
// level must be a container). There is no whitespace, members come in key order, integers print
// in decimal, floats and doubles with "%f" (six decimals, never an exponent), and strings and keys
// are written as they are, without escaping: a quote or backslash inside a string is copied
// unchanged, so such text does not read back as the same value. Nested values of any depth are
// written.
MEDIASTORES_API std::string Serialize(const Value& value);

// Reads an object or array document. Every failure gives a NULLVal value, with no partial result.
// The reader is lenient: "true", "false" and "null" in any letter case; a number with "." or a
// lower-case "e" is a double, other numbers are the narrowest of int, unsigned int and 64-bit
// integer that holds them; strings lose leading and trailing whitespace and "\uXXXX" gives the
// single byte 0xXX of its last two digits; null array elements are dropped; a string element of
// an array must not hold ",", "]", "[" or "{". Reading time is linear in the text's length.
MEDIASTORES_API Value Deserialize(const std::string& text);

}  // namespace json

#endif  // MEDIASTORES_JSON_JSON_H_
