#include "mediaengine/mediastores/src/config/kel_config_store.h"

#include <optional>
#include <string_view>
#include <utility>

#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

// An event about `name` in `group`: the three values given, groupType from the group. The values
// are moved straight into their places.
KelConfigEvent MakeEvent(const char* name, KelConfigGroup group, ConfigValue&& oldValue,
                         ConfigValue&& newValue, ConfigValue&& defaultValue) {
  return KelConfigEvent{name,
                        std::move(oldValue),
                        std::move(newValue),
                        std::move(defaultValue),
                        group,
                        KelConfigGroup2GroupType(group)};
}

// What one walk over a key's handlers shares between its deliveries: the event (posted
// deliveries share one copy of it) and the timing of the deliveries. The event is made in place.
struct Walk {
  template <class... Args>
  explicit Walk(Args&&... args) : event(MakeEvent(std::forward<Args>(args)...)), shared(event) {}
  KelConfigEvent event;
  WalkEvent shared;
  DeliveryTimer timer;
};

}  // namespace

KelConfig::KelConfig(uint32_t callId) : callId(callId) {
  KEL_TRACE_INFO(TraceCid{callId} << TraceThis{this});
}

KelConfig::~KelConfig() {
  KEL_TRACE_INFO(TraceCid{callId} << TraceThis{this});
  // Values first, then (as m_groups goes) observer lists, the later groups before the earlier
  // ones.
  for (size_t g = kGroupLast; g-- > 0;) {
    if (GroupParts* parts = m_groups.IfUsed(g)) parts->values.Clear();
  }
}

KelConfig::ObserverMgr& KelConfig::watchers(KelConfigGroup group) {
  static ObserverMgr nobody;
  GroupParts* parts = groupIfUsed(group);
  return parts != nullptr ? parts->observers : nobody;
}

SubscribeId_t KelConfig::SubscribeConfig(KelConfigGroup group, const char* szConfigName,
                                         fnConfigChangedCallBack cb, AOxThread* pRunThread,
                                         bool bAsync) {
  return subscribeConfig(group, szConfigName, std::make_shared<ConfigEventHandler>(std::move(cb)),
                         pRunThread, bAsync);
}

SubscribeId_t KelConfig::BindConfig(KelConfigGroup group, const char* szConfigName,
                                    fnConfigInvokeCallBack cb) {
  return bindConfig(group, szConfigName, std::make_shared<ConfigEventHandler>(std::move(cb)));
}

int32_t KelConfig::UnsubscribeConfig(SubscribeId_t id) {
  const ConfigEventHandler::Ptr handler = m_handlers.GetErase(id);
  if (!handler) {
    KEL_TRACE_ERROR(", id=" << id << ", Failed" << TraceThis{this});
    return KEL_E_BADSTATE;
  }
  return unsubscribeConfig(handler->group, handler->name.c_str(), handler);
}

SubscribeId_t KelConfig::subscribeConfig(KelConfigGroup group, const char* name,
                                         const ConfigEventHandler::Ptr& handler,
                                         AOxThread* pRunThread, bool bAsync) {
  if (group >= kGroupLast || name == nullptr || !handler || !handler->onChanged ||
      handler->id != 0) {
    KEL_TRACE_ERROR("Error parameters 0" << TraceCid{callId} << TraceThis{this});
    return 0;
  }
  if (name[0] == '\0') {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return 0;
  }
  const uint64_t self = GetThreadSelfId();
  const SubscribeId_t id = ++m_subscribeId;
  handler->id = id;
  handler->group = group;
  handler->name = name;
  handler->m_pRunThread = pRunThread;
  handler->bAsync = bAsync;
  handler->busy.Reset();
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << ", " << id
                      << ", m_TotalObservers=" << m_TotalObservers.load()
                      << ", pRunThread=" << static_cast<const void*>(pRunThread)
                      << ", bAsync=" << (bAsync ? 1 : 0) << TraceCid{callId} << TraceThis{this});
  // The list enters the handler's busy mark for this thread, so that a removal waits for the
  // first notification; the mark is left when it is done.
  if (observers(group).Subscribe(name, handler, this, self) != KEL_S_OK) return 0;
  const BusyMark::Scope firstNotification(handler->busy, self);
  m_handlers.Set(id, handler);

  ConfigValue current;
  if (values(group).Get(name, current)) {
    handler->Notify(MakeEvent(name, group, ConfigValue(), std::move(current), ConfigValue()));
  }
  return id;
}

