#include <openssl/evp.h>

#include <array>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/random.h"
#include "platform/embedded/win32/crypto.h"
#include "platform/embedded/win32/system.h"

// The provider of type PROV_RSA_FULL, as far as a hash, a key derived from it and a stream cipher go. Its
// default length of an RC4 key is that of the default provider of Windows, 128 bits: the whole of an MD5
// hash.

namespace embedded {
namespace {

constexpr DWORD kKeyBytes = 16;

struct DigestDeleter {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

struct Provider : Object {};

struct Hash : Object {
  std::unique_ptr<EVP_MD_CTX, DigestDeleter> context{EVP_MD_CTX_new()};
  bool finished = false;  // A hash that a key was derived from takes no more data.
  std::vector<BYTE> value;
};

// RC4 is written out here: OpenSSL has it in a provider that a machine may not have.
struct Rc4 {
  std::array<BYTE, 256> state{};
  BYTE i = 0;
  BYTE j = 0;

  void Start(const std::array<BYTE, kKeyBytes>& key) {
    std::iota(state.begin(), state.end(), BYTE{0});
    i = j = 0;
    BYTE at = 0;
    for (unsigned n = 0; n < 256; ++n) {
      at = static_cast<BYTE>(at + state[n] + key[n % key.size()]);
      std::swap(state[n], state[at]);
    }
  }

  void Apply(BYTE* data, DWORD size) {
    for (DWORD n = 0; n < size; ++n) {
      j = static_cast<BYTE>(j + state[++i]);
      std::swap(state[i], state[j]);
      data[n] ^= state[static_cast<BYTE>(state[i] + state[j])];
    }
  }
};

struct Key : Object {
  std::array<BYTE, kKeyBytes> bytes{};
  Rc4 cipher;
};

BOOL Fail(HRESULT code) { return embedded::Fail(static_cast<DWORD>(code)); }

// A cipher handle that is none is a wrong parameter, not a wrong handle.
template <typename Kind>
std::shared_ptr<Kind> FindCipher(ULONG_PTR handle) {
  auto found = Find<Kind>(handle);
  if (!found) SetLastError(ERROR_INVALID_PARAMETER);
  return found;
}

template <typename Kind>
BOOL CloseCipher(ULONG_PTR handle) {
  return FindCipher<Kind>(handle) ? Close<Kind>(handle) : FALSE;
}

ULONG_PTR OpenCipher(std::shared_ptr<Object> object) {
  return reinterpret_cast<ULONG_PTR>(OpenHandle(std::move(object)));
}

bool Finish(Hash& hash) {
  if (hash.finished) return true;
  unsigned size = EVP_MAX_MD_SIZE;
  hash.value.resize(size);
  if (EVP_DigestFinal_ex(hash.context.get(), hash.value.data(), &size) != 1) return false;
  hash.value.resize(size);
  hash.finished = true;
  return true;
}

BOOL Apply(HCRYPTKEY handle, HCRYPTHASH hash, BOOL final, BYTE* data, DWORD size) {
  const auto key = FindCipher<Key>(handle);
  if (!key) return FALSE;
  if (hash != 0) return Fail(NTE_BAD_HASH);
  key->cipher.Apply(data, size);
  // The last piece ends the key stream; the next message begins it anew.
  if (final != FALSE) key->cipher.Start(key->bytes);
  return TRUE;
}

}  // namespace
}  // namespace embedded

using namespace embedded;

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* provider, LPCSTR, LPCSTR, DWORD type, DWORD flags) {
  if (provider == nullptr) return Fail(DWORD{ERROR_INVALID_PARAMETER});
  if (type == 0 || type > 999) return Fail(NTE_BAD_PROV_TYPE);
  if (type != PROV_RSA_FULL) return Fail(NTE_PROV_TYPE_NOT_DEF);
  // There are no key containers: only a context without one can be had.
  if (flags != CRYPT_VERIFYCONTEXT) return Fail(NTE_BAD_KEYSET);
  *provider = OpenCipher(std::make_shared<Provider>());
  return TRUE;
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD) { return CloseCipher<Provider>(provider); }

BOOL WINAPI CryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY, DWORD, HCRYPTHASH* hash) {
  if (!FindCipher<Provider>(provider)) return FALSE;
  const EVP_MD* digest = algorithm == CALG_MD5 ? EVP_md5() : algorithm == CALG_SHA1 ? EVP_sha1() : nullptr;
  if (digest == nullptr) return Fail(NTE_BAD_ALGID);
  auto object = std::make_shared<Hash>();
  if (EVP_DigestInit_ex(object->context.get(), digest, nullptr) != 1) return Fail(NTE_FAIL);
  *hash = OpenCipher(std::move(object));
  return TRUE;
}

BOOL WINAPI CryptHashData(HCRYPTHASH handle, const BYTE* data, DWORD size, DWORD) {
  const auto hash = FindCipher<Hash>(handle);
  if (!hash) return FALSE;
  if (hash->finished) return Fail(NTE_BAD_HASH_STATE);
  return EVP_DigestUpdate(hash->context.get(), data, size) == 1 ? TRUE : Fail(NTE_FAIL);
}

BOOL WINAPI CryptDestroyHash(HCRYPTHASH hash) { return CloseCipher<Hash>(hash); }

BOOL WINAPI CryptDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH handle, DWORD flags,
                           HCRYPTKEY* key) {
  if (!FindCipher<Provider>(provider)) return FALSE;
  const auto hash = FindCipher<Hash>(handle);
  if (!hash) return FALSE;
  if (algorithm != CALG_RC4) return Fail(NTE_BAD_ALGID);
  // The upper half of the flags is the key's length in bits, 0 for the default.
  if (const DWORD bits = flags >> 16; bits != 0 && bits != kKeyBytes * 8) return Fail(NTE_BAD_FLAGS);
  if (!Finish(*hash)) return Fail(NTE_FAIL);
  auto object = std::make_shared<Key>();
  std::memcpy(object->bytes.data(), hash->value.data(), kKeyBytes);
  object->cipher.Start(object->bytes);
  *key = OpenCipher(std::move(object));
  return TRUE;
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY key) { return CloseCipher<Key>(key); }

BOOL WINAPI CryptEncrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD, BYTE* data, DWORD* size,
                         DWORD buffer_size) {
  if (!FindCipher<Key>(key)) return FALSE;
  // A stream cipher keeps the length, which is the answer to a question without data.
  if (data == nullptr) return TRUE;
  if (buffer_size < *size) return Fail(DWORD{ERROR_MORE_DATA});
  return Apply(key, hash, final, data, *size);
}

BOOL WINAPI CryptDecrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD, BYTE* data, DWORD* size) {
  return Apply(key, hash, final, data, *size);
}
