#include "platform/windows/pictures.h"

#include <algorithm>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "platform/text.h"

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

struct KeyPicture {
  bool unreadable = false;  // it is there, and nothing more is known of it
  std::map<std::string, StoredValue, NameOrder> values;
  std::vector<std::string> order;  // of the values' names, as they are listed
  std::string accessList;          // a self-relative descriptor; empty where it can't be read
  std::map<std::string, std::unique_ptr<KeyPicture>, NameOrder> subkeys;
};

struct Picture {
  std::string computer;
  std::string path;
  std::unique_ptr<KeyPicture> key;  // Null where there was none.
};

std::vector<Picture> all;

std::string ReadAccessList(HKEY key) {
  std::string descriptor(1024, '\0');
  auto size = static_cast<DWORD>(descriptor.size());
  LONG status = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
  descriptor.resize(size);
  if (status == ERROR_INSUFFICIENT_BUFFER)
    status = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
  return status == ERROR_SUCCESS ? descriptor : "";
}

std::unique_ptr<KeyPicture> ReadKey(HKEY parent, const std::string& path) {
  HKEY key = nullptr;
  const LONG status = RegOpenKeyExA(parent, path.c_str(), 0, KEY_READ, &key);
  if (status == ERROR_FILE_NOT_FOUND) return nullptr;
  auto picture = std::make_unique<KeyPicture>();
  picture->unreadable = status != ERROR_SUCCESS;
  if (picture->unreadable) return picture;
  ForEachValue(key, [&picture](const std::string& name, StoredValue value) {
    picture->order.push_back(name);
    picture->values[name] = std::move(value);
  });
  picture->accessList = ReadAccessList(key);
  ForEachSubkey(key, [&](const std::string& name) {
    if (auto below = ReadKey(key, name)) picture->subkeys[name] = std::move(below);
  });
  RegCloseKey(key);
  return picture;
}

std::unique_ptr<KeyPicture> ReadComputersKey(const std::string& computer, const std::string& path) {
  const HKEY root = RootOf(computer);
  if (root == nullptr) return nullptr;
  auto picture = ReadKey(root, path);
  RegCloseKey(root);
  return picture;
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

bool IsUnreadable(const KeyPicture* key) { return key != nullptr && key->unreadable; }

class Comparison {
 public:
  Comparison(std::string computer, const std::function<void(const Change&)>& visit)
      : m_computer(std::move(computer)), m_visit(visit) {}

  void Compare(const std::string& path, const KeyPicture* before, const KeyPicture* now) const {
    if (IsUnreadable(before) || IsUnreadable(now)) return;
    if ((before == nullptr) != (now == nullptr)) {
      m_visit({m_computer, path, true, "",
               before != nullptr ? std::optional<StoredValue>(std::in_place) : std::nullopt,
               now != nullptr ? std::optional<StoredValue>(std::in_place) : std::nullopt});
    }
    static const KeyPicture empty;
    const KeyPicture& old = before != nullptr ? *before : empty;
    const KeyPicture& young = now != nullptr ? *now : empty;
    ForBoth(old.values, young.values,
            [&](const std::string& name, const StoredValue* was, const StoredValue* is) {
              if (was != nullptr && is != nullptr && was->type == is->type && was->data == is->data) return;
              m_visit({m_computer, path, false, name, was != nullptr ? std::optional(*was) : std::nullopt,
                       is != nullptr ? std::optional(*is) : std::nullopt});
            });
    ForBoth(old.subkeys, young.subkeys, [&](const std::string& name, const auto* was, const auto* is) {
      Compare(path + '\\' + name, was != nullptr ? was->get() : nullptr, is != nullptr ? is->get() : nullptr);
    });
  }

 private:
  std::string m_computer;
  const std::function<void(const Change&)>& m_visit;
};

class Restoration {
 public:
  // `parent` is open; `path` is what a person is told.
  void PutBack(HKEY parent, const std::string& name, const std::string& path, const KeyPicture* before,
               const KeyPicture* now) {
    if (IsUnreadable(before) && now != nullptr) return;
    if (IsUnreadable(before) || IsUnreadable(now)) {
      m_left.push_back(path);
      return;
    }
    if (before == nullptr) {
      if (now != nullptr && RegDeleteTreeA(parent, name.c_str()) != ERROR_SUCCESS) m_left.push_back(path);
      return;
    }
    static const KeyPicture empty;
    const KeyPicture& young = now != nullptr ? *now : empty;
    if (now == nullptr || before->accessList != young.accessList) PutBackAccess(parent, name, path, *before);
    HKEY key = nullptr;
    const bool same = now != nullptr && SameValues(*before, young);
    if (RegCreateKeyExA(parent, name.c_str(), 0, nullptr, 0, same ? KEY_READ : KEY_READ | KEY_WRITE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS) {
      m_left.push_back(path);
      return;
    }
    if (!same && !PutBackValues(key, *before, young)) m_left.push_back(path);
    ForBoth(before->subkeys, young.subkeys, [&](const std::string& below, const auto* was, const auto* is) {
      PutBack(key, below, path + '\\' + below, was != nullptr ? was->get() : nullptr,
              is != nullptr ? is->get() : nullptr);
    });
    RegCloseKey(key);
  }

  std::vector<std::string> Left() && { return std::move(m_left); }

 private:
  static bool Same(const StoredValue& a, const StoredValue& b) {
    return a.type == b.type && a.data == b.data;
  }

  static bool SameValues(const KeyPicture& a, const KeyPicture& b) {
    return std::equal(
        a.values.begin(), a.values.end(), b.values.begin(), b.values.end(),
        [](const auto& x, const auto& y) { return x.first == y.first && Same(x.second, y.second); });
  }

  void PutBackAccess(HKEY parent, const std::string& name, const std::string& path,
                     const KeyPicture& before) {
    HKEY key = nullptr;
    if (before.accessList.empty()) return;
    std::string descriptor = before.accessList;
    const bool done = RegCreateKeyExA(parent, name.c_str(), 0, nullptr, 0, WRITE_DAC, nullptr, &key,
                                      nullptr) == ERROR_SUCCESS &&
                      RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data()) == ERROR_SUCCESS;
    if (key != nullptr) RegCloseKey(key);
    if (!done) m_left.push_back(path + " (its access list)");
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
      if (!anew && Same(is->second, value)) continue;
      if (anew && is != now.values.end()) RegDeleteValueA(key, name.c_str());
      done &=
          RegSetValueExA(key, name.c_str(), 0, value.type, reinterpret_cast<const BYTE*>(value.data.data()),
                         static_cast<DWORD>(value.data.size())) == ERROR_SUCCESS;
    }
    return done;
  }

  std::vector<std::string> m_left;
};

