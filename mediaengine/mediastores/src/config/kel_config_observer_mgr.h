// Per-group lists of the handlers registered for each key, and the walks that deliver a change to
// the key's subscribers or ask its provider.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/delivery_timer.h"
#include "mediastores/config_event.h"
#include "mediastores/result_codes.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"

namespace kelStore {

// Keeps, for one configuration group of one store, the handlers of each key in registration
// order (subscriptions and the key's one provider share a list). One recursive mutex guards every
// list; it is held while lists change or are taken for a walk and while the caller's mark and
// removal actions run, never while a callback runs, so callbacks may subscribe, unsubscribe, bind
// and set (even the same key). A list is never changed in place: a change makes a new one, so a
// walk keeps the list it started with by one reference, however many handlers it holds.
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
    ListPtr& list = m_lists.try_emplace(std::string(name)).first->second;
    if (Contains(list, handler)) return KEL_E_FAIL;
    Append(list, handler);
    if (store != nullptr) store->m_TotalObservers.fetch_add(1);
    handler->busy.Enter(threadId);
    return KEL_S_OK;
  }

  // Appends a provider handler. KEL_E_FAIL when the handler is already listed or the key already
  // has a provider (one per key and group); touches no counter.
  int32_t Bind(const char* name, const HandlerPtr& handler) MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0' || !handler) return KEL_E_INVALIDARG;
    COxMutexGuard lock(m_mutex);
    ListPtr& list = m_lists.try_emplace(std::string(name)).first->second;
    if (list) {
      for (const HandlerPtr& listed : *list) {
        if (listed == handler || listed->onInvoke) return KEL_E_FAIL;
      }
    }
    Append(list, handler);
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
    if (found == m_lists.end() || !Contains(found->second, handler)) return KEL_E_FAIL;
    auto rest = std::make_shared<List>();
    rest->reserve(found->second->size() - 1);
    for (const HandlerPtr& listed : *found->second) {
      if (listed != handler) rest->push_back(listed);
    }
    found->second = std::move(rest);
    onRemoved(handler);
    return KEL_S_OK;
  }

  // Walks the key's handlers: under the lock takes the list and calls `mark(handler)` for each,
  // in list order; then, without the lock, calls `deliver(handler, last)` for each, in the same
  // order, `last` telling whether it is the list's last handler.
  // A handler removed during the walk may still get the event under way; one added does not.
  template <class Mark, class Deliver>
  int32_t FireEvent(const char* name, Mark&& mark, Deliver&& deliver) MS_EXCLUDES(m_mutex) {
    if (name == nullptr || name[0] == '\0') return KEL_E_INVALIDARG;
    ListPtr snapshot;
    {
      COxMutexGuard lock(m_mutex);
      auto found = m_lists.find(std::string_view(name));
      if (found == m_lists.end() || !found->second || found->second->empty()) return KEL_S_OK;
      snapshot = found->second;
      for (const HandlerPtr& handler : *snapshot)
        mark(handler);
    }
    const HandlerPtr* const last = &snapshot->back();
    for (const HandlerPtr& handler : *snapshot)
      deliver(handler, &handler == last);
    return KEL_S_OK;
  }

  // The change walk's delivery step: notify a subscriber (providers are passed over) and count
  // it; the delivery leaves the busy mark this walk entered. `last`: no handler follows it.
  static void DeliverChange(const HandlerPtr& handler, bool last, WalkEvent& event,
                            DeliveryTimer& timer, uint32_t& nObservers, uint64_t threadId) {
    if (!handler->onChanged) return;
    handler->Notify(event, timer, threadId, handler, last);
    ++nObservers;
  }

  // The provider walk's delivery step: only the first provider in list order is asked (its
  // answer goes to `value`); every provider is counted and leaves the mark this walk entered.
  // Subscribers are passed over.
  template <class Value>
  static void DeliverInvoke(const HandlerPtr& handler, const KelConfigEvent& event,
                            DeliveryTimer& timer, uint32_t& nCallees, Value& value,
                            uint64_t threadId) {
    if (!handler->onInvoke) return;
    if (nCallees == 0) {
      value = handler->Invoke(event, timer, threadId);
    } else {
      handler->busy.Leave(threadId);
    }
    ++nCallees;
  }

 private:
  using List = std::vector<HandlerPtr>;
  using ListPtr = std::shared_ptr<const List>;

  // Replaces the list by a copy with `handler` appended.
  static void Append(ListPtr& list, const HandlerPtr& handler) {
    auto longer = std::make_shared<List>();
    longer->reserve((list ? list->size() : 0) + 1);
    if (list) longer->insert(longer->end(), list->begin(), list->end());
    longer->push_back(handler);
    list = std::move(longer);
  }

  static bool Contains(const ListPtr& list, const HandlerPtr& handler) {
    if (!list) return false;
    for (const HandlerPtr& listed : *list) {
      if (listed == handler) return true;
    }
    return false;
  }

  std::map<std::string, ListPtr, std::less<>> m_lists MS_GUARDED_BY(m_mutex);
  // Recursive as the platform's observer lists are; nothing here takes it twice.
  COxStdRecursiveMutex m_mutex;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_MGR_H_
