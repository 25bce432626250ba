#pragma once

// The walk over a registry subtree that fills a settings file. It reads the local computer. A key that can't
// be opened is left out. A key named PAD, anywhere, is exported only after a Yes, its protected records in
// clear text where they can be opened.
//
// `pairs` is a list for SubstituteTokens or null. `compact` writes the file's other shape, in which keys are
// elements named after them and values are their attributes. Results are 1 or 0. What could not be written is
// told by the writer (XmlWriter::GetError), what could not be read by the callback `unreadable`.

#include <vector>

#include "configuration/settings_engine.h"
#include "configuration/xml_writer.h"

// One full path such as `HKEY_LOCAL_MACHINE\SOFTWARE\TesselWorks\SSHD`, each component an element. 0, with
// nothing written, if it can't be opened.
int ExportRegistryKey(XmlWriter& writer, bool compact, const CString& path, const CStringList* pairs,
                      const EngineCallbacks& ui);

// One key with all below it; an empty name writes the contents alone. After Esc the key's contents and end
// tag are missing, and the walk goes on behind it.
int ExportKeyTree(XmlWriter& writer, bool compact, const CString& name, HKEY key, const CStringList* pairs,
                  const EngineCallbacks& ui);

// The same inside PAD, where values go out without substitution and none is skipped. `entropy` is the name of
// the child key of PAD.
int ExportCachedTree(XmlWriter& writer, bool compact, const CString& name, HKEY key, const CStringList* pairs,
                     const CString& entropy, const EngineCallbacks& ui);

// A value as text.
struct ValueEntry {
  CString name;
  CString value;
  DWORD type = REG_SZ;
};

// The values of a key in the order of the file. The default value is named "(Default)", and stands there as
// "(value not set)" also where the key has none or can't be read.
void ReadSortedValues(HKEY key, std::vector<ValueEntry>& entries);

// The file's order: by name without case, except that "(Default)" is overtaken by greater names in front of
// it and passes none itself. Equal names keep their order.
void SortValueEntries(std::vector<ValueEntry>& entries);

// Appends the value's `v` element.
void AppendValueElement(CString& out, const ValueEntry& entry);
