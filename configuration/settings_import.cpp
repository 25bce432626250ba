#include "configuration/settings_import.h"

#include <stdexcept>

#include "configuration/cached_records.h"
#include "configuration/value_text.h"

namespace {

PadState processPad;

constexpr int kKeysPerReport = 50;

const char* RegistryName(const CString& valueName) {
  return IsDefaultName(valueName) ? nullptr : valueName.c_str();
}

bool SetValue(HKEY key, const char* name, DWORD type, const std::vector<BYTE>& data) {
  return RegSetValueExA(key, name, 0, type, data.data(), static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
}

class RegistryTarget : public SettingsTarget {
 public:
  RegistryTarget(const CStringList* pairs, const EngineCallbacks& ui) : m_pairs(pairs), m_ui(ui) {}

  bool Open(const CString& hive, const CString& path, size_t depth, UniqueKey& key) override {
    if (++m_keys % kKeysPerReport == 0 && m_ui.progress && !m_ui.progress(m_keys)) {
      error = ERROR_CANCELLED;
      return false;
    }
    const HKEY root = HiveNamed(hive);
    if (root == nullptr) {
      error = ERROR_BADKEY;
      return false;
    }
    LSTATUS status = depth > kDeepestKey ? ERROR_INVALID_PARAMETER : OpenHivePath(hive, path, key);
    if (status != ERROR_SUCCESS && depth <= kDeepestKey) {
      HKEY made = nullptr;
      status = RegCreateKeyA(root, path.c_str(), &made);
      if (status == ERROR_SUCCESS) key.reset(made);
    }
    if (status == ERROR_SUCCESS) return true;
    error = static_cast<DWORD>(status);
    m_ui.Tell("couldn't create key " + hive + "\\" + path + "\r\nError = " + std::to_string(status) + ".");
    return false;
  }

  void Store(const KeyFrame& frame, const CString& name, const CString& typeName,
             const CString& text) override {
    if (!frame.key) return;
    const DWORD type = RegTypeFromName(typeName);
    const std::vector<BYTE> data = ParseRegValue(SubstituteTokens(text, m_pairs), type);
    if (!data.empty() && SetValue(frame.key.get(), RegistryName(name), type, data)) return;
    m_ui.Tell("couldn't set value " + name);
  }

  void StoreCached(const KeyFrame& frame, const CString& entropy, const CString& name,
                   const CString& text) override {
    const std::vector<BYTE> blob = MakeCachedRecord(text, name, entropy);
    if (!blob.empty()) SetValue(frame.key.get(), IsStampName(name) ? "AD2" : nullptr, REG_BINARY, blob);
  }

  DWORD error = ERROR_SUCCESS;  // why the import ended

 private:
  const CStringList* m_pairs;
  const EngineCallbacks& m_ui;
  int m_keys = 0;
};

}  // namespace

int FileIsForProduct(const CString& file, const CString& product, const EngineCallbacks& ui) {
  XmlReader reader;
  reader.showMessage = [&ui](const CString& message) { ui.Tell(message); };
  reader.SetShowErrors(1);
  reader.SetFileName(file);
  while (reader.Read() != 0) {
    if (reader.GetNodeType() != XmlAttribute || !text::EqualNoCase(reader.ElementName(), "product")) continue;
    if (text::EqualNoCase(XmlUnescape(reader.AttributeName()), "name") &&
        text::EqualNoCase(XmlUnescape(reader.AttributeValue()), product)) {
      return 1;
    }
  }
  return 0;
}

int ImportSettingsFile(XmlReader& reader, const CString& file, const CStringList* pairs,
                       const EngineCallbacks& ui) {
  RegistryTarget target(pairs, ui);
  return WalkSettings(reader, file, pairs, processPad, target);
}

int ImportForProduct(const CString& product, const CString& file, const EngineCallbacks& ui) try {
  if (FileIsForProduct(file, product, ui) == 0) return -1;
  const CStringList tokens = ImportTokens(LocalInstallFolder());
  XmlReader reader;
  reader.showMessage = [&ui](const CString& message) { ui.Tell(message); };
  RegistryTarget target(&tokens, ui);
  const PadState before = processPad;
  if (WalkSettings(reader, file, &tokens, processPad, target) != 0) return ERROR_SUCCESS;
  if (target.error == ERROR_CANCELLED) processPad = before;
  return static_cast<int>(target.error);
} catch (const FileError& error) {
  return static_cast<int>(error.code);
} catch (const std::out_of_range&) {
  return ERROR_INVALID_DATA;
}

PadState CurrentPadState() { return processPad; }
