// A one-line JSON object writer for --json: members in the order written, strings escaped,
// numbers always valid JSON (a figure that is not finite is written as null).
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_JSON_LINE_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_JSON_LINE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace msdemo {

class JsonLine {
 public:
  JsonLine();

  // Members of the innermost open object; `key` is null for the elements of an array.
  JsonLine& UInt(const char* key, uint64_t value);
  JsonLine& Int(const char* key, int64_t value);
  JsonLine& Real(const char* key, double value);  // at most three decimals
  JsonLine& Bool(const char* key, bool value);
  JsonLine& Text(const char* key, const std::string& value);
  JsonLine& BeginObject(const char* key);
  JsonLine& BeginArray(const char* key);
  // Closes the innermost open object or array.
  JsonLine& End();

  // The text with every open container closed and a line end.
  std::string Finish();

 private:
  void Key(const char* key);

  std::string m_text;
  std::vector<char> m_open;  // the closing bracket of each open container
  bool m_first = true;       // nothing written yet in the innermost container
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_JSON_LINE_H_
