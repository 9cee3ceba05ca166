// Intrusive reference-count base of the statistics objects.
#ifndef MEDIASTORES_PLATFORM_KEL_UNKNOWN_IMPL_H_
#define MEDIASTORES_PLATFORM_KEL_UNKNOWN_IMPL_H_

#include <atomic>
#include <cstdint>

#include "mediastores/kel_unknown.h"

namespace kel {

// Holds an atomic reference count that starts at 0. The derived class forwards its IKelUnknown
// operations here; when a release brings the count to 0, OnObjectDestroy() deletes the object.
class CKelUnknownImpl {
 public:
  CKelUnknownImpl() = default;
  virtual ~CKelUnknownImpl() = default;
  CKelUnknownImpl(const CKelUnknownImpl&) = delete;
  CKelUnknownImpl& operator=(const CKelUnknownImpl&) = delete;

  uint32_t InternalAddRef() { return m_refCount.fetch_add(1) + 1; }
  uint32_t InternalRelease() {
    const uint32_t count = m_refCount.fetch_sub(1) - 1;
    if (count == 0) OnObjectDestroy();
    return count;
  }
  uint32_t InternalGetReference() const { return m_refCount.load(); }

 protected:
  // Called once the count has dropped to zero.
  virtual void OnObjectDestroy() { delete this; }

 private:
  std::atomic<uint32_t> m_refCount{0};
};

// QueryInterface of the audio and video statistics objects: for IID_IKelUnknown stores `self`
// (the object's reference-count part) in `*out`, adds a reference and returns KEL_S_OK; for any
// other id stores null and returns KEL_E_NOINTERFACE; KEL_E_POINTER for a null `out`.
int32_t queryKelUnknown(CKelUnknownImpl* self, const _tagUUID& id, void** out);

}  // namespace kel

using kel::CKelUnknownImpl;

#endif  // MEDIASTORES_PLATFORM_KEL_UNKNOWN_IMPL_H_
