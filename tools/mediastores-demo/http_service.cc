#include "tools/mediastores-demo/http_service.h"

#include <utility>

#ifdef MEDIASTORES_DEMO_HTTP
#include <httplib.h>
#include <mediastores/observe/exposition.h>
#include <mediastores/observe/statistics_snapshot.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

// Generated at configure time from tools/mediastores-demo/dashboard.html.
#include "mediastores-demo/dashboard_page.h"
#endif

namespace msdemo {

#ifdef MEDIASTORES_DEMO_HTTP

struct HttpService::Impl {
  httplib::Server server;
  std::thread thread;
  std::atomic<bool> listenEnded{false};
  std::vector<HeldStatistics> held;
  const StatsHistory* history = nullptr;

  // Copies every held record (reset=false: the reporter's intervals stay as they are).
  std::string Exposition() const {
    kelStore::observe::CStatisticsSnapshot snapshot;
    for (const HeldStatistics& call : held) {
      if (call.audio != nullptr) snapshot.AddAudio(kelStore::KEL_MEDIASTORES_AUDIO, call.audio);
      if (call.video != nullptr) snapshot.AddVideo(kelStore::KEL_MEDIASTORES_VIDEO, call.video);
    }
    return kelStore::observe::RenderExposition(snapshot);
  }
};

HttpService::HttpService() : m_impl(std::make_unique<Impl>()) {}

HttpService::~HttpService() {
  Stop();
}

bool HttpService::Available() {
  return true;
}

bool HttpService::Bind(const std::string& host, uint16_t port, std::string* error) {
  // SO_REUSEADDR only: httplib's default adds SO_REUSEPORT, with which a second demo would share
  // a port that is in use instead of being told.
  m_impl->server.set_socket_options([](socket_t sock) {
    int yes = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  });
  // An idle connection (a browser keeps one open) holds Stop() back at most about a second.
  m_impl->server.set_keep_alive_timeout(1);
  m_impl->server.set_read_timeout(1, 0);
  errno = 0;
  if (m_impl->server.bind_to_port(host.c_str(), port)) return true;
  const int reason = errno;
  *error = "cannot listen on " + host + ":" + std::to_string(port);
  if (reason != 0) *error += std::string(": ") + std::strerror(reason);
  return false;
}

void HttpService::Start(std::vector<HeldStatistics> held, const StatsHistory* history) {
  Impl& impl = *m_impl;
  impl.held = std::move(held);
  impl.history = history;
  // A client that goes away mid-answer must not end the program.
  std::signal(SIGPIPE, SIG_IGN);
  impl.server.Get("/metrics", [&impl](const httplib::Request&, httplib::Response& response) {
    response.set_content(impl.Exposition(), kelStore::observe::kExpositionContentType);
  });
  impl.server.Get("/stats.json", [&impl](const httplib::Request&, httplib::Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_content(impl.history->RenderJson(), "application/json");
  });
  impl.server.Get("/", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(kDashboardPage, sizeof(kDashboardPage) - 1, "text/html; charset=utf-8");
  });
  impl.thread = std::thread([&impl] {
    impl.server.listen_after_bind();
    impl.listenEnded.store(true);
  });
}

void HttpService::Stop() {
  Impl& impl = *m_impl;
  if (!impl.thread.joinable()) return;
  // stop() does nothing before the server runs: wait until it does (or could not).
  while (!impl.server.is_running() && !impl.listenEnded.load())
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  impl.server.stop();
  impl.thread.join();
}

#else  // built without cpp-httplib

struct HttpService::Impl {};

HttpService::HttpService() : m_impl(std::make_unique<Impl>()) {}
HttpService::~HttpService() = default;

bool HttpService::Available() {
  return false;
}

bool HttpService::Bind(const std::string&, uint16_t, std::string* error) {
  *error = "this mediastores-demo was built without cpp-httplib and cannot serve --http";
  return false;
}

void HttpService::Start(std::vector<HeldStatistics>, const StatsHistory*) {}
void HttpService::Stop() {}

#endif

}  // namespace msdemo
