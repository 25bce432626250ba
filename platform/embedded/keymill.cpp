#include "platform/keymill.h"

#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/dsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/embedded/paths.h"
#include "platform/embedded/public_keys.h"
#include "platform/text.h"

namespace keymill {
namespace {

using embedded::Base64;
using embedded::LengthAndBytes;
using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free_all)>;
using Number = std::unique_ptr<BIGNUM, decltype(&BN_clear_free)>;

constexpr int kFewestBits = 512;
constexpr int kMostBits = 16384;
// Bytes of a key's file; the largest that is made here has some ten thousand.
constexpr size_t kLargestFile = 65536;

// Keys of SSH sign with 160 bits of a DSA key, whatever its length (RFC 4253).
constexpr int kDsaSubgroupBits = 160;

Context ContextOf(const char* type) {
  return {EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr), EVP_PKEY_CTX_free};
}

void LetTakeTurns(EVP_PKEY_CTX* context, const Turn& turn) {
  if (!turn) return;
  EVP_PKEY_CTX_set_app_data(context, const_cast<Turn*>(&turn));
  EVP_PKEY_CTX_set_cb(context, [](EVP_PKEY_CTX* running) {
    return (*static_cast<const Turn*>(EVP_PKEY_CTX_get_app_data(running)))() ? 1 : 0;
  });
}

Key MakeRsa(int bits, const Turn& turn) {
  Key key(nullptr, EVP_PKEY_free);
  const Context context = ContextOf("RSA");
  EVP_PKEY* made = nullptr;
  if (!context || EVP_PKEY_keygen_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) <= 0) {
    return key;
  }
  LetTakeTurns(context.get(), turn);
  if (EVP_PKEY_generate(context.get(), &made) > 0) key.reset(made);
  return key;
}

Key MakeDsa(int bits, const Turn& turn) {
  Key key(nullptr, EVP_PKEY_free);
  const Context context = ContextOf("DSA");
  EVP_PKEY* made = nullptr;
  if (!context || EVP_PKEY_paramgen_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_dsa_paramgen_bits(context.get(), bits) <= 0 ||
      EVP_PKEY_CTX_set_dsa_paramgen_q_bits(context.get(), kDsaSubgroupBits) <= 0 ||
      EVP_PKEY_CTX_set_dsa_paramgen_type(context.get(), "fips186_2") <= 0) {
    return key;
  }
  LetTakeTurns(context.get(), turn);
  if (EVP_PKEY_generate(context.get(), &made) <= 0) return key;
  const Key parameters(made, EVP_PKEY_free);
  const Context maker(EVP_PKEY_CTX_new_from_pkey(nullptr, parameters.get(), nullptr), EVP_PKEY_CTX_free);
  made = nullptr;
  if (maker && EVP_PKEY_keygen_init(maker.get()) > 0 && EVP_PKEY_generate(maker.get(), &made) > 0)
    key.reset(made);
  return key;
}

Number NumberOf(const Key& key, const char* name) {
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key.get(), name, &number);
  return {number, BN_clear_free};
}

std::string BytesOf(const BIGNUM* number) {
  std::string bytes(static_cast<size_t>(BN_num_bytes(number)), '\0');
  BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
  return bytes;
}

// A number of RFC 4251: with a zero in front where its first bit is set.
std::string Mpint(const Key& key, const char* name) {
  const Number number = NumberOf(key, name);
  if (!number) return {};
  std::string bytes = BytesOf(number.get());
  if (!bytes.empty() && (static_cast<unsigned char>(bytes.front()) & 0x80) != 0) bytes.insert(0, 1, '\0');
  return LengthAndBytes(bytes);
}

// The public half as SSH carries it (RFC 4253); empty for other types.
std::string PublicBytes(const Key& key) {
  if (EVP_PKEY_is_a(key.get(), "RSA") == 1) {
    return LengthAndBytes("ssh-rsa") + Mpint(key, OSSL_PKEY_PARAM_RSA_E) + Mpint(key, OSSL_PKEY_PARAM_RSA_N);
  }
  if (EVP_PKEY_is_a(key.get(), "DSA") != 1) return {};
  return LengthAndBytes("ssh-dss") + Mpint(key, OSSL_PKEY_PARAM_FFC_P) + Mpint(key, OSSL_PKEY_PARAM_FFC_Q) +
         Mpint(key, OSSL_PKEY_PARAM_FFC_G) + Mpint(key, OSSL_PKEY_PARAM_PUB_KEY);
}

