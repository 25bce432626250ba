#include "platform/windows/pictures.h"

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

// Names in the order of the registry, which knows no case.
struct NameOrder {
  bool operator()(const std::string& a, const std::string& b) const {
    const std::wstring x = Wide(a);
    const std::wstring y = Wide(b);
    return CompareStringOrdinal(x.data(), static_cast<int>(x.size()), y.data(), static_cast<int>(y.size()),
                                TRUE) == CSTR_LESS_THAN;
  }
};

struct KeyPicture {
  std::map<std::string, StoredValue, NameOrder> values;
  std::map<std::string, std::unique_ptr<KeyPicture>, NameOrder> subkeys;
};

struct Picture {
  std::string computer;
  std::string path;
  std::unique_ptr<KeyPicture> key;  // Null where there was none.
};

std::vector<Picture> all;

void ReadValues(HKEY key, KeyPicture& picture) {
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
    picture.values[name.substr(0, nameSize)] = {type, data.substr(0, size)};
    ++i;
  }
}

std::unique_ptr<KeyPicture> ReadKey(HKEY parent, const std::string& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return nullptr;
  auto picture = std::make_unique<KeyPicture>();
  ReadValues(key, *picture);
  char name[1024];
  DWORD size = sizeof name;
  for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i, size = sizeof name) {
    if (auto below = ReadKey(key, name)) picture->subkeys[name] = std::move(below);
  }
  RegCloseKey(key);
  return picture;
}

std::unique_ptr<KeyPicture> ReadComputersKey(const std::string& computer, const std::string& path) {
  HKEY root = nullptr;
  if (RegConnectRegistryA(computer.empty() ? nullptr : computer.c_str(), HKEY_LOCAL_MACHINE, &root) !=
      ERROR_SUCCESS) {
    return nullptr;
  }
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

class Comparison {
 public:
  Comparison(std::string computer, const std::function<void(const Change&)>& visit)
      : m_computer(std::move(computer)), m_visit(visit) {}

  void Compare(const std::string& path, const KeyPicture* before, const KeyPicture* now) const {
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

bool Covers(const Picture& picture, const std::string& computer, const std::string& path) {
  const std::string with = picture.path + '\\';
  return text::EqualNoCase(picture.computer, computer) &&
         text::EqualNoCase((path + '\\').substr(0, with.size()), with);
}

}  // namespace

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

void DropAll() { all.clear(); }

}  // namespace pictures
