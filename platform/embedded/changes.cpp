#include "platform/embedded/changes.h"

#include <memory>
#include <set>
#include <span>
#include <unordered_map>

#include "platform/embedded/answers.h"
#include "platform/embedded/computer_keys.h"
#include "platform/embedded/names.h"
#include "platform/embedded/values.h"
#include "platform/text.h"

namespace embedded {
namespace {

using machine::Change;
using machine::StoredValue;

// Where a key stands. `place` orders keys as the registry does: by the folded names from the computer on,
// of which none holds a zero byte.
struct KeyPath {
  int depth = 0;  // 0: the home, 1: a computer, 2: one of its roots.
  std::string computer;
  std::string key;
  std::string place;
};

KeyPath Below(const KeyPath& above, std::string_view name) {
  KeyPath path = above;
  ++path.depth;
  if (path.depth == 1) {
    if (!SameName(name, StandsOn())) path.computer = name;
    name = path.computer;
  } else if (path.depth == 2) {
    path.key = name == "USER" ? "HKEY_USERS" : "HKEY_LOCAL_MACHINE";
  } else {
    path.key += '\\';
    path.key += name;
  }
  path.place += '\0';
  path.place += FoldedName(name).Text();
  return path;
}

KeyPath PathOf(Transaction& txn, KeyId key) {
  KeyInfo info;
  if (key == kHomeKey || LoadKey(txn, key, info) != 0) return {};
  const std::string name(info.name);
  return Below(PathOf(txn, info.record.parent), name);
}

std::string InCodePage(const std::string& text) { return IsPlain(text) ? text : Utf8ToAcp(text); }

// The subkeys of a key, one after the other in their order; of key 0 none.
class Subkeys {
 public:
  Subkeys(Transaction& txn, KeyId key) : m_txn(txn), m_key(key) { Next(); }
  void Next() {
    id = 0;
    if (m_key == 0 || SubkeyAt(m_txn, m_key, m_index++, m_at, &id) != 0) return;
    KeyInfo info;
    if (LoadKey(m_txn, id, info) != 0) id = 0;
    name = info.name;
    folded = FoldedName(name).Text();
  }

  KeyId id = 0;  // 0 at the end.
  std::string name;
  std::string folded;

 private:
  Transaction& m_txn;
  KeyId m_key;
  DWORD m_index = 0;
  Position m_at;
};

// A key with something changed: it came, went, became another of the same name, or stayed with the noted
// values touched.
struct Touched {
  KeyPath path;
  KeyId before = 0;
  KeyId now = 0;
  std::span<const uint64_t> values{};
};

class Comparison {
 public:
  Comparison(const EventStates& states, const std::function<void(const Change&)>& visit)
      : m_before(*states.before), m_now(*states.now), m_madeUntil(states.made_until), m_visit(visit) {}

  void Run() {
    std::vector<Touched> all = TouchedKeys();
    std::ranges::stable_sort(
        all, {}, [](const Touched& one) -> const auto& { return one.path.place; });
    for (size_t i = 0; i < all.size(); ++i) {
      Touched& one = all[i];
      if (i + 1 < all.size() && all[i + 1].path.place == one.path.place) {  // Deleted, and made again.
        one.now = all[i + 1].now;
        one.path = std::move(all[++i].path);
      }
      if (one.before != one.now) {
        CompareTrees(one.path, one.before, one.now);
      } else if (one.path.depth > 1) {
        CompareNoted(one);
      }
    }
  }

 private:
  // Of trees that came or went, the highest key alone. Those that went come before those that came.
  std::vector<Touched> TouchedKeys() {
    std::vector<Touched> all;
    KeyInfo info;
    const std::vector<KeyId>& removed = notes->removed.Sorted();
    for (const KeyId key : removed) {
      if (LoadKey(m_before, key, info) != 0 || std::ranges::binary_search(removed, info.record.parent)) {
        continue;
      }
      all.push_back({PathOf(m_before, key), key, 0});
    }
    for (KeyId key = Transaction::made_from; key < m_madeUntil; ++key) {
      if (LoadKey(m_now, key, info) != 0 || info.record.parent >= Transaction::made_from) continue;
      all.push_back({PathOf(m_now, key), 0, key});
    }
    const std::span<const uint64_t> values = notes->values.Sorted();
    for (size_t i = 0, end = 0; i < values.size(); i = end) {
      const auto key = static_cast<KeyId>(values[i] >> 32);
      while (end < values.size() && values[end] >> 32 == key) ++end;
      if (std::ranges::binary_search(removed, key)) continue;
      all.push_back({PathOf(m_before, key), key, key, values.subspan(i, end - i)});
    }
    return all;
  }

