#pragma once

// A web socket (RFC 6455) on a connection that was upgraded: whole texts in both directions. What waits to be
// sent is at most one answer: news are made when there is room for them.

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <deque>

#include "console/web/core.h"

namespace web {

namespace beast = boost::beast;
namespace http = beast::http;

// Why a request does not become a web socket; nothing if it may.
std::optional<Response> WhyNoSocket(const Request& request);

template <class Stream>
class WebSocket final : public std::enable_shared_from_this<WebSocket<Stream>> {
 public:
  // Counts among the sockets of the core already.
  WebSocket(Core& core, Stream&& stream, Request request)
      : m_core(core),
        m_socket(std::move(stream)),
        m_request(std::move(request)),
        m_late(m_socket.get_executor()) {}
  ~WebSocket() { --m_core.sockets; }
  WebSocket(const WebSocket&) = delete;
  WebSocket& operator=(const WebSocket&) = delete;

  void Start(http::request<http::string_body> request) {
    const Limits& limits = m_core.limits;
    beast::get_lowest_layer(m_socket).expires_never();
    m_socket.set_option(Base::timeout{std::chrono::seconds(limits.headSeconds),
                                      std::chrono::seconds(limits.idleSeconds), true});
    m_socket.set_option(Base::decorator([&core = m_core](beast::websocket::response_type& response) {
      response.erase(http::field::server);
      for (const auto& [name, value] : core.site.always) response.set(name, value);
    }));
    m_socket.read_message_max(limits.bodyBytes);
    const auto held = std::make_shared<http::request<http::string_body>>(std::move(request));
    m_socket.async_accept(*held, [self = this->shared_from_this(), held](Error error) {
      if (!error) self->Begin();
    });
  }

 private:
  using Base = beast::websocket::stream_base;
  using Error = beast::error_code;

  void Begin() {
    m_tab = m_core.site.openTab(m_request, [weak = this->weak_from_this()] {
      const auto self = weak.lock();
      if (!self || self->m_woken.exchange(true)) return;
      asio::post(self->m_socket.get_executor(), [self] {
        self->m_woken = false;
        self->m_news = true;
        self->Push();
      });
    });
    m_socket.text(true);
    Push();
    Read();
  }

  void Read() {
    if (m_reading || m_ended || m_texts.size() >= m_core.limits.texts) return;
    m_reading = true;
    m_socket.async_read(m_in, [self = this->shared_from_this()](Error error, size_t) {
      self->m_reading = false;
      if (error || !self->m_socket.got_text()) return self->End();
      self->m_texts.push_back(beast::buffers_to_string(self->m_in.data()));
      self->m_in.consume(self->m_in.size());
      self->Answer();
      self->Read();
    });
  }

  // One text after the other: the next one waits until the answer was taken.
  void Answer() {
    if (m_answering || m_answer || m_texts.empty() || m_ended) return;
    m_answering = true;
    asio::post(m_core.workers,
               [self = this->shared_from_this(), tab = m_tab, text = std::move(m_texts.front())] {
                 std::optional<std::string> answer;
                 try {
                   answer = tab->Answer(text);
                 } catch (const std::exception&) {
                   // Without an answer the socket ends.
                 }
                 asio::post(self->m_socket.get_executor(), [self, answer = std::move(answer)]() mutable {
                   self->m_answering = false;
                   if (!answer) return self->End();
                   self->m_answer = std::move(answer);
                   self->Push();
                 });
               });
    m_texts.pop_front();
  }

  // Sends what there is to send, if there is room.
  void Push() {
    if (m_writing || m_ended) return;
    if (m_answer) {
      m_out = std::move(*m_answer);
    } else if (m_news && !m_answering) {
      m_news = false;
      std::optional<std::string> news = m_tab->News();
      if (!news) return;
      m_out = std::move(*news);
    } else {
      return;
    }
    m_writing = true;
    EndWhenLate();
    m_socket.async_write(asio::buffer(m_out), [self = this->shared_from_this()](Error error, size_t) {
      self->m_writing = false;
      self->m_late.cancel();
      if (error) return self->End();
      self->m_answer.reset();
      self->Push();
      self->Answer();
      self->Read();
    });
  }

  // Who does not take what is sent holds it in memory.
  void EndWhenLate() {
    m_late.expires_after(std::chrono::seconds(m_core.limits.sendSeconds));
    m_late.async_wait([self = this->shared_from_this()](Error error) {
      if (!error && self->m_writing && self->m_late.expiry() <= std::chrono::steady_clock::now()) self->End();
    });
  }

  void End() {
    if (m_ended) return;
    m_ended = true;
    m_tab.reset();
    m_texts.clear();
    m_late.cancel();
    Error ignored;
    beast::get_lowest_layer(m_socket).socket().close(ignored);
  }

  Core& m_core;
  beast::websocket::stream<Stream> m_socket;
  Request m_request;  // that became this socket
  asio::steady_timer m_late;
  std::shared_ptr<Tab> m_tab;
  beast::flat_buffer m_in;
  std::deque<std::string> m_texts;
  std::optional<std::string> m_answer;
  std::string m_out;
  std::atomic<bool> m_woken = false;
  bool m_news = true;
  bool m_reading = false;
  bool m_answering = false;
  bool m_writing = false;
  bool m_ended = false;
};

}  // namespace web
