#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediastores/mediastores.h"
#include "platform/kel_unknown_impl.h"
#include "tests/stats/stats_image.h"

namespace {

using Audio = kelStore::KelAudioStatisticInfo;
using PT = kelStore::KEL_AUDIO_PAYLOAD_TYPE;

// Every record of an object as one image: the transmit record, then the 20 receive records from
// kRx and the 20 synchronisation records from kSync.
constexpr size_t kRx = 260, kSync = kRx + 20 * 260, kAll = kSync + 20 * 120;

Image State(Audio& a) {
  Image image(kAll);
  EXPECT_EQ(a.GetTxMediaInfo(image.data(), false), KEL_S_OK);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(a.GetRxAudioInfo(&image[kRx + 260 * i], i, false), KEL_S_OK);
    EXPECT_EQ(a.GetAVSyncInfo(&image[kSync + 120 * i], i), KEL_S_OK);
  }
  return image;
}

// Levels -100/0/-100 and 20 at 112, as a reset or a resetting read leaves them.
const std::vector<Field> kResetLevels = {
    F(60, -100.0f), F(64, -100.0f), F(68, -100.0f), F(72, 0.0f),    F(76, 0.0f),
    F(80, 0.0f),    F(84, -100.0f), F(88, -100.0f), F(92, -100.0f), U32(112, 20)};
const Image kFresh = Patch(Image(kAll, 0), kResetLevels);

