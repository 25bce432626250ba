#include "store/stored_secret.h"

#include <string_view>

#include "store/diagnostic_log.h"

namespace {

constexpr std::string_view kPassPhrase = "VellumHarbor";

// The provider, hash and key of one call, released in the reverse order of their making.
struct Cipher {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  HCRYPTKEY key = 0;

  Cipher() = default;
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
  ~Cipher() {
    if (key) CryptDestroyKey(key);
    if (hash) CryptDestroyHash(hash);
    if (provider) CryptReleaseContext(provider, 0);
  }
};

// Logs a failed step and gives the last error as the step left it.
DWORD Failed(const char* step) {
  const DWORD error = GetLastError();
  LogPrint(2, "Error %x during %s!\n", static_cast<unsigned>(error), step);
  return error;
}

enum class Direction { Encrypt, Decrypt };

DWORD Run(Direction direction, BYTE* data, DWORD length) {
  Cipher cipher;
  if (!CryptAcquireContextA(&cipher.provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
    return Failed("CryptAcquireContext");
  }
  if (!CryptCreateHash(cipher.provider, CALG_MD5, 0, 0, &cipher.hash)) return Failed("CryptCreateHash");
  if (!CryptHashData(cipher.hash, reinterpret_cast<const BYTE*>(kPassPhrase.data()),
                     static_cast<DWORD>(kPassPhrase.size()), 0)) {
    return Failed("CryptHashData");
  }
  if (!CryptDeriveKey(cipher.provider, CALG_RC4, cipher.hash, 0, &cipher.key)) {
    return Failed("CryptDeriveKey");
  }
  const bool encrypt = direction == Direction::Encrypt;
  DWORD size = length;
  const BOOL done = encrypt ? CryptEncrypt(cipher.key, 0, TRUE, 0, data, &size, length)
                            : CryptDecrypt(cipher.key, 0, TRUE, 0, data, &size);
  if (!done) {
    LogPrint(2, "bytes required:%d\n", static_cast<int>(size));
    return Failed(encrypt ? "CryptEncrypt" : "CryptDecrypt");
  }
  return size == length ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

DWORD TesselEncrypt(BYTE* data, DWORD length) {
  LogPrint(1, "TesselEncrypt in\n");
  return Run(Direction::Encrypt, data, length);
}

DWORD TesselDecrypt(BYTE* data, int length) {
  LogPrint(1, "TesselDecrypt in\n");
  const DWORD status =
      length < 0 ? ERROR_INVALID_PARAMETER : Run(Direction::Decrypt, data, static_cast<DWORD>(length));
  LogPrint(1, "TesselDecrypt out\n");
  return status;
}
