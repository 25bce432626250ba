#include "store/privilege.h"

HeldPrivilege::HeldPrivilege(const char* name) {
  HANDLE token = nullptr;
  TOKEN_PRIVILEGES wanted = {};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    m_status = GetLastError();
    return;
  }
  m_token.reset(token);
  if (!LookupPrivilegeValueA(nullptr, name, &wanted.Privileges[0].Luid)) {
    m_status = GetLastError();
    return;
  }
  DWORD size = 0;
  GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
  if (size == 0) {
    m_status = ERROR_NOT_ENOUGH_MEMORY;
    return;
  }
  m_previous.resize(size);
  m_asked = true;
  if (!AdjustTokenPrivileges(token, FALSE, &wanted, size, Previous(), &size)) m_status = GetLastError();
}

HeldPrivilege::~HeldPrivilege() {
  if (m_asked) AdjustTokenPrivileges(m_token.get(), FALSE, Previous(), 0, nullptr, nullptr);
}