bool Covers(const Picture& picture, const std::string& computer, const std::string& path) {
  const std::string with = picture.path + '\\';
  return text::EqualNoCase(picture.computer, computer) &&
         text::EqualNoCase((path + '\\').substr(0, with.size()), with);
}

}  // namespace

bool NameOrder::operator()(const std::string& a, const std::string& b) const {
  const std::wstring x = Wide(a);
  const std::wstring y = Wide(b);
  return CompareStringOrdinal(x.data(), static_cast<int>(x.size()), y.data(), static_cast<int>(y.size()),
                              TRUE) == CSTR_LESS_THAN;
}

HKEY RootOf(const std::string& computer) {
  HKEY root = nullptr;
  RegConnectRegistryA(computer.empty() ? nullptr : computer.c_str(), HKEY_LOCAL_MACHINE, &root);
  return root;
}

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

void Keep(const std::string& computer, const std::string& path) {
  for (const Picture& picture : all) {
    if (Covers(picture, computer, path)) return;
  }
  Picture picture{computer, path, ReadComputersKey(computer, path)};
  all.push_back(std::move(picture));
  std::sort(all.begin(), all.end(), [](const Picture& a, const Picture& b) {
    const int order = text::CompareNoCase(a.computer, b.computer);
    return order != 0 ? order < 0 : NameOrder()(a.path, b.path);
  });
}

void ForEachChange(const std::function<void(const Change& change)>& visit) {
  for (const Picture& picture : all) {
    const auto now = ReadComputersKey(picture.computer, picture.path);
    Comparison(picture.computer, visit)
        .Compare("HKEY_LOCAL_MACHINE\\" + picture.path, picture.key.get(), now.get());
  }
}

std::vector<std::string> PutBack() {
  Restoration restoration;
  for (const Picture& picture : all) {
    const std::string path = "HKEY_LOCAL_MACHINE\\" + picture.path;
    const HKEY root = RootOf(picture.computer);
    const auto now = root == nullptr ? nullptr : ReadKey(root, picture.path);
    restoration.PutBack(root, picture.path, path, picture.key.get(), now.get());
    if (root != nullptr) RegCloseKey(root);
  }
  return std::move(restoration).Left();
}

void DropAll() { all.clear(); }

}  // namespace pictures
