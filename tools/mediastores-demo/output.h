// Text helpers of mediastores-demo and its one way to write standard output.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OUTPUT_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OUTPUT_H_

#include <cstdint>
#include <string>

namespace msdemo {

// printf into the end of a std::string, whatever the length.
void Append(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));

// 1234567 -> "1,234,567".
std::string Thousands(uint64_t value);

// `count` per second over `seconds`, rounded; 0 for an empty interval.
uint64_t PerSecond(uint64_t count, double seconds);

// Writes `text` to standard output and flushes it (so that each report reaches a pipe at once).
void WriteOut(const std::string& text);

// The errno of the first failed write to standard output, 0 when every write succeeded.
int OutputError();

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OUTPUT_H_
