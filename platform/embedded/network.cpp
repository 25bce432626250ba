#include "platform/embedded/win32/network.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/embedded/accounts.h"
#include "platform/embedded/codepage.h"
#include "platform/embedded/computers.h"
#include "platform/embedded/win32/system.h"

// The groups of embedded computers, which all know this machine's. No computer is in a domain.

namespace {

// One page of names as LOCALGROUP_INFO_0 or GROUP_INFO_0, which are both a pointer to a text: the pointers
// first, the texts behind them, all in one buffer of at most `preferred` bytes. `resume` is the number of
// names that earlier pages gave.
NET_API_STATUS GivePage(std::span<const std::string> names, LPBYTE* buffer, DWORD preferred, LPDWORD read,
                        LPDWORD total, DWORD_PTR* resume) {
  *buffer = nullptr;
  *read = 0;
  const size_t start = resume == nullptr ? 0 : std::min<size_t>(*resume, names.size());
  names = names.subspan(start);
  *total = static_cast<DWORD>(names.size());
  std::vector<std::u16string> texts;
  size_t size = 0;
  for (const std::string& name : names) {
    std::u16string text = embedded::Utf8ToUtf16(name);
    const size_t more = sizeof(LPWSTR) + (text.size() + 1) * sizeof(WCHAR);
    if (size + more > preferred) break;
    size += more;
    texts.push_back(std::move(text));
  }
  if (texts.empty() && !names.empty()) return NERR_BufTooSmall;
  if (texts.empty()) return NERR_Success;
  if (NetApiBufferAllocate(static_cast<DWORD>(size), reinterpret_cast<LPVOID*>(buffer)) != NERR_Success) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  auto* pointers = reinterpret_cast<LPWSTR*>(*buffer);
  auto* place = reinterpret_cast<WCHAR*>(pointers + texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    pointers[i] = place;
    place = std::copy_n(texts[i].c_str(), texts[i].size() + 1, place);
  }
  *read = static_cast<DWORD>(texts.size());
  const bool more = texts.size() < names.size();
  if (resume != nullptr) *resume = more ? start + texts.size() : 0;
  return more ? ERROR_MORE_DATA : NERR_Success;
}

NET_API_STATUS CheckQuery(LPCWSTR server, DWORD level) {
  if (!embedded::ComputerNamed(server == nullptr ? "" : embedded::Utf16ToUtf8(server)))
    return ERROR_BAD_NETPATH;
  return level == 0 ? NERR_Success : ERROR_INVALID_LEVEL;
}

}  // namespace

NET_API_STATUS NetApiBufferAllocate(DWORD bytes, LPVOID* buffer) {
  *buffer = LocalAlloc(LMEM_FIXED, bytes);
  return *buffer == nullptr ? ERROR_NOT_ENOUGH_MEMORY : NERR_Success;
}

NET_API_STATUS NetApiBufferFree(LPVOID buffer) {
  LocalFree(buffer);
  return NERR_Success;
}

NET_API_STATUS NetGetAnyDCName(LPCWSTR, LPCWSTR, LPBYTE* name) {
  *name = nullptr;
  return ERROR_NO_SUCH_DOMAIN;
}

NET_API_STATUS NetLocalGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferred, LPDWORD read,
                                 LPDWORD total, DWORD_PTR* resume) {
  const NET_API_STATUS status = CheckQuery(server, level);
  if (status != NERR_Success) return status;
  return GivePage(embedded::LocalGroups(), buffer, preferred, read, total, resume);
}

NET_API_STATUS NetGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferred, LPDWORD read,
                            LPDWORD total, DWORD_PTR* resume) {
  // The one global group of a computer outside a domain.
  static const std::string names[] = {"None"};
  const NET_API_STATUS status = CheckQuery(server, level);
  if (status != NERR_Success) return status;
  return GivePage(names, buffer, preferred, read, total, resume);
}
