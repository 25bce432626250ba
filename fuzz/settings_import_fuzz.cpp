// The import of a settings file into a scratch computer, the look ahead of it, and the export of what came
// in. Each input is one event that is given up in the end.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
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
  XmlReader reader(MemorySource(bytes));
  PreviewImport(reader, {}, &tokens, [](const SettingsChange&) {});
  ImportSettingsFile(reader, {}, &tokens, willing);
  SettingsSnapshot snapshot;
  SettingsSnapshot store;
  ReadSnapshot(reader, {}, nullptr, snapshot);
  SnapshotOfStore(kExportedKeys, nullptr, willing, store);
  CompareSnapshots(store, snapshot, [](const SettingsChange&) {});
  FindLosses(reader, {}, kExportedKeys, nullptr, nullptr, true, [](const SettingsLoss&) {});
  machine::AbandonEvent();
  return 0;
}
