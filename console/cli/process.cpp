#include "console/cli/process.h"

#include <iostream>

#include "platform/machine.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "platform/embedded/controls.h"

namespace {

void EndBySignal(int signal) {
  embedded::RemoveTemporaryFiles();
  std::signal(signal, SIG_DFL);
  raise(signal);
}

// The store's file is mapped: reading beyond its end, once it was cut short, comes here.
void EndByLostFile(int) {
  constexpr std::string_view kSentence =
      "marrowen: The store's file was cut short or can't be read any more; nothing was stored.\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, kSentence.data(), kSentence.size());
  _exit(1);
}

}  // namespace

void PrepareProcess() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  // A program that takes crashes over a pipe gets them whatever the limit.
  if (const int filter = open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC); filter >= 0) {
    [[maybe_unused]] const ssize_t ignored = write(filter, "0", 1);
    close(filter);
  }
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // What a parent has it ignore, as nohup does, stays ignored.
    if (std::signal(signal, EndBySignal) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
  std::signal(SIGBUS, EndByLostFile);
}
#else
void PrepareProcess() {}
#endif

void TellWaits() {
  machine::SetWaitTeller([](const std::string& who, int seconds) {
    constexpr int kBetween = 10;
    static int told = 0;
    if (told > 0 && seconds < told) told = 0;
    if (told > 0 && seconds - told < kBetween) return true;
    told = seconds;
    std::cerr << "marrowen: Waiting for " << who << ", which holds the store." << std::endl;
    return true;
  });
}
