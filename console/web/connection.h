#pragma once

// One connection that carries requests, one after the other, plain or TLS, until it ends or becomes a web
// socket. It has a time for each step, and what it is sent has limits.

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "console/web/web_socket.h"

namespace web {

// `Stream` is a tcp_stream, or TLS above one.
template <class Stream>
class Connection final : public Visitor, public std::enable_shared_from_this<Connection<Stream>> {
 public:
  template <class... More>
  explicit Connection(Core& core, More&&... stream) : m_core(core), m_stream(std::forward<More>(stream)...) {}
  ~Connection() override { m_core.crowd.Leave(*this); }

  // The crowd has let it in.
  void Start() {
    asio::post(m_stream.get_executor(), [self = Self()] { self->Begin(); });
  }
  void End() override {
    asio::post(m_stream.get_executor(), [self = Self()] {
      Error ignored;
      self->Tcp().socket().close(ignored);
    });
  }

 private:
  using Error = beast::error_code;
  static constexpr bool kIsTls = !std::is_same_v<Stream, beast::tcp_stream>;
  static constexpr size_t kPiece = 1 << 16;

  std::shared_ptr<Connection> Self() { return this->shared_from_this(); }
  beast::tcp_stream& Tcp() { return beast::get_lowest_layer(m_stream); }
  void Within(int seconds) { Tcp().expires_after(std::chrono::seconds(seconds)); }
  void Idle() { m_core.crowd.Idles(*this, Self()); }

  void Begin() {
    Idle();
    if constexpr (kIsTls) {
      Within(m_core.limits.headSeconds);
      m_stream.async_handshake(Stream::server, [self = Self()](Error error) {
        if (!error) self->Await();
      });
    } else {
      Await();
    }
  }

  // The next request may take its time to begin, but not to arrive.
  void Await() {
    Idle();
    m_parser.emplace();
    m_parser->header_limit(m_core.limits.headBytes);
    m_parser->body_limit(m_core.limits.bodyBytes);
    m_request = {};
    if (m_in.size() > 0) return ReadHead();
    Within(m_core.limits.idleSeconds);
    m_stream.async_read_some(m_in.prepare(kPiece), [self = Self()](Error error, size_t count) {
      if (error) return;
      self->m_in.commit(count);
      self->ReadHead();
    });
  }

  void ReadHead() {
    Within(m_core.limits.headSeconds);
    http::async_read_header(m_stream, m_in, *m_parser, [self = Self()](Error error, size_t) {
      if (error) return self->RefuseBroken(error);
      self->HasHead();
    });
  }

  void RefuseBroken(Error error) {
    m_keep = false;
    if (error == http::error::header_limit) return Write(Sentence(431, "The request's head is too large."));
    if (error == http::error::body_limit) return Write(Sentence(413, "The request is too large."));
    const bool gone = error == http::error::end_of_stream || error == http::error::partial_message;
    static const auto& kOfRequests = Error(http::error::bad_method).category();
    if (error.category() == kOfRequests && !gone) Write(Sentence(400, "This is no sound request."));
  }

  void HasHead() {
    const auto& head = m_parser->get();
    m_request.method = head.method_string();
    m_request.SetTarget(head.target());
    for (const auto& field : head) m_request.headers.emplace_back(field.name_string(), field.value());
    // A refused request's body is not read, so what follows is no request.
    m_keep = false;
    if (std::optional<Response> refusal = Refusal()) return Write(std::move(*refusal));
    m_keep = head.keep_alive();
    if (m_request.method == "GET" && m_request.path == m_core.site.socketPath) return BecomeSocket();
    if (m_parser->is_done()) return Answer();
    Within(m_core.limits.bodySeconds);
    http::async_read(m_stream, m_in, *m_parser, [self = Self()](Error error, size_t) {
      if (error) return self->RefuseBroken(error);
      self->Answer();
    });
  }

  std::optional<Response> Refusal() const {
    if (m_request.headers.size() > m_core.limits.headLines) {
      return Sentence(431, "The request's head has too many lines.");
    }
    if (m_request.HeaderCount("Content-Length") > 1) return Sentence(400, "This is no sound request.");
    if (m_request.HeaderCount("Transfer-Encoding") > 0) {
      return Sentence(411, "A request says how long it is.");
    }
    if (m_request.method == "GET" && m_parser->content_length().value_or(0) > 0) {
      return Sentence(400, "A request that only reads has no body.");
    }
    return m_core.site.refuse(m_request);
  }