SubscribeId_t KelConfig::bindConfig(KelConfigGroup group, const char* name,
                                    const ConfigEventHandler::Ptr& handler) {
  if (group >= kGroupLast || name == nullptr || !handler || !handler->onInvoke ||
      handler->id != 0) {
    KEL_TRACE_ERROR("Error parameters 0" << TraceCid{callId} << TraceThis{this});
    return 0;
  }
  if (name[0] == '\0') {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return 0;
  }
  const SubscribeId_t id = ++m_subscribeId;
  handler->id = id;
  handler->group = group;
  handler->name = name;
  handler->busy.Reset();
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << ", " << id
                      << ", m_TotalObservers=" << m_TotalObservers.load() << TraceCid{callId}
                      << TraceThis{this});
  if (observers(group).Bind(name, handler) != KEL_S_OK) return 0;
  m_TotalObservers.fetch_add(1);
  m_handlers.Set(id, handler);
  return id;
}

int32_t KelConfig::unsubscribeConfig(KelConfigGroup group, const char* name,
                                     const ConfigEventHandler::Ptr& handler) {
  if (!handler) return KEL_E_INVALIDARG;
  if (group >= kGroupLast || name == nullptr) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << ", " << handler->id
                      << ", m_TotalObservers=" << m_TotalObservers.load() << TraceCid{callId}
                      << TraceThis{this});
  const char* const signature = __PRETTY_FUNCTION__;
  const uint64_t self = GetThreadSelfId();
  const int32_t result =
      observers(group).Unsubscribe(name, handler, [&](const ConfigEventHandler::Ptr& removed) {
        m_TotalObservers.fetch_sub(1);
        const uint64_t busyThread = removed->busy.Holder();
        if (busyThread == 0) return;
        // A delivery is under way; the removal goes ahead and waits for it below.
        KEL_TRACE_AS(0, signature,
                     (busyThread == self ? ", Same thread remove itself when notification, "
                                         : ", Other thread remove itself when notification, ")
                         << name << ", " << busyThread << ", " << removed->id << TraceCid{callId}
                         << TraceThis{this});
      });
  if (result != KEL_S_OK) return result;

  // Wait for deliveries that are still running. A callback removing its own subscription waits
  // for itself, so the wait is bounded: after about 3 s the removal counts as done.
  handler->busy.WaitUntilIdle([&] {
    KEL_TRACE_AS(1, signature, ", " << name << " Waiting for long time..." << TraceThis{this});
  });
  return KEL_S_OK;
}

int32_t KelConfig::SetKelConfig(KelConfigGroup group, const char* szConfigName, ConfigValue value,
                                bool bForceNotify, bool bRemove) {
  if (group >= kGroupLast || szConfigName == nullptr || !value.IsValid()) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;

  if (bRemove) {
    GroupParts* const used = groupIfUsed(group);
    ConfigValue oldValue = used != nullptr ? used->values.GetErase(name) : ConfigValue();
    // The map's lock is released: subscribers run without it.
    return fireEvents(watchers(group), szConfigName, oldValue, value, group, bForceNotify);
  }
  ConfigValue oldValue;  // the value of an absent key
  bool unchanged = false;
  bool quiet = false;  // neither traced nor watched when the value was written
  usedGroup(group).values.Set(name, value, [&](ConfigValue* previous) {
    if (previous == nullptr) return;
    if (!bForceNotify && *previous == value) {
      unchanged = true;
      return;
    }
    // Only the trace line and the subscribers read the previous value. The check runs under the
    // map's lock: whoever subscribes after it reads the value being written for its first
    // notification.
    if (KelTraceEnabled(2) || m_TotalObservers.load() != 0) {
      oldValue = std::move(*previous);
    } else {
      quiet = true;
    }
  });
  if (unchanged) return KEL_E_UNCHANGED;
  if (quiet) return KEL_E_NOOBSERVER;
  // The map's lock is released: subscribers run without it.
  return fireEvents(watchers(group), szConfigName, oldValue, value, group, bForceNotify);
}

int32_t KelConfig::GetKelConfig(KelConfigGroup group, const char* szConfigName,
                                ConfigValue& value) {
  if (group >= kGroupLast || szConfigName == nullptr) return KEL_E_INVALIDARG;
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;
  const GroupParts* const used = groupIfUsed(group);
  if (used != nullptr && used->values.Get(name, value)) return KEL_S_OK;
  value.SetInvalid();
  return KEL_E_BADSTATE;
}

int32_t KelConfig::GetDynamicConfig(KelConfigGroup group, const char* szConfigName,
                                    ConfigValue& value, ConfigValue defaultValue) {
  if (group >= kGroupLast || szConfigName == nullptr) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  if (szConfigName[0] == '\0') return KEL_E_INVALIDARG;
  return invokeEvent(watchers(group), szConfigName, value, defaultValue, group);
}

