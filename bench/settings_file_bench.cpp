// Measures the settings file: reading it beside expat, importing it, and exporting it again.
//
//   settings_file_bench FILE    (a file of make_settings_file.py; a home of its own under the temporary
//   folder)

#include <expat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "platform/machine.h"

namespace {

constexpr int kRounds = 3;

// Processor time, so that other work on the machine counts little.
double Seconds(const std::function<void()>& work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// The process's memory that maps no file, in MiB: the store's pages on disk don't count.
double PrivateMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("RssAnon:", 0) == 0) return std::stod(line.substr(8)) / 1024;
  }
  return 0;
}

// The most private memory above what there was at the start.
class MemoryWatch {
 public:
  MemoryWatch() : m_thread([this] { Run(); }) {}
  double Peak() {
    m_stop = true;
    m_thread.join();
    return m_peak - m_start;
  }

 private:
  void Run() {
    while (!m_stop) {
      m_peak = std::max(m_peak, PrivateMemory());
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  double m_start = PrivateMemory();
  double m_peak = m_start;
  std::atomic<bool> m_stop = false;
  std::thread m_thread;
};

struct Counts {
  size_t elements = 0;
  size_t attributes = 0;
};

void ParseWithExpat(const std::string& path, Counts& counts) {
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &counts);
  XML_SetElementHandler(
      parser,
      [](void* data, const char*, const char** attributes) {
        auto& seen = *static_cast<Counts*>(data);
        ++seen.elements;
        for (; *attributes != nullptr; attributes += 2) ++seen.attributes;
      },
      [](void*, const char*) {});
  std::ifstream file(path, std::ios::binary);
  std::string piece(64 * 1024, '\0');
  for (bool last = false; !last;) {
    file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    last = file.gcount() == 0;
    if (XML_Parse(parser, piece.data(), static_cast<int>(file.gcount()), last) == 0)
      std::puts("expat: parse error");
  }
  XML_ParserFree(parser);
}

void ParseWithReader(const std::string& path, Counts& counts) {
  XmlReader reader;
  reader.SetFileName(path);
  while (reader.Read() != 0) {
    if (reader.GetNodeType() == XmlStartElement) ++counts.elements;
    if (reader.GetNodeType() == XmlAttribute && !reader.ElementName().empty()) ++counts.attributes;
  }
  reader.Close();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("settings_file_bench FILE\n", stderr);
    return 2;
  }
  const std::string path = arguments[1];
  const auto folder = std::filesystem::temp_directory_path() / "settings_file_bench";
  std::filesystem::remove_all(folder);
  if (const machine::Outcome opened = machine::OpenHome(folder.string()); !opened) {
    std::fprintf(stderr, "%s\n", opened.sentence.c_str());
    return 1;
  }

  const EngineCallbacks nobody;
  const CStringList inward = ImportTokens("C:\\Marrowen\\");
  const CStringList outward = ExportTokens("C:\\Marrowen\\");
  const std::string copy = (folder / "exported.xml").string();
  Counts byExpat;
  Counts byReader;
  int done = 1;
  // One round after the other, so that a slow moment of the machine meets all of them.
  constexpr double kNever = 1e9;
  double expat = kNever;
  double reader = kNever;
  double imported = kNever;
  double exported = kNever;
  double importPeak = 0;
  double exportPeak = 0;
  for (int round = 0; round < kRounds; ++round) {
    byExpat = byReader = {};
    expat = std::min(expat, Seconds([&] { ParseWithExpat(path, byExpat); }));
    reader = std::min(reader, Seconds([&] { ParseWithReader(path, byReader); }));
    machine::BeginEvent();
    MemoryWatch importMemory;
    imported = std::min(imported, Seconds([&] {
                          XmlReader file;
                          done &= ImportSettingsFile(file, path, &inward, nobody);
                        }));
    importPeak = std::max(importPeak, importMemory.Peak());
    if (round + 1 < kRounds) {
      machine::AbandonEvent();  // each round fills an empty store
      continue;
    }
    imported += Seconds([&] { done &= machine::CommitEvent() ? 1 : 0; });
  }
  for (int round = 0; round < kRounds; ++round) {
    MemoryWatch exportMemory;
    exported = std::min(exported, Seconds([&] {
                          XmlWriter writer;
                          writer.SetFileName(copy);
                          for (const char* key : kExportedKeys)
                            ExportRegistryKey(writer, false, key, &outward, nobody);
                          writer.Close();
                        }));
    exportPeak = std::max(exportPeak, exportMemory.Peak());
  }
  std::printf("elements %zu and %zu, attributes %zu and %zu\n", byExpat.elements, byReader.elements,
              byExpat.attributes, byReader.attributes);
  std::printf("expat      %7.3f s\n", expat);
  std::printf("XmlReader  %7.3f s  %5.2f times as fast as expat\n", reader, expat / reader);
  std::printf("import     %7.3f s  %5.2f of expat's time, commit included%s\n", imported, imported / expat,
              done == 1 ? "" : "; it FAILED");
  std::printf("export     %7.3f s  %5.2f of expat's time, %ju bytes\n", exported, exported / expat,
              std::filesystem::file_size(copy));
  std::printf(
      "private memory at most: import %.1f MiB with the pages that the store has yet to write, export %.1f "
      "MiB\n",
      importPeak, exportPeak);
  std::filesystem::remove_all(folder);
}