TEST(AudioStatistics, ResetWholeRecords) {
  Audio a(77);
  EXPECT_EQ(a.GetCallId(), 77u);
  EXPECT_EQ(State(a), kFresh);
  Image tx = PatternImage(260, 1);
  ASSERT_EQ(a.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  EXPECT_EQ(State(a), Patch(kFresh, {Field{0, tx}}));
  a.updateRxBitRate(19, 5);
  a.updateAVSyncStatistics(19, kel::_tagSyncStatistics{{9}});
  EXPECT_EQ(a.reset(78), 0);
  EXPECT_EQ(a.GetCallId(), 78u);
  EXPECT_EQ(State(a), kFresh);

  // Deliberately unlike the refused whole receive record (badinput/stats_bad_input_test.cc): the
  // plain receive read succeeds doing nothing.
  EXPECT_EQ(a.GetRxMediaInfo(nullptr, false), KEL_S_OK);
}

// One update and the fields it must change in the transmit record, or in the receive or
// synchronisation record of the stream index it is given; every other byte must stay as it was.
// Stream updates run for the last index, 19 (bad indexes: badinput/stats_bad_input_test.cc).
#define UPDATE(...) [&](Audio& a, int i) { (void)i, __VA_ARGS__; }
struct UpdateCase {
  std::function<void(Audio&, int index)> update;
  size_t record;  // 0 (transmit), kRx or kSync
  std::vector<Field> fields;
};

TEST(AudioStatistics, EachUpdateWritesItsPositionsOnly) {
  const kelStore::st_KelAudioCodecStatisticsInfo codec{
      true, {}, 11, kelStore::KEL_AUDIO_PAYLOAD_G722, 33, 0x1122334455667788ull, 44, 0};
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 81, jb.field_at_12 = 82, jb.field_at_16 = 83, jb.field_at_36 = 84;
  jb.field_at_40 = 0x0102030405060708ull, jb.field_at_48 = 85;
  kel::_tagSyncStatistics sync;
  for (uint32_t i = 0; i < 30; ++i)
    sync.values[i] = 1000 + i;
  // clang-format off
  const UpdateCase cases[] = {
    {UPDATE(a.updateTxBitRate(64000)), 0, {U32(8, 64000)}},
    {UPDATE(a.updateUnstableEventCount(7), a.updateUnstableEventCount(3)), 0, {U32(116, 3)}},
    {UPDATE(a.updateAECLevel(1, 2, 3)), 0, {F(72, 1.0f), F(76, 2.0f), F(80, 3.0f)}},
    {UPDATE(a.updateNoiseLevel(-1, -2, -3)), 0, {F(60, -1.0f), F(64, -2.0f), F(68, -3.0f)}},
    {UPDATE(a.updateSpeechLevel(-4, -5, -6)), 0, {F(84, -4.0f), F(88, -5.0f), F(92, -6.0f)}},
    {UPDATE(a.updateCodecStaticsLBRRflag(true)), 0, {U8(0, 1)}},
    {UPDATE(a.updateTxEncodeDropFrameinMS(40)), 0, {U32(56, 40)}},
    {UPDATE(a.updateSendCodecInfo(codec)), 0,
     {U8(0, 1), U32(4, 11), I32(12, 5), U32(56, 33), U64(96, 0x1122334455667788), U32(104, 44)}},
    {UPDATE(a.updateRxBitRate(i, 5000)), kRx, {U32(8, 5000)}},
    {UPDATE(a.updatePayloadType(i, PT(102))), kRx, {I32(12, 3)}},
    // The decode flag and the receive LBRR flag share byte 0: the last write wins.
    {UPDATE(a.updateDecodeInfo(i, true, 77)), kRx, {U8(0, 1), U32(4, 77)}},
    {UPDATE(a.updateDecodeInfo(i, true, 7), a.updateCodecStaticsLBRRflag(i, false)), kRx,
     {U32(4, 7)}},
    {UPDATE(a.updateCodecStaticsLBRRflag(i, true)), kRx, {U8(0, 1)}},
    // The fields at 8 and 12 go crosswise to 124 and 120.
    {UPDATE(a.updateJitterBufferStatistics(i, jb, 0x1FF, 0x102)), kRx,
     {U8(108, 0xFF), U8(109, 0x02), U32(112, 84), U32(120, 82), U32(124, 81), U32(128, 83),
      U64(132, 0x0102030405060708), U32(140, 85)}},
    {UPDATE(a.updateE2EDelayInfo(i, 10, 20, 30)), kRx, {U32(196, 10), U32(200, 20), U32(204, 30)}},
    {UPDATE(a.updateAVSyncStatistics(i, sync)), kSync, {F(0, sync)}},
  };
  // clang-format on
  for (size_t n = 0; n < std::size(cases); ++n) {
    SCOPED_TRACE(n);
    const UpdateCase& c = cases[n];
    const size_t size = c.record == kSync ? 120 : 260;
    Audio a(11);
    c.update(a, 19);
    EXPECT_EQ(State(a), Patch(kFresh, c.fields, c.record + (c.record ? 19 * size : 0)));
  }
}

TEST(AudioStatistics, PayloadTypeTableAndUnknownTypes) {
  Audio a(11);
  kelStore::st_KelAudioCodecStatisticsInfo codec{};
  // Each type of the table, then unknown types, which leave its code in place.
  const std::pair<int, int> table[] = {{0, 1},   {8, 2},   {9, 5},    {18, 7},   {101, 4}, {102, 3},
                                       {103, 8}, {104, 9}, {105, 10}, {106, 11}, {107, 12}};
  for (const auto& [type, code] : table) {
    for (int t : {type, 99, 1, 100, 108, -1}) {
      a.updatePayloadType(0, PT(t));
      codec.payloadType = PT(t);
      a.updateSendCodecInfo(codec);
    }
    const Image state = State(a);
    EXPECT_EQ(ReadAt<int32_t>(state, 12), code) << type;
    EXPECT_EQ(ReadAt<int32_t>(state, kRx + 12), code) << type;
  }
}

TEST(AudioStatistics, ResettingReadsReportThenClearOnlyTheirFields) {
  Audio a(11);
  Image tx = PatternImage(260, 5);
  ASSERT_EQ(a.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 1, jb.field_at_12 = 2, jb.field_at_16 = 3, jb.field_at_40 = 5;
  for (int i : {4, 5}) {
    a.updateJitterBufferStatistics(i, jb, 7, 8);
    a.updateE2EDelayInfo(i, 10, 11, 12);
  }
  const Image before = State(a);
  Image out(260);
  ASSERT_EQ(a.GetTxMediaInfo(out.data(), true), KEL_S_OK);
  EXPECT_EQ(out, tx);  // reported as it was...
  ASSERT_EQ(a.GetRxAudioInfo(out.data(), 5, true), KEL_S_OK);
  EXPECT_EQ(out, Image(&before[kRx + 5 * 260], &before[kRx + 6 * 260]));
  // ...then only the levels, 112 and stream 5's bytes 120 to 131 are reset.
  EXPECT_EQ(State(a),
            Patch(Patch(before, kResetLevels), {Field{120, Image(12, 0)}}, kRx + 5 * 260));
}

TEST(AudioStatistics, QueryInterfaceHandsOutTheReferenceCountPart) {
  Audio a(11);
  a.AddRef();
  void* out = &out;
  EXPECT_EQ(a.QueryInterface(kelStore::IID_IKelUnknown, nullptr), KEL_E_POINTER);
  kel::_tagUUID id;
  std::memcpy(&id, "\0\0\0\0\x13\x20\x14\x01\x01\x23\x45\x67\x89\xAB\xCD\xEF", sizeof(id));
  EXPECT_EQ(a.QueryInterface(id, &out), KEL_S_OK);
  EXPECT_EQ(out, static_cast<kel::CKelUnknownImpl*>(&a));  // not the IKelUnknown part
  EXPECT_EQ(a.GetReference(), 2u);
  reinterpret_cast<unsigned char*>(&id)[15] ^= 1;
  EXPECT_EQ(a.QueryInterface(id, &out), KEL_E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
}

}  // namespace