  const Route* Find() const {
    for (const Route& route : m_core.site.routes) {
      if (route.method == m_request.method && route.path == m_request.path) return &route;
    }
    return nullptr;
  }

  void Answer() {
    m_core.crowd.IsBusy(*this);
    m_request.body = std::move(m_parser->get().body());
    const Route* const route = Find();
    if (route == nullptr) return Write(Sentence(404, "There is nothing here."));
    if (!route->waits) return Write(AnswerOf(*route));
    if (++m_core.waiting > m_core.limits.waiting) {
      --m_core.waiting;
      return Write(Sentence(503, "The console is busy."));
    }
    Tcp().expires_never();
    asio::post(m_core.workers, [self = Self(), route] {
      Response response = self->AnswerOf(*route);
      --self->m_core.waiting;
      asio::post(self->m_stream.get_executor(),
                 [self, response = std::move(response)]() mutable { self->Write(std::move(response)); });
    });
  }

  Response AnswerOf(const Route& route) const {
    try {
      return route.answer(m_request);
    } catch (const std::exception& error) {
      return Sentence(500, std::string("The console can't do that: ") + error.what() + ".");
    }
  }

  void Write(Response response) {
    m_core.crowd.IsBusy(*this);
    if (response.status >= 400) m_keep = false;
    m_response = http::response<http::string_body>(static_cast<http::status>(response.status), 11);
    for (const auto& [name, value] : m_core.site.always) m_response.set(name, value);
    for (const auto& [name, value] : response.headers) m_response.set(name, value);
    if (!response.type.empty()) m_response.set(http::field::content_type, response.type);
    m_response.keep_alive(m_keep);
    m_file = std::move(response.file);
    if (m_file) return WriteFile();
    m_response.body() = std::move(response.body);
    m_response.prepare_payload();
    Within(m_core.limits.sendSeconds);
    http::async_write(m_stream, m_response, [self = Self()](Error error, size_t) {
      if (!error) self->Written();
    });
  }

  void WriteFile() {
    m_response.content_length(m_file->Size());
    m_head.emplace(m_response);
    m_left = m_file->Size();
    Within(m_core.limits.sendSeconds);
    http::async_write_header(m_stream, *m_head, [self = Self()](Error error, size_t) {
      if (!error) self->WritePiece();
    });
  }

  void WritePiece() {
    const auto size = static_cast<size_t>(std::min<std::uint64_t>(m_left, kPiece));
    if (size == 0) return Written();
    if (!m_file->Read(m_piece, size)) return;
    m_left -= size;
    Within(m_core.limits.sendSeconds);
    asio::async_write(m_stream, asio::buffer(m_piece), [self = Self()](Error error, size_t) {
      if (!error) self->WritePiece();
    });
  }

  void Written() {
    m_file.reset();
    if (m_keep) return Await();
    // Who still sends would lose the response with the connection, so what comes is read for a while.
    Error ignored;
    Tcp().socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    Idle();
    Within(m_core.limits.drainSeconds);
    m_left = 2 * m_core.limits.bodyBytes;
    Drain();
  }

  void Drain() {
    Tcp().async_read_some(m_in.prepare(kPiece), [self = Self()](Error error, size_t count) {
      if (error || count > self->m_left) return;
      self->m_left -= count;
      self->Drain();
    });
  }

  void BecomeSocket() {
    m_keep = false;
    if (std::optional<Response> refusal = WhyNoSocket(m_request)) return Write(std::move(*refusal));
    if (m_in.size() > 0) return Write(Sentence(400, "A web socket begins with its answer."));
    if (++m_core.sockets > m_core.limits.sockets) {
      --m_core.sockets;
      return Write(Sentence(503, "The console is open in too many tabs."));
    }
    std::make_shared<WebSocket<Stream>>(m_core, std::move(m_stream), m_request)->Start(m_parser->release());
  }

  Core& m_core;
  Stream m_stream;
  beast::flat_buffer m_in;
  std::optional<http::request_parser<http::string_body>> m_parser;
  Request m_request;
  bool m_keep = false;
  http::response<http::string_body> m_response;
  std::optional<http::response_serializer<http::string_body>> m_head;
  std::shared_ptr<OutgoingFile> m_file;
  std::string m_piece;
  std::uint64_t m_left = 0;
};

}  // namespace web
