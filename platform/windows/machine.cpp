// On Windows the machine is Windows itself: there is no home, and each write counts at once.

#include "platform/machine.h"

#include <set>

#include "platform/text.h"
#include "platform/windows/pictures.h"
#include "platform/windows/shown_keys.h"

namespace machine {

namespace {

Outcome NoEmbeddedComputers() {
  return {ERROR_NOT_SUPPORTED,
          "There are no embedded computers on Windows: name one of the network instead."};
}

bool inEvent = false;

// The turn to write, of the programs of this kind on this machine. It ends with the process that has it.
class Turn {
 public:
  WaitTeller teller;

  Outcome Take() {
    constexpr DWORD kSecond = 1000;
    constexpr int kSilent = 2;
    if (m_mutex == nullptr) m_mutex = CreateMutexA(nullptr, FALSE, "Global\\MarrowenWritesSettings");
    if (m_mutex == nullptr || m_held) return {};
    for (int seconds = 0; WaitForSingleObject(m_mutex, kSecond) == WAIT_TIMEOUT;) {
      if (++seconds >= kSilent && teller && !teller("another command", seconds))
        return {ERROR_TIMEOUT, "Another command writes settings."};
    }
    m_held = true;
    return {};
  }

  void Release() {
    if (m_held) ReleaseMutex(m_mutex);
    m_held = false;
  }

 private:
  HANDLE m_mutex = nullptr;
  bool m_held = false;
};
Turn turn;

}  // namespace

Outcome OpenHome(std::string_view) { return {}; }
void CloseHome() {}

void BeginEvent() {
  pictures::Start();
  shown_keys::ForgetReads();
  inEvent = true;
}
Outcome CommitEvent() {
  pictures::Stop();
  inEvent = false;
  turn.Release();
  return {};
}
Outcome AbandonEvent() {
  const std::vector<std::string> left = pictures::PutBack();
  CommitEvent();
  if (left.empty()) return {};
  return {ERROR_ACCESS_DENIED,
          "What was written could not be taken back in " + text::Joined(left, ", ") + "."};
}
bool InEvent() { return inEvent; }
bool WritesCountAtOnce() { return true; }
Outcome HoldStore() { return turn.Take(); }
void SetWaitTeller(WaitTeller teller) { turn.teller = std::move(teller); }
std::string Damage() { return {}; }

Outcome CheckHome(std::string_view) { return NoEmbeddedComputers(); }
Outcome BackUpHome(std::string_view, std::string&) { return NoEmbeddedComputers(); }
Outcome RestoreHome(std::string_view, std::string&) { return NoEmbeddedComputers(); }

void ForEachChange(const std::function<void(const Change& change)>& visit) { pictures::ForEachChange(visit); }
std::vector<std::string> ChangedByOthers() { return {}; }
void RememberReads() { shown_keys::Remember(); }
void NoteRead(const std::string& computer, const std::string& path) {
  if (inEvent) shown_keys::NoteRead(computer, path);
}
void KeepInMind(bool firstCounts) {
  if (inEvent) shown_keys::KeepInMind(firstCounts);
}
std::vector<std::string> ChangedSinceShown() {
  std::set<std::string> keys;
  ForEachConflict([&keys](const Change& change) {
    keys.insert((change.computer.empty() ? "" : "\\\\" + change.computer + "\\") + change.key);
  });
  return {keys.begin(), keys.end()};
}
void ForEachConflict(const std::function<void(const Change&)>& visit) { shown_keys::ForEachConflict(visit); }
void AcceptChanges() { shown_keys::Accept(); }
void GoIdle() {}

Outcome AddComputer(std::string_view, UINT) { return NoEmbeddedComputers(); }
Outcome RemoveComputer(std::string_view) { return NoEmbeddedComputers(); }
std::vector<std::string> Computers() { return {}; }
Outcome StandOn(std::string_view name) { return name.empty() ? Outcome{} : NoEmbeddedComputers(); }
std::string StandsOn() { return {}; }
Outcome ActAs(const std::string& account) {
  if (account.empty()) return {};
  return {ERROR_NOT_SUPPORTED, "On Windows a program has the rights of the account that runs it."};
}

}  // namespace machine
