#include "console/web/gate.h"

#include "platform/program.h"
#include "platform/text.h"

namespace web {
namespace {

// In a time that does not tell how much of it is right.
bool SameSecret(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size() || secret.empty()) return false;
  volatile unsigned char other = 0;
  for (size_t i = 0; i < given.size(); ++i) {
    other = static_cast<unsigned char>(other | (given[i] ^ secret[i]));
  }
  return other == 0;
}

// An address in digits can't be pointed elsewhere by a name server. Only one of IPv6 stands in brackets.
bool IsNumericAddress(std::string_view host) {
  if (host.starts_with('[')) return true;
  const std::vector<std::string> parts = text::Split(host, '.');
  return parts.size() == 4 && host.find_first_not_of("0123456789.") == std::string_view::npos;
}

std::string Bracketed(const std::string& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

constexpr char kHtml[] = "text/html; charset=utf-8";

Response SeeOther(const std::string& place) {
  Response response{303, {}, {}};
  response.headers.emplace_back("Location", place);
  return response;
}

// A link on another site opens the console without its cookie; a link on this page has it.
constexpr char kDoor[] =
    "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>Marrowen</title>"
    "<p>This console opens with the address that it printed when it was started.</p>"
    "<p><a href=\"/\">It is open in this browser already</a></p></html>";

}  // namespace

std::string MakeSecret() {
  unsigned char bytes[32];
  platform::FillWithRandom(bytes, sizeof bytes);
  constexpr char kDigits[] = "0123456789abcdef";
  std::string secret;
  for (const unsigned char byte : bytes) {
    secret += kDigits[byte >> 4];
    secret += kDigits[byte & 15];
  }
  return secret;
}

void MakeToken(Secrets& secrets) {
  constexpr std::time_t kLifetime = 15 * 60;
  secrets.token = MakeSecret();
  secrets.tokenUntil = std::time(nullptr) + kLifetime;
}

std::string Gate::Authority() const {
  if (!m_place.names.empty()) return m_place.names.front() + ":" + std::to_string(m_place.listener.port);
  if (!m_place.listener.any)
    return Bracketed(m_place.listener.address) + ":" + std::to_string(m_place.listener.port);
  return m_place.listener.machine + ":" + std::to_string(m_place.listener.port);
}

std::string Gate::Way() const {
  return std::string(m_place.tls ? "https://" : "http://") + Authority() + "/?token=" + m_secrets.token;
}

std::string Gate::Address() const {
  const std::lock_guard lock(m_mutex);
  return Way();
}

Secrets Gate::SecretsNow() const {
  const std::lock_guard lock(m_mutex);
  return m_secrets;
}

bool Gate::IsOurHost(const std::string& host) const {
  const std::string port = ":" + std::to_string(m_place.listener.port);
  if (!host.ends_with(port)) return false;
  const std::string name = host.substr(0, host.size() - port.size());
  if (name == Bracketed(m_place.listener.address)) return true;
  if (text::EqualNoCase(name, "localhost")) return m_place.listener.loopback || m_place.listener.any;
  if (m_place.listener.any && IsNumericAddress(name)) return true;
  for (const std::string& own : m_place.names) {
    if (text::EqualNoCase(name, own)) return true;
  }
  return text::EqualNoCase(host, Authority());
}

bool Gate::HasCookie(const Request& request) const {
  // Cookies of one machine go to all its ports, so each console's cookie has a name of its own.
  const std::string start = "marrowen-" + std::to_string(m_place.listener.port) + "=";
  for (const CString& part : text::Split(request.Header("Cookie"), ';')) {
    std::string_view cookie = part;
    while (cookie.starts_with(' ')) cookie.remove_prefix(1);
    if (cookie.starts_with(start) && SameSecret(cookie.substr(start.size()), m_secrets.session)) return true;
  }
  return false;
}

// A web socket and a download, which the browser asks for by itself, have it in their address.
bool Gate::HasKey(const Request& request) const {
  const std::string header = request.Header("X-Marrowen-Key");
  return SameSecret(header.empty() ? request.Field("key") : header, m_secrets.page);
}

bool Gate::ComesFromElsewhere(const Request& request) const {
  const std::string origin = request.Header("Origin");
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const std::string own = (m_place.tls ? "https://" : "http://") + request.Header("Host");
  if (origin.empty() ? !reads : origin != own) return true;
  const std::string site = request.Header("Sec-Fetch-Site");
  const bool opens = request.path == "/" && request.Header("Sec-Fetch-Mode") == "navigate";
  return !site.empty() && site != "same-origin" && site != "none" && !opens;
}

std::optional<Response> Gate::Refuse(const Request& request) {
  if (request.HeaderCount("Host") != 1 || !IsOurHost(request.Header("Host"))) {
    return Sentence(421, "This console has another name.");
  }
  if (ComesFromElsewhere(request)) return Sentence(403, "Only this console's own pages may ask.");
  if (request.method == "GET" && request.path == "/" && request.Has("token")) {
    if (std::optional<Response> let = TakeToken(request)) return let;
    if (HasCookie(request)) return SeeOther("/");
  }
  const bool isData = request.path.starts_with("/api/");
  if (HasCookie(request) && (!isData || HasKey(request))) return std::nullopt;
  if (request.path == "/") return Response{401, kHtml, kDoor};
  return Sentence(401, "This console opens with the address that it printed when it was started.");
}

// The key travels behind "#", which browsers send to nobody.
std::optional<Response> Gate::TakeToken(const Request& request) {
  const std::lock_guard lock(m_mutex);
  if (!SameSecret(request.Field("token"), m_secrets.token)) return std::nullopt;
  const bool late = std::time(nullptr) > m_secrets.tokenUntil;
  MakeToken(m_secrets);
  m_say((late ? "That address is too old; a new one: " : "For another browser: ") + Way());
  if (late) return std::nullopt;
  const std::string inside = "/#key=" + m_secrets.page;
  // What another page has begun, the file that opens the browser too, would come without the cookie.
  const std::string site = request.Header("Sec-Fetch-Site");
  Response response = SeeOther(inside);
  if (!site.empty() && site != "none" && site != "same-origin") {
    response = {200, kHtml,
                "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>Marrowen</title>"
                "<meta http-equiv=\"refresh\" content=\"0;url=" +
                    inside + "\">"};
  }
  response.headers.emplace_back("Set-Cookie", "marrowen-" + std::to_string(m_place.listener.port) + "=" +
                                                  m_secrets.session + "; Path=/; HttpOnly; SameSite=Strict" +
                                                  (m_place.tls ? "; Secure" : ""));
  return response;
}

Fields Gate::Protection() {
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
