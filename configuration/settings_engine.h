#pragma once

// What export, import and comparison of settings share: the one who runs them, registry keys by the name of
// their hive, and the tokens that make a file fit for another machine.

#include <functional>
#include <span>
#include <string_view>

#include "platform/text.h"
#include "platform/win32.h"
#include "store/registry_object.h"

// What a person wants of a walk that lets the user interface through: Esc cuts one key short, and the walk
// goes on behind it; at the end it writes nothing more.
enum class Turn : unsigned char { GoOn, Esc, End };

// The engine's way to the person in front of it. What is missing is not done; a missing `ask` is a No.
struct EngineCallbacks {
  // A question with Yes and No buttons; true for Yes.
  std::function<bool(const CString& question)> ask;
  // A message with an OK button, shown under the arrow cursor.
  std::function<void(const CString& message)> tell;
  // Lets one waiting event of the user interface through. Called for every 50th key of an export with the
  // number of keys visited so far, which goes on from export to export.
  std::function<Turn(int keysVisited)> turn;
  // Hears how far an import has come: called for every 50th key with their number. False ends the import, of
  // which the caller then takes back what was done.
  std::function<bool(int keysRead)> progress = {};
  // Hears of each key that an export can't read, or not in full, with the Windows error.
  std::function<void(const CString& key, LSTATUS status)> unreadable = {};

  bool Ask(const CString& question) const { return ask && ask(question); }
  void Tell(const CString& message) const {
    if (tell) tell(message);
  }
};

// The registry name of a key's default value in a settings file, and its text when it is not set.
inline constexpr std::string_view kDefaultName = "(Default)";
inline constexpr std::string_view kValueNotSet = "(value not set)";

inline bool IsDefaultName(std::string_view name) { return text::EqualNoCase(name, kDefaultName); }
inline bool IsPadName(std::string_view name) { return text::EqualNoCase(name, "PAD"); }

// Windows keeps no key deeper below its hive.
inline constexpr size_t kDeepestKey = 512;

// The predefined key of a hive's name, without case; null for a name that is none.
HKEY HiveNamed(std::string_view hive);
// Opens `path` below the hive of that name on the local computer; an empty path is the hive itself. 0 or a
// Windows error: ERROR_BADKEY for an unknown hive.
LSTATUS OpenHivePath(std::string_view hive, const CString& path, UniqueKey& key);

// How much a key holds, and how long its longest name and data are.
struct KeyInfo {
  DWORD subkeys = 0;
  DWORD longestSubkey = 0;
  DWORD values = 0;
  DWORD longestValueName = 0;
  DWORD longestData = 0;
};
LSTATUS QueryKeyInfo(HKEY key, KeyInfo& info);
inline bool QueryKey(HKEY key, KeyInfo& info) { return QueryKeyInfo(key, info) == ERROR_SUCCESS; }
// The key's values in the registry's order, with the name as it is there. What can't be read is passed over;
// the result is why, for the first of it.
LSTATUS ForEachValue(
    HKEY key, const KeyInfo& info,
    const std::function<void(std::string_view name, DWORD type, std::span<const BYTE> data)>& visit);
// The key's subkeys that can be opened, in the registry's order; `failed` gets the others. The result is why
// there are fewer than the key counts.
LSTATUS ForEachSubkey(HKEY key, const KeyInfo& info,
                      const std::function<void(const CString& name, HKEY subkey)>& visit,
                      const std::function<void(const CString& name, LSTATUS status)>& failed = {});

// The keys that a settings file holds, in its order.
inline constexpr const char* kExportedKeys[] = {
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\TesselWorks\\SSHD",
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\TesselWorks\\SFTP",
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\TesselWorks\\SCP",
};
inline constexpr const char* kSettingsProduct = "Tessel Marrowen SSH Server";

// The lists for SubstituteTokens. `installFolder` is the server's value Path, with its backslash at the end;
// the computer is the local one.
CStringList ExportTokens(const CString& installFolder);
CStringList ImportTokens(const CString& installFolder);
// The value Path of the local server's key; empty if there is none.
CString LocalInstallFolder();
