// Engine-wide reference-counting interface implemented by the statistics objects.
#ifndef MEDIASTORES_KEL_UNKNOWN_H_
#define MEDIASTORES_KEL_UNKNOWN_H_

#include <cstdint>
#include <type_traits>

#include "mediastores/export.h"

namespace kel {

// A 16-byte interface identifier, compared byte by byte in memory order.
struct _tagUUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(_tagUUID) == 16, "interface identifiers are 16 bytes");
static_assert(std::is_trivially_copyable<_tagUUID>::value, "identifiers are plain bytes");

// Reference counting and interface discovery.
class IKelUnknown {
 public:
  virtual ~IKelUnknown() = default;
  // Adds one reference; returns the new count.
  virtual uint32_t AddRef() = 0;
  // Drops one reference, deleting the object at zero; returns the new count.
  virtual uint32_t Release() = 0;
  // Stores a pointer for `id` in `*out` and adds a reference, or stores null and returns
  // KEL_E_NOINTERFACE; a null `out` gives KEL_E_POINTER.
  virtual int32_t QueryInterface(const _tagUUID& id, void** out) = 0;
  // The current reference count.
  virtual uint32_t GetReference() = 0;
};

}  // namespace kel

#endif  // MEDIASTORES_KEL_UNKNOWN_H_
