#pragma once

// One open key of a local or remote registry, and the removal of subtrees. Results are Windows error codes,
// 0 for success, unless an operation says otherwise; nothing here shows a message or throws.

#include <cstddef>
#include <memory>
#include <string_view>
#include <type_traits>

#include "platform/text.h"
#include "platform/win32.h"

// Bytes of the buffer that a value is read into where a page names no other size.
inline constexpr DWORD kValueBufferSize = 260;

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
// An open key that closes itself.
using UniqueKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

// Opens `path` under `parent` with the rights of `access`, view bit included. On failure `key` is null.
DWORD OpenUniqueKey(HKEY parent, const char* path, DWORD access, UniqueKey& key);

// One value as an enumeration gives it.
struct RegistryValue {
  CString name;  // empty for the key's default value
  DWORD type = REG_NONE;
  CString data;  // the bytes as they are stored, without an added terminator

  // The data as text: up to the first zero byte.
  CString Text() const { return CString(text::UpToZero(data)); }
};

// Reaches one key: connects to the computer, opens the key with the widest access that the caller can get,
// and reads and writes its values. The object owns the open key, and only that.
class CTesselRegObject {
 public:
  CTesselRegObject() = default;
  explicit CTesselRegObject(const char* keyPath) : m_keyPath(keyPath ? keyPath : "") {}
  explicit CTesselRegObject(HKEY hive) : m_hive(hive) {}
  CTesselRegObject(HKEY hive, HKEY key) : m_hive(hive), m_key(key) {}
  CTesselRegObject(const CTesselRegObject&) = delete;
  CTesselRegObject& operator=(const CTesselRegObject&) = delete;
  // Closes the key. The hive stays open, since keys outlive their connection, and a service that OpenKey
  // started keeps running: only CloseKey stops it.
  ~CTesselRegObject();

  // Connects to `computer` (null or empty: the local one), starting its RemoteRegistry service if the
  // connection fails, and opens `path` under `hive`. A key that is missing in the native view is sought in
  // the other one; a caller without full access gets KEY_READ and status 0, and its writes fail.
  DWORD OpenKey(const char* computer, HKEY hive, const char* path);
  // Closes the key, and stops the RemoteRegistry service if this object started it.
  void CloseKey();
  // Opens `path` under the hive with full access, making what is missing. Nonzero on success.
  int CreateKey(const char* path);
  // Nonzero if `path`, relative to the open key or else to the hive, can be opened with the access of the
  // open key. The status is left in SetLastError. Without key and hive: 1, and last error 0.
  int KeyExists(const char* path) const;

  HKEY GetKey() const { return m_key; }
  HKEY GetRoot() const { return m_hive; }
  CString* GetKeyPath(CString* out) const;
  const CString& GetKeyPath() const { return m_keyPath; }
  // The access mask with which the key was opened at last, view bit included.
  DWORD GetAccess() const { return m_access; }

  // Tells the machine that the key, or the subkey `below`, is read, as all that reads here does.
  void NoteRead(std::string_view below = {}) const;

  // Size of a value's data in bytes; 0 if there is no key or no such value, or on any error.
  DWORD GetValueSize(const char* name) const;
  // Reads the data, whatever its type (`type` may be null), with a zero behind it. A missing or empty value
  // reads as the empty text with status 0; data of `size` bytes or more give 234 (ERROR_MORE_DATA). Wherever
  // nothing is read, the buffer is all zero.
  DWORD GetStringValue(const char* name, BYTE* buffer, DWORD size, DWORD* type = nullptr) const;
  // The same, with `*size` in and out: the bytes read, 0 for a missing value, the size of the data on 234.
  DWORD GetStringValueEx(const char* name, BYTE* buffer, DWORD* size, DWORD* type = nullptr) const;
  // The value as text of any length, up to the first zero byte; empty if it cannot be read.
  CString GetStringValue(const char* name) const;
  // Every byte of the value; empty if it cannot be read.
  CString GetBinaryValue(const char* name) const;
  // A missing value gives 0 and status 0; data of more than four bytes give 234 and 0.
  DWORD GetDWORDValue(DWORD* out, const char* name) const;

  // Writes return 0xFFFFFFFF without a key. A null `name` is the key's default value. What is stored is
  // exactly the bytes given: texts are kept without their terminating zero.
  DWORD SetStringValue(const char* name, const char* text, DWORD type = REG_SZ);
  DWORD SetStringValue(const char* name, const CString& text, DWORD type = REG_SZ) {
    return SetStringValue(name, text.c_str(), type);
  }
  DWORD SetBinaryValue(const char* name, const BYTE* data, DWORD size, DWORD type);
  DWORD SetBinaryValue(const char* name, std::string_view data, DWORD type);
  DWORD SetDWORDValue(DWORD value, const char* name);
  void DeleteValue(const char* name);

  // Names of all subkeys, the last one enumerated first; empty without a key.
  CStringList GetSubKeys() const;
  // RegEnumValueA: the caller sets `*nameSize` and `*dataSize` to the buffers' sizes before each call.
  DWORD EnumValue(DWORD index, char* name, DWORD* nameSize, DWORD* type, BYTE* data, DWORD* dataSize) const;
  // The same through buffers of 260 bytes each: 234 for a value that does not fit, ERROR_NO_MORE_ITEMS
  // behind the last one. `out` is left alone on failure.
  DWORD EnumValue(DWORD index, RegistryValue& out) const;

  // The key as a hive file, replacing the file, and back, forced over subkeys that are open.
  DWORD SaveKey(const char* file) const;
  DWORD RestoreKey(const char* file);

  // Deletes a subkey with all below it. Nonzero on success.
  int DeleteKey(const char* name);
  // Gives the open key another name beside itself and opens it there. Nonzero on success. A name that is
  // empty, holds a backslash or is taken is refused, and then nothing has changed.
  int RenameKey(const char* newName);
  // Copies values and subkeys into `destinationPath`, which is made if missing. A destination that cannot
  // be made gives 0; values of more than 2048 bytes are passed over.
  static DWORD CopyKeyTree(HKEY source, const char* sourcePath, HKEY destination, const char* destinationPath,
                           DWORD access);
  // CopyKeyTree, then the source is deleted. The status is the first that failed.
  static DWORD MoveKeyTree(HKEY source, const char* sourcePath, HKEY destination, const char* destinationPath,
                           DWORD access);

 private:
  DWORD OpenWith(DWORD access);
  DWORD StartRemoteRegistry(const char* computer, HKEY hive, HKEY* out);
  void StopRemoteRegistry();

  HKEY m_hive = nullptr;
  HKEY m_key = nullptr;
  CString m_computer;
  CString m_keyPath;
  int m_startedRemoteRegistry = 0;
  DWORD m_access = KEY_ALL_ACCESS;
};

// Deletes `name` under `parent` with all below it; `access` is what keys are opened with, and its view bit
// says where. Failures below are passed over: the result is that of deleting `name` itself, which fails if a
// child remained.
DWORD DeleteRegistryKeyA(HKEY parent, const char* name, DWORD access);
// One level of the same, which the deletion runs for each child.
DWORD DeleteSubRegistryKeyA(HKEY parent, char* name, DWORD access);
