// The demo's HTTP side (--http), served with cpp-httplib on threads of its own while the calls
// run: /metrics, the Prometheus exposition of every held statistics object read without reset;
// /stats.json, the shown calls' recent per-second figures; and /, the dashboard page built into
// the program. A build without cpp-httplib has the class but cannot bind.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_HTTP_SERVICE_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_HTTP_SERVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/mediastores-demo/reporter.h"
#include "tools/mediastores-demo/stats_history.h"

namespace msdemo {

class HttpService {
 public:
  HttpService();
  ~HttpService();

  HttpService(const HttpService&) = delete;
  HttpService& operator=(const HttpService&) = delete;

  // False when the program was built without cpp-httplib.
  static bool Available();

  // Takes the address (before the calls are set up, so that a port in use is told at once);
  // false with the reason in `error`.
  bool Bind(const std::string& host, uint16_t port, std::string* error);
  // Starts answering requests. The objects in `held` and `history` must stay valid until Stop.
  void Start(std::vector<HeldStatistics> held, const StatsHistory* history);
  // Stops answering and returns once no request is being answered: after it nothing here
  // touches the statistics objects. Harmless when not started.
  void Stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_HTTP_SERVICE_H_
