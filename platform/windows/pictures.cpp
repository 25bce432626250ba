#define REGISTRY_CALLS_AS_THEY_ARE
#include "platform/windows/pictures.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <ranges>
#include <set>

namespace pictures {

namespace {

using machine::Change;
using machine::StoredValue;

std::wstring Wide(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), size)));
  return wide;
}

bool IsAscii(const std::string& text) {
  return std::ranges::all_of(text, [](char c) { return (c & 0x80) == 0; });
}

// As the registry compares names, without case. A backslash comes before all else, so that a key comes before
// those below it, and these before its neighbours.
bool Less(const std::string& a, const std::string& b) {
  if (IsAscii(a) && IsAscii(b)) {
    const auto weight = [](char c) { return c == '\\' ? '\1' : c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; };
    return std::ranges::lexicographical_compare(a, b, {}, weight, weight);
  }
  std::wstring x = Wide(a);
  std::wstring y = Wide(b);
  for (std::wstring* wide : {&x, &y}) std::ranges::replace(*wide, L'\\', L'\1');
  return CompareStringOrdinal(x.data(), static_cast<int>(x.size()), y.data(), static_cast<int>(y.size()),
                              TRUE) == CSTR_LESS_THAN;
}

struct KeyPicture {
  bool there = false;
  bool unreadable = false;  // it is there, and nothing more is known of it
  bool written = false;     // by this program, since then, and not only made
  bool secured = false;     // by this program, since then, with another access list
  std::map<std::string, StoredValue, NameOrder> values;
  std::vector<std::string> order;  // of the values' names, as they are listed
  std::string accessList;          // a self-relative descriptor; empty where it can't be read
};

// The connections to computers.
class Roots {
 public:
  ~Roots() { Close(); }
  HKEY Of(const std::string& computer) {
    HKEY& root = m_roots[computer];
    if (root == nullptr)
      RegConnectRegistryA(computer.empty() ? nullptr : computer.c_str(), HKEY_LOCAL_MACHINE, &root);
    return root;
  }
  void Close() {
    for (const auto& [computer, root] : m_roots) {
      if (root != nullptr) RegCloseKey(root);
    }
    m_roots.clear();
  }

 private:
  std::map<std::string, HKEY> m_roots;
};

struct Kept {
  bool on = false;
  Roots roots;
  std::map<Place, KeyPicture> keys;
  std::set<Place> trees;  // with all below them
};
Kept kept;

std::string Shown(const Place& place) { return "HKEY_LOCAL_MACHINE\\" + place.path; }

Place Below(const Place& place, const std::string& name) {
  return {place.computer, place.path + '\\' + name};
}

LONG OpenKey(const Place& place, HKEY& key) {
  const HKEY root = RootOf(place.computer);
  if (root == nullptr) return ERROR_BAD_NETPATH;
  return RegOpenKeyExA(root, place.path.c_str(), 0, KEY_READ, &key);
}

std::string ReadAccessList(HKEY key) {
  std::string descriptor(1024, '\0');
  auto size = static_cast<DWORD>(descriptor.size());
  LONG status = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
  descriptor.resize(size);
  if (status == ERROR_INSUFFICIENT_BUFFER)
    status = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
  return status == ERROR_SUCCESS ? descriptor : "";
}

KeyPicture ReadKey(const Place& place) {
  KeyPicture picture;
  HKEY key = nullptr;
  const LONG status = OpenKey(place, key);
  picture.there = status != ERROR_FILE_NOT_FOUND;
  picture.unreadable = picture.there && status != ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return picture;
  ForEachValue(key, [&picture](const std::string& name, StoredValue value) {
    picture.order.push_back(name);
    picture.values[name] = std::move(value);
  });
  picture.accessList = ReadAccessList(key);
  RegCloseKey(key);
  return picture;
}

std::vector<std::string> SubkeysOf(const Place& place) {
  std::vector<std::string> names;
  HKEY key = nullptr;
  if (OpenKey(place, key) != ERROR_SUCCESS) return names;
  ForEachSubkey(key, [&names](const std::string& name) { names.push_back(name); });
  RegCloseKey(key);
  return names;
}

