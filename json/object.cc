// json::Object: an ordered map of members under string keys.
#include "mediastores/json/object.h"

#include <utility>

#include "mediastores/json/value.h"

namespace json {
namespace {

const Value& SharedNull() {
  static const Value* const kNull = new Value();
  return *kNull;
}

const char* KeyOrEmpty(const char* key) {
  return key != nullptr ? key : "";
}

}  // namespace

Object::Object() = default;
Object::Object(const Object& other) = default;
Object::Object(Object&& other) noexcept : mMap(std::move(other.mMap)) {}
Object& Object::operator=(const Object& other) = default;
Object& Object::operator=(Object&& other) noexcept {
  mMap = std::move(other.mMap);
  return *this;
}
Object::~Object() = default;

Value& Object::operator[](const char* key) {
  const char* text = KeyOrEmpty(key);
  auto it = mMap.find(std::string_view(text));
  if (it != mMap.end()) return it->second;
  return mMap.emplace_hint(it, text, Value())->second;
}

Value& Object::operator[](const std::string& key) {
  return mMap[key];
}

const Value& Object::operator[](const char* key) const {
  auto it = mMap.find(std::string_view(KeyOrEmpty(key)));
  return it != mMap.end() ? it->second : SharedNull();
}

const Value& Object::operator[](const std::string& key) const {
  auto it = mMap.find(key);
  return it != mMap.end() ? it->second : SharedNull();
}

Object::iterator Object::find(const std::string& key) {
  return mMap.find(key);
}
Object::const_iterator Object::find(const std::string& key) const {
  return mMap.find(key);
}

bool Object::HasKey(const std::string& key) const {
  return mMap.find(key) != mMap.end();
}

int Object::HasKeys(const char** keys, int count) const {
  if (keys == nullptr) return -1;
  for (int i = 0; i < count; ++i) {
    if (keys[i] == nullptr || mMap.find(std::string_view(keys[i])) == mMap.end()) return i;
  }
  return -1;
}

int Object::HasKeys(const std::vector<std::string>& keys) const {
  for (size_t i = 0; i < keys.size(); ++i) {
    if (mMap.find(keys[i]) == mMap.end()) return static_cast<int>(i);
  }
  return -1;
}

void Object::Erase(const std::string& key) {
  auto it = mMap.find(key);
  if (it != mMap.end()) mMap.erase(it);
}

void Object::Clear() {
  mMap.clear();
}

Object::iterator Object::begin() {
  return mMap.begin();
}
Object::iterator Object::end() {
  return mMap.end();
}
Object::const_iterator Object::begin() const {
  return mMap.begin();
}
Object::const_iterator Object::end() const {
  return mMap.end();
}

}  // namespace json
