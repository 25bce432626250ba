// Lists of many principals: showing the list, adding one and Apply, and `user add` or `group add` as a whole
// process, for 10,000 and 100,000 users and groups in the store.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "console/host.h"
#include "platform/machine.h"
#include "store/registry_object.h"
#include "window/scripted_front_end.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFew = 10000;
constexpr int kMany = 100000;

void Check(bool good, const std::string& what) {
  if (good) return;
  std::fprintf(stderr, "failed: %s\n", what.c_str());
  std::exit(1);
}

double Milliseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::string NumberedName(const char* prefix, int number) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%06d", prefix, number);
  return name;
}

// Users and groups with some settings, the groups' order the other way round than their names.
int Fill(const std::string& home, int count) {
  Check(static_cast<bool>(machine::OpenHome(home)), "home");
  machine::BeginEvent();
  std::string order;
  for (int i = count - 1; i >= 0; --i) {
    for (const std::string& path :
         {"Users\\" + NumberedName("user", i), "Groups\\CORP?" + NumberedName("group", i)}) {
      CTesselRegObject key(HKEY_LOCAL_MACHINE);
      Check(key.CreateKey((R"(Software\TesselWorks\SSHD\)" + path).c_str()) != 0, path);
      key.SetStringValue("HomeDir", R"(D:\home)");
      key.SetStringValue("DefaultScreenMode", "Full Console");
      key.SetStringValue("CodePage", "65001 Unicode (UTF-8)");
    }
    order += (order.empty() ? "CORP\\" : ",CORP\\") + NumberedName("group", i);
  }
  CTesselRegObject groups(HKEY_LOCAL_MACHINE);
  Check(groups.CreateKey(R"(Software\TesselWorks\SSHD\Groups)") != 0, "Groups");
  Check(groups.SetStringValue("Order", order) == ERROR_SUCCESS, "Order");
  Check(static_cast<bool>(machine::CommitEvent()), "commit");
  return 0;
}

// Shows the list, adds one with these answers, and prints how long both took.
int ShowAndAdd(const std::string& home, const char* node, const char* button, char** answers) {
  Check(static_cast<bool>(machine::OpenHome(home)), "home");
  ScriptedFrontEnd frontEnd;
  SetFrontEnd(&frontEnd);
  for (; *answers != nullptr; ++answers) frontEnd.AddAnswer(*answers);
  std::string why;
  const auto host = Host::Start({}, why);
  Check(host != nullptr, why);
  machine::BeginEvent();
  const double show = Milliseconds([&] { Check(host->Select(node, why), why); });
  const size_t before = host->Page()->Find(node).control->RowCount();
  const double add = Milliseconds([&] {
    const Act act = host->Page()->Press(button);
    Check(act && frontEnd.Refusal().empty() && frontEnd.Messages().empty(), act.refusal + frontEnd.Refusal());
    Check(host->Apply(), "apply");
    Check(static_cast<bool>(machine::CommitEvent()), "commit");
  });
  Check(host->Page()->Find(node).control->RowCount() == before + 1, "one more row");
  std::printf("%f %f\n", show, add);
  SetFrontEnd(nullptr);
  return 0;
}

struct Times {
  double show = 1e9;
  double add = 1e9;
  double process = 1e9;
};

struct List {
  const char* node;
  const char* button;
  const char* command;
  std::vector<std::string> answers;  // of each round
  std::vector<std::string> names;    // each round adds one as a process
};

Times Measure(const List& list, const std::string& self, const std::string& program,
              const std::string& home) {
  Times best;
  for (const std::string& answers : list.answers) {
    const std::string line = self + " add " + home + " '" + list.node + "' '" + list.button + "' " + answers;
    FILE* const child = popen(line.c_str(), "r");
    double show = 0;
    double add = 0;
    Check(child != nullptr && std::fscanf(child, "%lf %lf", &show, &add) == 2 && pclose(child) == 0, line);
    best.show = std::min(best.show, show);
    best.add = std::min(best.add, add);
  }
  for (const std::string& name : list.names) {
    const std::string line =
        program + " --home " + home + " " + list.command + " add '" + name + "' >/dev/null";
    best.process = std::min(best.process, Milliseconds([&] { Check(std::system(line.c_str()) == 0, line); }));
  }
  return best;
}

const List kLists[] = {
    {"Users",
     "New User",
     "user",
     {"'User Name=aa' OK", "'User Name=mm' OK", "'User Name=zz' OK"},
     {"ab", "mn", "zy"}},
    {"Groups",
     "New Group",
     "group",
     {"'Available Groups=Users' '<- Add' OK", "'Available Groups=Guests' '<- Add' OK",
      "'Available Groups=Administrators' '<- Add' OK"},
     {"Backup Operators", "Replicator", "Power Users"}},
};

}  // namespace

// A process has one host in its life, so each measurement is a process: this program with what it is to do.
int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "fill" && argc > 3) return Fill(argv[2], std::atoi(argv[3]));
  if (what == "add" && argc > 4) return ShowAndAdd(argv[2], argv[3], argv[4], argv + 5);
  const std::string self = fs::canonical("/proc/self/exe").string();
  const std::string program = fs::path(self).replace_filename("marrowen").string();
  std::printf("milliseconds, best of 3\n%-8s %8s %10s %16s %18s\n", "list", "stored", "show", "add and Apply",
              "\"add\" as a process");
  std::vector<Times> few;
  for (const int count : {kFew, kMany}) {
    const std::string home = fs::temp_directory_path() /
                             ("marrowen-bench-" + std::to_string(count) + "-" + std::to_string(getpid()));
    const std::string fill = self + " fill " + home + " " + std::to_string(count);
    Check(std::system(fill.c_str()) == 0, fill);
    for (size_t i = 0; i < std::size(kLists); ++i) {
      const Times times = Measure(kLists[i], self, program, home);
      std::printf("%-8s %8d %10.1f %16.1f %18.1f\n", kLists[i].node, count, times.show, times.add,
                  times.process);
      if (count == kFew) {
        few.push_back(times);
      } else {
        std::printf("%-17s %9.1fx %15.1fx %17.1fx\n", "", times.show / few[i].show, times.add / few[i].add,
                    times.process / few[i].process);
      }
      std::fflush(stdout);
    }
    fs::remove_all(home);
  }
  return 0;
}
