#pragma once

// The HTTP server, some of whose connections become web sockets. Two threads serve all connections; what has
// to wait for the pages does so on a few others.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/web/http.h"

namespace web {

struct Limits {
  size_t connections = 256;  // at once; a further one ends the one that has idled longest
  size_t sockets = 128;      // web sockets beside them
  size_t workers = 8;        // requests and texts that wait for the pages at once
  size_t waiting = 64;       // requests that wait for a worker; further ones are refused
  size_t texts = 4;          // of one web socket that wait for their answers, before more are read
  int headSeconds = 10;      // for a request's head to arrive whole
  int bodySeconds = 30;      // for its body
  int sendSeconds = 30;      // for a response, a piece of a file or a text to be taken by who asked
  int idleSeconds = 60;      // between two requests, and between signs of life of a web socket
  int drainSeconds = 2;      // for what a refused one still sends
  std::uint32_t headBytes = 16384;
  size_t headLines = 64;
  size_t bodyBytes = 1 << 20;
};

// What one web socket is about. Its functions are called from one thread at a time, but for the destructor.
class Tab {
 public:
  Tab() = default;
  virtual ~Tab() = default;
  Tab(const Tab&) = delete;
  Tab& operator=(const Tab&) = delete;

  // Answers a text that has come; may wait.
  virtual std::string Answer(const std::string& text) = 0;
  // What there is to tell besides, if it was not told yet, in an answer either. Only the newest counts, so it
  // is asked for when there is room to send it.
  virtual std::optional<std::string> News() = 0;
};

struct Route {
  std::string method;
  std::string path;
  std::function<Response(const Request& request)> answer;
  bool waits = true;  // for the pages
};

// What the server serves.
struct Site {
  // Judges a request by its head, before its body is read; nothing lets it in.
  std::function<std::optional<Response>(const Request& request)> refuse;
  Fields always;  // headers of every response
  std::vector<Route> routes;
  std::string socketPath;
  // `wake` says that there may be news; it may be called from any thread, and when the socket is no more.
  std::function<std::unique_ptr<Tab>(const Request& request, std::function<void()> wake)> openTab;
};

// How a server speaks to those who connect: plainly, or over TLS.
class Transport {
 public:
  Transport() = default;
  virtual ~Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  // Serves a connection, which it takes over.
  virtual void Serve(class Core& core, std::intptr_t socket, bool six) = 0;
};

std::unique_ptr<Transport> PlainTransport();
// TLS 1.2 or later with PEM files. Null, with one sentence in `why`, for files that can't be used, and on
// machines where this console has no TLS.
std::unique_ptr<Transport> TlsTransport(const std::string& certificate, const std::string& key,
                                        std::string& why);
// Whether there is TLS at all.
bool HasTls();

class Server {
 public:
  Server(Site site, std::unique_ptr<Transport> transport, const Limits& limits = {});
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Serves a connection, a socket of the system that the server takes over; `six` tells IPv6 from IPv4.
  void Take(std::intptr_t socket, bool six);

 private:
  std::unique_ptr<Core> m_core;
  std::unique_ptr<Transport> m_transport;
};

}  // namespace web
