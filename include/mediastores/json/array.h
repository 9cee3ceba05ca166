// json::Array: the elements of a JSON array, in insertion order.
#ifndef MEDIASTORES_JSON_ARRAY_H_
#define MEDIASTORES_JSON_ARRAY_H_

#include <cstddef>
#include <vector>

#include "mediastores/export.h"

namespace json {

class Value;

namespace internal {
class Reader;
}  // namespace internal

// A sequence of values.
//
//   json::Array groups;
//   groups.push_back(entry);
//   for (const json::Value& v : groups) { ... }
class MEDIASTORES_API Array {
 public:
  using ValueVector = std::vector<Value>;
  using iterator = ValueVector::iterator;
  using const_iterator = ValueVector::const_iterator;

  Array();
  Array(const Array& other);
  Array(Array&& other) noexcept;
  Array& operator=(const Array& other);
  Array& operator=(Array&& other) noexcept;
  ~Array();

  // The element at `index`. There is no bounds check: `index` must be below size().
  Value& operator[](unsigned long index);
  const Value& operator[](unsigned long index) const;

  size_t size() const { return mVector.size(); }
  bool empty() const { return mVector.empty(); }

  void push_back(const Value& value);
  void push_back(Value&& value);
  // Inserts `value` before the element at `index`; an index at or past the end appends.
  void insert(unsigned long index, const Value& value);

  // The first element equal to `value` by json::operator== (element on the left), or end().
  iterator find(const Value& value);
  const_iterator find(const Value& value) const;
  // Whether find(value) finds an element.
  bool HasValue(const Value& value) const;

  // Removes every element.
  void Clear();

  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;

 private:
  friend class internal::Reader;

  ValueVector mVector;
};

}  // namespace json

#endif  // MEDIASTORES_JSON_ARRAY_H_
