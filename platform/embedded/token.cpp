#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

#include "platform/embedded/access.h"
#include "platform/embedded/accounts.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

// The one token of the process: its privileges, and the caller as its user and groups.

namespace embedded {
namespace {

struct Privilege {
  DWORD luid;  // The fixed values of Windows.
  const char* name;
  bool enabled_at_start = false;
  bool of_every_user = false;
};

// What an elevated administrator's token holds, in the order of its listing.
constexpr Privilege kPrivileges[] = {
    {5, "SeIncreaseQuotaPrivilege"},
    {8, SE_SECURITY_NAME},
    {9, SE_TAKE_OWNERSHIP_NAME},
    {10, "SeLoadDriverPrivilege"},
    {11, "SeSystemProfilePrivilege"},
    {12, "SeSystemtimePrivilege"},
    {13, "SeProfileSingleProcessPrivilege"},
    {14, "SeIncreaseBasePriorityPrivilege"},
    {15, "SeCreatePagefilePrivilege"},
    {17, SE_BACKUP_NAME},
    {18, SE_RESTORE_NAME},
    {19, "SeShutdownPrivilege", false, true},
    {20, "SeDebugPrivilege"},
    {22, "SeSystemEnvironmentPrivilege"},
    {23, "SeChangeNotifyPrivilege", true, true},
    {24, "SeRemoteShutdownPrivilege"},
    {25, "SeUndockPrivilege", false, true},
    {28, "SeManageVolumePrivilege"},
    {29, "SeImpersonatePrivilege", true},
    {30, "SeCreateGlobalPrivilege", true},
    {33, "SeIncreaseWorkingSetPrivilege", false, true},
    {34, "SeTimeZonePrivilege", false, true},
    {35, "SeCreateSymbolicLinkPrivilege"},
};
constexpr size_t kPrivilegeCount = std::size(kPrivileges);

bool Holds(size_t index) {
  const machine::Caller& caller = machine::GetCaller();
  const SidBytes administrators = MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS});
  return kPrivileges[index].of_every_user || caller.AllPowerful() ||
         std::ranges::count(caller.sids, administrators) != 0;
}

struct Token {
  std::mutex lock;
  std::array<bool, kPrivilegeCount> enabled;

  Token() {
    for (size_t i = 0; i < kPrivilegeCount; ++i) enabled[i] = kPrivileges[i].enabled_at_start;
  }
  DWORD Attributes(size_t index) const {
    const DWORD by_default = kPrivileges[index].enabled_at_start ? SE_PRIVILEGE_ENABLED_BY_DEFAULT : 0;
    return enabled[index] ? by_default | SE_PRIVILEGE_ENABLED : by_default;
  }
};

Token& TheToken() {
  static Token& token = *new Token;
  return token;
}

struct TokenHandle : Object {
  explicit TokenHandle(DWORD mask) : access(mask) {}
  DWORD access;
};

size_t IndexOf(LUID luid) {
  for (size_t i = 0; i < kPrivilegeCount; ++i) {
    if (luid.HighPart == 0 && kPrivileges[i].luid == luid.LowPart) return i;
  }
  return kPrivilegeCount;
}

size_t PrivilegesSize(size_t count) {
  return offsetof(TOKEN_PRIVILEGES, Privileges) + count * sizeof(LUID_AND_ATTRIBUTES);
}

void PutPrivileges(TOKEN_PRIVILEGES* to, const std::vector<LUID_AND_ATTRIBUTES>& entries) {
  to->PrivilegeCount = static_cast<DWORD>(entries.size());
  BYTE* place = reinterpret_cast<BYTE*>(to) + PrivilegesSize(0);
  if (!entries.empty()) std::memcpy(place, entries.data(), entries.size() * sizeof entries[0]);
}

LUID_AND_ATTRIBUTES Described(const Token& token, size_t index) {
  return {.Luid = {.LowPart = kPrivileges[index].luid, .HighPart = 0}, .Attributes = token.Attributes(index)};
}

// The state that each privilege of the token is asked to take.
std::array<bool, kPrivilegeCount> Wanted(const Token& token, BOOL disable_all, const TOKEN_PRIVILEGES* wanted,
                                         bool& all_held) {
  std::array<bool, kPrivilegeCount> result = token.enabled;
  if (disable_all != FALSE) {
    result.fill(false);
    return result;
  }
  for (DWORD i = 0; i < wanted->PrivilegeCount; ++i) {
    LUID_AND_ATTRIBUTES entry;
    std::memcpy(&entry, wanted->Privileges + i, sizeof entry);
    const size_t index = IndexOf(entry.Luid);
    if (index == kPrivilegeCount || !Holds(index)) {
      all_held = false;
    } else {
      result[index] = (entry.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
  }
  return result;
}

// A structure of `fixed` bytes with the SIDs behind it, each placed by `put(index, address, is_group)`.
BOOL GiveSids(const std::vector<SidBytes>& sids, size_t fixed, LPVOID information, DWORD size, PDWORD needed,
              void (*put)(LPVOID, size_t, PSID)) {
  size_t total = fixed;
  for (const SidBytes& sid : sids) total += sid.size();
  *needed = static_cast<DWORD>(total);
  if (size < total) return Fail(ERROR_INSUFFICIENT_BUFFER);
  size_t offset = fixed;
  for (size_t i = 0; i < sids.size(); ++i) {
    BYTE* place = static_cast<BYTE*>(information) + offset;
    std::memcpy(place, sids[i].data(), sids[i].size());
    put(information, i, place);
    offset += sids[i].size();
  }
  return TRUE;
}

// An all-powerful caller shows itself as this user in the groups of an administrator.
std::vector<SidBytes> ShownSids() {
  if (!machine::GetCaller().AllPowerful()) return machine::GetCaller().sids;
  return {UserSid(geteuid()), MakeSid(1, {SECURITY_WORLD_RID}), MakeSid(5, {32, DOMAIN_ALIAS_RID_ADMINS}),
          MakeSid(5, {32, DOMAIN_ALIAS_RID_USERS}), MakeSid(5, {SECURITY_AUTHENTICATED_USER_RID})};
}

}  // namespace

bool PrivilegeEnabled(std::string_view name) {
  const std::scoped_lock guard(TheToken().lock);
  for (size_t i = 0; i < kPrivilegeCount; ++i) {
    if (name == kPrivileges[i].name) return Holds(i) && TheToken().enabled[i];
  }
  return false;
}

}  // namespace embedded

