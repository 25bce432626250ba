#include "framework/list_page.h"

#include "framework/name_set.h"

namespace principal_list {

namespace {

CString WithCharacter(std::string_view name, char from, char to) {
  CString result(name);
  std::replace(result.begin(), result.end(), from, to);
  return result;
}

// The name at an index of a folder as it is at the moment; false behind the last one.
bool NameAt(HKEY folder, DWORD index, CString& name) {
  char buffer[kValueBufferSize];
  DWORD size = sizeof buffer;
  if (RegEnumKeyExA(folder, index, buffer, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
    return false;
  name.assign(buffer, size);
  return true;
}

}  // namespace

// A registry key's name cannot hold a backslash.
CString DisplayName(std::string_view keyName) { return WithCharacter(keyName, '?', '\\'); }
CString KeyName(std::string_view displayName) { return WithCharacter(displayName, '\\', '?'); }

bool Holds(const CStringList& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

DWORD OpenFolder(const CTesselRegObject& key, const char* folder, UniqueKey& opened) {
  key.NoteRead(folder);
  return OpenUniqueKey(key.GetKey(), folder, KEY_ALL_ACCESS, opened);
}

CStringList NamesIn(HKEY folder) {
  CStringList names;
  CString name;
  for (DWORD index = 0; NameAt(folder, index, name); ++index) names.push_back(name);
  return names;
}

void Save(HKEY folder, const CStringList& names) {
  const NameSet wanted(names);
  std::vector<bool> standing(names.size());
  CString name;
  // The index goes up after a deletion too, so the key that slides into the place of a deleted one is not
  // looked at: a principal left over that way goes at the next Apply.
  for (DWORD index = 0; NameAt(folder, index, name); ++index) {
    if (const size_t place = wanted.Find(name); place != NameSet::kNone) {
      standing[place] = true;
    } else {
      DeleteRegistryKeyA(folder, name.c_str(), KEY_ALL_ACCESS);
    }
  }
  for (size_t place = 0; place < names.size(); ++place) {
    if (standing[place]) continue;
    HKEY made = nullptr;
    if (RegCreateKeyExA(folder, names[place].c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                        nullptr, &made, nullptr) == ERROR_SUCCESS) {
      RegCloseKey(made);
    }
  }
}

}  // namespace principal_list
