#include "mediaengine/mediastores/src/config/kel_config_observer_helper.h"

#include <string_view>
#include <utility>

#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

KelConfigObserverHelper::~KelConfigObserverHelper() {
  Clean();
}

void KelConfigObserverHelper::SetIKelConfig(IKelConfig* store) {
  if (store != nullptr && m_pIKelConfig == nullptr) {
    m_pIKelConfig = store;
    ReSubscribeConfig();
  } else if (store == nullptr && m_pIKelConfig != nullptr) {
    Clean();
    m_pIKelConfig = nullptr;
  }
}

template <typename Callback, typename Forward>
SubscribeId_t KelConfigObserverHelper::Remember(const char* signature, KelConfigGroup group,
                                                const char* name, Callback cb,
                                                Callback ConfigEventHandler::*slot,
                                                Forward&& forward) {
  const std::string_view key(name);
  if (key.empty()) {
    KEL_TRACE_AS(0, signature, "Error parameters" << TraceThis{this});
    return 0;
  }
  atomMap<std::string, ConfigEventHandler::Ptr>& names = m_nameMaps.Used(group);
  ConfigEventHandler::Ptr record;
  Callback toForward;
  {
    COxMutexGuard<COxStdMutex> guard(m_recordsLock);
    if (names.Get(key, record)) {
      // Already live in this group, or already carrying this kind of callback.
      if (record->id != 0 || (*record).*slot) return 0;
      // A remembered record takes the second kind of callback. It is already in the map, so the
      // insertion below fails and 0 is returned: the record goes to the store when one arrives.
      (*record).*slot = std::move(cb);
    } else {
      record = std::make_shared<ConfigEventHandler>(std::move(cb));
      record->group = group;
      record->name = key;
    }
    if (!names.SetEx(key, record)) return 0;
    if (m_pIKelConfig == nullptr) return 0;
    toForward = (*record).*slot;
  }

  // The store is called without the lock; until its answer is recorded the record has id 0 and
  // this kind of callback, so a racing subscription of the same name is refused as a duplicate.
  const SubscribeId_t id = forward(toForward);
  COxMutexGuard<COxStdMutex> guard(m_recordsLock);
  record->id = id;
  if (id == 0) {
    names.Erase(key);
    return 0;
  }
  m_idMap.Set(id, record);
  return id;
}

SubscribeId_t KelConfigObserverHelper::SubscribeConfig(KelConfigGroup group, const char* name,
                                                       fnConfigChangedCallBack cb,
                                                       AOxThread* pRunThread, bool bAsync) {
  if (group >= kGroupLast || name == nullptr || !cb) {
    KEL_TRACE_ERROR("Error parameters" << TraceThis{this});
    return 0;
  }
  return Remember(__PRETTY_FUNCTION__, group, name, std::move(cb), &ConfigEventHandler::onChanged,
                  [&](const fnConfigChangedCallBack& changed) {
                    return m_pIKelConfig->SubscribeConfig(group, name, changed, pRunThread, bAsync);
                  });
}

SubscribeId_t KelConfigObserverHelper::BindConfig(KelConfigGroup group, const char* name,
                                                  fnConfigInvokeCallBack provider) {
  if (group >= kGroupLast || name == nullptr || !provider) {
    KEL_TRACE_ERROR("Error parameters" << TraceThis{this});
    return 0;
  }
  return Remember(__PRETTY_FUNCTION__, group, name, std::move(provider),
                  &ConfigEventHandler::onInvoke, [&](const fnConfigInvokeCallBack& invoke) {
                    return m_pIKelConfig->BindConfig(group, name, invoke);
                  });
}

int32_t KelConfigObserverHelper::UnsubscribeConfig(SubscribeId_t id) {
  const ConfigEventHandler::Ptr record = m_idMap.GetErase(id);
  if (!record) return KEL_E_BADSTATE;
  if (m_pIKelConfig != nullptr) m_pIKelConfig->UnsubscribeConfig(id);
  atomMap<std::string, ConfigEventHandler::Ptr>* names =
      record->group < kGroupLast ? m_nameMaps.IfUsed(record->group) : nullptr;
  if (names != nullptr) {
    COxMutexGuard<COxStdMutex> guard(m_recordsLock);
    ConfigEventHandler::Ptr found;
    if (names->Get(record->name, found) && (record->onChanged || record->onInvoke)) {
      record->onChanged = nullptr;
      record->onInvoke = nullptr;
      names->Erase(record->name);
    }
  }
  return KEL_S_OK;
}

int32_t KelConfigObserverHelper::UnsubscribeConfig(const char* name, KelConfigGroup group) {
  if (name == nullptr || group >= kGroupLast) {
    KEL_TRACE_ERROR("Error parameters" << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  ConfigEventHandler::Ptr record;
  const atomMap<std::string, ConfigEventHandler::Ptr>* names = m_nameMaps.IfUsed(group);
  if (names == nullptr || !names->Get(name, record)) {
    KEL_TRACE_ERROR("Failed" << TraceThis{this});
    return KEL_E_BADSTATE;
  }
  // A record that never went live has id 0, which is never live: it stays remembered.
  SubscribeId_t id = 0;
  {
    COxMutexGuard<COxStdMutex> guard(m_recordsLock);
    id = record->id;
  }
  return UnsubscribeConfig(id);
}

void KelConfigObserverHelper::Clean() {
  ConfigEventHandler::Ptr record;
  while (m_idMap.GetFirst(record)) {
    SubscribeId_t id = 0;
    {
      COxMutexGuard<COxStdMutex> guard(m_recordsLock);
      id = record->id;
    }
    UnsubscribeConfig(id);
    m_idMap.Erase(id);
  }
}

void KelConfigObserverHelper::ReSubscribeConfig() {
  for (uint32_t g = 0; g < kGroupLast; ++g) {
    const auto group = static_cast<KelConfigGroup>(g);
    atomMap<std::string, ConfigEventHandler::Ptr>* names = m_nameMaps.IfUsed(g);
    if (names == nullptr) continue;  // the group never had a record
    atomMap<std::string, ConfigEventHandler::Ptr> pending(*names);
    names->Clear();
    ConfigEventHandler::Ptr record;
    while (pending.PopFirst(record)) {
      fnConfigChangedCallBack onChanged;
      fnConfigInvokeCallBack onInvoke;
      {
        COxMutexGuard<COxStdMutex> guard(m_recordsLock);
        onChanged = record->onChanged;
        onInvoke = record->onInvoke;
      }
      // The record never kept a run thread or bAsync flag: the subscription goes out without.
      if (onChanged) {
        SubscribeConfig(group, record->name.c_str(), onChanged, record->m_pRunThread,
                        record->bAsync);
      } else if (onInvoke) {
        BindConfig(group, record->name.c_str(), onInvoke);
      }
    }
  }
}

}  // namespace kelStore
