#include "platform/embedded/public_keys.h"

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>

#include "platform/text.h"

namespace embedded {
namespace {

constexpr std::string_view kTypes[] = {
    "ssh-rsa",
    "ssh-dss",
    "ssh-ed25519",
    "ecdsa-sha2-nistp256",
    "ecdsa-sha2-nistp384",
    "ecdsa-sha2-nistp521",
    "sk-ssh-ed25519@openssh.com",
    "sk-ecdsa-sha2-nistp256@openssh.com",
};

// Bytes of a key's text, which holds some thousand at most.
constexpr size_t kLongest = 65536;

using BigNumber = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

void SkipBlanks(std::string_view& text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
}

// Takes the word in front; blanks between quotation marks are part of it.
std::string_view TakeWord(std::string_view& text) {
  SkipBlanks(text);
  bool quoted = false;
  size_t end = 0;
  for (; end < text.size() && (quoted || !IsBlank(text[end])); ++end) {
    if (text[end] == '\\' && end + 1 < text.size() && text[end + 1] == '"') {
      ++end;
    } else if (text[end] == '"') {
      quoted = !quoted;
    }
  }
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

bool IsNumber(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::string> Decoded(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  // Padding decodes as zeros.
  const size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  bytes.resize(static_cast<size_t>(size) - padding);
  return bytes;
}

std::optional<std::string> KeyOfType(std::string_view type, std::string_view data) {
  std::optional<std::string> bytes = Decoded(data);
  if (!bytes || !bytes->starts_with(LengthAndBytes(type))) return std::nullopt;
  return bytes;
}

std::optional<std::string> BytesOfNumber(std::string_view digits) {
  constexpr size_t kMostDigits = 5000;
  if (!IsNumber(digits) || digits.size() > kMostDigits) return std::nullopt;
  BIGNUM* parsed = nullptr;
  const std::string text(digits);
  if (BN_dec2bn(&parsed, text.c_str()) == 0) return std::nullopt;
  const BigNumber number(parsed, BN_free);
  std::string bytes(static_cast<size_t>(BN_num_bytes(number.get())), '\0');
  BN_bn2bin(number.get(), reinterpret_cast<unsigned char*>(bytes.data()));
  return bytes;
}

// "BITS EXPONENT MODULUS"
std::optional<std::string> KeyOfNumbers(std::string_view rest) {
  const std::optional<std::string> exponent = BytesOfNumber(TakeWord(rest));
  const std::optional<std::string> modulus = BytesOfNumber(TakeWord(rest));
  if (!exponent || !modulus || modulus->empty()) return std::nullopt;
  return *modulus + *exponent;
}

std::optional<std::string> KeyAt(std::string_view line) {
  std::string_view rest = line;
  const std::string_view type = TakeWord(rest);
  if (IsNumber(type)) return KeyOfNumbers(rest);
  if (std::find(std::begin(kTypes), std::end(kTypes), type) == std::end(kTypes)) return std::nullopt;
  return KeyOfType(type, TakeWord(rest));
}

std::string Digest(const EVP_MD* algorithm, std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, algorithm, nullptr) != 1) return {};
  return {reinterpret_cast<const char*>(digest.data()), size};
}

}  // namespace

std::string Base64(std::string_view bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(size));
  return text;
}

std::string LengthAndBytes(std::string_view bytes) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(bytes.size() >> shift & 0xFF);
  return text.append(bytes);
}

std::string FingerprintOf(std::string_view bytes) {
  const std::string sha256 = Digest(EVP_sha256(), bytes);
  std::string base64 = Base64(sha256);
  base64.resize(base64.find_last_not_of('=') + 1);
  std::string text = "SHA256:" + base64 + " MD5";
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : Digest(EVP_md5(), bytes)) {
    const auto byte = static_cast<unsigned char>(c);
    text.append({':', kDigits[byte >> 4], kDigits[byte & 15]});
  }
  return text;
}

std::optional<std::string> KeyOfLine(std::string_view line) {
  if (line.size() > kLongest) return std::nullopt;
  SkipBlanks(line);
  if (line.empty() || line.front() == '#') return std::nullopt;
  if (std::optional<std::string> key = KeyAt(line)) return key;
  TakeWord(line);  // the options
  return KeyAt(line);
}

}  // namespace embedded
