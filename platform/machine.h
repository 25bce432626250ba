#pragma once

// What the host says to the machine that it runs on, beside the operations of Windows: which home, which
// computers, and where an event begins and ends. On Windows the machine is Windows itself: there are no
// embedded computers, each write counts at once, and these operations say so or do nothing.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"

namespace machine {

// Outcome of an operation of this header: code 0, or a Windows error code with one sentence for a person.
struct Outcome {
  DWORD code = 0;
  std::string sentence;
  explicit operator bool() const { return code == 0; }
};

// Opens the home, making it (mode 0700) and its local computer on first use. Empty: $MARROWEN_HOME, else
// $XDG_DATA_HOME/marrowen, else ~/.local/share/marrowen. Until it is called every registry operation opens
// the default home by itself. Fails with one sentence on a damaged store or an unwritable folder, and then
// has changed nothing.
Outcome OpenHome(std::string_view home);

// Closes the home: an event is abandoned and every key handle becomes invalid. The next use opens the default
// home, or OpenHome another one. Nothing on Windows.
void CloseHome();

// One event: all writes from BeginEvent to CommitEvent count together or, after AbandonEvent or a death of
// the process, not at all. Nothing is locked until the first write; a second writer then waits its turn.
// Reads inside an event see its own writes. Events do not nest. CommitEvent fails when the store could not
// take the writes (a full disk), and then none of them counts. On Windows each write counts at once, and
// AbandonEvent puts back what stands otherwise than in the pictures that were kept, whoever wrote it; it
// fails, with a sentence that names them, for keys that could not be put back.
void BeginEvent();
Outcome CommitEvent();
Outcome AbandonEvent();
bool InEvent();
// Whether others see what an event writes before it ends.
bool WritesCountAtOnce();
// Takes the event's turn to write now, before it reads: nobody changes meanwhile what it reads from here on.
// On Windows that binds only those who take the turn as well. Fails where the wait was given up.
Outcome HoldStore();

// Called while a write waits for another process, after two seconds and about each second from then on, with
// who it is as far as that is known ("process 4711"). False gives up: the event can't write. Without one a
// write waits as long as it takes.
using WaitTeller = std::function<bool(const std::string& who, int seconds)>;
void SetWaitTeller(WaitTeller teller);

// A sentence once something was read that is not as it was written; nothing is written from then on. Empty as
// long as all is well, and on Windows.
std::string Damage();

// The home's store; a home that this process has open is closed. A check reads all of it. A backup is a file
// of its own in the home's folder "backups", of which the newest five are kept, made of a sound store only;
// `file` gets its path, or gives it. RestoreHome puts a sound backup, the newest one where `file` is empty,
// in the place of the store, which is kept beside it; processes that have the home open store nothing more.
Outcome CheckHome(std::string_view home);
Outcome BackUpHome(std::string_view home, std::string& file);
Outcome RestoreHome(std::string_view home, std::string& file);

// A value as it is stored.
struct StoredValue {
  DWORD type = REG_NONE;
  std::string data;
  bool operator==(const StoredValue&) const = default;
};

// A value, or a key itself, that is not as it was before the event.
struct Change {
  std::string computer;  // empty for the local one
  std::string key;       // from its hive on, spelled as it is stored: "HKEY_LOCAL_MACHINE\Software\..."
  bool isKey = false;    // the key itself came or went
  std::string name;      // of the value; empty for the key's default value
  // Nothing where it was not there. Of a key: empty where it was.
  std::optional<StoredValue> before;
  std::optional<StoredValue> after;
};

// What the event at hand has changed so far, compared with what stood there before it: what was written as it
// was before, or put back, is no change. Keys in order of their paths, the local computer's first; the coming
// or going of a key stands before its values, and these in order of their names. `visit` may read the
// registry, not write it. Nothing outside an event. Windows spells keys as this program has opened them.
void ForEachChange(const std::function<void(const Change& change)>& visit);

// The keys that the event has read and that others have changed since, from their hives on; those of another
// computer begin with its name, as "\\srv1\HKEY_LOCAL_MACHINE\...". Known from the event's first write to its
// end; empty where the machine can't tell.
std::vector<std::string> ChangedByOthers();

// For a console that shows settings long before it writes them. From RememberReads on the keys that events
// read can be kept in mind: KeepInMind does so at an event's end, with those that it has written itself, and
// leaves those that were kept before as they were where the first reading counts, since edits wait that began
// with it. ChangedSinceShown are the keys of which the event at hand has changed or removed something, and
// others have changed them since they were kept in mind. AcceptChanges takes those that ChangedSinceShown has
// told last as shown as they are now. Windows does not hear of reads: NoteRead tells of them, there, as a key
// under HKEY_LOCAL_MACHINE.
void RememberReads();
void NoteRead(const std::string& computer, const std::string& path);
void KeepInMind(bool firstCounts);
std::vector<std::string> ChangedSinceShown();
// Those changes of the event at hand, under these keys, by which others lose something: what stood there
// before is not what was shown. Of a key with very many values each of its changes.
void ForEachConflict(const std::function<void(const Change& change)>& visit);
void AcceptChanges();

// The process waits now, for a person or for its end, and holds nothing that keeps others from reusing what
// they free. Front ends call it before they wait.
void GoIdle();

// The embedded computers beside the local one, in order of their names. A name is 1 to 63 letters, digits,
// "-", "_" and "."; not "." or "..". Names compare without case. A computer keeps the code page of its texts
// for ever; AddComputer fails for one that is not known.
Outcome AddComputer(std::string_view name, UINT codePage = CP_UTF8);
Outcome RemoveComputer(std::string_view name);
std::vector<std::string> Computers();

// Makes the named computer, or for an empty name the home's own one, the local one of this process: its
// registry, name, drives and protection. What was opened before is closed. Fails within an event and for a
// name that no computer has.
Outcome StandOn(std::string_view name);

// The name of the computer that StandOn has chosen; empty for the home's own one.
std::string StandsOn();

// From here on this process has the rights of the account and of what every user belongs to, on all embedded
// computers; for the empty name it has all rights, as at its start. Fails for a name that is no account, and
// on Windows, where the rights are those of who runs the process.
Outcome ActAs(const std::string& account);

}  // namespace machine
