#include "platform/windows/shown_keys.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "platform/windows/pictures.h"

namespace shown_keys {

namespace {

using machine::Change;
using machine::StoredValue;
using pictures::Place;

struct ShownKey {
  std::map<std::string, StoredValue, pictures::NameOrder> values;
  std::set<std::string, pictures::NameOrder> subkeys;
};

struct Memory {
  bool on = false;
  std::set<Place> read;  // in the event at hand
  std::map<Place, ShownKey> keys;
  std::set<Place> told;  // as changed since then
};
Memory memory;

ShownKey ReadNow(const Place& place) {
  ShownKey shown;
  const HKEY root = pictures::RootOf(place.computer);
  if (root == nullptr) return shown;
  HKEY key = nullptr;
  if (RegOpenKeyExA(root, place.path.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    pictures::ForEachValue(
        key, [&shown](const std::string& name, StoredValue value) { shown.values[name] = std::move(value); });
    pictures::ForEachSubkey(key, [&shown](const std::string& name) { shown.subkeys.insert(name); });
    RegCloseKey(key);
  }
  return shown;
}

// Of the key that holds what has changed: a key that came or went is held by the one above it.
Place HolderOf(const Change& change) {
  constexpr std::string_view kHive = "HKEY_LOCAL_MACHINE\\";
  std::string path = change.key.substr(std::min(kHive.size(), change.key.size()));
  if (change.isKey) path.resize(std::min(path.size(), path.rfind('\\')));
  return {change.computer, path};
}

std::string NameOf(const Change& change) {
  return change.isKey ? change.key.substr(change.key.rfind('\\') + 1) : change.name;
}

bool Same(const StoredValue* a, const std::optional<StoredValue>& b) {
  return (a != nullptr) == b.has_value() && (a == nullptr || *a == *b);
}

const StoredValue* ValueOf(const ShownKey& shown, const std::string& name) {
  const auto value = shown.values.find(name);
  return value == shown.values.end() ? nullptr : &value->second;
}

// Whether what stood there before the change is what was shown.
bool WasShown(const ShownKey& shown, const Change& change) {
  const std::string name = NameOf(change);
  return change.isKey ? shown.subkeys.contains(name) == change.before.has_value()
                      : Same(ValueOf(shown, name), change.before);
}

// What this process writes it knows, but for what others wrote there unseen.
void KnowOwn(const Change& change) {
  const auto known = memory.keys.find(HolderOf(change));
  if (known == memory.keys.end() || !WasShown(known->second, change)) return;
  const std::string name = NameOf(change);
  if (change.isKey) {
    change.after ? static_cast<void>(known->second.subkeys.insert(name))
                 : static_cast<void>(known->second.subkeys.erase(name));
  } else if (change.after) {
    known->second.values[name] = *change.after;
  } else {
    known->second.values.erase(name);
  }
}

}  // namespace

void Remember() { memory.on = true; }

void NoteRead(const std::string& computer, const std::string& path) {
  if (memory.on) memory.read.insert(pictures::PlaceOn(computer.c_str(), path));
}

void ForgetReads() { memory.read.clear(); }

void KeepInMind(bool firstCounts) {
  if (!memory.on) return;
  pictures::ForEachChange(KnowOwn);
  for (const Place& place : memory.read) {
    if (!firstCounts || !memory.keys.contains(place)) memory.keys[place] = ReadNow(place);
  }
}

void ForEachConflict(const std::function<void(const Change& change)>& visit) {
  memory.told.clear();
  pictures::ForEachChange([&visit](const Change& change) {
    const Place holder = HolderOf(change);
    const auto known = memory.keys.find(holder);
    if (known == memory.keys.end() || WasShown(known->second, change)) return;
    memory.told.insert(holder);
    visit(change);
  });
}

void Accept() {
  for (const Place& place : memory.told) memory.keys[place] = ReadNow(place);
  memory.told.clear();
}

}  // namespace shown_keys
