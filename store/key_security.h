#pragma once

// The discretionary access list of a key and its subtree: saved, replaced, and opened up to everyone. The
// library exports the first three under these names.

#include "platform/text.h"
#include "platform/win32.h"
#include "store/error_text.h"

namespace key_security {

// A self-relative security descriptor with the access list of `path` under HKEY_LOCAL_MACHINE of the local
// computer, or null if the key cannot be opened or holds none. The caller releases it with LocalFree.
void* GetKeySecurity(const char* path);

// Installs the access list of `securityDescriptor` on the key and all keys below it, a parent before its
// children. `access` is the mask of the caller's open key, of which the view bit counts. The status tells of
// the key itself: failures below are passed over, and a process token that cannot be opened or asked gives 0
// with nothing done. A path without a backslash gives ERROR_INVALID_PARAMETER.
DWORD SetKeySecurity(HKEY root, const char* path, DWORD access, void* securityDescriptor);

// Grants KEY_ALL_ACCESS to Local System and World, and nothing to others, on the key and all keys below it.
// The status of SetKeySecurity, or 0 if the list could not be built.
DWORD ClearKeySecurity(HKEY root, const char* path, DWORD access);

// One key of the walk: `name` under `parent`, opened with `mask`. With `topDown` the key gets its list before
// its children do, so that the new list decides whether they can be reached; without, after them.
DWORD ApplyKeySecurity(HKEY parent, const char* name, void* securityDescriptor, bool topDown, DWORD mask);

// Opens a key and all below it to everyone for the life of the object, and then puts its list back. The list
// stands recorded in the registry meanwhile, for a process that dies before it has put it back. Where another
// process has the key open, that one closes it, also while this object lives.
class OpenedUp {
 public:
  OpenedUp(HKEY root, const CString& path, DWORD access);
  ~OpenedUp();
  OpenedUp(const OpenedUp&) = delete;
  OpenedUp& operator=(const OpenedUp&) = delete;

 private:
  HKEY m_root;
  CString m_path;
  DWORD m_access;
  HANDLE m_mutex;
  bool m_isMine;              // no other process has keys open
  LocalMemory<void> m_saved;  // null where there is nothing to put back
};

// Puts the lists back that a process has left open which is no more. Nothing while one is at work.
void PutBackOpened(HKEY root);

}  // namespace key_security
