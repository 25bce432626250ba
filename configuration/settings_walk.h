#pragma once

// How a settings file is understood: which keys and values it names. The import gives them to the registry, a
// dry run and a comparison look at them only; all three read a file in the same way.

#include <string_view>
#include <vector>

#include "configuration/settings_engine.h"
#include "configuration/xml_reader.h"

// Where the import stands in PAD. A process has one for all its imports and never resets it: the first PAD
// leaves `depth` at -1, so a second one takes its entropy one level further down.
struct PadState {
  bool inside = false;
  int depth = 0;    // start tags seen inside
  CString entropy;  // the name of the current child key of PAD
};

// One `k` element that is open.
struct KeyFrame {
  CString name;
  UniqueKey key;  // null if there is none
};

// What is done with a file's keys and values.
class SettingsTarget {
 public:
  virtual ~SettingsTarget() = default;
  // A key began; an empty path is the hive alone. `depth` counts the keys above it. False ends the walk.
  virtual bool Open(const CString& hive, const CString& path, size_t depth, UniqueKey& key) = 0;
  // The key ended, and the one around it goes on.
  virtual void Leave() {}
  // A value of the innermost key, as its attributes stand in the file. False ends the walk.
  virtual bool Store(const KeyFrame& frame, const CString& name, const CString& typeName,
                     const CString& text) = 0;
  // A value in the place of a cached record.
  virtual bool StoreCached(const KeyFrame& frame, const CString& entropy, const CString& name,
                           const CString& text) = 0;
};

// Reads `file` to its end, to a parse error (which the reader has shown and which counts as an end), to where
// it can't be read on (see XmlReader::GetFileError) or until the target ends it; 0 for the last. The reader
// is closed then. `pairs` go over each key's path as a whole.
int WalkSettings(XmlReader& reader, const CString& file, const CStringList* pairs, PadState& pad,
                 SettingsTarget& target);
