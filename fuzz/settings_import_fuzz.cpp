// The import of a settings file into a scratch computer, the look ahead of it, and the export of what came
// in. Each input is one event that is given up in the end.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "configuration/settings_compare.h"
#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "platform/machine.h"

namespace {

class ScratchHome {
 public:
  ScratchHome()
      : m_path(std::filesystem::temp_directory_path() /
               ("settings_import_fuzz_" + std::to_string(GetCurrentProcessId()))) {
    if (!machine::OpenHome(m_path.string())) std::abort();
  }
  ScratchHome(const ScratchHome&) = delete;
  ScratchHome& operator=(const ScratchHome&) = delete;
  ~ScratchHome() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

 private:
  std::filesystem::path m_path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const ScratchHome home;
  static const EngineCallbacks willing{[](const CString&) { return true; }, {}, {}};
  static const CStringList tokens = {"$(TesselInstallDir)\\", "C:\\M\\", "$(ComputerName)", "HOST"};
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  machine::BeginEvent();
  try {
    XmlReader reader(MemorySource(bytes));
    PreviewImport(reader, {}, &tokens, [](const SettingsChange&) {});
    ImportSettingsFile(reader, {}, &tokens, willing);
    SettingsSnapshot snapshot;
    ReadSnapshot(reader, {}, snapshot);
    CompareSnapshots(SnapshotOfStore(kExportedKeys, nullptr, willing), snapshot,
                     [](const SettingsChange&) {});
    for (const char* key : kExportedKeys) FindLosses(key, nullptr, nullptr, true, [](const SettingsLoss&) {});
  } catch (const std::out_of_range&) {  // the text of a number is too short
  } catch (const std::length_error&) {  // a cached password of an impossible length
  }
  machine::AbandonEvent();
  return 0;
}
