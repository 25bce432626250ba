// The store's file, damaged: it is refused, or all of it can be read. The input says what of a sound file is
// overwritten: the number of a page, a place in it, and bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "configuration/settings_export.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/environment.h"
#include "platform/machine.h"

namespace {

class ScratchStore {
 public:
  ScratchStore()
      : m_home(std::filesystem::temp_directory_path() /
               ("store_file_fuzz_" + std::to_string(GetCurrentProcessId()))) {
    if (!machine::OpenHome(m_home.string())) std::abort();
    machine::CloseHome();
    std::ifstream whole(File(), std::ios::binary);
    m_whole.assign(std::istreambuf_iterator<char>(whole), {});
  }
  ScratchStore(const ScratchStore&) = delete;
  ScratchStore& operator=(const ScratchStore&) = delete;
  ~ScratchStore() {
    std::error_code ignored;
    std::filesystem::remove_all(m_home, ignored);
  }

  std::string Home() const { return m_home.string(); }
  std::string File() const { return (m_home / "registry/data.mdb").string(); }
  void Write(const uint8_t* data, size_t size) const {
    constexpr size_t kPage = 4096;
    std::string bytes = m_whole;
    while (size >= 5) {
      const size_t page = data[0] % (bytes.size() / kPage);
      const size_t at = (data[1] | size_t{data[2]} << 8) % kPage;
      const size_t count = std::min<size_t>({data[3] % 16u + 1, size - 4, kPage - at});
      std::memcpy(&bytes[page * kPage + at], data + 4, count);
      data += 4 + count;
      size -= 4 + count;
    }
    std::ofstream(File(), std::ios::binary) << bytes;
  }

 private:
  std::filesystem::path m_home;
  std::string m_whole;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const ScratchStore store;
  store.Write(data, size);
  const bool sound = embedded::PagesAreSound(store.File());
  if (!machine::OpenHome(store.Home())) {
    machine::CloseHome();
    return 0;
  }
  if (!sound) __builtin_trap();
  XmlStringWriter writer;
  for (const char* key : kExportedKeys) ExportRegistryKey(writer, false, key, nullptr, {});
  machine::BeginEvent();
  HKEY key = nullptr;
  RegCreateKeyA(HKEY_LOCAL_MACHINE, "Software\\Fuzz", &key);
  machine::AbandonEvent();
  machine::CloseHome();
  return 0;
}
