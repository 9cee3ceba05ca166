#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "stats/stats_image.h"

namespace {

using kelStore::KelAudioStatisticInfo;
using Audio = std::unique_ptr<KelAudioStatisticInfo>;
using PT = kelStore::KEL_AUDIO_PAYLOAD_TYPE;

Audio NewAudio(unsigned callId = 11) {
  return Audio(new KelAudioStatisticInfo(callId));
}

Image Tx(KelAudioStatisticInfo& a, bool reset = false) {
  Image image(260);
  EXPECT_EQ(a.GetTxMediaInfo(image.data(), reset), KEL_S_OK);
  return image;
}

Image Rx(KelAudioStatisticInfo& a, int index, bool reset = false) {
  Image image(260);
  EXPECT_EQ(a.GetRxAudioInfo(image.data(), index, reset), KEL_S_OK);
  return image;
}

std::vector<Image> AllRx(KelAudioStatisticInfo& a) {
  std::vector<Image> all;
  for (int i = 0; i < 20; ++i)
    all.push_back(Rx(a, i));
  return all;
}

// Levels -100/0/-100 and 20 at 112 over `image`, as a reset or a resetting read leaves them.
Image WithResetLevels(Image image) {
  Patch(image, {F(60, -100.0f), F(64, -100.0f), F(68, -100.0f), F(72, 0.0f), F(76, 0.0f),
                F(80, 0.0f), F(84, -100.0f), F(88, -100.0f), F(92, -100.0f), F<uint32_t>(112, 20)});
  return image;
}

TEST(AudioStatistics, ResetStateAndWholeRecordOperations) {
  Audio a = NewAudio(77);
  EXPECT_EQ(a->GetCallId(), 77u);
  EXPECT_EQ(Tx(*a), WithResetLevels(Image(260, 0)));
  EXPECT_EQ(AllRx(*a), std::vector<Image>(20, Image(260, 0)));

  Image tx = PatternImage(260, 1);
  ASSERT_EQ(a->UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  EXPECT_EQ(Tx(*a), tx);
  a->updateRxBitRate(19, 5);
  kel::_tagSyncStatistics sync{};
  sync.values[29] = 9;
  a->updateAVSyncStatistics(19, sync);
  EXPECT_EQ(a->reset(78), 0);
  EXPECT_EQ(a->GetCallId(), 78u);
  EXPECT_EQ(Tx(*a), WithResetLevels(Image(260, 0)));
  EXPECT_EQ(Rx(*a, 19), Image(260, 0));
  Image syncImage(120, 0xEE);
  ASSERT_EQ(a->GetAVSyncInfo(syncImage.data(), 19), KEL_S_OK);
  EXPECT_EQ(syncImage, Image(120, 0));

  EXPECT_EQ(a->UpdateTxMediaInfo(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(a->GetTxMediaInfo(nullptr, true), KEL_E_BADSTATE);
  EXPECT_EQ(a->GetRxAudioInfo(nullptr, 0, true), KEL_E_BADSTATE);
  EXPECT_EQ(a->GetAVSyncInfo(nullptr, 0), KEL_E_BADSTATE);
  // Deliberately unlike each other: no whole receive record is taken, the plain receive read
  // succeeds doing nothing.
  EXPECT_EQ(a->UpdateRxMediaInfo(tx.data()), KEL_E_BADSTATE);
  EXPECT_EQ(a->GetRxMediaInfo(nullptr, false), KEL_S_OK);
}

// One update and the fields it must change in the transmit record or in receive record 3; every
// other byte of all the records must stay as it was.
struct UpdateCase {
  std::string name;
  std::function<void(KelAudioStatisticInfo&)> update;
  bool receive;
  std::vector<Field> fields;
};

TEST(AudioStatistics, EachUpdateWritesItsPositionsOnly) {
  const kelStore::st_KelAudioCodecStatisticsInfo codec{
      true, {}, 11, kelStore::KEL_AUDIO_PAYLOAD_G722, 33, 0x1122334455667788ull, 44, 0};
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 81, jb.field_at_12 = 82, jb.field_at_16 = 83, jb.field_at_36 = 84;
  jb.field_at_40 = 0x0102030405060708ull, jb.field_at_48 = 85;
  const std::vector<UpdateCase> cases = {
      {"TxBitRate", [](auto& a) { a.updateTxBitRate(64000); }, false, {F<uint32_t>(8, 64000)}},
      {"UnstableEventsOverwrite",
       [](auto& a) { a.updateUnstableEventCount(7), a.updateUnstableEventCount(3); },
       false,
       {F<uint32_t>(116, 3)}},
      {"AecLevels",
       [](auto& a) { a.updateAECLevel(1, 2, 3); },
       false,
       {F(72, 1.0f), F(76, 2.0f), F(80, 3.0f)}},
      {"NoiseLevels",
       [](auto& a) { a.updateNoiseLevel(-1, -2, -3); },
       false,
       {F(60, -1.0f), F(64, -2.0f), F(68, -3.0f)}},
      {"SpeechLevels",
       [](auto& a) { a.updateSpeechLevel(-4, -5, -6); },
       false,
       {F(84, -4.0f), F(88, -5.0f), F(92, -6.0f)}},
      {"TxLbrr", [](auto& a) { a.updateCodecStaticsLBRRflag(true); }, false, {F<uint8_t>(0, 1)}},
      {"TxDropFrame",
       [](auto& a) { a.updateTxEncodeDropFrameinMS(40); },
       false,
       {F<uint32_t>(56, 40)}},
      {"SendCodec",
       [&](auto& a) { a.updateSendCodecInfo(codec); },
       false,
       {F<uint8_t>(0, 1), F<uint32_t>(4, 11), F<int32_t>(12, 5), F<uint32_t>(56, 33),
        F<uint64_t>(96, 0x1122334455667788ull), F<uint32_t>(104, 44)}},
      {"RxBitRate", [](auto& a) { a.updateRxBitRate(3, 5000); }, true, {F<uint32_t>(8, 5000)}},
      {"DecodeInfo",
       [](auto& a) { a.updateDecodeInfo(3, true, 77); },
       true,
       {F<uint8_t>(0, 1), F<uint32_t>(4, 77)}},
      {"PayloadType", [](auto& a) { a.updatePayloadType(3, PT(102)); }, true, {F<int32_t>(12, 3)}},
      {"JitterBufferCrosswise",
       [&](auto& a) { a.updateJitterBufferStatistics(3, jb, 0x1FF, 0x102); },
       true,
       {F<uint8_t>(108, 0xFF), F<uint8_t>(109, 0x02), F<uint32_t>(112, 84), F<uint32_t>(120, 82),
        F<uint32_t>(124, 81), F<uint32_t>(128, 83), F<uint64_t>(132, 0x0102030405060708ull),
        F<uint32_t>(140, 85)}},
      {"E2EDelay",
       [](auto& a) { a.updateE2EDelayInfo(3, 10, 20, 30); },
       true,
       {F<uint32_t>(196, 10), F<uint32_t>(200, 20), F<uint32_t>(204, 30)}},
  };
  for (const UpdateCase& c : cases) {
    SCOPED_TRACE(c.name);
    Audio a = NewAudio();
    Image expectedTx = Tx(*a);
    std::vector<Image> expectedRx = AllRx(*a);
    Patch(c.receive ? expectedRx[3] : expectedTx, c.fields);
    c.update(*a);
    EXPECT_EQ(Tx(*a), expectedTx);
    EXPECT_EQ(AllRx(*a), expectedRx);
  }
}

TEST(AudioStatistics, PayloadTypeTableAndUnknownTypes) {
  const std::vector<std::pair<int, int>> table = {{0, 1},    {8, 2},    {9, 5},   {18, 7},
                                                  {101, 4},  {102, 3},  {103, 8}, {104, 9},
                                                  {105, 10}, {106, 11}, {107, 12}};
  Audio a = NewAudio();
  kelStore::st_KelAudioCodecStatisticsInfo codec{};
  // Unknown types (after the table) leave the last code, 12, in place.
  for (const auto& [payloadType, code] : table) {
    for (int type : {payloadType, 99, 1, 100, 108, -1}) {
      a->updatePayloadType(0, PT(type));
      codec.payloadType = PT(type);
      a->updateSendCodecInfo(codec);
    }
    EXPECT_EQ(ReadAt<int32_t>(Rx(*a, 0), 12), code) << "payload type " << payloadType;
    EXPECT_EQ(ReadAt<int32_t>(Tx(*a), 12), code) << "payload type " << payloadType;
  }
}

TEST(AudioStatistics, StreamIndexBounds) {
  Audio a = NewAudio();
  a->updateRxBitRate(19, 1900);
  EXPECT_EQ(ReadAt<uint32_t>(Rx(*a, 19), 8), 1900u);
  kel::_tagSyncStatistics sync{};
  for (uint32_t i = 0; i < 30; ++i)
    sync.values[i] = 1000 + i;
  a->updateAVSyncStatistics(19, sync);
  Image syncImage(120);
  ASSERT_EQ(a->GetAVSyncInfo(syncImage.data(), 19), KEL_S_OK);
  EXPECT_EQ(std::memcmp(syncImage.data(), &sync, 120), 0);

  const Image txBefore = Tx(*a);
  const std::vector<Image> rxBefore = AllRx(*a);
  const kelStore::st_KelAudioJitterBufferStatistics jb{};
  for (int bad : {20, -1, 1000}) {
    a->updateRxBitRate(bad, 1);
    a->updatePayloadType(bad, kelStore::KEL_AUDIO_PAYLOAD_PCMA);
    a->updateDecodeInfo(bad, true, 1);
    a->updateJitterBufferStatistics(bad, jb, 1, 1);
    a->updateE2EDelayInfo(bad, 1, 1, 1);
    a->updateCodecStaticsLBRRflag(bad, true);
    a->updateAVSyncStatistics(bad, sync);
    Image out(260, 0xEE);
    EXPECT_EQ(a->GetRxAudioInfo(out.data(), bad, false), KEL_E_BADSTATE);
    EXPECT_EQ(a->GetAVSyncInfo(out.data(), bad), KEL_E_BADSTATE);
    EXPECT_EQ(out, Image(260, 0xEE));
  }
  EXPECT_EQ(Tx(*a), txBefore);
  EXPECT_EQ(AllRx(*a), rxBefore);
}

TEST(AudioStatistics, SharedDecodeAndLbrrByteLastWriteWins) {
  Audio a = NewAudio();
  a->updateDecodeInfo(3, true, 7);
  a->updateCodecStaticsLBRRflag(3, false);
  EXPECT_EQ(Rx(*a, 3)[0], 0);
  EXPECT_EQ(ReadAt<uint32_t>(Rx(*a, 3), 4), 7u);
  a->updateCodecStaticsLBRRflag(3, true);
  EXPECT_EQ(Rx(*a, 3)[0], 1);
}

TEST(AudioStatistics, ResettingReadsReportThenClearOnlyTheirFields) {
  Audio a = NewAudio();
  Image tx = PatternImage(260, 5);
  ASSERT_EQ(a->UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  EXPECT_EQ(Tx(*a, false), tx);
  EXPECT_EQ(Tx(*a, true), tx);             // reported as it was...
  EXPECT_EQ(Tx(*a), WithResetLevels(tx));  // ...then only the levels and 112 are reset

  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_8 = 1, jb.field_at_12 = 2, jb.field_at_16 = 3, jb.field_at_40 = 5;
  for (int i : {4, 5}) {
    a->updateJitterBufferStatistics(i, jb, 7, 8);
    a->updateE2EDelayInfo(i, 10, 11, 12);
  }
  const Image rx = Rx(*a, 5);
  EXPECT_EQ(Rx(*a, 5, true), rx);
  Image expected = rx;
  std::fill(expected.begin() + 120, expected.begin() + 132, 0);
  EXPECT_EQ(Rx(*a, 5), expected);
  EXPECT_EQ(Rx(*a, 4), rx);  // another stream keeps its figures
}

TEST(AudioStatistics, QueryInterfaceHandsOutTheReferenceCountPart) {
  Audio a = NewAudio();
  EXPECT_EQ(a->AddRef(), 1u);
  void* out = &out;
  EXPECT_EQ(a->QueryInterface(kelStore::IID_IKelUnknown, nullptr), KEL_E_POINTER);
  kel::_tagUUID other = kelStore::IID_IKelUnknown;
  other.Data4[7] ^= 1;
  EXPECT_EQ(a->QueryInterface(other, &out), KEL_E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  const unsigned char bytes[16] = {0,    0,    0,    0,    0x13, 0x20, 0x14, 0x01,
                                   0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  kel::_tagUUID id;
  std::memcpy(&id, bytes, sizeof(id));
  EXPECT_EQ(a->QueryInterface(id, &out), KEL_S_OK);
  EXPECT_EQ(out, static_cast<kel::CKelUnknownImpl*>(a.get()));
  EXPECT_NE(out, static_cast<kel::IKelUnknown*>(a.get()));
  EXPECT_EQ(a->GetReference(), 2u);
  EXPECT_EQ(a->Release(), 1u);
}

}  // namespace
