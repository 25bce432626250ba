#include "console/credentials.h"

#include "configuration/settings_export.h"

namespace {

// A key PAD with anything in it, below `key`.
bool HoldsCredentials(HKEY key) {
  KeyInfo info;
  bool holds = false;
  if (!QueryKey(key, info)) return true;
  ForEachSubkey(key, info, [&holds](const CString& name, HKEY subkey) {
    if (holds) return;
    KeyInfo inside;
    holds = IsPadName(name) ? !QueryKey(subkey, inside) || inside.subkeys + inside.values > 0
                            : HoldsCredentials(subkey);
  });
  return holds;
}

}  // namespace

bool AsksForCredentials(std::string_view question) {
  return question.starts_with("Do you want to export cached authentication keys?");
}

bool ExportHoldsCredentials() {
  for (const std::string_view path : kExportedKeys) {
    const size_t cut = path.find('\\');
    UniqueKey key;
    if (OpenHivePath(path.substr(0, cut), CString(path.substr(cut + 1)), key) == ERROR_SUCCESS &&
        HoldsCredentials(key.get())) {
      return true;
    }
  }
  return false;
}