  void CompareTrees(const KeyPath& path, KeyId before, KeyId now) {
    if (path.depth > 1) {
      Change change{path.computer, InCodePage(path.key), true, "", std::nullopt, std::nullopt};
      if (before != 0) change.before.emplace();
      if (now != 0) change.after.emplace();
      if (before == 0 || now == 0) m_visit(change);
      std::vector<std::string> names;
      AddNames(m_before, before, names);
      AddNames(m_now, now, names);
      CompareValues(path, before, now, names);
    }
    Subkeys old(m_before, before);
    Subkeys young(m_now, now);
    while (old.id != 0 || young.id != 0) {
      const int order = old.id == 0 ? 1 : young.id == 0 ? -1 : old.folded.compare(young.folded);
      CompareTrees(Below(path, order < 0 ? old.name : young.name), order <= 0 ? old.id : 0,
                   order >= 0 ? young.id : 0);
      if (order <= 0) old.Next();
      if (order >= 0) young.Next();
    }
  }

  void CompareNoted(const Touched& one) {
    std::vector<std::string> names;
    for (const uint64_t place : one.values) {
      NamesAt(m_before, place, names);
      NamesAt(m_now, place, names);
    }
    CompareValues(one.path, one.before, one.now, names);
  }

  static void AddNames(Transaction& txn, KeyId key, std::vector<std::string>& names) {
    Position at;
    Value value;
    for (DWORD i = 0; key != 0 && ValueAt(txn, key, i, at, value) == 0; ++i) names.emplace_back(value.name);
  }

  void CompareValues(const KeyPath& path, KeyId before, KeyId now, const std::vector<std::string>& names) {
    std::vector<std::pair<std::string, const std::string*>> ordered;
    ordered.reserve(names.size());
    for (const std::string& name : names) ordered.emplace_back(FoldedName(name).Text(), &name);
    std::ranges::sort(
        ordered, {}, [](const auto& one) -> const auto& { return one.first; });
    Change change{path.computer, InCodePage(path.key), false, "", std::nullopt, std::nullopt};
    const std::string* last = nullptr;
    for (const auto& [folded, name] : ordered) {
      if (last != nullptr && SameName(*last, *name)) continue;
      last = name;
      std::string spelling;
      change.before = Stored(m_before, before, *name, spelling);
      change.after = Stored(m_now, now, *name, spelling);
      if (change.before == change.after) continue;
      change.name = InCodePage(spelling);
      m_visit(change);
    }
  }

  static std::optional<StoredValue> Stored(Transaction& txn, KeyId key, const std::string& name,
                                           std::string& spelling) {
    Value value;
    if (key == 0 || FindValue(txn, key, name, value) != 0) return std::nullopt;
    spelling = value.name;
    return StoredValue{value.type, std::string(value.data)};
  }

