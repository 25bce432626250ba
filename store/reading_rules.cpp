#include "store/reading_rules.h"

namespace {

DWORD ReadStored(const CTesselRegObject& key, const char* name, DWORD bufferSize, CString& stored) {
  CString buffer(bufferSize, '\0');
  const DWORD status = key.GetStringValue(name, reinterpret_cast<BYTE*>(buffer.data()), bufferSize);
  stored = text::UpToZero(buffer);
  return status;
}

}  // namespace

bool FlagOf(ReadRule rule, std::string_view stored) {
  return rule == ReadRule::TrueUnlessNo ? !text::EqualNoCase(stored, "no") : text::EqualNoCase(stored, "yes");
}

DWORD ReadFlag(const CTesselRegObject& key, const char* name, ReadRule rule, bool& field, DWORD bufferSize) {
  CString stored;
  const DWORD status = ReadStored(key, name, bufferSize, stored);
  if (status == ERROR_SUCCESS) field = FlagOf(rule, stored);
  return status;
}

DWORD ReadText(const CTesselRegObject& key, const char* name, ReadRule rule, CString& field,
               DWORD bufferSize) {
  CString stored;
  const DWORD status = ReadStored(key, name, bufferSize, stored);
  if (status != ERROR_SUCCESS) return status;
  if (rule == ReadRule::TextAsIs || !stored.empty()) field = stored;
  return status;
}

DWORD WriteYesNo(CTesselRegObject& key, const char* name, bool value) {
  return key.SetStringValue(name, value ? "yes" : "no");
}

DWORD WriteText(CTesselRegObject& key, const char* name, const CString& value) {
  return key.SetStringValue(name, value);
}
