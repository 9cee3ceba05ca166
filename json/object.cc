// json::Object: an ordered map of members under string keys.
#include "mediastores/json/object.h"

#include <cstring>
#include <tuple>
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

// Byte-wise order of `key` against [text, text + length), as std::string compares.
int Compare(const std::string& key, const char* text, size_t length) {
  const size_t common = key.size() < length ? key.size() : length;
  const int order = common == 0 ? 0 : std::memcmp(key.data(), text, common);
  if (order != 0) return order;
  return key.size() < length ? -1 : (key.size() > length ? 1 : 0);
}

}  // namespace

Object::Object() = default;
Object::Object(const Object& other) = default;
Object::Object(Object&& other) noexcept : mMembers(std::move(other.mMembers)) {}
Object& Object::operator=(const Object& other) = default;
Object& Object::operator=(Object&& other) noexcept {
  mMembers = std::move(other.mMembers);
  return *this;
}
Object::~Object() = default;

Object::const_iterator Object::LowerBound(const char* key, size_t length) const {
  const_iterator first = mMembers.begin();
  size_t count = mMembers.size();
  while (count > 0) {
    const size_t half = count / 2;
    if (Compare(first[half].first, key, length) < 0) {
      first += half + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return first;
}

Object::const_iterator Object::Find(const char* key, size_t length) const {
  const const_iterator it = LowerBound(key, length);
  return it != mMembers.end() && Compare(it->first, key, length) == 0 ? it : mMembers.end();
}

Value& Object::Insert(const char* key, size_t length) {
  const const_iterator at = LowerBound(key, length);
  const size_t index = static_cast<size_t>(at - mMembers.begin());
  if (at != mMembers.end() && Compare(at->first, key, length) == 0) {
    return mMembers[index].second;
  }
  return mMembers
      .emplace(at, std::piecewise_construct, std::forward_as_tuple(key, length),
               std::forward_as_tuple())
      ->second;
}

Value& Object::operator[](const char* key) {
  const char* text = KeyOrEmpty(key);
  return Insert(text, std::strlen(text));
}

Value& Object::operator[](const std::string& key) {
  return Insert(key.data(), key.size());
}

const Value& Object::operator[](const char* key) const {
  const char* text = KeyOrEmpty(key);
  const const_iterator it = Find(text, std::strlen(text));
  return it != mMembers.end() ? it->second : SharedNull();
}

const Value& Object::operator[](const std::string& key) const {
  const const_iterator it = Find(key.data(), key.size());
  return it != mMembers.end() ? it->second : SharedNull();
}

Object::iterator Object::find(const std::string& key) {
  return mMembers.begin() + (Find(key.data(), key.size()) - mMembers.cbegin());
}
Object::const_iterator Object::find(const std::string& key) const {
  return Find(key.data(), key.size());
}

bool Object::HasKey(const std::string& key) const {
  return Find(key.data(), key.size()) != mMembers.end();
}

int Object::HasKeys(const char** keys, int count) const {
  if (keys == nullptr) return -1;
  for (int i = 0; i < count; ++i) {
    if (keys[i] == nullptr || Find(keys[i], std::strlen(keys[i])) == mMembers.end()) return i;
  }
  return -1;
}

int Object::HasKeys(const std::vector<std::string>& keys) const {
  for (size_t i = 0; i < keys.size(); ++i) {
    if (!HasKey(keys[i])) return static_cast<int>(i);
  }
  return -1;
}

void Object::Erase(const std::string& key) {
  const const_iterator it = Find(key.data(), key.size());
  if (it != mMembers.end()) mMembers.erase(it);
}

void Object::Clear() {
  mMembers.clear();
}

Object::iterator Object::begin() {
  return mMembers.begin();
}
Object::iterator Object::end() {
  return mMembers.end();
}
Object::const_iterator Object::begin() const {
  return mMembers.begin();
}
Object::const_iterator Object::end() const {
  return mMembers.end();
}

}  // namespace json
