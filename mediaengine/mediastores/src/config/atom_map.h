// atomMap: an ordered map whose every operation runs under the map's own recursive mutex.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_ATOM_MAP_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_ATOM_MAP_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/mutex.h"
#include "platform/thread_annotations.h"

namespace kelStore {

// Each operation takes the lock for its whole duration and releases it before returning, so two
// operations never interleave; nothing spans two operations. The operations are not marked
// MS_EXCLUDES: Traverse's callback may call them again on the same thread with the (recursive)
// lock held, a re-entry through a callback that the analysis cannot follow.
//
// Keys are ordered by K's operator< (for strings: byte-wise). A std::string-keyed map is looked up
// from a std::string_view (or a C string) without building a key string: the comparator is the
// transparent std::less<>, which orders std::string exactly as std::less<std::string> does.
template <class K, class V>
class atomMap {
 public:
  // How operations take a key: a view for text keys, a reference otherwise.
  using KeyArg = std::conditional_t<std::is_same_v<K, std::string>, std::string_view, const K&>;
  using TraverseFn = std::function<void(const K&, const V&)>;

  atomMap() = default;
  // A new map with its own mutex and a copy of `other`'s entries. Deliberately only the new map's
  // lock is taken, not `other`'s: the caller must keep `other` still while it is copied. (Reading
  // `other` unlocked is the point, hence no analysis.)
  atomMap(const atomMap& other) MS_NO_THREAD_SAFETY_ANALYSIS {
    COxMutexGuard lock(m_mutex);
    m_map = other.m_map;
  }
  atomMap& operator=(const atomMap&) = delete;
  virtual ~atomMap() = default;

  // Assigns the key's value to `out` and returns true; false (and `out` untouched) when absent.
  bool Get(KeyArg key, V& out) const {
    COxMutexGuard lock(m_mutex);
    auto it = m_map.find(key);
    if (it == m_map.end()) return false;
    out = it->second;
    return true;
  }

  // Inserts or overwrites; returns the previous value, or V() when the key was absent. A new key
  // costs one map node; an existing key is overwritten in place.
  V Set(KeyArg key, const V& value) {
    V previous;
    Set(key, value, [&previous](V* old) {
      if (old != nullptr) previous = std::move(*old);
    });
    return previous;
  }

  // The same, handing the previous value (null when the key was absent) to `before` under the
  // lock just before it is overwritten: `before` may read it or move it out, and must not use the
  // map. Nothing is copied out that `before` does not take.
  template <class Before>
  void Set(KeyArg key, const V& value, Before&& before) {
    COxMutexGuard lock(m_mutex);
    auto it = m_map.lower_bound(key);
    if (it != m_map.end() && !m_map.key_comp()(key, it->first)) {
      before(&it->second);
      it->second = value;
      return;
    }
    before(static_cast<V*>(nullptr));
    m_map.emplace_hint(it, std::piecewise_construct, std::forward_as_tuple(key),
                       std::forward_as_tuple(value));
  }

  // Inserts only when the key is absent (true); a present key is left as it is (false).
  bool SetEx(KeyArg key, const V& value) {
    COxMutexGuard lock(m_mutex);
    auto it = m_map.lower_bound(key);
    if (it != m_map.end() && !m_map.key_comp()(key, it->first)) return false;
    m_map.emplace_hint(it, std::piecewise_construct, std::forward_as_tuple(key),
                       std::forward_as_tuple(value));
    return true;
  }

  // Removes the key and returns its value; V() when absent.
  V GetErase(KeyArg key) {
    COxMutexGuard lock(m_mutex);
    auto it = m_map.find(key);
    if (it == m_map.end()) return V();
    V value = std::move(it->second);
    m_map.erase(it);
    return value;
  }

  // True when an entry was removed.
  bool Erase(KeyArg key) {
    COxMutexGuard lock(m_mutex);
    auto it = m_map.find(key);
    if (it == m_map.end()) return false;
    m_map.erase(it);
    return true;
  }

  void Clear() {
    COxMutexGuard lock(m_mutex);
    m_map.clear();
  }

  size_t Size() const {
    COxMutexGuard lock(m_mutex);
    return m_map.size();
  }

  // Calls `fn` for every entry in ascending key order with the lock held throughout. `fn` may read
  // this map again from the same thread but must not change it. An empty `fn` throws
  // std::bad_function_call.
  void Traverse(const TraverseFn& fn) const {
    if (!fn) throw std::bad_function_call();
    COxMutexGuard lock(m_mutex);
    for (const auto& entry : m_map)
      fn(entry.first, entry.second);
  }

  // Copies the value of the smallest key; false on an empty map.
  bool GetFirst(V& out) const {
    COxMutexGuard lock(m_mutex);
    if (m_map.empty()) return false;
    out = m_map.begin()->second;
    return true;
  }

  // Moves out the value of the smallest key and removes its entry; false on an empty map.
  bool PopFirst(V& out) {
    COxMutexGuard lock(m_mutex);
    if (m_map.empty()) return false;
    auto first = m_map.begin();
    out = std::move(first->second);
    m_map.erase(first);
    return true;
  }

 private:
  mutable COxStdRecursiveMutex m_mutex;
  std::map<K, V, std::less<>> m_map MS_GUARDED_BY(m_mutex);
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_ATOM_MAP_H_
