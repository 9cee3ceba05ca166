// Test helper: captures the library's trace lines and counts assertion reports while alive.
//
//   TraceCapture capture(2);            // mask 2: every level
//   store.RemoveKelConfig(...);
//   EXPECT_EQ(capture.Texts(), (std::vector<std::string>{"kelStore::KelConfig::..."}));
//   EXPECT_EQ(capture.AssertionCount(), 0);
#ifndef MEDIASTORES_TESTS_SUPPORT_TRACE_CAPTURE_H_
#define MEDIASTORES_TESTS_SUPPORT_TRACE_CAPTURE_H_

#include <cstdint>
#include <string>
#include <vector>

struct CapturedTrace {
  int level;
  std::string module;
  std::string text;
};

// Installs a capturing trace sink and assertion handler and sets the trace mask; restores the
// previous sink, handler and mask on destruction. One instance at a time.
class TraceCapture {
 public:
  explicit TraceCapture(uint32_t mask = 2);
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  std::vector<CapturedTrace> Lines() const;
  // The texts of all captured lines, or of the lines of one level, in order.
  std::vector<std::string> Texts() const { return TextsAtLevel(-1); }
  std::vector<std::string> TextsAtLevel(int level) const;
  // Number of captured lines whose text contains `fragment`.
  int CountContaining(const std::string& fragment) const;
  int AssertionCount() const;
  void Clear();
};

#endif  // MEDIASTORES_TESTS_SUPPORT_TRACE_CAPTURE_H_
