#pragma once

// Settings as registry hive files, the way they left a computer before there was a settings file. A hive
// holds keys below one another, so the settings are up to three files beside each other.

#include "store/registry_object.h"

// Writes the server's key, which is open, into the file, and those of the other services that are there into
// files beside it, named by what stands before the last "." of `file`. Files that are there are replaced. The
// list of SCP has no file. A Windows error code, that of the first file that could not be written.
DWORD SaveLegacySettings(const CTesselRegObject& key, const CString& computer, const CString& file);

// Replaces what the keys hold by what those files do. A file beside `file` that is not there is passed over;
// a name without a "." has those of no name beside it. A Windows error code; what was restored before a
// failure stays.
DWORD RestoreLegacySettings(CTesselRegObject& key, const CString& computer, const CString& file);