void KeepBelow(const Place& place) {
  KeepKey(place);
  for (const std::string& name : SubkeysOf(place)) KeepBelow(Below(place, name));
}

// What stands below a tree and was not kept with it has come since.
void KnowWhatCameBelow(const Place& place) {
  for (const std::string& name : SubkeysOf(place)) {
    const Place below = Below(place, name);
    kept.keys.try_emplace(below);
    KnowWhatCameBelow(below);
  }
}

// Calls use(name, before, now) for each name of either map, in their order; null for what one has not.
template <typename Map, typename Use>
void ForBoth(const Map& before, const Map& now, Use use) {
  const auto less = before.key_comp();
  auto old = before.begin();
  auto young = now.begin();
  while (old != before.end() || young != now.end()) {
    const bool took = young == now.end() || (old != before.end() && !less(young->first, old->first));
    const bool found = old == before.end() || (young != now.end() && !less(old->first, young->first));
    use(found ? young->first : old->first, took ? &old->second : nullptr, found ? &young->second : nullptr);
    if (took) ++old;
    if (found) ++young;
  }
}

void Compare(const Place& place, const KeyPicture& before, const KeyPicture& now,
             const std::function<void(const Change&)>& visit) {
  if (before.unreadable || now.unreadable) return;
  const auto key = [](const KeyPicture& picture) {
    return picture.there ? std::optional<StoredValue>(std::in_place) : std::nullopt;
  };
  if (before.there != now.there) visit({place.computer, Shown(place), true, "", key(before), key(now)});
  ForBoth(
      before.values, now.values, [&](const std::string& name, const StoredValue* was, const StoredValue* is) {
        if (was != nullptr && is != nullptr && *was == *is) return;
        visit({place.computer, Shown(place), false, name, was != nullptr ? std::optional(*was) : std::nullopt,
               is != nullptr ? std::optional(*is) : std::nullopt});
      });
}

class Restoration {
 public:
  // A key that the event has made, without others below it. One that only others have written is theirs.
  void Remove(const Place& place, const KeyPicture& before) {
    if (!before.written && !ReadKey(place).values.empty()) return;
    const HKEY root = RootOf(place.computer);
    const LONG status = root == nullptr ? ERROR_BAD_NETPATH : RegDeleteKeyExA(root, place.path.c_str(), 0, 0);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) m_left.push_back(Shown(place));
  }

  void PutBack(const Place& place, const KeyPicture& before) {
    const KeyPicture now = ReadKey(place);
    if (before.unreadable && now.there) return;
    if (before.unreadable || now.unreadable) {
      m_left.push_back(Shown(place));
      return;
    }
    const HKEY root = RootOf(place.computer);
    // Somebody's export may have ended meanwhile, and closed what it had opened.
    const bool relisted = before.secured && before.accessList != now.accessList;
    if (!now.there || relisted) PutBackAccess(root, place, before);
    if (now.there && before.values == now.values) return;
    HKEY key = nullptr;
    if (RegCreateKeyExA(root, place.path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
      m_left.push_back(Shown(place));
      return;
    }
    if (!PutBackValues(key, before, now)) m_left.push_back(Shown(place));
    RegCloseKey(key);
  }

  std::vector<std::string> Left() && { return std::move(m_left); }

 private:
  void PutBackAccess(HKEY root, const Place& place, const KeyPicture& before) {
    HKEY key = nullptr;
    if (before.accessList.empty()) return;
    std::string descriptor = before.accessList;
    const bool done = RegCreateKeyExA(root, place.path.c_str(), 0, nullptr, 0, WRITE_DAC, nullptr, &key,
                                      nullptr) == ERROR_SUCCESS &&
                      RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data()) == ERROR_SUCCESS;
    if (key != nullptr) RegCloseKey(key);
    if (!done) m_left.push_back(Shown(place) + " (its access list)");
  }

  // A value that is made anew comes last: those that came after it are made anew behind it.
  static bool PutBackValues(HKEY key, const KeyPicture& before, const KeyPicture& now) {
    bool done = true;
    for (const auto& [name, value] : now.values) {
      if (before.values.find(name) == before.values.end())
        done &= RegDeleteValueA(key, name.c_str()) == ERROR_SUCCESS;
    }
    bool anew = false;
    for (const std::string& name : before.order) {
      const StoredValue& value = before.values.at(name);
      const auto is = now.values.find(name);
      anew |= is == now.values.end() || is->first != name;
      if (!anew && is->second == value) continue;
      if (anew && is != now.values.end()) RegDeleteValueA(key, name.c_str());
      done &=
          RegSetValueExA(key, name.c_str(), 0, value.type, reinterpret_cast<const BYTE*>(value.data.data()),
                         static_cast<DWORD>(value.data.size())) == ERROR_SUCCESS;
    }
    return done;
  }

  std::vector<std::string> m_left;
};

}  // namespace

