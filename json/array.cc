// json::Array: a sequence of values in insertion order.
#include "mediastores/json/array.h"

#include <algorithm>
#include <utility>

#include "mediastores/json/value.h"

namespace json {

Array::Array() = default;
Array::Array(const Array& other) = default;
Array::Array(Array&& other) noexcept : mVector(std::move(other.mVector)) {}
Array& Array::operator=(const Array& other) = default;
Array& Array::operator=(Array&& other) noexcept {
  mVector = std::move(other.mVector);
  return *this;
}
Array::~Array() = default;

Value& Array::operator[](unsigned long index) {
  return mVector[index];
}
const Value& Array::operator[](unsigned long index) const {
  return mVector[index];
}

void Array::push_back(const Value& value) {
  mVector.push_back(value);
}
void Array::push_back(Value&& value) {
  mVector.push_back(std::move(value));
}

void Array::insert(unsigned long index, const Value& value) {
  const size_t at = std::min<size_t>(index, mVector.size());
  mVector.insert(mVector.begin() + static_cast<std::ptrdiff_t>(at), value);
}

Array::iterator Array::find(const Value& value) {
  return std::find_if(mVector.begin(), mVector.end(),
                      [&value](const Value& element) { return element == value; });
}

Array::const_iterator Array::find(const Value& value) const {
  return std::find_if(mVector.begin(), mVector.end(),
                      [&value](const Value& element) { return element == value; });
}

bool Array::HasValue(const Value& value) const {
  return find(value) != mVector.end();
}

void Array::Clear() {
  mVector.clear();
}

Array::iterator Array::begin() {
  return mVector.begin();
}
Array::iterator Array::end() {
  return mVector.end();
}
Array::const_iterator Array::begin() const {
  return mVector.begin();
}
Array::const_iterator Array::end() const {
  return mVector.end();
}

}  // namespace json