std::string PublicLine(const Key& key, const std::string& comment) {
  const char* const type = EVP_PKEY_is_a(key.get(), "RSA") == 1 ? "ssh-rsa " : "ssh-dss ";
  return type + Base64(PublicBytes(key)) + (comment.empty() ? "" : " " + comment) + "\n";
}

// PEM, as ssh-keygen -m PEM writes it.
std::string PrivateText(const Key& key, const std::string& passphrase) {
  const Bio memory(BIO_new(BIO_s_mem()), BIO_free_all);
  const EVP_CIPHER* const cipher = passphrase.empty() ? nullptr : EVP_aes_128_cbc();
  const auto* const words = reinterpret_cast<const unsigned char*>(passphrase.data());
  if (PEM_write_bio_PrivateKey_traditional(memory.get(), key.get(), cipher, words,
                                           static_cast<int>(passphrase.size()), nullptr, nullptr) != 1) {
    return {};
  }
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return size > 0 ? std::string(data, static_cast<size_t>(size)) : std::string();
}

// A number of SSH1's file: its bits in two bytes, and its bytes.
std::string Number1(const BIGNUM* number) {
  const int bits = BN_num_bits(number);
  const char head[] = {static_cast<char>(bits >> 8), static_cast<char>(bits & 0xFF)};
  return std::string(head, 2) + BytesOf(number);
}

// The file of an SSH1 key, not encrypted: the format of ssh-keygen -t rsa1 ("SSH PRIVATE KEY FILE
// FORMAT 1.1").
std::string PrivateBytes1(const Key& key, const std::string& comment) {
  constexpr char kHead[] = "SSH PRIVATE KEY FILE FORMAT 1.1\n";
  const Number n = NumberOf(key, OSSL_PKEY_PARAM_RSA_N);
  const Number e = NumberOf(key, OSSL_PKEY_PARAM_RSA_E);
  const Number d = NumberOf(key, OSSL_PKEY_PARAM_RSA_D);
  const Number p = NumberOf(key, OSSL_PKEY_PARAM_RSA_FACTOR1);
  const Number q = NumberOf(key, OSSL_PKEY_PARAM_RSA_FACTOR2);
  const Number inverse = NumberOf(key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1);
  std::array<unsigned char, 2> check{};
  if (!n || !e || !d || !p || !q || !inverse || RAND_bytes(check.data(), check.size()) != 1) return {};
  std::string bytes(kHead, sizeof kHead);  // with its zero
  bytes.append(5, '\0');                   // no cipher, and four bytes for later
  const int bits = BN_num_bits(n.get());
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(bits >> shift & 0xFF);
  bytes += Number1(n.get()) + Number1(e.get()) + LengthAndBytes(comment);
  std::string secret;
  for (int twice = 0; twice < 2; ++twice)
    secret.append(reinterpret_cast<const char*>(check.data()), check.size());
  secret += Number1(d.get()) + Number1(inverse.get()) + Number1(q.get()) + Number1(p.get());
  secret.append((8 - secret.size() % 8) % 8, '\0');
  return bytes + secret;
}

std::string PublicLine1(const Key& key, const std::string& comment) {
  const Number n = NumberOf(key, OSSL_PKEY_PARAM_RSA_N);
  const Number e = NumberOf(key, OSSL_PKEY_PARAM_RSA_E);
  if (!n || !e) return {};
  const std::unique_ptr<char, void (*)(char*)> modulus(BN_bn2dec(n.get()),
                                                       [](char* text) { OPENSSL_free(text); });
  const std::unique_ptr<char, void (*)(char*)> exponent(BN_bn2dec(e.get()),
                                                        [](char* text) { OPENSSL_free(text); });
  return std::to_string(BN_num_bits(n.get())) + " " + exponent.get() + " " + modulus.get() +
         (comment.empty() ? "" : " " + comment) + "\n";
}