bool NameOrder::operator()(const std::string& a, const std::string& b) const { return Less(a, b); }

bool Place::operator<(const Place& other) const {
  if (Less(computer, other.computer) || Less(other.computer, computer)) return Less(computer, other.computer);
  return Less(path, other.path);
}

Place PlaceOn(const char* machine, const std::string& path) {
  return {machine != nullptr ? machine + std::strspn(machine, "\\") : "", path};
}

HKEY RootOf(const std::string& computer) { return kept.roots.Of(computer); }

void ForEachValue(HKEY key, const std::function<void(const std::string& name, StoredValue value)>& visit) {
  // A name has at most 16383 units, which are up to three bytes each.
  std::string name(3 * 16384, '\0');
  std::string data(4096, '\0');
  for (DWORD i = 0;;) {
    auto nameSize = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    const LONG status = RegEnumValueA(key, i, name.data(), &nameSize, nullptr, &type,
                                      reinterpret_cast<BYTE*>(data.data()), &size);
    if (status == ERROR_MORE_DATA) {
      data.resize(2 * data.size());
      continue;
    }
    if (status != ERROR_SUCCESS) return;
    visit(name.substr(0, nameSize), {type, data.substr(0, size)});
    ++i;
  }
}

void ForEachSubkey(HKEY key, const std::function<void(const std::string& name)>& visit) {
  char name[1024];
  DWORD size = sizeof name;
  for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i, size = sizeof name) {
    visit(name);
  }
}

void Start() {
  Stop();
  kept.on = true;
}

void Stop() {
  kept.on = false;
  kept.keys.clear();
  kept.trees.clear();
  kept.roots.Close();
}

void KeepKey(const Place& place) {
  if (!kept.on) return;
  auto found = kept.keys.find(place);
  if (found == kept.keys.end()) found = kept.keys.emplace(place, ReadKey(place)).first;
  found->second.written = true;
}

void KeepAccess(const Place& place) {
  KeepKey(place);
  if (kept.on) kept.keys.at(place).secured = true;
}

void KeepCreation(const Place& place) {
  Place missing = place;
  while (kept.on && !missing.path.empty() && !kept.keys.contains(missing)) {
    HKEY key = nullptr;
    const LONG status = OpenKey(missing, key);
    if (status == ERROR_SUCCESS) RegCloseKey(key);
    if (status != ERROR_FILE_NOT_FOUND) return;
    kept.keys.try_emplace(missing);
    const size_t above = missing.path.rfind('\\');
    missing.path.resize(above == std::string::npos ? 0 : above);
  }
}

void KeepTree(const Place& place) {
  if (!kept.on) return;
  KeepBelow(place);
  kept.trees.insert(place);
}

void ForEachChange(const std::function<void(const Change& change)>& visit) {
  for (const Place& tree : kept.trees) KnowWhatCameBelow(tree);
  for (const auto& [place, before] : kept.keys) Compare(place, before, ReadKey(place), visit);
}

std::vector<std::string> PutBack() {
  for (const Place& tree : kept.trees) KnowWhatCameBelow(tree);
  Restoration restoration;
  for (const auto& [place, before] : std::views::reverse(kept.keys)) {
    if (!before.there) restoration.Remove(place, before);
  }
  for (const auto& [place, before] : kept.keys) {
    if (before.there) restoration.PutBack(place, before);
  }
  Stop();
  return std::move(restoration).Left();
}

}  // namespace pictures
