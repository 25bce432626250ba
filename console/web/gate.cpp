#include "console/web/gate.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <iostream>
#include <mutex>

#include "platform/text.h"

namespace web {
namespace {

std::mutex tokenMutex;

bool SameSecret(std::string_view given, const char (&secret)[65]) {
  return given.size() == sizeof secret - 1 && CRYPTO_memcmp(given.data(), secret, given.size()) == 0;
}

// An address in digits can't be pointed elsewhere by a name server.
bool IsNumericAddress(const std::string& host) {
  in_addr four{};
  in6_addr six{};
  if (inet_pton(AF_INET, host.c_str(), &four) == 1) return true;
  return host.size() > 2 && host.front() == '[' && host.back() == ']' &&
         inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) == 1;
}

std::string Bracketed(const std::string& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

void Refuse(httplib::Response& response, int status, const std::string& sentence) {
  response.status = status;
  response.set_content(sentence + "\n", "text/plain; charset=utf-8");
}

// A link on another site opens the console without its cookie; a link on this page has it.
constexpr char kDoor[] =
    "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>Marrowen</title>"
    "<p>This console opens with the address that it printed when it was started.</p>"
    "<p><a href=\"/\">It is open in this browser already</a></p></html>";

}  // namespace

void MakeSecret(char (&secret)[65]) {
  unsigned char bytes[32];
  if (RAND_bytes(bytes, sizeof bytes) != 1) std::abort();
  constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < sizeof bytes; ++i) {
    secret[2 * i] = kDigits[bytes[i] >> 4];
    secret[2 * i + 1] = kDigits[bytes[i] & 15];
  }
  secret[64] = '\0';
}

void MakeToken(Secrets& secrets) {
  constexpr std::time_t kLifetime = 15 * 60;
  MakeSecret(secrets.token);
  secrets.tokenUntil = std::time(nullptr) + kLifetime;
}

std::string Gate::Authority() const {
  if (!m_place.names.empty()) return m_place.names.front() + ":" + std::to_string(m_place.port);
  if (!m_place.any) return Bracketed(m_place.address) + ":" + std::to_string(m_place.port);
  char name[256] = "localhost";
  gethostname(name, sizeof name - 1);
  return std::string(name) + ":" + std::to_string(m_place.port);
}

std::string Gate::Address() const {
  const std::lock_guard lock(tokenMutex);
  return std::string(m_place.tls ? "https://" : "http://") + Authority() + "/?token=" + m_secrets.token;
}

bool Gate::IsOurHost(const std::string& host) const {
  const std::string port = ":" + std::to_string(m_place.port);
  if (!host.ends_with(port)) return false;
  const std::string name = host.substr(0, host.size() - port.size());
  if (name == Bracketed(m_place.address)) return true;
  if (text::EqualNoCase(name, "localhost")) return m_place.loopback || m_place.any;
  if (m_place.any && IsNumericAddress(name)) return true;
  for (const std::string& own : m_place.names) {
    if (text::EqualNoCase(name, own)) return true;
  }
  return text::EqualNoCase(host, Authority());
}

bool Gate::HasCookie(const httplib::Request& request) const {
  // Cookies of one machine go to all its ports, so each console's cookie has a name of its own.
  const std::string start = "marrowen-" + std::to_string(m_place.port) + "=";
  for (const CString& part : text::Split(request.get_header_value("Cookie"), ';')) {
    std::string_view cookie = part;
    while (cookie.starts_with(' ')) cookie.remove_prefix(1);
    if (cookie.starts_with(start) && SameSecret(cookie.substr(start.size()), m_secrets.session)) return true;
  }
  return false;
}

// A web socket and a download, which the browser asks for by itself, have it in their address.
bool Gate::HasKey(const httplib::Request& request) const {
  const std::string header = request.get_header_value("X-Marrowen-Key");
  return SameSecret(header.empty() ? request.get_param_value("key") : header, m_secrets.page);
}

bool Gate::Admit(const httplib::Request& request, httplib::Response& response) {
  const std::string host = request.get_header_value("Host");
  if (request.get_header_value_count("Host") != 1 || !IsOurHost(host)) {
    return Refuse(response, 421, "This console has another name."), false;
  }
  const std::string scheme = m_place.tls ? "https://" : "http://";
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const std::string origin = request.get_header_value("Origin");
  if (origin.empty() ? !reads : origin != scheme + host) {
    return Refuse(response, 403, "Only this console's own pages may ask."), false;
  }
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  const bool opens = request.path == "/" && request.get_header_value("Sec-Fetch-Mode") == "navigate";
  if (!site.empty() && site != "same-origin" && site != "none" && !opens) {
    return Refuse(response, 403, "Only this console's own pages may ask."), false;
  }
  if (request.has_header("Transfer-Encoding")) {
    return Refuse(response, 411, "A request says how long it is."), false;
  }
  if (request.method == "GET" && request.path == "/" && request.has_param("token")) {
    if (TakeToken(request, response)) return false;
    if (HasCookie(request)) return response.set_redirect("/", 303), false;
  }
  const bool isData = request.path.starts_with("/api/");
  if (HasCookie(request) && (!isData || HasKey(request))) return true;
  if (request.path == "/") {
    response.status = 401;
    response.set_content(kDoor, "text/html; charset=utf-8");
  } else {
    Refuse(response, 401, "This console opens with the address that it printed when it was started.");
  }
  return false;
}

// The key travels behind "#", which browsers send to nobody.
bool Gate::TakeToken(const httplib::Request& request, httplib::Response& response) {
  const std::lock_guard lock(tokenMutex);
  if (!SameSecret(request.get_param_value("token"), m_secrets.token)) return false;
  const bool late = std::time(nullptr) > m_secrets.tokenUntil;
  MakeToken(m_secrets);
  std::cout << (late ? "That address is too old; a new one: " : "For another browser: ")
            << (m_place.tls ? "https://" : "http://") << Authority() << "/?token=" << m_secrets.token
            << std::endl;
  if (late) return false;
  response.set_header("Set-Cookie", "marrowen-" + std::to_string(m_place.port) + "=" + m_secrets.session +
                                        "; Path=/; HttpOnly; SameSite=Strict" +
                                        (m_place.tls ? "; Secure" : ""));
  const std::string inside = std::string("/#key=") + m_secrets.page;
  // What another page has begun, the file that opens the browser too, would come without the cookie.
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  if (site.empty() || site == "none" || site == "same-origin") {
    response.set_redirect(inside, 303);
  } else {
    response.set_content(
        "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>Marrowen</title>"
        "<meta http-equiv=\"refresh\" content=\"0;url=" +
            inside + "\">",
        "text/html; charset=utf-8");
  }
  return true;
}

httplib::Headers Gate::Protection() {
  return {{"Content-Security-Policy",
           "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
           "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
          {"X-Frame-Options", "DENY"},
          {"X-Content-Type-Options", "nosniff"},
          {"Referrer-Policy", "no-referrer"},
          {"Cross-Origin-Opener-Policy", "same-origin"},
          {"Cross-Origin-Resource-Policy", "same-origin"},
          {"Cache-Control", "no-store"}};
}

}  // namespace web
