#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "mediastores_internal.h"
#include "saferoutines/constraint_capture.h"

namespace {

constexpr size_t kHuge = SIZE_MAX / 2 + 1;  // top bit set: above the maximum size

using MemcpyTest = ConstraintTest;
using MemsetTest = ConstraintTest;

// Offsets into one 32-byte buffer, so that overlap cases can be expressed; -1 is a null pointer.
struct MemcpyCase {
  const char* name;
  int dest, src;
  size_t dmax, n;
  const char* msg;  // null: success
};

TEST_F(MemcpyTest, ChecksInOrderAndCopiesOnlyWhenAllPass) {
  const MemcpyCase cases[] = {
      {"null dest first", -1, -1, kHuge, kHuge, "memcpy_s: dest is NULL"},
      {"dmax before n", 0, -1, kHuge, kHuge, "memcpy_s: dmax exceeds max"},
      {"n above max", 0, -1, 8, kHuge, "memcpy_s: n exceeds max"},
      {"n above dmax before null src", 0, -1, 8, 9, "memcpy_s: n exceeds dmax"},
      {"null src", 0, -1, 8, 8, "memcpy_s: src is NULL"},
      {"null src with n 0", 0, -1, 8, 0, "memcpy_s: src is NULL"},
      {"dest above src, ranges meet", 4, 0, 8, 5, "memcpy_s: overlap undefined"},
      // Deliberate: src inside dest's whole capacity counts, though the 4 bytes don't overlap.
      {"src inside dest capacity", 0, 4, 16, 4, "memcpy_s: overlap undefined"},
      {"src at last byte of capacity", 0, 15, 16, 1, "memcpy_s: overlap undefined"},
      {"dest above src, adjacent", 4, 0, 8, 4, nullptr},
      {"src just past capacity", 0, 16, 16, 8, nullptr},
      {"n 0", 0, 16, 16, 0, nullptr},
      {"same pointer", 8, 8, 8, 8, nullptr},
      {"full copy", 16, 0, 8, 8, nullptr},
  };
  for (const MemcpyCase& c : cases) {
    SCOPED_TRACE(c.name);
    calls().clear();
    errno = 0;
    unsigned char buf[32];
    for (int i = 0; i < 32; ++i)
      buf[i] = static_cast<unsigned char>(i);
    unsigned char expected[32];
    std::memcpy(expected, buf, sizeof buf);
    void* dest = c.dest < 0 ? nullptr : buf + c.dest;
    const void* src = c.src < 0 ? nullptr : buf + c.src;

    const int rc = memcpy_s(dest, c.dmax, src, c.n);

    if (c.msg != nullptr) {
      EXPECT_EQ(rc, EINVAL);
      ExpectOneCall(c.msg, EINVAL);
    } else {
      EXPECT_EQ(rc, 0);
      EXPECT_TRUE(calls().empty());
      if (dest != src) std::memmove(expected + c.dest, expected + c.src, c.n);
    }
    // A failed check leaves dest as it was; a copy touches exactly n bytes.
    EXPECT_EQ(0, std::memcmp(buf, expected, sizeof buf));
  }
}

struct MemsetCase {
  const char* name;
  bool null_dest;
  size_t smax, n;
  const char* msg;  // null: success
  size_t filled;
};

TEST_F(MemsetTest, ChecksInOrderAndFillsAsFarAsKnown) {
  const MemsetCase cases[] = {
      {"null dest first", true, kHuge, kHuge, "memset_s: s is null", 0},
      {"smax above max, no fill", false, kHuge, 4, "memset_s: smax exceeds max", 0},
      // Deliberate: the n-errors wipe the whole known capacity before they are reported.
      {"n above max fills smax", false, 8, kHuge, "memset_s: n exceeds max", 8},
      {"n above smax fills smax", false, 8, 9, "memset_s: n exceeds smax", 8},
      {"fills n", false, 8, 5, nullptr, 5},
      {"n 0", false, 8, 0, nullptr, 0},
  };
  for (const MemsetCase& c : cases) {
    SCOPED_TRACE(c.name);
    calls().clear();
    errno = 0;
    unsigned char buf[16];
    std::memset(buf, 0x11, sizeof buf);

    // Only the low byte of the value is used.
    const int rc = memset_s(c.null_dest ? nullptr : buf, c.smax, 0x1AB, c.n);

    if (c.msg != nullptr) {
      EXPECT_EQ(rc, EINVAL);
      ExpectOneCall(c.msg, EINVAL);
    } else {
      EXPECT_EQ(rc, 0);
      EXPECT_TRUE(calls().empty());
    }
    for (size_t i = 0; i < sizeof buf; ++i) {
      EXPECT_EQ(buf[i], i < c.filled ? 0xAB : 0x11) << "byte " << i;
    }
  }
}

}  // namespace
