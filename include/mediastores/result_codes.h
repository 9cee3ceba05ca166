// Result codes returned by the configuration and statistics stores.
#ifndef MEDIASTORES_RESULT_CODES_H_
#define MEDIASTORES_RESULT_CODES_H_

#include <cstdint>

// Success.
inline constexpr int32_t KEL_S_OK = 0;
// No store for the call id or pointer; repeated clean-up; duplicate subscription or second
// provider for a key.
inline constexpr int32_t KEL_E_FAIL = 0x46000001;
// Refused: no usable group, absent key on a read, unknown subscription id, malformed JSON
// document; the statistics store's refusal of null pointers, unknown types and bad indexes.
inline constexpr int32_t KEL_E_BADSTATE = 0x46004001;
// Invalid argument: group above 12, null or empty name, null store, null or already-filled
// output slot, call id 0xFFFFFFFF.
inline constexpr int32_t KEL_E_INVALIDARG = 0x46004003;
// Interface id not supported by QueryInterface.
inline constexpr int32_t KEL_E_NOINTERFACE = 0x46004005;
// Null output pointer given to QueryInterface.
inline constexpr int32_t KEL_E_POINTER = 0x46004006;
// A set wrote a value equal to the old one without forcing: stored, nobody notified.
inline constexpr int32_t KEL_E_UNCHANGED = 0x46004009;
// A set notified nobody, or a dynamic read found no provider.
inline constexpr int32_t KEL_E_NOOBSERVER = 0x4600400a;

#endif  // MEDIASTORES_RESULT_CODES_H_
