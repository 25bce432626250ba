#pragma once

// What stands behind an HKEY, and the handles themselves. A handle's value names a slot and how often the
// slot was used, not an address: one that was closed, or never was, is told apart from every open one.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/embedded/answers.h"
#include "platform/embedded/store.h"

namespace embedded {

struct NewKey {
  std::string_view path;
  std::string_view class_name;
  REGSAM access;
  PSECURITY_DESCRIPTOR descriptor;
};

// A key of some registry. Names and paths are UTF-8 and paths do not begin with a backslash; the operations
// return 0 or a Windows error code, as the functions of Windows that they stand behind.
class Key {
 public:
  virtual ~Key() = default;
  virtual LONG Open(std::string_view path, REGSAM access, std::unique_ptr<Key>& result) = 0;
  virtual LONG Create(const NewKey& wanted, std::unique_ptr<Key>& result, DWORD* disposition) = 0;
  virtual LONG Delete(std::string_view path, REGSAM view) = 0;
  virtual LONG QueryInfo(const KeyOut& out) = 0;
  virtual LONG EnumKey(DWORD index, const SubkeyOut& out) = 0;
  virtual LONG EnumValue(DWORD index, const ValueOut& out) = 0;
  virtual LONG QueryValue(std::string_view name, const ValueOut& out) = 0;
  virtual LONG SetValue(std::string_view name, DWORD type, std::string_view data) = 0;
  virtual LONG DeleteValue(std::string_view name) = 0;
  virtual LONG Flush() = 0;
  virtual LONG Save(const char* file) = 0;
  virtual LONG Restore(const char* file, DWORD flags) = 0;
  virtual LONG GetSecurity(SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor, LPDWORD size) = 0;
  virtual LONG SetSecurity(SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) = 0;

  // The key of the store that this is, and 0 for any other; Lose makes it a deleted one.
  virtual KeyId StoreKey() const { return 0; }
  virtual void Lose() {}
};

// The key of a root of a computer; `path` is below the home ("srv1\\MACHINE").
LONG OpenRoot(std::string_view path, std::unique_ptr<Key>& result);

HKEY Publish(std::unique_ptr<Key> key);
// The key of a handle, the predefined ones of the local computer included; ERROR_INVALID_HANDLE for what is
// none.
LONG FindKey(HKEY handle, Key*& key);
LONG CloseHandleOf(HKEY handle);
bool IsPredefined(HKEY handle);
void ForgetPredefinedKeys();
void CloseAllKeys();
void ForEachOpenKey(const std::function<void(Key&)>& use);

}  // namespace embedded