int32_t KelConfig::RemoveKelConfig(KelConfigGroup group, const char* szConfigName) {
  if (group >= kGroupLast || szConfigName == nullptr) return KEL_E_INVALIDARG;
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;
  // Deliberately silent: removing a value tells no subscriber.
  GroupParts* const used = groupIfUsed(group);
  const bool removed = used != nullptr && used->values.Erase(name);
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name
                      << ", ret=" << (removed ? 1 : 0) << TraceCid{callId} << TraceThis{this});
  return KEL_S_OK;
}

int32_t KelConfig::RemoveKelConfigByGroup(KelConfigGroup group) {
  if (group >= kGroupLast) return KEL_E_INVALIDARG;
  // Counting and clearing are two separate map operations; values set in between go as well.
  GroupParts* const used = groupIfUsed(group);
  const uint32_t size = used != nullptr ? static_cast<uint32_t>(used->values.Size()) : 0;
  if (used != nullptr) used->values.Clear();
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", size=" << size << TraceCid{callId}
                      << TraceThis{this});
  return KEL_S_OK;
}

void KelConfig::markBusy(const ConfigEventHandler::Ptr& handler, uint64_t self,
                         const char* signature, const char* walk) {
  const uint64_t busyThread = handler->busy.Enter(self);
  if (busyThread == 0) return;
  // Another delivery to this handler is under way; this one goes ahead as well.
  KEL_TRACE_AS(1, signature,
               ", " << walk << " Multiple notification, " << handler->name << ", " << busyThread
                    << ", " << handler->id << ", " << self << TraceCid{callId} << TraceThis{this});
}

int32_t KelConfig::fireEvents(ObserverMgr& mgr, const char* name, ConfigValue& oldValue,
                              ConfigValue& newValue, KelConfigGroup group, bool bForceNotify) {
  if (name == nullptr || group >= kGroupLast) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  if (!bForceNotify && oldValue == newValue) return KEL_E_UNCHANGED;
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << ", "
                      << oldValue.ToCstr() << " -> " << newValue.ToCstr() << ", bForceNotify="
                      << (bForceNotify ? 1 : 0) << TraceCid{callId} << TraceThis{this});
  // A store nobody subscribed to has empty lists: skip the walk. (A subscription registering at
  // this moment reads the value just written for its first notification.)
  if (m_TotalObservers.load() == 0) return KEL_E_NOOBSERVER;

  const char* const signature = __PRETTY_FUNCTION__;
  const uint64_t self = GetThreadSelfId();
  std::optional<Walk> walk;  // made for the first subscriber only
  uint32_t nObservers = 0;
  mgr.FireEvent(
      name,
      [&](const ConfigEventHandler::Ptr& handler) {
        if (handler->onChanged) markBusy(handler, self, signature, "fireEvents");
      },
      [&](const ConfigEventHandler::Ptr& handler, bool last) {
        if (!walk) {
          walk.emplace(name, group, std::move(oldValue), std::move(newValue), ConfigValue());
        }
        ObserverMgr::DeliverChange(handler, last, walk->shared, walk->timer, nObservers, self);
      });
  if (nObservers == 0) return KEL_E_NOOBSERVER;
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name
                      << ", nObservers=" << nObservers << TraceCid{callId} << TraceThis{this});
  return KEL_S_OK;
}

int32_t KelConfig::invokeEvent(ObserverMgr& mgr, const char* name, ConfigValue& value,
                               const ConfigValue& defaultValue, KelConfigGroup group) {
  if (name == nullptr || group >= kGroupLast) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << TraceCid{callId}
                      << TraceThis{this});
  const char* const signature = __PRETTY_FUNCTION__;
  const uint64_t self = GetThreadSelfId();
  std::optional<Walk> walk;  // made for the first provider only
  uint32_t nCallees = 0;
  mgr.FireEvent(
      name,
      [&](const ConfigEventHandler::Ptr& handler) {
        if (handler->onInvoke) markBusy(handler, self, signature, "invokeEvent");
      },
      [&](const ConfigEventHandler::Ptr& handler, bool /*last*/) {
        if (!walk)
          walk.emplace(name, group, ConfigValue(), ConfigValue(), ConfigValue(defaultValue));
        ObserverMgr::DeliverInvoke(handler, walk->event, walk->timer, nCallees, value, self);
      });
  if (nCallees > 1) {
    KEL_TRACE_ERROR(", Bind too much, , " << KelConfigGroup2GroupName(group) << ", " << name
                                          << ", nCallees=" << nCallees << TraceCid{callId}
                                          << TraceThis{this});
  }
  return nCallees > 0 ? KEL_S_OK : KEL_E_NOOBSERVER;
}

}  // namespace kelStore
