#pragma once

// The store of a home: one LMDB environment in HOME/registry that holds the registries of all its computers.
// Its users see operations (Reading, Writing) and the tables. All of it runs on one thread.
//
// The tables, with the machine's byte order except where order matters:
//   keys      parent (32 bits, big-endian), folded name -> identifier
//   records   identifier (64 bits) -> KeyRecord, name, class; under 0 the next identifier
//   names     key << 32 | hash of the value's name (64 bits) -> sequences of the values with that hash
//   values    key << 32 | sequence (64 bits) -> ValueHeader, name, data
//   security  number (64 bits) -> references (32 bits), self-relative descriptor
// Behind the data of each entry stands a checksum (32 bits) over table, key and data, which those who read it
// through Transaction do not see.
// Key 1 is the home; its children are the computers, and their children the roots "MACHINE" and "USER".

#include <lmdb.h>

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/embedded/status.h"
#include "platform/machine.h"

namespace embedded {

using KeyId = uint32_t;
constexpr KeyId kHomeKey = 1;

enum Table { kKeys, kRecords, kNames, kValues, kSecurity, kTables };

struct KeyRecord {
  KeyId parent = 0;
  uint32_t redirects = 0;      // 1: the 32-bit view of this key is its child WOW6432Node.
  uint64_t security = 0;       // Number of its descriptor.
  uint64_t last_write = 0;     // As a FILETIME.
  uint32_t next_sequence = 0;  // Of the next new value.
  uint32_t values = 0;
  uint32_t subkeys = 0;
  uint32_t generation = 0;  // Counts the values and subkeys that came and went.
  uint32_t name_size = 0;
  uint32_t class_size = 0;
};

struct KeyInfo {
  KeyRecord record;
  std::string_view name;
  std::string_view class_name;
};

// The checksum of an entry. It mixes eight bytes at a time: an entry has few, and each reading pays for it.
inline uint32_t SumOf(Table table, const MDB_val& key, std::string_view data) {
  constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;
  uint64_t sum = kFactor * (static_cast<uint64_t>(table) + 1) ^ data.size();
  // Both halves of a product, so that the upper bits of a word count as the lower ones do.
  const auto mix = [&sum](uint64_t word) {
    const __uint128_t product = static_cast<__uint128_t>(sum ^ word) * kFactor;
    sum = static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
  };
  const auto mixAll = [&mix](const char* bytes, size_t size) {
    uint64_t word = 0;
    for (; size >= sizeof word; size -= sizeof word, bytes += sizeof word) {
      std::memcpy(&word, bytes, sizeof word);
      mix(word);
    }
    word = 0;
    if (size > 0) std::memcpy(&word, bytes, size);
    mix(word);
  };
  mixAll(static_cast<const char*>(key.mv_data), key.mv_size);
  mixAll(data.data(), data.size());
  return static_cast<uint32_t>(sum ^ sum >> 32);
}

// Takes the checksum off the data; false where it is not that of the entry.
inline bool TakeSum(Table table, const MDB_val& key, MDB_val* data) {
  uint32_t sum;
  if (data->mv_size < sizeof sum) return false;
  data->mv_size -= sizeof sum;
  const std::string_view bytes(static_cast<const char*>(data->mv_data), data->mv_size);
  std::memcpy(&sum, bytes.data() + bytes.size(), sizeof sum);
  return sum == SumOf(table, key, bytes);
}

// A transaction with one cursor a table. Texts and bytes that it gives live until the next write or its end.
// The operations give LMDB's codes. Those that an enumeration repeats are inline: they are most of its time.
class Transaction {
 public:
  // MDB_CORRUPTED for an entry without its checksum, which is then known as damage (machine::Damage).
  int Get(Table table, MDB_val key, MDB_val* data) { return Move(table, MDB_SET, &key, data); }
  int Move(Table table, MDB_cursor_op how, MDB_val* key, MDB_val* data) {
    m_uses[table] = ++last_use;
    if (m_cursors[table] == nullptr) {
      const int result = OpenCursor(table);
      if (result != 0) return result;
    }
    const int result = mdb_cursor_get(m_cursors[table], key, data, how);
    if (result != 0 || !sums || TakeSum(table, *key, data)) return result;
    damaged = true;
    return MDB_CORRUPTED;
  }
  // With MDB_RESERVE the caller fills the place that `data` gets, and seals it then.
  int Put(Table table, MDB_val key, MDB_val* data, unsigned flags = 0);
  static void Seal(Table table, MDB_val key, const MDB_val& data);
  int DeleteHere(Table table);  // The entry at the table's cursor.
  int Delete(Table table, MDB_val key);