// A file for its owner alone, written beside its place and moved there.
class FileOfOwner {
 public:
  FileOfOwner(std::string place, std::string_view bytes)
      : m_place(std::move(place)), m_written(m_place + ".XXXXXX") {
    const int file = mkstemp(m_written.data());  // made with 0600, whatever the umask
    if (file < 0) return;
    m_made = true;
    m_good = embedded::WriteAll(file, bytes) && fsync(file) == 0;
    m_good = close(file) == 0 && m_good;
  }
  ~FileOfOwner() {
    if (m_made && !m_moved) unlink(m_written.c_str());
  }
  FileOfOwner(const FileOfOwner&) = delete;
  FileOfOwner& operator=(const FileOfOwner&) = delete;

  bool Good() const { return m_good; }
  bool MoveThere() {
    m_moved = rename(m_written.c_str(), m_place.c_str()) == 0;
    return m_moved;
  }

 private:
  std::string m_place;
  std::string m_written;
  bool m_made = false;
  bool m_good = false;
  bool m_moved = false;
};

// At most as many bytes as a key's file has; nothing for a longer one, and for what is no plain file.
std::optional<std::string> ReadSmallFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::nullopt;
  struct stat status {};
  std::optional<std::string> bytes;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      static_cast<size_t>(status.st_size) <= kLargestFile) {
    std::string read_so_far(kLargestFile, '\0');
    size_t size = 0;
    ssize_t got = 0;
    while (size < kLargestFile && (got = read(file, &read_so_far[size], kLargestFile - size)) > 0)
      size += static_cast<size_t>(got);
    read_so_far.resize(size);
    if (got >= 0) bytes = std::move(read_so_far);
  }
  close(file);
  return bytes;
}

// Of a private key that is not encrypted: a passphrase is asked of nobody.
std::optional<std::string> KeyOfPrivateText(std::string_view text) {
  const Bio memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free_all);
  const auto refuse = [](char*, int, int, void*) { return -1; };
  const Key key(PEM_read_bio_PrivateKey(memory.get(), nullptr, refuse, nullptr), EVP_PKEY_free);
  if (!key) return std::nullopt;
  const std::string bytes = PublicBytes(key);
  return bytes.empty() ? std::nullopt : std::optional(bytes);
}

}  // namespace

int GenerateKey(const char* type, const char* bits, const char* file, const char* passphrase,
                const char* comment, const Turn& turn) {
  const int length = text::ToInt(bits);
  if (length < kFewestBits || length > kMostBits) return -1;
  const std::optional<std::string> path = embedded::MapPath(file);
  if (!path) return -1;
  const std::string kind = type;
  if (kind != "rsa" && kind != "rsa1" && kind != "dsa") return -1;
  const Key key = kind == "dsa" ? MakeDsa(length, turn) : MakeRsa(length, turn);
  if (!key) return -1;
  // A comment is one line of the public half.
  const std::string said = text::Replaced(text::Replaced(comment, "\r", " "), "\n", " ");
  const std::string secret = kind == "rsa1" ? PrivateBytes1(key, said) : PrivateText(key, passphrase);
  const std::string open = kind == "rsa1" ? PublicLine1(key, said) : PublicLine(key, said);
  if (secret.empty() || open.empty()) return -1;
  // What can't take the second half must not lose the key that is there.
  struct stat status {};
  if (stat((*path + ".pub").c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return -1;
  FileOfOwner privateHalf(*path, secret);
  FileOfOwner publicHalf(*path + ".pub", open);
  return privateHalf.Good() && publicHalf.Good() && privateHalf.MoveThere() && publicHalf.MoveThere() ? 0
                                                                                                      : -1;
}

std::optional<std::string> KGGetFingerprintString(const char* path) {
  const std::optional<std::string> mapped = embedded::MapPath(path);
  if (!mapped) return std::nullopt;
  std::optional<std::string> key;
  if (const auto line = ReadSmallFile(*mapped + ".pub")) {
    key = embedded::KeyOfLine(std::string_view(*line).substr(0, line->find('\n')));
  } else if (const auto text = ReadSmallFile(*mapped)) {
    key = KeyOfPrivateText(*text);
  }
  return key ? std::optional(embedded::FingerprintOf(*key)) : std::nullopt;
}

std::optional<std::string> KGGetFingerprintStringFromBlob(const char* key) {
  const std::optional<std::string> bytes = embedded::KeyOfLine(key);
  return bytes ? std::optional(embedded::FingerprintOf(*bytes)) : std::nullopt;
}

void UpdateAlgorithmsEx() {}

}  // namespace keymill
