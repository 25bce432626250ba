// Showing a page: what a click on the node of the compression page takes inside the library, and what
// `marrowen show` takes as a whole process.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "console/host.h"
#include "platform/machine.h"
#include "store/registry_object.h"

namespace fs = std::filesystem;

namespace {

constexpr char kNode[] = "General Settings::Compression";

void Check(bool good, const std::string& what) {
  if (good) return;
  std::fprintf(stderr, "failed: %s\n", what.c_str());
  std::exit(1);
}

// The middle and the longest of many runs, in microseconds.
template <class Work>
void Row(const char* what, int runs, const Work& work) {
  std::vector<double> times;
  for (int i = 0; i < runs; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  std::printf("%-44s %10.1f us %10.1f us\n", what, times[times.size() / 2], times.back());
}

}  // namespace

int main() {
  std::string home = (fs::temp_directory_path() / "page-bench.XXXXXX").string();
  Check(mkdtemp(home.data()) != nullptr, "mkdtemp");
  Check(static_cast<bool>(machine::OpenHome(home)), "home");
  std::printf("%-44s %13s %13s\n", "", "median", "longest");
  {
    std::string why;
    const std::unique_ptr<Host> host = Host::Start({}, why);
    Check(host != nullptr && host->Select(kNode, why), why);
    // What it shows is what the store holds by then.
    CTesselRegObject key(HKEY_LOCAL_MACHINE);
    Check(key.CreateKey(R"(Software\TesselWorks\SSHD)") != 0, "key");
    Check(key.SetStringValue("CompressionLevel", "4") == ERROR_SUCCESS, "value");
    Row("OnSetActive of the compression page", 10000, [&] { host->Page()->OnSetActive(); });
    Check(host->Page()->Find("Level").control->Value() == "4", "the level was read");
    machine::BeginEvent();
    Row("  within an event", 10000, [&] { host->Page()->OnSetActive(); });
    machine::AbandonEvent();
  }
  const std::string show =
      ProgramFolder() + "/marrowen --home " + home + " show \"" + kNode + "\" >/dev/null";
  Row("marrowen show, with the shell's start", 100, [&] { Check(std::system(show.c_str()) == 0, show); });
  fs::remove_all(home);
  return 0;
}
