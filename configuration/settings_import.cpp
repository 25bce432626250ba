#include "configuration/settings_import.h"

#include <algorithm>
#include <functional>

#include "configuration/cached_records.h"
#include "configuration/value_text.h"

namespace {

PadState processPad;

constexpr int kKeysPerReport = 50;
constexpr size_t kMostMessages = 3;  // of one kind; the others are counted

const char* RegistryName(const CString& valueName) {
  return IsDefaultName(valueName) ? nullptr : valueName.c_str();
}

bool SetValue(HKEY key, const char* name, DWORD type, const std::vector<BYTE>& data) {
  return RegSetValueExA(key, name, 0, type, data.data(), static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
}

class RegistryTarget : public SettingsTarget {
 public:
  RegistryTarget(const CStringList* pairs, const EngineCallbacks& ui, ImportTally* tally = nullptr)
      : m_pairs(pairs), m_ui(ui), m_tally(tally) {}

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
    if (status == ERROR_SUCCESS) {
      if (m_tally != nullptr) m_paths.push_back(hive + "\\" + path);
      return true;
    }
    error = static_cast<DWORD>(status);
    m_ui.Tell("couldn't create key " + hive + "\\" + path + "\r\nError = " + std::to_string(status) + ".");
    return false;
  }

  void Leave() override {
    if (!m_paths.empty()) m_paths.pop_back();
  }

  bool Store(const KeyFrame& frame, const CString& name, const CString& typeName,
             const CString& text) override {
    if (!frame.key) return true;
    const DWORD type = RegTypeFromName(typeName);
    const auto data = ParseRegValue(SubstituteTokens(text, m_pairs), type);
    if (!data) {
      error = ERROR_INVALID_DATA;
      return false;
    }
    if (!data->empty() && SetValue(frame.key.get(), RegistryName(name), type, *data)) {
      Count(name);
    } else if (++m_refused <= kMostMessages) {
      m_ui.Tell("couldn't set value " + name);
    }
    return true;
  }

  bool StoreCached(const KeyFrame& frame, const CString& entropy, const CString& name,
                   const CString& text) override {
    const std::vector<BYTE> blob = MakeCachedRecord(text, name, entropy);
    const char* const registryName = IsStampName(name) ? "AD2" : nullptr;
    if (!blob.empty() && SetValue(frame.key.get(), registryName, REG_BINARY, blob)) Count(name);
    return true;
  }

  // The walk is over.
  void TellTheRest() const {
    if (m_refused <= kMostMessages) return;
    m_ui.Tell("couldn't set " + std::to_string(m_refused - kMostMessages) + " more values");
  }

  DWORD error = ERROR_SUCCESS;  // why the import ended

 private:
  void Count(const CString& name) {
    if (!m_paths.empty()) m_tally->Add(m_paths.back(), name);
  }

  const CStringList* m_pairs;
  const EngineCallbacks& m_ui;
  ImportTally* m_tally;
  CStringList m_paths;  // of the open keys, for the tally
  size_t m_refused = 0;
  int m_keys = 0;
};

CString Lowered(std::string_view text) {
  CString lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), text::LowerAscii);
  return lowered;
}

}  // namespace

void ImportTally::Add(std::string_view key, std::string_view name) {
  CString place = Lowered(key);
  place += '\0';
  place += Lowered(name);
  m_places.push_back(std::hash<std::string_view>()(place));
}

size_t ImportTally::Count() {
  std::sort(m_places.begin(), m_places.end());
  m_places.erase(std::unique(m_places.begin(), m_places.end()), m_places.end());
  return m_places.size();
}

namespace {

// The file's error goes to `error`.
int IsForProduct(const CString& file, const CString& product, const EngineCallbacks& ui,
                 const SourceOpener& open, FileError& error) {
  XmlReader reader(open);
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
  error = reader.GetFileError();
  return 0;
}

}  // namespace

int FileIsForProduct(const CString& file, const CString& product, const EngineCallbacks& ui,
                     const SourceOpener& open) {
  FileError ignored;
  return IsForProduct(file, product, ui, open, ignored);
}

int ImportSettingsFile(XmlReader& reader, const CString& file, const CStringList* pairs,
                       const EngineCallbacks& ui) {
  RegistryTarget target(pairs, ui);
  const int result = WalkSettings(reader, file, pairs, processPad, target);
  target.TellTheRest();
  return result;
}

int ImportForProduct(const CString& product, const CString& file, const EngineCallbacks& ui,
                     const SourceOpener& open, ImportTally* tally) {
  FileError unreadable;
  if (IsForProduct(file, product, ui, open, unreadable) == 0) {
    return unreadable ? static_cast<int>(unreadable.code) : -1;
  }
  const CStringList tokens = ImportTokens(LocalInstallFolder());
  XmlReader reader(open);
  reader.showMessage = [&ui](const CString& message) { ui.Tell(message); };
  RegistryTarget target(&tokens, ui, tally);
  const PadState before = processPad;
  const int whole = WalkSettings(reader, file, &tokens, processPad, target);
  target.TellTheRest();
  if (target.error == ERROR_CANCELLED || tally != nullptr) processPad = before;
  if (whole != 0) return static_cast<int>(reader.GetFileError().code);
  return static_cast<int>(target.error);
}

PadState CurrentPadState() { return processPad; }
