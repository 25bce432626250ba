#include "platform/embedded/sid.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <fstream>

#include "platform/embedded/fail.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

// The values of winnt.h; the aliases of sddl.h; the names that Windows in English gives.
constexpr WellKnownSid kWellKnown[] = {
    {WinNullSid, "", 0, 1, {0}, "", "NULL SID", SidTypeWellKnownGroup},
    {WinWorldSid, "WD", 1, 1, {0}, "", "Everyone", SidTypeWellKnownGroup},
    {WinLocalSid, "", 2, 1, {0}, "", "LOCAL", SidTypeWellKnownGroup},
    {WinCreatorOwnerSid, "CO", 3, 1, {0}, "", "CREATOR OWNER", SidTypeWellKnownGroup},
    {WinCreatorGroupSid, "CG", 3, 1, {1}, "", "CREATOR GROUP", SidTypeWellKnownGroup},
    {WinDialupSid, "", 5, 1, {1}, "NT AUTHORITY", "DIALUP", SidTypeWellKnownGroup},
    {WinNetworkSid, "NU", 5, 1, {2}, "NT AUTHORITY", "NETWORK", SidTypeWellKnownGroup},
    {WinBatchSid, "", 5, 1, {3}, "NT AUTHORITY", "BATCH", SidTypeWellKnownGroup},
    {WinInteractiveSid, "IU", 5, 1, {4}, "NT AUTHORITY", "INTERACTIVE", SidTypeWellKnownGroup},
    {WinServiceSid, "SU", 5, 1, {6}, "NT AUTHORITY", "SERVICE", SidTypeWellKnownGroup},
    {WinAnonymousSid, "AN", 5, 1, {7}, "NT AUTHORITY", "ANONYMOUS LOGON", SidTypeWellKnownGroup},
    {WinEnterpriseControllersSid,
     "ED",
     5,
     1,
     {9},
     "NT AUTHORITY",
     "ENTERPRISE DOMAIN CONTROLLERS",
     SidTypeWellKnownGroup},
    {WinSelfSid, "PS", 5, 1, {10}, "NT AUTHORITY", "SELF", SidTypeWellKnownGroup},
    {WinAuthenticatedUserSid, "AU", 5, 1, {11}, "NT AUTHORITY", "Authenticated Users", SidTypeWellKnownGroup},
    {WinRestrictedCodeSid, "RC", 5, 1, {12}, "NT AUTHORITY", "RESTRICTED", SidTypeWellKnownGroup},
    {WinTerminalServerSid, "", 5, 1, {13}, "NT AUTHORITY", "TERMINAL SERVER USER", SidTypeWellKnownGroup},
    {WinLocalSystemSid, "SY", 5, 1, {18}, "NT AUTHORITY", "SYSTEM", SidTypeWellKnownGroup},
    {WinLocalServiceSid, "LS", 5, 1, {19}, "NT AUTHORITY", "LOCAL SERVICE", SidTypeWellKnownGroup},
    {WinNetworkServiceSid, "NS", 5, 1, {20}, "NT AUTHORITY", "NETWORK SERVICE", SidTypeWellKnownGroup},
    {WinBuiltinDomainSid, "", 5, 1, {32}, "BUILTIN", "BUILTIN", SidTypeDomain},
    {WinBuiltinAdministratorsSid, "BA", 5, 2, {32, 544}, "BUILTIN", "Administrators", SidTypeAlias},
    {WinBuiltinUsersSid, "BU", 5, 2, {32, 545}, "BUILTIN", "Users", SidTypeAlias},
    {WinBuiltinGuestsSid, "BG", 5, 2, {32, 546}, "BUILTIN", "Guests", SidTypeAlias},
    {WinBuiltinPowerUsersSid, "PU", 5, 2, {32, 547}, "BUILTIN", "Power Users", SidTypeAlias},
    {WinBuiltinAccountOperatorsSid, "AO", 5, 2, {32, 548}, "BUILTIN", "Account Operators", SidTypeAlias},
    {WinBuiltinSystemOperatorsSid, "SO", 5, 2, {32, 549}, "BUILTIN", "Server Operators", SidTypeAlias},
    {WinBuiltinPrintOperatorsSid, "PO", 5, 2, {32, 550}, "BUILTIN", "Print Operators", SidTypeAlias},
    {WinBuiltinBackupOperatorsSid, "BO", 5, 2, {32, 551}, "BUILTIN", "Backup Operators", SidTypeAlias},
    {WinBuiltinReplicatorSid, "RE", 5, 2, {32, 552}, "BUILTIN", "Replicator", SidTypeAlias},
    {WinBuiltinPreWindows2000CompatibleAccessSid,
     "RU",
     5,
     2,
     {32, 554},
     "BUILTIN",
     "Pre-Windows 2000 Compatible Access",
     SidTypeAlias},
    {WinBuiltinRemoteDesktopUsersSid, "RD", 5, 2, {32, 555}, "BUILTIN", "Remote Desktop Users", SidTypeAlias},
    {WinBuiltinNetworkConfigurationOperatorsSid,
     "NO",
     5,
     2,
     {32, 556},
     "BUILTIN",
     "Network Configuration Operators",
     SidTypeAlias},
};

