#include "configuration/cached_records.h"

#include <algorithm>
#include <cstddef>

#include "configuration/settings_engine.h"
#include "store/error_text.h"
#include "store/stored_secret.h"

namespace {

struct PasswordRecord {
  DWORD size;
  DWORD length;
  BYTE secret[260];
};
static_assert(sizeof(PasswordRecord) == 268);

struct StampRecord {
  char name[260];
  SYSTEMTIME first;
  SYSTEMTIME second;
  BYTE unused[264];
};
static_assert(sizeof(StampRecord) == 556);

constexpr DWORD kLongestPassword = 16384;

// CryptProtectData takes its input through pointers to bytes that it does not change.
DATA_BLOB Blob(const void* bytes, size_t size) {
  return {static_cast<DWORD>(size), static_cast<BYTE*>(const_cast<void*>(bytes))};
}

std::vector<BYTE> Taken(const DATA_BLOB& blob) {
  const LocalMemory<BYTE> owner(blob.pbData);
  return {blob.pbData, blob.pbData + blob.cbData};
}

std::optional<CString> PasswordOf(std::span<const BYTE> record) {
  PasswordRecord head{};
  std::copy_n(record.data(), std::min(record.size(), sizeof head), reinterpret_cast<BYTE*>(&head));
  if (head.length >= kLongestPassword) return std::nullopt;
  const size_t offset = std::min(record.size(), offsetof(PasswordRecord, secret));
  const auto stored = record.subspan(offset, std::min<size_t>(head.length, record.size() - offset));
  std::vector<BYTE> secret(stored.begin(), stored.end());
  TesselDecrypt(secret.data(), static_cast<int>(secret.size()));
  const CString password(secret.begin(), secret.end());
  return CString(text::UpToZero(password));
}

}  // namespace

std::optional<CString> ReadCachedRecord(std::span<const BYTE> blob, std::string_view valueName,
                                        std::string_view entropy) {
  DATA_BLOB sealed = Blob(blob.data(), blob.size());
  DATA_BLOB key = Blob(entropy.data(), entropy.size());
  DATA_BLOB clear{};
  if (!CryptUnprotectData(&sealed, nullptr, &key, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &clear))
    return {};
  const std::vector<BYTE> record = Taken(clear);
  if (IsDefaultName(valueName)) return PasswordOf(record);
  return CString(text::UpToZero({reinterpret_cast<const char*>(record.data()), record.size()}));
}

std::vector<BYTE> MakeCachedRecord(std::string_view text, std::string_view valueName,
                                   const CString& entropy) {
  PasswordRecord password{};
  StampRecord stamp{};
  DATA_BLOB clear{};
  if (IsStampName(valueName)) {
    std::copy_n(entropy.data(), std::min(entropy.size(), sizeof stamp.name - 1), stamp.name);
    GetSystemTime(&stamp.first);
    GetSystemTime(&stamp.second);
    clear = Blob(&stamp, sizeof stamp);
  } else {
    password.size = sizeof password;
    password.length = static_cast<DWORD>(text.size());
    const size_t kept = std::min(text.size(), sizeof password.secret);
    std::copy_n(text.data(), kept, password.secret);
    TesselEncrypt(password.secret, static_cast<DWORD>(kept));
    clear = Blob(&password, sizeof password);
  }
  CString sized = entropy;
  sized.resize(text.size());
  DATA_BLOB key = Blob(sized.data(), sized.size());
  DATA_BLOB sealed{};
  if (!CryptProtectData(&clear, nullptr, &key, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &sealed))
    return {};
  return Taken(sealed);
}