  Transaction& m_before;
  Transaction& m_now;
  KeyId m_madeUntil;
  const std::function<void(const Change&)>& m_visit;
};

// The paths of the keys whose records are not the same in both states, in order.
std::vector<std::string> Differing(const std::vector<KeyId>& keys, Transaction& before, Transaction& now) {
  std::vector<KeyPath> paths;
  for (const KeyId key : keys) {
    MDB_val old{};
    MDB_val young{};
    if (before.Get(kRecords, NumberKey(key), &old) != 0) continue;
    if (now.Get(kRecords, NumberKey(key), &young) == 0 && AsText(old) == AsText(young)) continue;
    KeyPath path = PathOf(before, key);
    if (path.depth > 1) paths.push_back(std::move(path));
  }
  std::ranges::sort(paths, {}, &KeyPath::place);
  std::vector<std::string> texts;
  texts.reserve(paths.size());
  for (const KeyPath& path : paths) {
    texts.push_back((path.computer.empty() ? "" : "\\\\" + path.computer + "\\") + InCodePage(path.key));
  }
  return texts;
}

// Never destroyed: an event may still end while the process does.
std::unique_ptr<EventNotes>& NotesOfEvent() {
  static auto& held = *new std::unique_ptr<EventNotes>;
  return held;
}

// How a key was when it was read to be shown.
struct Shown {
  uint32_t record = 0;                        // the checksum of its record
  bool all = false;                           // `values` are all that it had
  std::unordered_map<size_t, size_t> values;  // by hashes of their names, hashes of what they held
};

struct Memory {
  bool on = false;
  std::unordered_map<KeyId, Shown> keys;
  std::set<KeyId> told;  // as changed since then
};
Memory& Remembered() {
  static Memory& memory = *new Memory;
  return memory;
}

// 0 for a key that is not there.
uint32_t SumOfRecord(Transaction& txn, KeyId key) {
  KeyInfo info;
  if (LoadKey(txn, key, info) != 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(&info.record), sizeof info.record);
  return SumOf(kRecords, NumberKey(key), bytes) | 1;
}

bool DiffersFromMemory(Transaction& before, KeyId key) {
  const auto known = Remembered().keys.find(key);
  return known != Remembered().keys.end() && known->second.record != SumOfRecord(before, key);
}

size_t HashOfName(std::string_view name) { return std::hash<std::string>()(text::Lower(name)); }

size_t HashOfValue(DWORD type, std::string_view data) {
  return std::hash<std::string_view>()(data) * 31 + type;
}

Shown ShownNow(Transaction& txn, KeyId key) {
  constexpr DWORD kMostValues = 256;  // of keys with more only the record is kept
  Shown shown{SumOfRecord(txn, key), false, {}};
  Position at;
  Value value;
  for (DWORD i = 0; i < kMostValues; ++i) {
    const LONG status = ValueAt(txn, key, i, at, value);
    shown.all = status == ERROR_NO_MORE_ITEMS;
    if (status != ERROR_SUCCESS) break;
    shown.values[HashOfName(InCodePage(std::string(value.name)))] = HashOfValue(value.type, value.data);
  }
  return shown;
}

// Whether what stood there before the change is something else than was shown.
bool LosesSomething(const Change& change, const Shown& shown) {
  if (change.isKey || !shown.all) return true;
  const auto value = shown.values.find(HashOfName(change.name));
  if (value == shown.values.end()) return change.before.has_value();
  return !change.before || value->second != HashOfValue(change.before->type, change.before->data);
}

}  // namespace

void BeginNotes() {
  static uint32_t last_event = 0;
  NotesOfEvent() = std::make_unique<EventNotes>();
  notes = NotesOfEvent().get();
  if (++last_event == 0) last_event = 1;
  reading_event = last_event;
}

void EndNotes() {
  NotesOfEvent().reset();
  notes = nullptr;
  reading_event = 0;
}

void EndNotesOfReading(Transaction* before, Transaction* now) {
  if (notes == nullptr) return;
  if (before != nullptr) notes->changed_by_others = Differing(notes->read.Sorted(), *before, *now);
  notes->writes = true;
  if (Remembered().on) {
    notes->readLate = std::move(notes->read);
  } else {
    reading_event = 0;
  }
  notes->read = {};
}

}  // namespace embedded

