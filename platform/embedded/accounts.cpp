#include "platform/embedded/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "platform/embedded/codepage.h"
#include "platform/embedded/computers.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

constexpr DWORD kFirstRid = 1000;

SidBytes MachineAccountSid(uint64_t rid) {
  SidBytes sid = MachineSid();
  sid[1]++;
  const auto value = static_cast<DWORD>(rid);
  const auto* bytes = reinterpret_cast<const BYTE*>(&value);
  sid.insert(sid.end(), bytes, bytes + sizeof value);
  return sid;
}

std::string ComputerName() {
  char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
  DWORD size = sizeof name;
  GetComputerNameA(name, &size);
  return name;
}

// The group of those who administer the server, which its setup makes on Windows.
Account AdministratorsOfServer() {
  constexpr DWORD kRid = 999;  // below those of this machine's users and groups
  return {
      .sid = MachineAccountSid(kRid), .domain = ComputerName(), .name = "Tessel Admins", .use = SidTypeAlias};
}

Account WellKnownAccount(const WellKnownSid& known) {
  return {.sid = known.count == 1 ? MakeSid(known.authority, {known.sub[0]})
                                  : MakeSid(known.authority, {known.sub[0], known.sub[1]}),
          .domain = known.domain,
          .name = known.name,
          .use = known.use};
}

Account UserAccount(const passwd& user) {
  return {.sid = UserSid(user.pw_uid), .domain = ComputerName(), .name = user.pw_name, .use = SidTypeUser};
}

Account GroupAccount(const group& group) {
  return {
      .sid = GroupSid(group.gr_gid), .domain = ComputerName(), .name = group.gr_name, .use = SidTypeAlias};
}

// getpwent and getgrent share one position in the whole process.
std::mutex& DatabaseLock() {
  static std::mutex& lock = *new std::mutex;
  return lock;
}

// The first user, else group, that `matches`.
template <typename UserMatches, typename GroupMatches>
std::optional<Account> MachineAccount(UserMatches user_matches, GroupMatches group_matches) {
  const std::scoped_lock guard(DatabaseLock());
  std::optional<Account> found;
  setpwent();
  while (const passwd* user = getpwent()) {
    if (user_matches(*user)) {
      found = UserAccount(*user);
      break;
    }
  }
  endpwent();
  if (found) return found;
  setgrent();
  while (const group* group = getgrent()) {
    if (group_matches(*group)) {
      found = GroupAccount(*group);
      break;
    }
  }
  endgrent();
  return found;
}

// Whether `wanted` (empty: any) is the account's domain.
bool InDomain(std::string_view wanted, std::string_view domain) {
  return wanted.empty() || text::EqualNoCase(wanted, domain) || (wanted == "." && domain == ComputerName());
}

}  // namespace

SidBytes UserSid(uid_t uid) { return MachineAccountSid(kFirstRid + uint64_t{uid} * 2); }
SidBytes GroupSid(gid_t gid) { return MachineAccountSid(kFirstRid + uint64_t{gid} * 2 + 1); }

std::optional<Account> AccountByName(std::string_view name) {
  const size_t slash = name.find('\\');
  const std::string_view domain = slash == std::string_view::npos ? "" : name.substr(0, slash);
  if (slash != std::string_view::npos) name.remove_prefix(slash + 1);
  if (name.empty()) return std::nullopt;
  for (const WellKnownSid& known : WellKnownSids()) {
    if (text::EqualNoCase(name, known.name) && InDomain(domain, known.domain)) return WellKnownAccount(known);
  }
  const std::string computer = ComputerName();
  if (!InDomain(domain, computer)) return std::nullopt;
  if (text::EqualNoCase(name, computer)) {
    return Account{.sid = MachineSid(), .domain = computer, .name = "", .use = SidTypeDomain};
  }
  if (Account group = AdministratorsOfServer(); text::EqualNoCase(name, group.name)) return group;
  return MachineAccount([&](const passwd& user) { return text::EqualNoCase(name, user.pw_name); },
                        [&](const group& group) { return text::EqualNoCase(name, group.gr_name); });
}

std::optional<Account> AccountBySid(PSID sid) {
  const SidBytes wanted = SidOf(sid);
  for (const WellKnownSid& known : WellKnownSids()) {
    Account account = WellKnownAccount(known);
    if (account.sid == wanted) return account;
  }
  if (wanted == MachineSid()) {
    return Account{.sid = wanted, .domain = ComputerName(), .name = "", .use = SidTypeDomain};
  }
  if (Account group = AdministratorsOfServer(); group.sid == wanted) return group;
  return MachineAccount([&](const passwd& user) { return UserSid(user.pw_uid) == wanted; },
                        [&](const group& group) { return GroupSid(group.gr_gid) == wanted; });
}

