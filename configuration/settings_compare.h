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
// order. 0 where the import would end before the file does; a parse error, which the reader shows, gives 1.
// Throws what the import throws.
int PreviewImport(XmlReader& reader, const CString& file, const CStringList* pairs,
                  const ChangeVisitor& visit);

// The keys and values of a file, by their names in lower case. All tokens stand as they are in the file, so
// snapshots of two machines compare.
struct SnapshotValue {
  CString name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool isCredential = false;
};
struct SnapshotKey {
  CString path;
  std::map<CString, SnapshotValue> values;
};
using SettingsSnapshot = std::map<CString, SnapshotKey>;

// 0 for a tree deeper than a registry can be; the reader has the error text of a parse error. Throws what the
// import throws.
int ReadSnapshot(XmlReader& reader, const CString& file, SettingsSnapshot& snapshot);
// What an export of the given keys, in memory, would hold. PAD is asked about as there.
SettingsSnapshot SnapshotOfStore(std::span<const char* const> paths, const CStringList* pairs,
                                 const EngineCallbacks& ui);
// Visits all keys and values of both in the order of their names. A key or value of `after` alone is added.
void CompareSnapshots(const SettingsSnapshot& before, const SettingsSnapshot& after,
                      const ChangeVisitor& visit);

// A key or value that does not come back from a settings file as it is, with one sentence why.
struct SettingsLoss {
  CString key;   // with its hive
  CString name;  // "(Default)" for the default value; empty for the key itself with all below it
  CString reason;
};

// Finds what an export of `path` through `outward` and an import through `inward` would lose or alter. PAD is
// looked at only `withCredentials`.
void FindLosses(const CString& path, const CStringList* outward, const CStringList* inward,
                bool withCredentials, const std::function<void(const SettingsLoss& loss)>& visit);
