#include "platform/embedded/store.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "platform/embedded/changes.h"
#include "platform/embedded/environment.h"
#include "platform/embedded/homes.h"
#include "platform/embedded/writer_turn.h"

namespace embedded {
namespace {

struct State {
  Environment environment;
  Transaction read;   // Holds a snapshot while `reading`, from one operation or event to the next.
  Transaction write;  // Open during an operation that writes, or from an event's first write to its end.
  bool reading = false;
  bool in_event = false;
  int depth = 0;     // Operations within operations share their transaction.
  LONG refused = 0;  // Why the event can't write; it is not tried again before the next one.
  WriterTurn turn;
  LONG failure = 0;  // Why a write of the open write transaction failed: nothing of it can count.
  size_t snapshot = 0;
  KeyId next_id = 0;                // Of the write transaction; 0 until it is read.
  std::vector<std::string> doomed;  // Folders that go with the write transaction's commit.
};

// Never destroyed: keys may still be used while the process ends.
State& state = *new State;

void EndReading() {
  if (!state.reading) return;
  mdb_txn_reset(state.read.handle);
  state.reading = false;
  Reading::held = nullptr;
}

// Whether there is a newer state than the one that is held.
bool Outdated() {
  MDB_envinfo info;
  mdb_env_info(state.environment.env.get(), &info);
  return info.me_last_txnid != state.snapshot;
}

// Whether an event reads one state. Writers use the pages of an old one again where they cannot know that it
// is read: there each operation reads the newest.
bool EventsKeepTheirState() { return state.in_event && !state.environment.unlocked; }

// An operation, with those within it, reads one state.
LONG BeginReading() {
  if (state.reading) {
    if (EventsKeepTheirState() || state.depth > 0 || !Outdated()) return 0;
    EndReading();
  }
  const int code = mdb_txn_renew(state.read.handle);
  if (code != 0) return Status(code);
  state.reading = true;
  const size_t snapshot = mdb_txn_id(state.read.handle);
  if (snapshot != state.snapshot) Transaction::Changed();
  state.snapshot = snapshot;
  state.read.Begun();
  return 0;
}

// Whether the file that is mapped is still the one at its place.
bool WasReplaced() {
  mdb_filehandle_t file = -1;
  struct stat mapped {};
  struct stat there {};
  if (mdb_env_get_fd(state.environment.env.get(), &file) != 0 || fstat(file, &mapped) != 0) return false;
  return stat(state.environment.file.c_str(), &there) != 0 || there.st_ino != mapped.st_ino ||
         there.st_dev != mapped.st_dev;
}

LONG BeginWriting() {
  if (state.write.handle != nullptr) return 0;
  if (state.refused != 0) return state.refused;
  // A home that is being made lies elsewhere until it is done.
  if (WasReplaced()) return state.refused = ERROR_KEY_DELETED;
  if (!state.turn.Take(state.environment.file)) return state.refused = ERROR_BUSY;
  int dead = 0;
  mdb_reader_check(state.environment.env.get(), &dead);
  KeepDailyCopy(state.environment);
  const int code = mdb_txn_begin(state.environment.env.get(), nullptr, 0, &state.write.handle);
  if (code != 0) {
    state.write.handle = nullptr;
    state.turn.Release();
    return Status(code);
  }
  state.failure = 0;
  state.next_id = 0;
  Transaction::made_from = Transaction::kNoneMade;
  Transaction::Changed();
  state.write.Begun();
  // The event has read from a state that is not the newest when others have written since.
  const bool outdated = state.reading && mdb_txn_id(state.read.handle) + 1 < mdb_txn_id(state.write.handle);
  EndNotesOfReading(outdated ? &state.read : nullptr, &state.write);
  EndReading();
  return 0;
}

// Handles of keys that were made in a transaction that does not count must not come to mean other keys, which
// get the same identifiers later.
void ForgetMadeKeys() {
  if (Transaction::made_from != Transaction::kNoneMade) LoseKeys(Transaction::made_from);
}

void EndWriting() {
  state.write.Ended();
  state.write.handle = nullptr;
  state.turn.Release();
  Reading::held = nullptr;
  state.doomed.clear();
  Transaction::Changed();
}

void AbandonWriting() {
  if (state.write.handle == nullptr) return;
  mdb_txn_abort(state.write.handle);
  EndWriting();
  ForgetMadeKeys();
}

// LMDB tells of a write that came short, which a full disk mostly means, as of any other failure.
bool DiskIsFull() {
  constexpr unsigned long kRoom = 1 << 20;
  mdb_filehandle_t file = -1;
  struct statvfs disk;
  return mdb_env_get_fd(state.environment.env.get(), &file) == 0 && fstatvfs(file, &disk) == 0 &&
         disk.f_bavail * disk.f_frsize < kRoom;
}

LONG CommitWriting() {
  if (state.write.handle == nullptr) return 0;
  LONG status = Transaction::damaged ? ERROR_REGISTRY_CORRUPT : state.failure;
  if (status == 0) status = Status(state.write.Flush());
  if (status != 0) {
    AbandonWriting();
    return status;
  }
  const int result = mdb_txn_commit(state.write.handle);
  status = result == EIO && DiskIsFull() ? ERROR_DISK_FULL : Status(result);
  std::error_code ignored;
  for (const std::string& folder : state.doomed) {
    if (status == 0) std::filesystem::remove_all(folder, ignored);
  }
  EndWriting();
  if (status != 0) ForgetMadeKeys();
  return status;
}

void Fail(int lmdb) {
  state.failure = Status(lmdb);
  Reading::held = nullptr;
}

LONG Ready() { return state.environment.env ? ERROR_SUCCESS : OpenDefaultHome(); }

}  // namespace

// The transaction.

int Transaction::OpenCursor(Table table) {
  const int result = m_kept[table] != nullptr
                         ? mdb_cursor_renew(handle, m_kept[table])
                         : mdb_cursor_open(handle, state.environment.tables[table], &m_kept[table]);
  if (result == 0) m_cursors[table] = m_kept[table];
  return result;
}

int Transaction::Put(Table table, MDB_val key, MDB_val* data, unsigned flags) {
  m_uses[table] = ++last_use;
  int result = m_cursors[table] == nullptr ? OpenCursor(table) : 0;
  const MDB_val given = *data;
  MDB_val place = {given.mv_size + (sums ? sizeof(uint32_t) : 0), nullptr};
  if (result == 0) result = mdb_cursor_put(m_cursors[table], &key, &place, flags | MDB_RESERVE);
  if (result != 0) {
    Fail(result);
    return result;
  }
  data->mv_data = place.mv_data;
  if ((flags & MDB_RESERVE) != 0) return 0;
  if (given.mv_size > 0) std::memcpy(place.mv_data, given.mv_data, given.mv_size);
  Seal(table, key, *data);
  return 0;
}

void Transaction::Seal(Table table, MDB_val key, const MDB_val& data) {
  if (!sums) return;
  const uint32_t sum = SumOf(table, key, AsText(data));
  std::memcpy(static_cast<char*>(data.mv_data) + data.mv_size, &sum, sizeof sum);
}

int Transaction::DeleteHere(Table table) {
  m_uses[table] = ++last_use;
  const int result = mdb_cursor_del(m_cursors[table], 0);
  if (result != 0) Fail(result);
  return result;
}

int Transaction::Delete(Table table, MDB_val key) {
  MDB_val data{};
  const int result = Get(table, key, &data);
  return result == 0 ? DeleteHere(table) : result;
}

void Transaction::Begun() {
  m_cursors = {};
  m_uses.fill(++last_use);
}

void Transaction::Ended() {
  m_cursors = {};
  m_kept = {};
  m_edited = {};
}

void Transaction::CloseCursors() {
  for (MDB_cursor* cursor : m_kept) {
    if (cursor != nullptr) mdb_cursor_close(cursor);
  }
  Ended();
}

int Transaction::Load(KeyId id, KeyInfo& info) {
  std::string_view texts;
  if (m_edited.id == id && id != 0) {
    info.record = m_edited.record;
    texts = m_edited.texts;
  } else {
    MDB_val data{};
    const int result = Get(kRecords, NumberKey(id), &data);
    if (result != 0) return result;
    if (data.mv_size < sizeof info.record) return MDB_CORRUPTED;
    std::memcpy(&info.record, data.mv_data, sizeof info.record);
    texts = AsText(data).substr(sizeof info.record);
  }
  info.name = texts.substr(0, info.record.name_size);
  info.class_name = texts.substr(info.name.size());
  return 0;
}

KeyRecord* Transaction::Edit(KeyId id, int* result) {
  if (m_edited.id == id) {
    m_edited.dirty = true;
    return &m_edited.record;
  }
  *result = Flush();
  KeyInfo info;
  if (*result == 0) *result = Load(id, info);
  if (*result != 0) return nullptr;
  m_edited.id = id;
  m_edited.dirty = true;
  m_edited.record = info.record;
  m_edited.texts.assign(info.name);
  m_edited.texts.append(info.class_name);
  return &m_edited.record;
}

int Transaction::Add(KeyId id, const KeyInfo& info) {
  const int result = Flush();
  m_edited.id = id;
  m_edited.dirty = true;
  m_edited.record = info.record;
  m_edited.record.name_size = static_cast<uint32_t>(info.name.size());
  m_edited.record.class_size = static_cast<uint32_t>(info.class_name.size());
  m_edited.texts.assign(info.name);
  m_edited.texts.append(info.class_name);
  return result;
}

int Transaction::Remove(KeyId id) {
  const int result = Flush();
  m_edited = {};
  return result != 0 ? result : Delete(kRecords, NumberKey(id));
}

int Transaction::NewId(KeyId* id) {
  if (state.next_id == 0) {
    MDB_val data{};
    const int result = Get(kRecords, NumberKey(0), &data);
    if (result != 0 && result != MDB_NOTFOUND) return result;
    if (result == 0 && data.mv_size != sizeof state.next_id) return MDB_CORRUPTED;
    state.next_id = kHomeKey;
    if (result == 0) std::memcpy(&state.next_id, data.mv_data, sizeof state.next_id);
  }
  if (state.next_id == ~KeyId{0}) return MDB_MAP_FULL;
  *id = state.next_id++;
  if (made_from == kNoneMade) made_from = *id;
  return 0;
}

int Transaction::Flush() {
  int result = 0;
  if (m_edited.dirty) {
    MDB_val data = {sizeof m_edited.record + m_edited.texts.size(), nullptr};
    result = Put(kRecords, NumberKey(m_edited.id), &data, MDB_RESERVE);
    if (result == 0) {
      std::memcpy(data.mv_data, &m_edited.record, sizeof m_edited.record);
      std::memcpy(static_cast<char*>(data.mv_data) + sizeof m_edited.record, m_edited.texts.data(),
                  m_edited.texts.size());
      Seal(kRecords, NumberKey(m_edited.id), data);
      m_edited.dirty = false;
    }
  }
  if (result == 0 && made_from != kNoneMade) {
    MDB_val data = {sizeof state.next_id, &state.next_id};
    result = Put(kRecords, NumberKey(0), &data);
  }
  return result;
}

// Operations.

void Reading::Begin() {
  status = Ready();
  if (status != 0) return;
  if (state.write.handle != nullptr) {
    txn = &state.write;
    status = state.failure;
  } else {
    txn = &state.read;
    status = BeginReading();
  }
  ++state.depth;
  m_counted = true;
  if (EventsKeepTheirState() && status == 0) held = txn;
}

void Reading::End() { --state.depth; }

Writing::Writing() {
  status = Ready();
  if (status != 0) return;
  status = BeginWriting();
  if (status == 0) status = state.failure;
  if (state.write.handle == nullptr) return;
  txn = &state.write;
  ++state.depth;
}

LONG Writing::Finish(LONG result) {
  if (txn == nullptr || m_finished) return result;
  m_finished = true;
  if (--state.depth > 0 || state.in_event) return result;
  if (result == 0) return CommitWriting();
  AbandonWriting();
  return result;
}

Writing::~Writing() { Finish(ERROR_OPERATION_ABORTED); }

EventStates::EventStates() {
  if (!state.in_event || state.write.handle == nullptr || state.failure != 0 || BeginReading() != 0) return;
  before = &state.read;
  now = &state.write;
  made_until = state.next_id;
}

EventStates::~EventStates() {
  if (before != nullptr) EndReading();
}

// The environment in use.

machine::Outcome UseEnvironment(Environment environment) {
  MDB_txn* read = nullptr;
  const int code = mdb_txn_begin(environment.env.get(), nullptr, MDB_RDONLY, &read);
  if (code != 0) {
    return {static_cast<DWORD>(Status(code)),
            "The registry can't be read: " + std::string(mdb_strerror(code)) + "."};
  }
  mdb_txn_reset(read);
  state.environment = std::move(environment);
  Transaction::sums = state.environment.sums;
  Transaction::damaged = false;
  state.read.handle = read;
  state.snapshot = 0;
  Transaction::Changed();
  return {};
}

void CloseEnvironmentInUse() {
  if (!state.environment.env) return;
  AbandonWriting();
  EndReading();
  state.in_event = false;
  EndNotes();
  state.read.CloseCursors();
  mdb_txn_abort(state.read.handle);
  state.read.handle = nullptr;
  state.environment = {};
}

bool EnvironmentInUse() { return state.environment.env != nullptr; }
void RemoveAtCommit(std::string folder) { state.doomed.push_back(std::move(folder)); }

}  // namespace embedded