namespace machine {

void ForEachChange(const std::function<void(const Change& change)>& visit) {
  const embedded::EventStates states;
  if (embedded::notes != nullptr && states.before != nullptr) embedded::Comparison(states, visit).Run();
}

void RememberReads() { embedded::Remembered().on = true; }

void NoteRead(const std::string&, const std::string&) {}

void KeepInMind(bool firstCounts) {
  using namespace embedded;  // NOLINT: as in the rest of this part
  if (notes == nullptr) return;
  std::unordered_map<KeyId, Shown>& known = Remembered().keys;
  std::vector<KeyId> own = notes->removed.Sorted();
  for (const uint64_t place : notes->values.Sorted()) own.push_back(static_cast<KeyId>(place >> 32));
  // What this process writes it knows, but for what others wrote there unseen.
  std::vector<KeyId> unseen;
  {
    const EventStates states;
    for (const KeyId key : own) {
      if (firstCounts && states.before != nullptr && DiffersFromMemory(*states.before, key))
        unseen.push_back(key);
    }
  }
  std::ranges::sort(unseen);
  const Reading read;
  if (read.status != 0) return;
  for (const auto* keys : {&notes->read.Sorted(), &notes->readLate.Sorted()}) {
    for (const KeyId key : *keys) {
      if (!firstCounts || !known.contains(key)) known[key] = ShownNow(*read.txn, key);
    }
  }
  for (const KeyId key : own) {
    if (known.contains(key) && !std::ranges::binary_search(unseen, key)) {
      known[key] = ShownNow(*read.txn, key);
    }
  }
}

std::vector<std::string> ChangedSinceShown() {
  using namespace embedded;  // NOLINT: as in the rest of this part
  std::set<std::string> suspects;
  std::vector<std::string> paths;
  std::set<KeyId>& told = Remembered().told;
  told.clear();
  const EventStates states;
  if (notes == nullptr || states.before == nullptr) return paths;
  const auto name = [&](KeyId key) {
    const KeyPath path = PathOf(*states.before, key);
    return (path.computer.empty() ? "" : "\\\\" + path.computer + "\\") + InCodePage(path.key);
  };
  KeyInfo info;
  const std::vector<KeyId>& removed = notes->removed.Sorted();
  // A key that goes was known if its parent is as it was: it was among the children that were shown.
  std::set<KeyId> parents;
  for (const KeyId key : removed) {
    if (LoadKey(*states.before, key, info) == 0) parents.insert(info.record.parent);
  }
  for (const KeyId parent : parents) {
    const bool goesToo = std::ranges::binary_search(removed, parent);
    if (goesToo || !DiffersFromMemory(*states.before, parent)) continue;
    paths.push_back(name(parent));
    told.insert(parent);
  }
  for (const uint64_t place : notes->values.Sorted()) {
    const auto key = static_cast<KeyId>(place >> 32);
    if (!DiffersFromMemory(*states.before, key)) continue;
    suspects.insert(name(key));
    told.insert(key);
  }
  // To write what stands there already takes nothing from anyone.
  if (suspects.empty()) return paths;
  Comparison(states, [&](const Change& change) {
    const std::string key = (change.computer.empty() ? "" : "\\\\" + change.computer + "\\") + change.key;
    if (!change.isKey && suspects.erase(key) != 0) paths.push_back(key);
  }).Run();
  return paths;
}

void ForEachConflict(const std::function<void(const Change& change)>& visit) {
  using namespace embedded;  // NOLINT: as in the rest of this part
  if (ChangedSinceShown().empty()) return;
  const EventStates states;
  Memory& memory = Remembered();
  std::unordered_map<std::string, const Shown*> told;
  for (const KeyId key : memory.told) {
    const KeyPath path = PathOf(*states.before, key);
    told[path.computer + "\n" + InCodePage(path.key)] = &memory.keys[key];
  }
  Comparison(states, [&](const Change& change) {
    const auto find = [&](const std::string& key) { return told.find(change.computer + "\n" + key); };
    auto shown = find(change.key);
    if (shown == told.end() && change.isKey) shown = find(change.key.substr(0, change.key.rfind('\\')));
    if (shown != told.end() && LosesSomething(change, *shown->second)) visit(change);
  }).Run();
}

void AcceptChanges() {
  using namespace embedded;  // NOLINT: as in the rest of this part
  const Reading read;
  if (read.status != 0) return;
  Memory& memory = Remembered();
  for (const KeyId key : memory.told) memory.keys[key] = ShownNow(*read.txn, key);
  memory.told.clear();
}

std::vector<std::string> ChangedByOthers() {
  return embedded::notes == nullptr ? std::vector<std::string>() : embedded::notes->changed_by_others;
}

}  // namespace machine
