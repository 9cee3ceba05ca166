#include "tools/mediastores-demo/stats_history.h"

#include <utility>

namespace msdemo {

void StatsHistory::Record(uint32_t callId, std::string entry) {
  std::lock_guard<std::mutex> lock(m_mutex);
  Ring* ring = nullptr;
  for (Ring& r : m_calls) {
    if (r.callId == callId) ring = &r;
  }
  if (ring == nullptr) {
    m_calls.emplace_back();
    ring = &m_calls.back();
    ring->callId = callId;
    ring->entries.reserve(kHistorySeconds);
  }
  if (ring->entries.size() < kHistorySeconds) {
    ring->entries.push_back(std::move(entry));
    return;
  }
  ring->entries[ring->next] = std::move(entry);
  ring->next = (ring->next + 1) % kHistorySeconds;
}

std::string StatsHistory::RenderJson() const {
  std::vector<Ring> calls;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    calls = m_calls;
  }
  std::string json = "{\"historySeconds\":" + std::to_string(kHistorySeconds) + ",\"calls\":[";
  for (size_t c = 0; c < calls.size(); ++c) {
    const Ring& ring = calls[c];
    if (c > 0) json += ',';
    json += "{\"callId\":" + std::to_string(ring.callId) + ",\"points\":[";
    const size_t count = ring.entries.size();
    for (size_t i = 0; i < count; ++i) {
      if (i > 0) json += ',';
      json += ring.entries[(ring.next + i) % count];
    }
    json += "]}";
  }
  return json + "]}\n";
}

}  // namespace msdemo
