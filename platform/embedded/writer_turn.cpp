#include "platform/embedded/writer_turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "platform/machine.h"

namespace embedded {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Never destroyed: an event may still end while the process does.
machine::WaitTeller& Teller() {
  static machine::WaitTeller& teller = *new machine::WaitTeller;
  return teller;
}

// The holder has left its number in the file.
std::string HolderOf(int file) {
  char number[16] = "";
  const ssize_t size = pread(file, number, sizeof number - 1, 0);
  if (size <= 0) return "another process";
  return "process " + std::string(number, static_cast<size_t>(size));
}

}  // namespace

bool WriterTurn::Take(const std::string& storeFile) {
  const std::string name = storeFile.substr(0, storeFile.rfind('/') + 1) + "writer";
  if (m_file < 0) m_file = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (m_file < 0) return true;
  constexpr milliseconds kFirstWait(1);
  constexpr milliseconds kLongestWait(20);
  milliseconds told(2000);
  milliseconds wait = kFirstWait;
  const Clock::time_point start = Clock::now();
  while (flock(m_file, LOCK_EX | LOCK_NB) != 0) {
    std::this_thread::sleep_for(wait);
    wait = std::min(2 * wait, kLongestWait);
    const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    if (waited < told) continue;
    told = waited + milliseconds(1000);
    if (Teller() && !Teller()(HolderOf(m_file), static_cast<int>(waited.count() / 1000))) {
      Release();
      return false;
    }
  }
  const std::string number = std::to_string(getpid());
  // Who waits can do without it.
  if (ftruncate(m_file, 0) != 0 || pwrite(m_file, number.data(), number.size(), 0) < 0) return true;
  return true;
}

void WriterTurn::Release() {
  if (m_file >= 0) close(m_file);
  m_file = -1;
}

}  // namespace embedded

namespace machine {

void SetWaitTeller(WaitTeller teller) { embedded::Teller() = std::move(teller); }

}  // namespace machine
