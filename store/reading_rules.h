#pragma once

// How a page's values are read and written. A page's table names the rule of each value; the two rules of a
// flag are not interchangeable, since they differ for every text but "yes" and "no", a missing value
// included.

#include "platform/text.h"
#include "store/registry_object.h"

enum class ReadRule {
  TrueUnlessNo,    // any text but "no" is true, so a missing value is true
  TrueOnlyIfYes,   // only "yes" is true, so a missing value is false
  TextIfNotEmpty,  // an empty or missing value leaves the field as it was
  TextAsIs,        // a missing value makes the field empty
};

// What a stored text says under a rule of flags; "yes" and "no" compare without case.
bool FlagOf(ReadRule rule, std::string_view stored);

// Reads into a buffer of `bufferSize` bytes. A value that does not fit gives 234 and leaves `field` alone,
// whatever the rule; so does any other failure. The rule must be one of the field's kind.
DWORD ReadFlag(const CTesselRegObject& key, const char* name, ReadRule rule, bool& field,
               DWORD bufferSize = kValueBufferSize);
DWORD ReadText(const CTesselRegObject& key, const char* name, ReadRule rule, CString& field,
               DWORD bufferSize = kValueBufferSize);

// REG_SZ "yes" or "no".
DWORD WriteYesNo(CTesselRegObject& key, const char* name, bool value);
// REG_SZ, the text as it stands.
DWORD WriteText(CTesselRegObject& key, const char* name, const CString& value);
