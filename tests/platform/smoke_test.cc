#include <gtest/gtest.h>

#include "mediastores_internal.h"
#include "support/trace_capture.h"

TEST(PlatformSmoke, TraceLineHasFunctionName) {
  TraceCapture capture(2);
  KEL_TRACE_INFO(", x=" << 1 << TraceCid{7});
  ASSERT_EQ(capture.Texts().size(), 1u);
}