using namespace embedded;

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token) {
  if (process != GetCurrentProcess()) return Fail(ERROR_INVALID_HANDLE);
  *token = OpenHandle(std::make_shared<TokenHandle>(access));
  return TRUE;
}

BOOL WINAPI LookupPrivilegeValueA(LPCSTR, LPCSTR name, PLUID luid) {
  for (const Privilege& privilege : kPrivileges) {
    if (name == nullptr || !text::EqualNoCase(name, privilege.name)) continue;
    *luid = {.LowPart = privilege.luid, .HighPart = 0};
    return TRUE;
  }
  return Fail(ERROR_NO_SUCH_PRIVILEGE);
}

BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID information, DWORD size,
                                PDWORD needed) {
  const auto handle = Find<TokenHandle>(token);
  if (!handle) return FALSE;
  if ((handle->access & TOKEN_QUERY) == 0) return Fail(ERROR_ACCESS_DENIED);
  if (needed == nullptr) return Fail(ERROR_NOACCESS);
  if (information == nullptr) size = 0;
  const std::scoped_lock guard(TheToken().lock);
  const std::vector<SidBytes> sids = ShownSids();
  switch (kind) {
    case TokenUser: {
      const std::vector<SidBytes> user(sids.begin(), sids.begin() + 1);
      return GiveSids(user, sizeof(TOKEN_USER), information, size, needed, [](LPVOID to, size_t, PSID sid) {
        static_cast<TOKEN_USER*>(to)->User = {.Sid = sid, .Attributes = 0};
      });
    }
    case TokenGroups: {
      const std::vector<SidBytes> groups(sids.begin() + 1, sids.end());
      const size_t fixed = offsetof(TOKEN_GROUPS, Groups) + groups.size() * sizeof(SID_AND_ATTRIBUTES);
      if (!GiveSids(groups, fixed, information, size, needed, [](LPVOID to, size_t index, PSID sid) {
            static_cast<TOKEN_GROUPS*>(to)->Groups[index] = {
                .Sid = sid,
                .Attributes = SE_GROUP_MANDATORY | SE_GROUP_ENABLED_BY_DEFAULT | SE_GROUP_ENABLED};
          })) {
        return FALSE;
      }
      static_cast<TOKEN_GROUPS*>(information)->GroupCount = static_cast<DWORD>(groups.size());
      return TRUE;
    }
    case TokenPrivileges: {
      std::vector<LUID_AND_ATTRIBUTES> held;
      for (size_t i = 0; i < kPrivilegeCount; ++i) {
        if (Holds(i)) held.push_back(Described(TheToken(), i));
      }
      *needed = static_cast<DWORD>(PrivilegesSize(held.size()));
      if (size < *needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
      PutPrivileges(static_cast<TOKEN_PRIVILEGES*>(information), held);
      return TRUE;
    }
  }
  return Fail(ERROR_INVALID_PARAMETER);
}

BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL disable_all, PTOKEN_PRIVILEGES wanted, DWORD size,
                                  PTOKEN_PRIVILEGES previous, PDWORD needed) {
  const auto handle = Find<TokenHandle>(token);
  if (!handle) return FALSE;
  if ((handle->access & TOKEN_ADJUST_PRIVILEGES) == 0) return Fail(ERROR_ACCESS_DENIED);
  if (previous != nullptr && (handle->access & TOKEN_QUERY) == 0) return Fail(ERROR_ACCESS_DENIED);
  if (disable_all == FALSE && wanted == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (previous != nullptr && needed == nullptr) return Fail(ERROR_NOACCESS);
  Token& state = TheToken();
  const std::scoped_lock guard(state.lock);
  bool all_held = true;
  const std::array<bool, kPrivilegeCount> target = Wanted(state, disable_all, wanted, all_held);
  // The previous state names only what changes, so that putting it back undoes exactly this call.
  std::vector<LUID_AND_ATTRIBUTES> changed;
  for (size_t i = 0; i < kPrivilegeCount; ++i) {
    if (Holds(i) && target[i] != state.enabled[i]) changed.push_back(Described(state, i));
  }
  if (previous != nullptr) {
    *needed = static_cast<DWORD>(PrivilegesSize(changed.size()));
    if (size < *needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
    PutPrivileges(previous, changed);
  }
  state.enabled = target;
  SetLastError(all_held ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
  return TRUE;
}
