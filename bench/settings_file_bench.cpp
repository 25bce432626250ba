// Measures the settings file: reading it beside expat, importing it, and exporting it again.
//
//   settings_file_bench FILE    (a file of make_settings_file.py; a home of its own under the temporary
//   folder)

#include <expat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "platform/machine.h"

namespace {

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Best(int rounds, const std::function<void()>& work) {
  double best = Seconds(work);
  while (--rounds > 0) best = std::min(best, Seconds(work));
  return best;
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
  MemoryWatch() : thread_([this] { Run(); }) {}
  double Peak() {
    stop_ = true;
    thread_.join();
    return peak_ - start_;
  }

 private:
  void Run() {
    while (!stop_) {
      peak_ = std::max(peak_, PrivateMemory());
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  double start_ = PrivateMemory();
  double peak_ = start_;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
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

  Counts byExpat;
  Counts byReader;
  ParseWithExpat(path, byExpat);
  ParseWithReader(path, byReader);
  Counts scratch;
  const double expat = Best(3, [&] { ParseWithExpat(path, scratch); });
  const double reader = Best(3, [&] { ParseWithReader(path, scratch); });
  std::printf("elements %zu and %zu, attributes %zu and %zu\n", byExpat.elements, byReader.elements,
              byExpat.attributes, byReader.attributes);
  std::printf("expat       %7.3f s\n", expat);
  std::printf("XmlReader   %7.3f s   %.2f times as fast as expat\n", reader, expat / reader);

  const EngineCallbacks nobody;
  const CStringList inward = ImportTokens("C:\\Marrowen\\");
  const CStringList outward = ExportTokens("C:\\Marrowen\\");
  int done = 0;
  MemoryWatch importMemory;
  const double imported = Seconds([&] {
    machine::BeginEvent();
    XmlReader file;
    done = ImportSettingsFile(file, path, &inward, nobody);
    std::printf("            %7.1f MiB private before the commit\n", PrivateMemory());
    if (!machine::CommitEvent()) done = 0;
  });
  const double importPeak = importMemory.Peak();
  std::printf("import      %7.3f s   %.2f of expat's time, %.1f MiB%s\n", imported, imported / expat,
              importPeak, done == 1 ? "" : ", failed");

  const std::string copy = (folder / "exported.xml").string();
  MemoryWatch exportMemory;
  const double exported = Best(3, [&] {
    XmlWriter writer;
    writer.SetFileName(copy);
    for (const char* key : kExportedKeys) ExportRegistryKey(writer, false, key, &outward, nobody);
    writer.Close();
  });
  const double exportPeak = exportMemory.Peak();
  std::printf("export      %7.3f s   %.2f of expat's time, %.1f MiB, %ju bytes\n", exported, exported / expat,
              exportPeak, std::filesystem::file_size(copy));
  std::filesystem::remove_all(folder);
}
