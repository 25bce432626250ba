// Ciphers and data protection, the same for Windows and for an embedded computer.

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace {

std::string Hex(const BYTE* bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

struct Cipher {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  HCRYPTKEY key = 0;

  explicit Cipher(std::string_view phrase) {
    EXPECT_NE(CryptAcquireContextA(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), FALSE);
    EXPECT_NE(CryptCreateHash(provider, CALG_MD5, 0, 0, &hash), FALSE);
    EXPECT_NE(CryptHashData(hash, reinterpret_cast<const BYTE*>(phrase.data()),
                            static_cast<DWORD>(phrase.size()), 0),
              FALSE);
    EXPECT_NE(CryptDeriveKey(provider, CALG_RC4, hash, 0, &key), FALSE);
  }
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
  ~Cipher() {
    EXPECT_NE(CryptDestroyKey(key), FALSE);
    EXPECT_NE(CryptDestroyHash(hash), FALSE);
    EXPECT_NE(CryptReleaseContext(provider, 0), FALSE);
  }

  std::string Encrypt(std::string text, BOOL final) const {
    auto size = static_cast<DWORD>(text.size());
    auto* bytes = reinterpret_cast<BYTE*>(text.data());
    EXPECT_NE(CryptEncrypt(key, 0, final, 0, bytes, &size, size), FALSE);
    EXPECT_EQ(size, text.size());
    return Hex(bytes, size);
  }
};

}  // namespace

TEST(DerivedKeys, GiveTheStreamOfTheDefaultProvider) {
  const struct {
    const char* phrase;
    const char* clear;
    const char* cipher;
  } cases[] = {
      {"VellumHarbor", "abcdefghij", "449de4fae6608259828e"},
      {"a longer pass phrase than any block of sixty-four bytes, to cross one block of MD5", "secret words",
       "a2bd18a416c13529dae22d8e"},
  };
  for (const auto& expected : cases) {
    const Cipher cipher(expected.phrase);
    EXPECT_EQ(cipher.Encrypt(expected.clear, TRUE), expected.cipher);
    // The final piece begins the stream anew; others go on with it.
    const std::string clear = expected.clear;
    const std::string first = cipher.Encrypt(clear.substr(0, 4), FALSE);
    EXPECT_EQ(first + cipher.Encrypt(clear.substr(4), TRUE), expected.cipher);
    BYTE bytes[16] = {};
    DWORD size = static_cast<DWORD>(clear.size());
    std::copy(clear.begin(), clear.end(), bytes);
    EXPECT_NE(CryptDecrypt(cipher.key, 0, TRUE, 0, bytes, &size), FALSE);
    EXPECT_EQ(Hex(bytes, size), expected.cipher);
    size = 0;
    EXPECT_NE(CryptEncrypt(cipher.key, 0, TRUE, 0, bytes, &size, sizeof bytes), FALSE);
    EXPECT_EQ(size, 0u);
    SetLastError(0);
    EXPECT_EQ(CryptHashData(cipher.hash, bytes, 1, 0), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_HASH_STATE));
  }
  HCRYPTPROV provider = 0;
  SetLastError(0);
  EXPECT_EQ(CryptAcquireContextA(&provider, nullptr, nullptr, 99, CRYPT_VERIFYCONTEXT), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_PROV_TYPE_NOT_DEF));
}

TEST(DataProtection, OpensWhatItMadeAndNothingElse) {
  BYTE clear[] = {'s', 'e', 'c', 'r', 'e', 't', 0};
  BYTE salt[] = {'n', 'a', 'm', 'e'};
  DATA_BLOB data = {sizeof clear, clear};
  DATA_BLOB entropy = {sizeof salt, salt};
  DATA_BLOB blob = {};
  ASSERT_NE(CryptProtectData(&data, nullptr, &entropy, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &blob),
            FALSE);
  const auto unprotect = [](DATA_BLOB* from, DATA_BLOB* with, std::string* result) {
    DATA_BLOB back = {};
    LPWSTR description = nullptr;
    SetLastError(0);
    if (CryptUnprotectData(from, &description, with, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &back) ==
        FALSE) {
      return GetLastError();
    }
    EXPECT_TRUE(description != nullptr && description[0] == 0);
    if (result != nullptr) result->assign(reinterpret_cast<char*>(back.pbData), back.cbData);
    LocalFree(description);
    LocalFree(back.pbData);
    return DWORD{ERROR_SUCCESS};
  };
  std::string result;
  EXPECT_EQ(unprotect(&blob, &entropy, &result), 0u);
  EXPECT_EQ(result, std::string("secret\0", 7));
  EXPECT_EQ(unprotect(&blob, nullptr, nullptr), DWORD{ERROR_INVALID_DATA});
  EXPECT_EQ(std::string(reinterpret_cast<char*>(blob.pbData), blob.cbData).find("secret"), std::string::npos);
  blob.pbData[blob.cbData - 1] ^= 1;
  EXPECT_EQ(unprotect(&blob, &entropy, nullptr), DWORD{ERROR_INVALID_DATA});
  blob.pbData[blob.cbData - 1] ^= 1;
  for (DWORD size = 0; size < blob.cbData; size += 7) {
    DATA_BLOB part = {size, blob.pbData};
    EXPECT_EQ(unprotect(&part, &entropy, nullptr), DWORD{ERROR_INVALID_DATA}) << size;
  }
  LocalFree(blob.pbData);
}
