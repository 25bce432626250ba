#pragma once

// What all connections of a server share. Only the sources that carry connections include it: its headers
// take long to compile.

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <map>
#include <mutex>
#include <thread>

#include "console/web/server.h"

namespace web {

namespace asio = boost::asio;

// A connection that carries requests, as the crowd of them knows it.
class Visitor {
 public:
  Visitor() = default;
  virtual ~Visitor() = default;
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;

  // Ends the connection, from any thread.
  virtual void End() = 0;

  std::uint64_t idleSince = 0;  // the crowd's
};

// Who is connected. Those idle whose next request has not come whole yet: where one more would be too many,
// the one that has idled longest goes, so that no number of slow ones keeps others out.
class Crowd {
 public:
  explicit Crowd(size_t most) : m_most(most) {}

  // False where all are busy, and there is no room.
  bool Enter();
  void Leave(Visitor& visitor);
  void Idles(Visitor& visitor, std::weak_ptr<Visitor> held);
  void IsBusy(Visitor& visitor);

 private:
  const size_t m_most;
  std::mutex m_mutex;
  size_t m_inside = 0;
  std::uint64_t m_last = 0;
  std::map<std::uint64_t, std::weak_ptr<Visitor>> m_idle;  // in the order in which they began to idle
};

class Core {
 public:
  Core(Site site, const Limits& limits);
  ~Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  // The socket of the system, on a strand of its own.
  asio::ip::tcp::socket Adopt(std::intptr_t socket, bool six);

  const Site site;
  const Limits limits;
  Crowd crowd;
  std::atomic<size_t> waiting = 0;  // requests for a worker
  std::atomic<size_t> sockets = 0;
  asio::io_context io;
  asio::thread_pool workers;

 private:
  asio::executor_work_guard<asio::io_context::executor_type> m_work;
  std::vector<std::thread> m_threads;
};

}  // namespace web