// The accounts of every machine's own domain.
constexpr struct {
  const char* alias;
  DWORD rid;
} kMachineAliases[] = {{"LA", 500}, {"LG", 501}};

SidBytes BytesOf(const WellKnownSid& known) {
  return known.count == 1 ? MakeSid(known.authority, {known.sub[0]})
                          : MakeSid(known.authority, {known.sub[0], known.sub[1]});
}

SidBytes MachineAccount(DWORD rid) {
  SidBytes sid = MachineSid();
  sid[1]++;
  const auto* bytes = reinterpret_cast<const BYTE*>(&rid);
  sid.insert(sid.end(), bytes, bytes + sizeof rid);
  return sid;
}

// A decimal or 0x number that fills `text`.
std::optional<uint64_t> Number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

SidBytes MakeSid(BYTE authority, std::initializer_list<DWORD> sub_authorities) {
  SidBytes sid(8 + 4 * sub_authorities.size());
  sid[0] = SID_REVISION;
  sid[1] = static_cast<BYTE>(sub_authorities.size());
  sid[7] = authority;
  std::memcpy(sid.data() + 8, sub_authorities.begin(), 4 * sub_authorities.size());
  return sid;
}

SidBytes SidOf(PSID sid) {
  const auto* bytes = static_cast<const BYTE*>(sid);
  return {bytes, bytes + GetLengthSid(sid)};
}

size_t SidLengthIn(std::span<const BYTE> bytes) {
  if (bytes.size() < 8 || bytes[0] != SID_REVISION || bytes[1] > SID_MAX_SUB_AUTHORITIES) return 0;
  const size_t length = 8 + size_t{4} * bytes[1];
  return length <= bytes.size() ? length : 0;
}

std::string SidText(PSID sid) {
  const BYTE* authority = static_cast<const SID*>(sid)->IdentifierAuthority.Value;
  uint64_t value = 0;
  for (int i = 0; i < 6; ++i) value = value << 8 | authority[i];
  char number[32];
  // Windows writes an authority of more than 32 bits in hexadecimal.
  std::snprintf(number, sizeof number, value >> 32 != 0 ? "S-1-0x%012llx" : "S-1-%llu",
                static_cast<unsigned long long>(value));
  std::string text = number;
  for (BYTE i = 0; i < *GetSidSubAuthorityCount(sid); ++i) {
    text += '-' + std::to_string(*GetSidSubAuthority(sid, i));
  }
  return text;
}

std::optional<SidBytes> SidFromText(std::string_view text) {
  if (text.size() < 4 || !text::EqualNoCase(text.substr(0, 4), "S-1-")) return std::nullopt;
  text.remove_prefix(4);
  std::vector<uint64_t> numbers;
  for (;;) {
    const size_t end = std::min(text.find('-'), text.size());
    const std::optional<uint64_t> number = Number(text.substr(0, end));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (end == text.size()) break;
    text.remove_prefix(end + 1);
  }
  if (numbers.size() < 2 || numbers.size() > 1 + SID_MAX_SUB_AUTHORITIES || numbers[0] >> 48 != 0) {
    return std::nullopt;
  }
  SidBytes sid(8 + 4 * (numbers.size() - 1));
  sid[0] = SID_REVISION;
  sid[1] = static_cast<BYTE>(numbers.size() - 1);
  for (int i = 0; i < 6; ++i) sid[2 + i] = static_cast<BYTE>(numbers[0] >> (40 - 8 * i));
  for (size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i] >> 32 != 0) return std::nullopt;
    const DWORD sub = static_cast<DWORD>(numbers[i]);
    std::memcpy(sid.data() + 4 + 4 * i, &sub, sizeof sub);
  }
  return sid;
}

std::string SidToSddl(PSID sid) {
  for (const WellKnownSid& known : kWellKnown) {
    if (*known.alias != '\0' && EqualSid(sid, AsPsid(BytesOf(known)))) return known.alias;
  }
  for (const auto& [alias, rid] : kMachineAliases) {
    if (EqualSid(sid, AsPsid(MachineAccount(rid)))) return alias;
  }
  return SidText(sid);
}

std::optional<SidBytes> SidFromSddl(std::string_view text) {
  if (text.size() != 2) return SidFromText(text);
  for (const WellKnownSid& known : kWellKnown) {
    if (text::EqualNoCase(text, known.alias)) return BytesOf(known);
  }
  for (const auto& [alias, rid] : kMachineAliases) {
    if (text::EqualNoCase(text, alias)) return MachineAccount(rid);
  }
  return std::nullopt;
}

