#include <gtest/gtest.h>

#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediastores/mediastores.h"
#include "platform/kel_unknown_impl.h"
#include "tests/stats/stats_image.h"

namespace {

using Audio = kelStore::KelAudioStatisticInfo;
using PT = kelStore::KEL_AUDIO_PAYLOAD_TYPE;

// Levels -100/0/-100 and 20 at 112, as a reset or a resetting transmit read leaves them.
const std::vector<Field> kResetLevels = {
    F(60, -100.0f), F(64, -100.0f), F(68, -100.0f), F(72, 0.0f),    F(76, 0.0f),
    F(80, 0.0f),    F(84, -100.0f), F(88, -100.0f), F(92, -100.0f), F(112, 20u)};
const Image kFresh = Patch(Image(kAudioAll, 0), kResetLevels);

// Every field the updates write, by byte position in the transmit record or in the records of
// stream 19 (the last), and nothing else; a reset clears them all.
TEST(AudioStatistics, UpdatesLandAtTheirPositionsAndResetClearsThem) {
  Audio a(11);
  const kelStore::st_KelAudioCodecStatisticsInfo codec{
      false, {}, 11, kelStore::KEL_AUDIO_PAYLOAD_G722, 33, 0x1122334455667788ull, 44, 0};
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 81, jb.field_at_12 = 82, jb.field_at_16 = 83, jb.field_at_36 = 84;
  jb.field_at_40 = 0x0102030405060708ull, jb.field_at_48 = 85;
  kel::_tagSyncStatistics sync;
  std::memcpy(&sync, PatternImage(sizeof(sync), 4).data(), sizeof(sync));
  a.updateSendCodecInfo(codec);
  a.updateCodecStaticsLBRRflag(true);
  a.updateTxBitRate(64000);
  a.updateUnstableEventCount(7), a.updateUnstableEventCount(3);  // overwritten, not added
  a.updateAECLevel(1, 2, 3), a.updateNoiseLevel(-1, -2, -3), a.updateSpeechLevel(-4, -5, -6);
  a.updateRxBitRate(19, 5000), a.updatePayloadType(19, PT(102));
  a.updateDecodeInfo(19, true, 77), a.updateCodecStaticsLBRRflag(19, false);  // one shared byte
  a.updateJitterBufferStatistics(19, jb, 0x1FF, 0x102);
  a.updateE2EDelayInfo(19, 10, 20, 30);
  a.updateAVSyncStatistics(19, sync);
  const size_t rx = kAudioRx + 19 * 260;
  // clang-format off
  EXPECT_EQ(AudioState(a), Patch(kFresh, {
      F(0, true), F(4, 11u), F(8, 64000u), F(12, 5), F(56, 33u), F(60, -1.0f), F(64, -2.0f),
      F(68, -3.0f), F(72, 1.0f), F(76, 2.0f), F(80, 3.0f), F(84, -4.0f), F(88, -5.0f),
      F(92, -6.0f), F(96, 0x1122334455667788ull), F(104, 44u), F(116, 3u),
      F(rx + 4, 77u), F(rx + 8, 5000u), F(rx + 12, 3), F<uint8_t>(rx + 108, 0xFF),
      F<uint8_t>(rx + 109, 0x02), F(rx + 112, 84u),
      F(rx + 120, 82u), F(rx + 124, 81u),  // the fields at 12 and 8, crosswise
      F(rx + 128, 83u), F(rx + 132, 0x0102030405060708ull), F(rx + 140, 85u),
      F(rx + 196, 10u), F(rx + 200, 20u), F(rx + 204, 30u), F(kAudioSync + 19 * 120, sync)}));
  // clang-format on
  a.updateTxEncodeDropFrameinMS(40);
  EXPECT_EQ(ReadAt<uint32_t>(AudioState(a), 56), 40u);
  EXPECT_EQ(a.reset(78), 0);
  EXPECT_EQ(a.GetCallId(), 78u);
  EXPECT_EQ(AudioState(a), kFresh);
}

// Each payload type of the table gives its code, on both sides; unknown types keep the code.
TEST(AudioStatistics, PayloadTypeTable) {
  Audio a(11);
  kelStore::st_KelAudioCodecStatisticsInfo codec{};
  const std::pair<int, int> table[] = {{0, 1},   {8, 2},   {9, 5},    {18, 7},   {101, 4}, {102, 3},
                                       {103, 8}, {104, 9}, {105, 10}, {106, 11}, {107, 12}};
  for (const auto& [type, code] : table) {
    for (int t : {type, 99, 1, 100, 108, -1})
      codec.payloadType = PT(t), a.updateSendCodecInfo(codec), a.updatePayloadType(0, PT(t));
    const Image state = AudioState(a);
    EXPECT_TRUE(ReadAt<int32_t>(state, 12) == code && ReadAt<int32_t>(state, kAudioRx + 12) == code)
        << type;
  }
}

// A resetting read reports the record as it was, then resets only its own fields; the plain
// receive read succeeds (deliberately unlike the refused receive record write). The unknown
// interface is the reference-count part, not the IKelUnknown part, and takes a reference.
TEST(AudioStatistics, ResettingReadsAndInterface) {
  Audio a(11);
  Image tx = PatternImage(260, 5), out(260);
  ASSERT_EQ(a.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 1, jb.field_at_12 = 2, jb.field_at_16 = 3, jb.field_at_40 = 5;
  a.updateJitterBufferStatistics(5, jb, 7, 8);
  const Image before = AudioState(a);
  const size_t rx5 = kAudioRx + 5 * 260;
  ASSERT_EQ(a.GetTxMediaInfo(out.data(), true), KEL_S_OK);
  EXPECT_EQ(out, tx);
  ASSERT_EQ(a.GetRxAudioInfo(out.data(), 5, true), KEL_S_OK);
  EXPECT_EQ(out, Image(&before[rx5], &before[rx5 + 260]));
  EXPECT_EQ(AudioState(a), Patch(Patch(before, kResetLevels), {Field{rx5 + 120, Image(12, 0)}}));
  EXPECT_EQ(a.GetRxMediaInfo(nullptr, false), KEL_S_OK);

  void* unknown = nullptr;
  kel::_tagUUID id;
  std::memcpy(&id, "\0\0\0\0\x13\x20\x14\x01\x01\x23\x45\x67\x89\xAB\xCD\xEF", sizeof(id));
  EXPECT_EQ(a.QueryInterface(id, &unknown), KEL_S_OK);
  EXPECT_EQ(unknown, static_cast<kel::CKelUnknownImpl*>(&a));
  EXPECT_EQ(a.GetReference(), 1u);
}

// A resetting read puts back each level and the field at 112 when it alone is off its reset
// value (bit for bit: -0.0 is not 0.0), and clears the receive field at 128 when it alone is set.
TEST(AudioStatistics, ResettingReadsRestoreEachFieldOnItsOwn) {
  Audio a(12);
  const Image reset = Patch(Image(260, 0), kResetLevels);
  Image out(260);
  for (const Field& level : kResetLevels) {
    for (const float value : {1.0f, -0.0f}) {
      Image changed = Patch(reset, {F(level.position, value)});
      ASSERT_EQ(a.UpdateTxMediaInfo(changed.data()), KEL_S_OK);
      ASSERT_EQ(a.GetTxMediaInfo(out.data(), true), KEL_S_OK);
      ASSERT_EQ(a.GetTxMediaInfo(out.data(), false), KEL_S_OK);
      EXPECT_EQ(out, reset) << level.position << " " << value;
    }
  }
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_16 = 3;
  a.updateJitterBufferStatistics(2, jb, 0, 0);
  ASSERT_EQ(a.GetRxAudioInfo(out.data(), 2, true), KEL_S_OK);
  ASSERT_EQ(a.GetRxAudioInfo(out.data(), 2, false), KEL_S_OK);
  EXPECT_EQ(out, Image(260, 0));
}

}  // namespace
