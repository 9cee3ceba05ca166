#include "platform/kel_unknown_impl.h"

#include <cstring>

#include "mediastores/result_codes.h"

namespace kel {

int32_t queryKelUnknown(CKelUnknownImpl* self, const _tagUUID& id, void** out) {
  static const unsigned char kUnknownId[16] = {0x00, 0x00, 0x00, 0x00, 0x13, 0x20, 0x14, 0x01,
                                               0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  static_assert(sizeof(_tagUUID) == sizeof(kUnknownId), "identifiers are 16 bytes");
  if (out == nullptr) return KEL_E_POINTER;
  if (std::memcmp(&id, kUnknownId, sizeof(kUnknownId)) != 0) {
    *out = nullptr;
    return KEL_E_NOINTERFACE;
  }
  *out = self;
  self->InternalAddRef();
  return KEL_S_OK;
}

}  // namespace kel
