#include "tools/mediastores-demo/json_line.h"

#include <cmath>
#include <cstdio>

namespace msdemo {
namespace {

void AppendEscaped(std::string* out, const std::string& text) {
  out->push_back('"');
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out->push_back('\\');
      out->push_back(c);
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(c));
      out->append(escape);
    } else {
      out->push_back(c);
    }
  }
  out->push_back('"');
}

}  // namespace

JsonLine::JsonLine() : m_text("{"), m_open{'}'} {}

void JsonLine::Key(const char* key) {
  if (!m_first) m_text.push_back(',');
  m_first = false;
  if (key == nullptr) return;
  AppendEscaped(&m_text, key);
  m_text.push_back(':');
}

JsonLine& JsonLine::UInt(const char* key, uint64_t value) {
  Key(key);
  m_text += std::to_string(value);
  return *this;
}

JsonLine& JsonLine::Int(const char* key, int64_t value) {
  Key(key);
  m_text += std::to_string(value);
  return *this;
}

JsonLine& JsonLine::Real(const char* key, double value) {
  Key(key);
  if (!std::isfinite(value)) {
    m_text += "null";
    return *this;
  }
  char number[64];
  std::snprintf(number, sizeof(number), "%.3f", value);
  std::string text = number;
  // 32.500 -> 32.5, 32.000 -> 32
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  m_text += text == "-0" ? "0" : text;
  return *this;
}

JsonLine& JsonLine::Bool(const char* key, bool value) {
  Key(key);
  m_text += value ? "true" : "false";
  return *this;
}

JsonLine& JsonLine::Text(const char* key, const std::string& value) {
  Key(key);
  AppendEscaped(&m_text, value);
  return *this;
}

JsonLine& JsonLine::BeginObject(const char* key) {
  Key(key);
  m_text.push_back('{');
  m_open.push_back('}');
  m_first = true;
  return *this;
}

JsonLine& JsonLine::BeginArray(const char* key) {
  Key(key);
  m_text.push_back('[');
  m_open.push_back(']');
  m_first = true;
  return *this;
}

JsonLine& JsonLine::End() {
  if (!m_open.empty()) {
    m_text.push_back(m_open.back());
    m_open.pop_back();
  }
  m_first = false;
  return *this;
}

std::string JsonLine::Finish() {
  while (!m_open.empty())
    End();
  return m_text + "\n";
}

}  // namespace msdemo