std::vector<std::string> LocalGroups() {
  std::vector<std::string> names;
  for (const WellKnownSid& known : WellKnownSids()) {
    if (known.use == SidTypeAlias) names.emplace_back(known.name);
  }
  names.push_back(AdministratorsOfServer().name);
  const std::scoped_lock guard(DatabaseLock());
  setgrent();
  while (const group* group = getgrent()) names.emplace_back(group->gr_name);
  endgrent();
  return names;
}

}  // namespace embedded

namespace {

using namespace embedded;

// Whether the buffer takes `text` with its terminator; *size becomes what is needed, or the length written.
template <typename Char>
bool Fits(const std::basic_string<Char>& text, const Char* buffer, LPDWORD size) {
  if (buffer != nullptr && *size > text.size()) return true;
  *size = static_cast<DWORD>(text.size() + 1);
  return false;
}

template <typename Char>
void Give(const std::basic_string<Char>& text, Char* buffer, LPDWORD size) {
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  *size = static_cast<DWORD>(text.size());
}

template <typename Char>
BOOL GiveAccount(const Account& account, const std::basic_string<Char>& domain, PSID sid, LPDWORD sid_size,
                 Char* domain_buffer, LPDWORD domain_size, PSID_NAME_USE use) {
  const auto length = static_cast<DWORD>(account.sid.size());
  const bool sid_fits = sid != nullptr && *sid_size >= length;
  const DWORD domain_room = *domain_size;
  if (!sid_fits || !Fits(domain, domain_buffer, domain_size)) {
    *sid_size = length;
    *domain_size = static_cast<DWORD>(domain.size() + 1);
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  *domain_size = domain_room;
  *sid_size = length;
  CopySid(length, sid, AsPsid(account.sid));
  Give(domain, domain_buffer, domain_size);
  *use = account.use;
  return TRUE;
}

// Every embedded computer of this home knows the same accounts.
bool KnownSystem(std::string_view system) {
  return ComputerNamed(system).has_value() || Fail(RPC_S_SERVER_UNAVAILABLE);
}

}  // namespace

BOOL WINAPI LookupAccountNameA(LPCSTR system, LPCSTR account, PSID sid, LPDWORD sid_size, LPSTR domain,
                               LPDWORD domain_size, PSID_NAME_USE use) {
  if (!KnownSystem(system == nullptr ? "" : AcpToUtf8(system))) return FALSE;
  const auto found = AccountByName(account == nullptr ? "" : AcpToUtf8(account));
  if (!found) return Fail(ERROR_NONE_MAPPED);
  return GiveAccount(*found, Utf8ToAcp(found->domain), sid, sid_size, domain, domain_size, use);
}

BOOL WINAPI LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, LPDWORD sid_size, LPWSTR domain,
                               LPDWORD domain_size, PSID_NAME_USE use) {
  if (!KnownSystem(system == nullptr ? "" : Utf16ToUtf8(system))) return FALSE;
  const auto found = AccountByName(account == nullptr ? "" : Utf16ToUtf8(account));
  if (!found) return Fail(ERROR_NONE_MAPPED);
  return GiveAccount(*found, Utf8ToUtf16(found->domain), sid, sid_size, domain, domain_size, use);
}

BOOL WINAPI LookupAccountSidA(LPCSTR system, PSID sid, LPSTR name, LPDWORD name_size, LPSTR domain,
                              LPDWORD domain_size, PSID_NAME_USE use) {
  if (!IsValidSid(sid)) return Fail(ERROR_INVALID_SID);
  if (!KnownSystem(system == nullptr ? "" : AcpToUtf8(system))) return FALSE;
  const auto found = AccountBySid(sid);
  if (!found) return Fail(ERROR_NONE_MAPPED);
  const std::string name_text = Utf8ToAcp(found->name);
  const std::string domain_text = Utf8ToAcp(found->domain);
  const bool name_fits = Fits(name_text, name, name_size);
  const bool domain_fits = Fits(domain_text, domain, domain_size);
  if (!name_fits || !domain_fits) {
    *name_size = static_cast<DWORD>(name_text.size() + 1);
    *domain_size = static_cast<DWORD>(domain_text.size() + 1);
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  Give(name_text, name, name_size);
  Give(domain_text, domain, domain_size);
  *use = found->use;
  return TRUE;
}