// Events.

namespace machine {

using embedded::state;

void BeginEvent() {
  embedded::EndReading();
  state.refused = 0;
  embedded::BeginNotes();
  state.in_event = true;
}
bool InEvent() { return state.in_event; }
bool WritesCountAtOnce() { return false; }

Outcome HoldStore() {
  const embedded::Writing now;
  if (now.status == 0) return {};
  return {static_cast<DWORD>(now.status), "The registry can't be written."};
}

Outcome CommitEvent() {
  state.in_event = false;
  embedded::EndNotes();
  embedded::EndReading();
  LONG status = embedded::CommitWriting();
  if (status == 0) status = state.refused;
  state.refused = 0;
  if (status == 0) return {};
  if (status == ERROR_DISK_FULL) return {ERROR_DISK_FULL, "Nothing was stored: the disk is full."};
  if (status == ERROR_REGISTRY_CORRUPT) return {ERROR_REGISTRY_CORRUPT, "Nothing was stored. " + Damage()};
  if (status == ERROR_BUSY) {
    return {ERROR_BUSY, "Nothing was stored: another program is writing settings, and did not end."};
  }
  if (status == ERROR_KEY_DELETED) {
    return {ERROR_KEY_DELETED,
            "Nothing was stored: the home was replaced or removed meanwhile. Start the console anew."};
  }
  return {static_cast<DWORD>(status),
          "Nothing was stored: the registry can't be written (error " + std::to_string(status) + ")."};
}

Outcome AbandonEvent() {
  state.in_event = false;
  state.refused = 0;
  embedded::EndNotes();
  embedded::EndReading();
  embedded::AbandonWriting();
  return {};
}

std::string Damage() {
  if (!embedded::Transaction::damaged) return {};
  return "The registry \"" + state.environment.file + "\" is damaged: what it holds can't be trusted. " +
         embedded::HowToRestore(embedded::HomeFolder());
}

// A snapshot keeps every page of its state from being used again. That of an event is needed to its end.
void GoIdle() {
  if (!state.in_event && state.depth == 0) embedded::EndReading();
}

}  // namespace machine