std::span<const WellKnownSid> WellKnownSids() { return kWellKnown; }

const SidBytes& MachineSid() {
  static const SidBytes sid = [] {
    std::string identifier;
    std::ifstream("/etc/machine-id") >> identifier;
    if (identifier.empty()) {
      char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
      DWORD size = sizeof name;
      GetComputerNameA(name, &size);
      identifier = name;
    }
    std::array<DWORD, 3> parts{};
    uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (DWORD& part : parts) {
      for (const char c : identifier) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
      part = static_cast<DWORD>(hash >> 32);
    }
    return MakeSid(5, {SECURITY_NT_NON_UNIQUE, parts[0], parts[1], parts[2]});
  }();
  return sid;
}

}  // namespace embedded

using embedded::Fail;

namespace {}  // namespace

DWORD WINAPI GetSidLengthRequired(UCHAR count) { return 8 + 4 * DWORD{count}; }

DWORD WINAPI GetLengthSid(PSID sid) { return GetSidLengthRequired(*GetSidSubAuthorityCount(sid)); }

BOOL WINAPI IsValidSid(PSID sid) {
  const auto* header = static_cast<const SID*>(sid);
  return sid != nullptr && header->Revision == SID_REVISION &&
         header->SubAuthorityCount <= SID_MAX_SUB_AUTHORITIES;
}

PDWORD WINAPI GetSidSubAuthority(PSID sid, DWORD index) {
  return static_cast<SID*>(sid)->SubAuthority + index;
}
BYTE* WINAPI GetSidSubAuthorityCount(PSID sid) { return &static_cast<SID*>(sid)->SubAuthorityCount; }
BOOL WINAPI InitializeSid(PSID sid, PSID_IDENTIFIER_AUTHORITY authority, BYTE count) {
  if (count > SID_MAX_SUB_AUTHORITIES) return Fail(ERROR_INVALID_PARAMETER);
  auto* header = static_cast<SID*>(sid);
  header->Revision = SID_REVISION;
  header->SubAuthorityCount = count;
  header->IdentifierAuthority = *authority;
  return TRUE;
}

BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD sub0, DWORD sub1,
                                     DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5, DWORD sub6, DWORD sub7,
                                     PSID* sid) {
  const DWORD subs[] = {sub0, sub1, sub2, sub3, sub4, sub5, sub6, sub7};
  if (count > std::size(subs)) return Fail(ERROR_INVALID_SID);
  *sid = LocalAlloc(LPTR, GetSidLengthRequired(count));
  if (*sid == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  InitializeSid(*sid, authority, count);
  for (BYTE i = 0; i < count; ++i) *GetSidSubAuthority(*sid, i) = subs[i];
  return TRUE;
}

PVOID WINAPI FreeSid(PSID sid) { return LocalFree(sid); }

BOOL WINAPI CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, PSID, PSID sid, DWORD* size) {
  for (const embedded::WellKnownSid& known : embedded::WellKnownSids()) {
    if (known.type != type) continue;
    const embedded::SidBytes bytes = embedded::BytesOf(known);
    if (*size < bytes.size()) {
      *size = static_cast<DWORD>(bytes.size());
      return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (sid == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    *size = static_cast<DWORD>(bytes.size());
    return CopySid(*size, sid, embedded::AsPsid(bytes));
  }
  return Fail(ERROR_INVALID_PARAMETER);
}

BOOL WINAPI CopySid(DWORD size, PSID destination, PSID source) {
  const DWORD length = GetLengthSid(source);
  if (size < length) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memmove(destination, source, length);
  return TRUE;
}

BOOL WINAPI EqualSid(PSID a, PSID b) {
  if (!IsValidSid(a) || !IsValidSid(b)) return FALSE;
  return GetLengthSid(a) == GetLengthSid(b) && std::memcmp(a, b, GetLengthSid(a)) == 0;
}

BOOL WINAPI ConvertSidToStringSidA(PSID sid, LPSTR* text) {
  if (text == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (!IsValidSid(sid)) return Fail(ERROR_INVALID_SID);
  const std::string result = embedded::SidText(sid);
  *text = static_cast<LPSTR>(LocalAlloc(LMEM_FIXED, result.size() + 1));
  if (*text == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  std::memcpy(*text, result.c_str(), result.size() + 1);
  return TRUE;
}

BOOL WINAPI ConvertStringSidToSidA(LPCSTR text, PSID* sid) {
  if (text == nullptr || sid == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const std::optional<embedded::SidBytes> bytes = embedded::SidFromSddl(text);
  if (!bytes) return Fail(ERROR_INVALID_SID);
  *sid = LocalAlloc(LMEM_FIXED, bytes->size());
  if (*sid == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  std::memcpy(*sid, bytes->data(), bytes->size());
  return TRUE;
}