  // Changes with every use of the table's cursor: while it stays, the cursor stands where it was left.
  uint64_t CursorUse(Table table) const { return m_uses[table]; }
  // A walk that has left the last entry of one key stands at the first of another, which is often the next
  // one wanted.
  void LeftFor(Table table, KeyId key) { m_leftFor[table] = {key, m_uses[table]}; }
  bool StandsAtFirstOf(Table table, KeyId key) const {
    return m_leftFor[table].key == key && m_leftFor[table].use == m_uses[table];
  }
  // Changes when a value or key came or went, here or in another process.
  static uint64_t Stamp() { return stamp; }
  static void Changed() { ++stamp; }
  // Identifiers from this one on were given by the write transaction that is open, if one is.
  static constexpr KeyId kNoneMade = ~KeyId{0};
  static inline KeyId made_from = kNoneMade;
  // Whether entries carry checksums, and whether one was found that does not fit.
  static inline bool sums = true;
  static inline bool damaged = false;

  int Load(KeyId id, KeyInfo& info);
  // The record of a key for changing; it is written when another is edited, or at the end. Null with the
  // code in *result when there is none.
  KeyRecord* Edit(KeyId id, int* result);
  int Add(KeyId id, const KeyInfo& info);
  int Remove(KeyId id);
  int NewId(KeyId* id);
  int Flush();

  MDB_txn* handle = nullptr;

  void Begun();         // The cursors begin anew with the transaction,
  void Ended();         // and LMDB frees those of a write transaction with it.
  void CloseCursors();  // Those of a reading one are kept for the next.

 private:
  int OpenCursor(Table table);

  static inline uint64_t stamp = 1;
  static inline uint64_t last_use = 0;
  std::array<MDB_cursor*, kTables> m_cursors{};
  std::array<MDB_cursor*, kTables> m_kept{};  // Null or usable again after renewal.
  std::array<uint64_t, kTables> m_uses{};
  struct Left {
    KeyId key = 0;
    uint64_t use = 0;
  };
  std::array<Left, kTables> m_leftFor{};

  struct Edited {
    KeyId id = 0;
    bool dirty = false;
    KeyRecord record;
    std::string texts;  // Name and class.
  } m_edited;
};

// The hold of one operation on the store. Within an event it is the event's transaction; outside, the
// operation's own.
class Reading {
 public:
  Reading() : txn(held) {
    if (txn == nullptr) Begin();
  }
  ~Reading() {
    if (m_counted) End();
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  // The transaction that the event under way holds; null when it must be asked for.
  static inline Transaction* held = nullptr;

  Transaction* txn;
  LONG status = 0;  // Not 0: there is no transaction.

 private:
  void Begin();
  static void End();
  bool m_counted = false;
};

class Writing {
 public:
  Writing();
  ~Writing();
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
  // Ends the operation: outside an event its writes are committed when `result` is 0, and dropped otherwise.
  LONG Finish(LONG result);

  LONG status = 0;
  Transaction* txn = nullptr;

 private:
  bool m_finished = false;
};

// The state before the writes of the event under way, and the one that it makes. Null where it has written
// nothing.
class EventStates {
 public:
  EventStates();
  ~EventStates();
  EventStates(const EventStates&) = delete;
  EventStates& operator=(const EventStates&) = delete;

  Transaction* before = nullptr;
  Transaction* now = nullptr;
  KeyId made_until = 0;  // The identifier after the last one that was given.
};

// The open home and the folder of a computer in it (drives/, keys), by the computer's name; empty is the
// local one. Both end without a slash. The folder is there already. An unknown name gives an empty text.
std::string HomeFolder();
std::string ComputerFolder(std::string_view computer);

// Small records of a computer that are not part of its registry (states of services, accounts), by a name
// such as "service/Spooler". They take part in events as registry values do. GetRecord gives nothing where
// there is no record; PutRecord returns 0 or a Windows error code.
std::optional<std::string> GetRecord(std::string_view computer, std::string_view name);
LONG PutRecord(std::string_view computer, std::string_view name, std::string_view bytes);

inline MDB_val AsValue(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }
inline std::string_view AsText(const MDB_val& value) {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

// A 64-bit number as a table's key.
class NumberKey {
 public:
  explicit NumberKey(uint64_t number) : m_number(number) {}
  operator MDB_val() { return {sizeof m_number, &m_number}; }  // NOLINT: stands for the key itself

 private:
  uint64_t m_number;
};

}  // namespace embedded
