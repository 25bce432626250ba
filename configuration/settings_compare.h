#pragma once

// What an import would change, how two sets of settings differ, and what a file can't carry. Nothing here
// writes to the registry. Two values are the same if a reader of settings sees no difference: a text counts
// up to its terminator, a list of strings up to its last one.

#include <functional>
#include <map>
#include <vector>

#include "configuration/settings_engine.h"
#include "configuration/settings_walk.h"
#include "configuration/xml_reader.h"

enum class ChangeKind { Added, Changed, Removed, Same };

struct SettingsChange {
  ChangeKind kind;
  CString key;   // with its hive
  CString name;  // "(Default)" for a default value; empty for the key itself, which is then added or removed
  // Texts as FormatRegValue makes them, with their types; for a cached credential a word in place of it.
  CString before;
  CString after;
  DWORD typeBefore = 0;
  DWORD typeAfter = 0;
};
using ChangeVisitor = std::function<void(const SettingsChange& change)>;

// Visits every value that an import of the file would store, and every key that it would make, in the file's
// order. For machines on which what an import did can't be taken back: elsewhere an import is tried. 0 where
// the import would end before the file does; a parse error, which the reader shows, gives 1.
int PreviewImport(XmlReader& reader, const CString& file, const CStringList* pairs,
                  const ChangeVisitor& visit);

// The keys and values of a file, by their names in lower case.
struct SnapshotValue {
  CString name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool isCredential = false;
  CString entropy{};  // of a credential: the name under which it is protected
};
struct SnapshotKey {
  CString path;
  std::map<CString, SnapshotValue> values;
};
using SettingsSnapshot = std::map<CString, SnapshotKey>;

// How a value was and is; null where there is none.
SettingsChange ChangeBetween(const CString& key, const CString& name, const SnapshotValue* before,
                             const SnapshotValue* after);

// Reads a whole file; `pairs` as an import has them, or null to leave the tokens as they are, so that
// snapshots of two machines compare. The error of a file that can't be understood or read.
FileError ReadSnapshot(XmlReader& reader, const CString& file, const CStringList* pairs,
                       SettingsSnapshot& snapshot);
// What an export of the given keys, in memory, would hold. PAD is asked about as there. The error where that
// could not be read back, so that something would be taken for missing.
FileError SnapshotOfStore(std::span<const char* const> paths, const CStringList* pairs,
                          const EngineCallbacks& ui, SettingsSnapshot& snapshot);
// Visits all keys and values of both in the order of their names. A key or value of `after` alone is added.
void CompareSnapshots(const SettingsSnapshot& before, const SettingsSnapshot& after,
                      const ChangeVisitor& visit);

// A key or value that does not come back from a settings file as it is, with one sentence why.
struct SettingsLoss {
  CString key;   // with its hive; empty for the file as a whole
  CString name;  // "(Default)" for the default value; empty for the key itself with all below it
  CString reason;
};

// Reads back the file that was written from `paths` through `outward`, as an import through `inward` does,
// and finds what of the store is not in it as it is. PAD is looked at only `withCredentials`.
void FindLosses(XmlReader& reader, const CString& file, std::span<const char* const> paths,
                const CStringList* outward, const CStringList* inward, bool withCredentials,
                const std::function<void(const SettingsLoss& loss)>& visit);
