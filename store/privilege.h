#pragma once

// A privilege of this process, for as long as an operation needs it.

#include <memory>
#include <type_traits>
#include <vector>

#include "platform/win32.h"

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

// Holds the privilege of this name (winnt.h) for its life and then puts the token's privileges back. They are
// those of the process, so all of its threads have them meanwhile.
class HeldPrivilege {
 public:
  explicit HeldPrivilege(const char* name);
  ~HeldPrivilege();
  HeldPrivilege(const HeldPrivilege&) = delete;
  HeldPrivilege& operator=(const HeldPrivilege&) = delete;

  // Whether the token could be opened and asked; if not, the operation can't be tried.
  bool Asked() const { return m_asked; }
  // 0, or what failed. A caller without the privilege goes on without it, with 0.
  DWORD Status() const { return m_status; }

 private:
  TOKEN_PRIVILEGES* Previous() { return reinterpret_cast<TOKEN_PRIVILEGES*>(m_previous.data()); }

  UniqueHandle m_token;
  std::vector<BYTE> m_previous;
  bool m_asked = false;
  DWORD m_status = ERROR_SUCCESS;
};
