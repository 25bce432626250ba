#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/fail.h"
#include "platform/embedded/random.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/crypto.h"
#include "platform/embedded/win32/system.h"

// Data protection. A blob is a header in clear, which is authenticated, then a nonce of 12 bytes, a tag of
// 16, and what AES-256-GCM made of the description and the data. The key of a blob is HMAC-SHA-256 of the
// purpose (machine or user, and the entropy) under the computer's key, so that either must be known to open
// it.

using embedded::Fail;

namespace {

using Bytes = std::span<const BYTE>;
using Key = std::array<BYTE, 32>;

constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;

struct Header {
  char magic[4];
  DWORD flags;             // Of CryptProtectData; those that change the key.
  DWORD description_size;  // In bytes, with its terminator.
};
constexpr char kMagic[4] = {'M', 'D', 'P', '1'};
constexpr size_t kOverhead = sizeof(Header) + kNonceSize + kTagSize;

std::optional<Key> ReadKey(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return std::nullopt;
  Key key;
  // One byte more than there may be: a file of any other size is not a key.
  BYTE buffer[sizeof key + 1];
  const ssize_t got = read(file, buffer, sizeof buffer);
  close(file);
  if (got != static_cast<ssize_t>(sizeof key)) return std::nullopt;
  std::memcpy(key.data(), buffer, sizeof key);
  OPENSSL_cleanse(buffer, sizeof buffer);
  return key;
}

// Makes the key file whole or not at all; another process may have been first, and then its key stands.
bool MakeKey(const std::string& path) {
  std::string temporary = path + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return false;
  Key key;
  embedded::FillRandom(key.data(), key.size());
  const bool written = fchmod(file, 0600) == 0 &&
                       write(file, key.data(), key.size()) == ssize_t{sizeof key} && fsync(file) == 0;
  close(file);
  OPENSSL_cleanse(key.data(), key.size());
  const bool linked = written && (link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
  unlink(temporary.c_str());
  return linked;
}

// The key of the local computer, made on first use.
std::optional<Key> ComputerKey() {
  const std::string folder = embedded::ComputerFolder("");
  if (folder.empty()) return std::nullopt;
  const std::string path = folder + "/protection.key";
  if (access(path.c_str(), F_OK) != 0 && !MakeKey(path)) return std::nullopt;
  return ReadKey(path);
}

std::optional<Key> BlobKey(DWORD flags, const DATA_BLOB* entropy) {
  std::optional<Key> computer = ComputerKey();
  if (!computer) return std::nullopt;
  const bool machine = (flags & CRYPTPROTECT_LOCAL_MACHINE) != 0;
  std::string purpose = machine ? "machine:" : "user " + std::to_string(geteuid()) + ":";
  if (entropy != nullptr && entropy->pbData != nullptr) {
    purpose.append(reinterpret_cast<const char*>(entropy->pbData), entropy->cbData);
  }
  Key key;
  unsigned size = sizeof key;
  const bool made =
      HMAC(EVP_sha256(), computer->data(), static_cast<int>(computer->size()),
           reinterpret_cast<const BYTE*>(purpose.data()), purpose.size(), key.data(), &size) != nullptr;
  OPENSSL_cleanse(computer->data(), computer->size());
  return made ? std::optional(key) : std::nullopt;
}

struct CipherDeleter {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// AES-256-GCM from `input` to `output`, of the same size; the tag is made, or must be right.
bool Run(bool encrypt, const Key& key, const BYTE* nonce, Bytes header, Bytes input, BYTE* output,
         BYTE* tag) {
  const std::unique_ptr<EVP_CIPHER_CTX, CipherDeleter> context(EVP_CIPHER_CTX_new());
  EVP_CIPHER_CTX* c = context.get();
  int size = 0;
  if (EVP_CipherInit_ex(c, EVP_aes_256_gcm(), nullptr, key.data(), nonce, encrypt ? 1 : 0) != 1 ||
      EVP_CipherUpdate(c, nullptr, &size, header.data(), static_cast<int>(header.size())) != 1) {
    return false;
  }
  if (!input.empty() &&
      EVP_CipherUpdate(c, output, &size, input.data(), static_cast<int>(input.size())) != 1) {
    return false;
  }
  if (!encrypt && EVP_CIPHER_CTX_ctrl(c, EVP_CTRL_GCM_SET_TAG, kTagSize, tag) != 1) return false;
  BYTE rest[16];
  if (EVP_CipherFinal_ex(c, rest, &size) != 1) return false;
  return !encrypt || EVP_CIPHER_CTX_ctrl(c, EVP_CTRL_GCM_GET_TAG, kTagSize, tag) == 1;
}

}  // namespace

BOOL WINAPI CryptProtectData(DATA_BLOB* data, LPCWSTR description, DATA_BLOB* entropy, PVOID,
                             CRYPTPROTECT_PROMPTSTRUCT*, DWORD flags, DATA_BLOB* result) {
  if (data == nullptr || result == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (data->pbData == nullptr || data->cbData > 0x40000000) return Fail(ERROR_INVALID_DATA);
  const std::u16string_view text = description == nullptr ? u"" : description;
  Header header = {.magic = {},
                   .flags = flags & CRYPTPROTECT_LOCAL_MACHINE,
                   .description_size = static_cast<DWORD>((text.size() + 1) * 2)};
  std::memcpy(header.magic, kMagic, sizeof kMagic);
  std::vector<BYTE> clear(size_t{header.description_size} + data->cbData);
  std::memcpy(clear.data(), text.data(), text.size() * 2);
  std::memcpy(clear.data() + header.description_size, data->pbData, data->cbData);
  std::optional<Key> key = BlobKey(header.flags, entropy);
  if (!key) return Fail(ERROR_ACCESS_DENIED);

  const size_t size = kOverhead + clear.size();
  auto* blob = static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, size));
  if (blob == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  std::memcpy(blob, &header, sizeof header);
  BYTE* nonce = blob + sizeof header;
  embedded::FillRandom(nonce, kNonceSize);
  const bool done =
      Run(true, *key, nonce, {blob, sizeof header}, clear, blob + kOverhead, nonce + kNonceSize);
  OPENSSL_cleanse(key->data(), key->size());
  OPENSSL_cleanse(clear.data(), clear.size());
  if (!done) {
    LocalFree(blob);
    return Fail(ERROR_INVALID_DATA);
  }
  *result = {.cbData = static_cast<DWORD>(size), .pbData = blob};
  return TRUE;
}

BOOL WINAPI CryptUnprotectData(DATA_BLOB* data, LPWSTR* description, DATA_BLOB* entropy, PVOID,
                               CRYPTPROTECT_PROMPTSTRUCT*, DWORD, DATA_BLOB* result) {
  if (data == nullptr || result == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  Header header;
  if (data->pbData == nullptr || data->cbData < kOverhead) return Fail(ERROR_INVALID_DATA);
  std::memcpy(&header, data->pbData, sizeof header);
  const size_t size = data->cbData - kOverhead;
  if (std::memcmp(header.magic, kMagic, sizeof kMagic) != 0 || header.description_size < 2 ||
      header.description_size > size) {
    return Fail(ERROR_INVALID_DATA);
  }
  std::optional<Key> key = BlobKey(header.flags, entropy);
  if (!key) return Fail(ERROR_ACCESS_DENIED);
  BYTE* nonce = data->pbData + sizeof header;
  BYTE tag[kTagSize];
  std::memcpy(tag, nonce + kNonceSize, kTagSize);
  std::vector<BYTE> clear(size);
  const bool right = Run(false, *key, nonce, {data->pbData, sizeof header}, {data->pbData + kOverhead, size},
                         clear.data(), tag);
  OPENSSL_cleanse(key->data(), key->size());
  if (!right) return Fail(ERROR_INVALID_DATA);

  const size_t data_size = size - header.description_size;
  auto* bytes = static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, data_size));
  void* text = description == nullptr ? nullptr : LocalAlloc(LMEM_FIXED, header.description_size);
  if (bytes == nullptr || (description != nullptr && text == nullptr)) {
    LocalFree(bytes);
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  std::memcpy(bytes, clear.data() + header.description_size, data_size);
  if (description != nullptr) {
    std::memcpy(text, clear.data(), header.description_size);
    *description = static_cast<LPWSTR>(text);
  }
  OPENSSL_cleanse(clear.data(), clear.size());
  *result = {.cbData = static_cast<DWORD>(data_size), .pbData = bytes};
  return TRUE;
}
