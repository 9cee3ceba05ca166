// json::Object: the members of a JSON object, kept sorted by key.
#ifndef MEDIASTORES_JSON_OBJECT_H_
#define MEDIASTORES_JSON_OBJECT_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "mediastores/export.h"

namespace json {

class Value;

namespace internal {
class Reader;
}  // namespace internal

// An ordered map from string keys to values. Keys are unique and kept in ascending byte-wise
// order, so iteration (and the writer's output) follows key order, not insertion order.
//
// The members are (key, value) pairs stored one after another in key order: lookups search them
// by halving, and an object costs one allocation whatever its member count. Inserting a member
// (operator[] with a new key) moves the members after it, so it invalidates iterators and
// references to members, as erasing one does; looking up a present key never does. A key must
// not be changed through an iterator.
//
//   json::Object entry;
//   entry["key"] = "Audio.SampleRate";
//   entry["value"] = "48000";
//   if (entry.HasKey("key")) { ... }
class MEDIASTORES_API Object {
 public:
  using Member = std::pair<std::string, Value>;
  using MemberVector = std::vector<Member>;
  using iterator = MemberVector::iterator;
  using const_iterator = MemberVector::const_iterator;

  Object();
  Object(const Object& other);
  Object(Object&& other) noexcept;
  Object& operator=(const Object& other);
  Object& operator=(Object&& other) noexcept;
  ~Object();

  // The member under `key`; a null member is inserted when there is none. A null `key` pointer
  // is taken as the empty key.
  Value& operator[](const char* key);
  Value& operator[](const std::string& key);
  // The member under `key` without inserting. For an absent key the result is a shared null
  // value; test with HasKey() first when absence matters.
  const Value& operator[](const char* key) const;
  const Value& operator[](const std::string& key) const;

  iterator find(const std::string& key);
  const_iterator find(const std::string& key) const;

  bool HasKey(const std::string& key) const;
  // The index of the first of `keys[0..count)` that is absent, or -1 when every key is present
  // (also when `count` is below 1 or `keys` is null). A null entry counts as absent.
  int HasKeys(const char** keys, int count) const;
  int HasKeys(const std::vector<std::string>& keys) const;

  // Removes the member under `key`, if any.
  void Erase(const std::string& key);
  // Removes every member.
  void Clear();

  size_t size() const { return mMembers.size(); }
  bool empty() const { return mMembers.empty(); }

  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;

 private:
  friend class internal::Reader;

  // The first member whose key is not below `key`.
  const_iterator LowerBound(const char* key, size_t length) const;
  // The member under `key`, or end().
  const_iterator Find(const char* key, size_t length) const;
  Value& Insert(const char* key, size_t length);

  MemberVector mMembers;
};

}  // namespace json

#endif  // MEDIASTORES_JSON_OBJECT_H_
