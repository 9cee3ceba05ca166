// Per-group lists of the handlers registered for each key, and the walks that deliver a change to
// the key's subscribers or ask its provider.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "mediaengine/mediastores/src/config/busy_mark.h"
#include "mediastores/config_event.h"
#include "mediastores/result_codes.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"

namespace kelStore {

// Keeps, for one configuration group of one store, the handlers of each key in registration
// order (subscriptions and the key's one provider share a list). One recursive mutex guards every
// list; it is held while lists change or are copied and while the caller's mark and removal
// actions run, never while a callback runs, so callbacks may subscribe, unsubscribe, bind and set
// (even the same key).
template <class HandlerPtr>
class KelConfigObserverMgr {
 public:
  KelConfigObserverMgr() = default;
  KelConfigObserverMgr(const KelConfigObserverMgr&) = delete;
  KelConfigObserverMgr& operator=(const KelConfigObserverMgr&) = delete;

  // Appends a subscription handler to the key's list, raises `store->m_TotalObservers` and
  // enters the handler's busy mark for `threadId` (the subscriber leaves it after its first
  // notification). KEL_E_FAIL when the handler is already in the list; KEL_E_INVALIDARG for an
  // empty or null name or a null handler.
  template <class Store>
  int32_t Subscribe(const char* name, const HandlerPtr& handler, Store* store, uint64_t threadId)
      MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0' || !handler) return KEL_E_INVALIDARG;
    COxMutexGuard lock(m_mutex);
    List& list = m_lists.try_emplace(std::string(name)).first->second;
    if (Contains(list, handler)) return KEL_E_FAIL;
    list.push_back(handler);
    if (store != nullptr) store->m_TotalObservers.fetch_add(1);
    handler->busy.Enter(threadId);
    return KEL_S_OK;
  }

  // Appends a provider handler. KEL_E_FAIL when the handler is already listed or the key already
  // has a provider (one per key and group); touches no counter.
  int32_t Bind(const char* name, const HandlerPtr& handler) MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0' || !handler) return KEL_E_INVALIDARG;
    COxMutexGuard lock(m_mutex);
    List& list = m_lists.try_emplace(std::string(name)).first->second;
    for (const HandlerPtr& listed : list) {
      if (listed == handler || listed->onInvoke) return KEL_E_FAIL;
    }
    list.push_back(handler);
    return KEL_S_OK;
  }

  // Removes one handler and runs `onRemoved(handler)` while still holding the lock. KEL_E_FAIL
  // for an unknown key or handler. The key's list stays, empty or not.
  template <class OnRemoved>
  int32_t Unsubscribe(const char* name, const HandlerPtr& handler, OnRemoved&& onRemoved)
      MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0' || !handler) return KEL_E_INVALIDARG;
    COxMutexGuard lock(m_mutex);
    auto found = m_lists.find(std::string_view(name));
    if (found == m_lists.end()) return KEL_E_FAIL;
    List& list = found->second;
    for (auto it = list.begin(); it != list.end(); ++it) {
      if (*it == handler) {
        list.erase(it);
        onRemoved(handler);
        return KEL_S_OK;
      }
    }
    return KEL_E_FAIL;
  }

  // Walks the key's handlers: under the lock copies the list and calls `mark(handler)` for each,
  // in list order; then, without the lock, calls `deliver(handler)` for each, in the same order.
  // A handler removed during the walk may still get the event under way; one added does not.
  template <class Mark, class Deliver>
  int32_t FireEvent(const char* name, Mark&& mark, Deliver&& deliver) MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0') return KEL_E_INVALIDARG;
    Snapshot snapshot;
    {
      COxMutexGuard lock(m_mutex);
      auto found = m_lists.find(std::string_view(name));
      if (found == m_lists.end() || found->second.empty()) return KEL_S_OK;
      snapshot.Fill(found->second);
      for (size_t i = 0; i < snapshot.size(); ++i)
        mark(snapshot[i]);
    }
    for (size_t i = 0; i < snapshot.size(); ++i)
      deliver(snapshot[i]);
    return KEL_S_OK;
  }

  // The change walk's delivery step: notify a subscriber (providers are passed over), count it
  // when Notify says it has a change callback, then leave the busy mark this walk entered.
  static void DeliverChange(const HandlerPtr& handler, const KelConfigEvent& event,
                            uint32_t& nObservers, uint64_t threadId) {
    if (!handler->onChanged) return;
    BusyMark::Scope marked(handler->busy, threadId);
    if (handler->Notify(event)) ++nObservers;
  }

  // The provider walk's delivery step: only the first provider in list order is asked (its
  // answer goes to `value`); every provider is counted. Subscribers are passed over.
  template <class Value>
  static void DeliverInvoke(const HandlerPtr& handler, const KelConfigEvent& event,
                            uint32_t& nCallees, Value& value, uint64_t threadId) {
    if (!handler->onInvoke) return;
    BusyMark::Scope marked(handler->busy, threadId);
    if (nCallees == 0) value = handler->Invoke(event);
    ++nCallees;
  }

 private:
  using List = std::vector<HandlerPtr>;

  // Copy of one key's list; up to eight handlers without allocating.
  class Snapshot {
   public:
    void Fill(const List& list) {
      m_size = list.size();
      if (m_size <= kInline) {
        for (size_t i = 0; i < m_size; ++i)
          m_inline[i] = list[i];
      } else {
        m_heap = list;
      }
    }
    size_t size() const { return m_size; }
    const HandlerPtr& operator[](size_t i) const {
      return m_size <= kInline ? m_inline[i] : m_heap[i];
    }

   private:
    static constexpr size_t kInline = 8;
    HandlerPtr m_inline[kInline];
    std::vector<HandlerPtr> m_heap;
    size_t m_size = 0;
  };

  static bool Contains(const List& list, const HandlerPtr& handler) {
    for (const HandlerPtr& listed : list) {
      if (listed == handler) return true;
    }
    return false;
  }

  std::map<std::string, List, std::less<>> m_lists MS_GUARDED_BY(m_mutex);
  // Recursive as the platform's observer lists are; nothing here takes it twice.
  COxStdRecursiveMutex m_mutex;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_
