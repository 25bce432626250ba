#include "configuration/settings_compare.h"

#include <algorithm>
#include <optional>
#include <set>

#include "configuration/cached_records.h"
#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "configuration/value_text.h"

namespace {

constexpr const char* kCredential = "(cached credential)";

CString Lowered(CString text) {
  std::transform(text.begin(), text.end(), text.begin(), text::LowerAscii);
  return text;
}

std::string_view TextOf(std::span<const BYTE> data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

bool SameData(DWORD type, std::span<const BYTE> a, std::span<const BYTE> b) {
  if (type == REG_SZ || type == REG_EXPAND_SZ) return text::UpToZero(TextOf(a)) == text::UpToZero(TextOf(b));
  if (type == REG_MULTI_SZ) {
    while (!a.empty() && a.back() == 0) a = a.first(a.size() - 1);
    while (!b.empty() && b.back() == 0) b = b.first(b.size() - 1);
  }
  return TextOf(a) == TextOf(b);
}

std::optional<SnapshotValue> ReadValue(HKEY key, const CString& name) {
  if (key == nullptr) return {};
  const char* const registryName = IsDefaultName(name) ? nullptr : name.c_str();
  SnapshotValue value{name, REG_NONE, {}};
  DWORD size = 0;
  if (RegQueryValueExA(key, registryName, nullptr, &value.type, nullptr, &size) != ERROR_SUCCESS) return {};
  value.data.resize(size_t{size} + 1);
  if (RegQueryValueExA(key, registryName, nullptr, &value.type, value.data.data(), &size) != ERROR_SUCCESS)
    return {};
  value.data.resize(size);
  return value;
}

SettingsChange KeyChange(ChangeKind kind, const CString& key) { return {kind, key, {}, {}, {}, 0, 0}; }

// The path, with its hive, of the key that a walk is in.
class PathTarget : public SettingsTarget {
 public:
  bool Open(const CString& hive, const CString& path, size_t depth, UniqueKey& key) override {
    m_paths.push_back(path.empty() ? hive : hive + "\\" + path);
    return depth <= kDeepestKey && Enter(hive, path, key);
  }
  void Leave() override { m_paths.pop_back(); }

 protected:
  virtual bool Enter(const CString& hive, const CString& path, UniqueKey& key) = 0;
  const CString& Path() const { return m_paths.back(); }

 private:
  CStringList m_paths;
};

class PreviewTarget : public PathTarget {
 public:
  PreviewTarget(const CStringList* pairs, const ChangeVisitor& visit) : m_pairs(pairs), m_visit(visit) {}

  bool Store(const KeyFrame& frame, const CString& name, const CString& typeName,
             const CString& text) override {
    SnapshotValue after{name, RegTypeFromName(typeName), {}};
    auto data = ParseRegValue(SubstituteTokens(text, m_pairs), after.type);
    if (!data) return false;
    after.data = std::move(*data);
    if (after.data.empty()) return true;
    const auto before = ReadValue(frame.key.get(), name);
    m_visit(ChangeBetween(Path(), name, before ? &*before : nullptr, &after));
    return true;
  }

  // An import protects anew. Only a text as long as the user's name can be opened again afterwards.
  bool StoreCached(const KeyFrame& frame, const CString& entropy, const CString& name,
                   const CString& text) override {
    SettingsChange change{ChangeKind::Added, Path(), name, {}, kCredential, REG_BINARY, REG_BINARY};
    if (const auto before = ReadValue(frame.key.get(), name)) {
      change.before = kCredential;
      const auto clear = ReadCachedRecord(before->data, name, entropy);
      const bool same = clear == (IsStampName(name) ? entropy : text) && text.size() == entropy.size();
      change.kind = same ? ChangeKind::Same : ChangeKind::Changed;
    }
    m_visit(change);
    return true;
  }

 protected:
  bool Enter(const CString& hive, const CString& path, UniqueKey& key) override {
    const LSTATUS status = OpenHivePath(hive, path, key);
    if (status == ERROR_FILE_NOT_FOUND && m_made.insert(Lowered(Path())).second) {
      m_visit(KeyChange(ChangeKind::Added, Path()));
    }
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
  }

 private:
  const CStringList* m_pairs;
  const ChangeVisitor& m_visit;
  std::set<CString> m_made;
};

class SnapshotTarget : public PathTarget {
 public:
  SnapshotTarget(SettingsSnapshot& snapshot, const CStringList* pairs)
      : m_snapshot(snapshot), m_pairs(pairs) {}

  bool Store(const KeyFrame&, const CString& name, const CString& typeName, const CString& text) override {
    const DWORD type = RegTypeFromName(typeName);
    auto data = ParseRegValue(SubstituteTokens(text, m_pairs), type);
    if (!data) {
      why = "a number that is cut short";
      return false;
    }
    Key().values[Lowered(name)] = {name, type, std::move(*data)};
    return true;
  }
  bool StoreCached(const KeyFrame&, const CString& entropy, const CString& name,
                   const CString& text) override {
    Key().values[Lowered(name)] = {name, REG_BINARY, {text.begin(), text.end()}, true, entropy};
    return true;
  }

  // What ended the walk before the file's end.
  const char* why = "a key that there can't be";

 protected:
  bool Enter(const CString&, const CString&, UniqueKey&) override {
    Key();
    return true;
  }

 private:
  SnapshotKey& Key() {
    SnapshotKey& key = m_snapshot[Lowered(Path())];
    if (key.path.empty()) key.path = Path();
    return key;
  }
  SettingsSnapshot& m_snapshot;
  const CStringList* m_pairs;
};

// Visits all keys of both maps in order: the newer of what they hold, then both, null for what one lacks.
template <typename Map, typename Visit>
void Merge(const Map& a, const Map& b, const Visit& visit) {
  auto left = a.begin();
  auto right = b.begin();
  while (left != a.end() || right != b.end()) {
    if (right == b.end() || (left != a.end() && left->first < right->first)) {
      visit(left->second, &left->second, nullptr);
      ++left;
    } else if (left == a.end() || right->first < left->first) {
      visit(right->second, nullptr, &right->second);
      ++right;
    } else {
      visit(right->second, &left->second, &right->second);
      ++left;
      ++right;
    }
  }
}

// What the reader makes of one element: the innermost key and the value stored last.
class ProbeTarget : public PathTarget {
 public:
  bool Store(const KeyFrame&, const CString& storedName, const CString& storedType,
             const CString& stored) override {
    found = true;
    name = storedName;
    type = RegTypeFromName(storedType);
    text = stored;
    return true;
  }
  bool StoreCached(const KeyFrame&, const CString&, const CString&, const CString&) override { return true; }

  bool found = false;
  CString path;
  CString name;
  DWORD type = REG_NONE;
  CString text;

 protected:
  bool Enter(const CString&, const CString& keyPath, UniqueKey&) override {
    path = keyPath;
    return true;
  }
};

ProbeTarget ReadBack(const CString& element, const CStringList* inward) {
  const CString file = "<k name=\"HKEY_LOCAL_MACHINE\">\r\n" + element + "\r\n</k>";
  ProbeTarget probe;
  PadState pad;
  XmlReader reader(MemorySource(file));
  WalkSettings(reader, {}, inward, pad, probe);
  return probe;
}

// Whether nothing in a text can be taken for anything else on its way: nearly all are so.
bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c <= '~' && c != '&' && c != '\'' && c != '<' && c != '>' && c != '$';
  });
}

CString Shortened(const CString& text) {
  constexpr size_t kShown = 60;
  return text.size() <= kShown ? text : text.substr(0, kShown) + "...";
}

class LossWalk {
 public:
  LossWalk(const SettingsSnapshot& back, const CStringList* outward, const CStringList* inward,
           bool withCredentials, const std::function<void(const SettingsLoss&)>& visit)
      : m_back(back),
        m_outward(outward),
        m_inward(inward),
        m_withCredentials(withCredentials),
        m_visit(visit) {}

  // `entropy` is null outside PAD; `padLevel` counts from 1 in PAD itself.
  void Tree(const CString& path, HKEY key, const CString* entropy, int padLevel);
  // From here on only what is at fault itself is told.
  bool fileIsCutShort = false;

 private:
  void Value(const CString& path, const CString& name, DWORD type, std::span<const BYTE> data,
             const SnapshotValue* back);
  void Record(const CString& path, const CString& name, std::span<const BYTE> data, const CString& entropy,
              const SnapshotValue* back);
  CString WhyNotBack(const ValueEntry& entry, std::span<const BYTE> data) const;
  CString WhyMisread(const ValueEntry& entry) const;

  const SettingsSnapshot& m_back;
  const CStringList* m_outward;
  const CStringList* m_inward;
  bool m_withCredentials;
  const std::function<void(const SettingsLoss&)>& m_visit;
};

constexpr const char* kGoesAstray = "It does not come back: something before it in the file is misread.";

void LossWalk::Tree(const CString& path, HKEY key, const CString* entropy, int padLevel) {
  const auto found = m_back.find(Lowered(path));
  if (found == m_back.end()) {
    const CString name = path.substr(path.rfind('\\') + 1);
    const CString written = SubstituteTokens(XmlEscape(name), m_outward);
    const bool own = ReadBack("<k name=\"" + written + "\">\r\n</k>", m_inward).path != name;
    if (own) {
      m_visit({path, {}, "The key's name does not come back, and what is in the key goes astray."});
    } else if (!fileIsCutShort) {
      m_visit({path, {}, kGoesAstray});
    }
    return;
  }
  const std::map<CString, SnapshotValue>& values = found->second.values;
  const auto backOf = [&values](std::string_view name) {
    const auto value = values.find(Lowered(CString(name)));
    return value == values.end() ? nullptr : &value->second;
  };
  KeyInfo info;
  if (!QueryKey(key, info)) return;
  bool hasDefault = false;
  ForEachValue(key, info, [&](std::string_view valueName, DWORD type, std::span<const BYTE> data) {
    const CString shown(valueName.empty() ? kDefaultName : valueName);
    hasDefault = hasDefault || (valueName.empty() && !data.empty());
    const bool isRecord = (padLevel == 2 && IsDefaultName(shown)) || (padLevel == 3 && IsStampName(shown));
    if (isRecord && (!data.empty() || !valueName.empty())) {
      Record(path, shown, data, *entropy, backOf(shown));
    } else if (entropy == nullptr || !valueName.empty()) {
      Value(path, CString(valueName), type, data, backOf(shown));
    }
  });
  const SnapshotValue* const made = padLevel == 2 && !hasDefault ? backOf(kDefaultName) : nullptr;
  if (made != nullptr) {
    m_visit({path, CString(kDefaultName), "It is not set, and comes back as a credential that says so."});
  }
  ForEachSubkey(key, info, [&](const CString& subkeyName, HKEY subkey) {
    const CString below = path + "\\" + subkeyName;
    if (padLevel == 0 && IsPadName(subkeyName)) {
      if (m_withCredentials) Tree(below, subkey, nullptr, 1);
      return;
    }
    Tree(below, subkey, padLevel == 1 ? &subkeyName : entropy, padLevel == 0 ? 0 : std::min(padLevel + 1, 4));
  });
}

void LossWalk::Value(const CString& path, const CString& name, DWORD type, std::span<const BYTE> data,
                     const SnapshotValue* back) {
  if (name.empty()) {
    // An empty text reads as one that is missing.
    const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
    const bool saysNothing = data.empty() || (isText && text::UpToZero(TextOf(data)).empty());
    if (!saysNothing) m_visit({path, CString(kDefaultName), "The default value of a key is not written."});
    return;
  }
  const bool comesBack = back != nullptr && !back->isCredential && !IsDefaultName(name) &&
                         back->type == type && SameData(type, data, back->data);
  if (comesBack) return;
  const ValueEntry entry{name, SubstituteTokens(FormatRegValue(type, data), m_outward), type};
  CString reason;
  if (name == kDefaultName) {
    reason = "A value with the name of a default value is not written.";
  } else if (IsDefaultName(name)) {
    reason = "It comes back as the default value of its key.";
  } else if (entry.value == kValueNotSet) {
    reason = "A value with the text of one that is not set is not written.";
  } else {
    reason = WhyNotBack(entry, data);
  }
  if (reason.empty() && fileIsCutShort) return;
  m_visit({path, name, reason.empty() ? CString(kGoesAstray) : reason});
}

CString LossWalk::WhyNotBack(const ValueEntry& entry, std::span<const BYTE> data) const {
  if (XmlEscape(entry.value).size() > XmlReader::kLongestToken) {
    return "Its text is longer than the 8 MiB that are read back.";
  }
  const DWORD backType = RegTypeFromName(RegTypeName(entry.type >= REG_EXPAND_SZ ? entry.type : REG_SZ));
  if (backType != entry.type) return "It comes back as " + CString(RegTypeName(backType)) + ".";
  const bool isText = entry.type == REG_SZ || entry.type == REG_EXPAND_SZ;
  if (isText && IsPlain(entry.name) && IsPlain(entry.value)) return {};
  CString element;
  AppendValueElement(element, entry);
  const ProbeTarget back = ReadBack(element, m_inward);
  if (!back.found) return WhyMisread(entry);
  if (back.name != entry.name) return "It comes back under the name \"" + Shortened(back.name) + "\".";
  const auto backData = ParseRegValue(SubstituteTokens(back.text, m_inward), back.type);
  if (!backData) return "It does not come back.";
  if (SameData(entry.type, data, *backData)) return {};
  return "It comes back as \"" + Shortened(FormatRegValue(entry.type, *backData)) + "\".";
}

// One character of the name or text is mostly what the reader stumbles over.
CString LossWalk::WhyMisread(const ValueEntry& entry) const {
  for (const char c : {'\'', '>', '<', '&'}) {
    ValueEntry without = entry;
    std::erase(without.name, c);
    std::erase(without.value, c);
    CString element;
    AppendValueElement(element, without);
    if (ReadBack(element, m_inward).found) {
      return CString("It does not come back: the \"") + c + "\" in it ends what is read.";
    }
  }
  return "It does not come back.";
}

void LossWalk::Record(const CString& path, const CString& name, std::span<const BYTE> data,
                      const CString& entropy, const SnapshotValue* back) {
  const auto clear = ReadCachedRecord(data, name, entropy);
  if (!clear) {
    m_visit({path, name, "It can't be deciphered, and comes back as a credential of its hexadecimal text."});
    return;
  }
  const CString text(back == nullptr ? CString() : CString(back->data.begin(), back->data.end()));
  const bool sameText = back != nullptr && back->isCredential && text == *clear;
  if (sameText && back->entropy == entropy && text.size() == entropy.size()) return;
  CString element;
  AppendValueElement(element, {name, *clear, REG_BINARY});
  const ProbeTarget alone = ReadBack(element, nullptr);
  if (!alone.found || alone.text != *clear) {
    m_visit({path, name, "The credential does not come back as it is."});
  } else if (clear->size() != entropy.size()) {
    m_visit({path, name, "The credential comes back under a protection that no later export can open."});
  } else if (sameText) {
    m_visit({path, name,
             "The credential comes back protected for \"" + Shortened(back->entropy) + "\", not for \"" +
                 Shortened(entropy) + "\"."});
  } else if (!fileIsCutShort) {
    m_visit({path, name, kGoesAstray});
  }
}

}  // namespace

SettingsChange ChangeBetween(const CString& key, const CString& name, const SnapshotValue* before,
                             const SnapshotValue* after) {
  SettingsChange change{ChangeKind::Same, key, name, {}, {}, 0, 0};
  const auto show = [](const SnapshotValue& value) {
    return value.isCredential ? CString(kCredential) : FormatRegValue(value.type, value.data);
  };
  if (before != nullptr) {
    change.before = show(*before);
    change.typeBefore = before->type;
  }
  if (after != nullptr) {
    change.after = show(*after);
    change.typeAfter = after->type;
  }
  if (before == nullptr) {
    change.kind = ChangeKind::Added;
  } else if (after == nullptr) {
    change.kind = ChangeKind::Removed;
  } else if (before->type != after->type || !SameData(after->type, before->data, after->data)) {
    change.kind = ChangeKind::Changed;
  }
  return change;
}

int PreviewImport(XmlReader& reader, const CString& file, const CStringList* pairs,
                  const ChangeVisitor& visit) {
  PreviewTarget target(pairs, visit);
  PadState pad = CurrentPadState();
  return WalkSettings(reader, file, pairs, pad, target);
}

FileError ReadSnapshot(XmlReader& reader, const CString& file, const CStringList* pairs,
                       SettingsSnapshot& snapshot) {
  SnapshotTarget target(snapshot, pairs);
  PadState pad;
  const int whole = WalkSettings(reader, file, pairs, pad, target);
  if (reader.GetFileError()) return reader.GetFileError();
  const CString where = file.empty() ? "The settings" : "The file \"" + file + "\"";
  if (whole == 0)
    return {where + (file.empty() ? " name " : " names ") + target.why + ".", ERROR_INVALID_DATA};
  if (reader.GetErrorText().empty()) return {};
  return {where + ": " + reader.GetErrorText(), ERROR_INVALID_DATA};
}

FileError SnapshotOfStore(std::span<const char* const> paths, const CStringList* pairs,
                          const EngineCallbacks& ui, SettingsSnapshot& snapshot) {
  XmlStringWriter writer;
  XmlElement registry("registry");
  registry.WriteStart(writer, 1, true, true);
  FileError error;
  EngineCallbacks watching = ui;
  watching.unreadable = [&error](const CString& key, LSTATUS status) {
    if (!error) error = {"The key " + key + " can't be read", static_cast<DWORD>(status)};
  };
  for (const char* path : paths) ExportRegistryKey(writer, false, path, pairs, watching);
  registry.WriteEnd(writer, -1, true, true);
  if (error) return error;
  XmlReader reader(MemorySource(writer.GetBuffer()));
  return ReadSnapshot(reader, {}, nullptr, snapshot);
}

void CompareSnapshots(const SettingsSnapshot& before, const SettingsSnapshot& after,
                      const ChangeVisitor& visit) {
  static const std::map<CString, SnapshotValue> nothing;
  Merge(before, after, [&](const SnapshotKey& key, const SnapshotKey* left, const SnapshotKey* right) {
    if (left == nullptr) visit(KeyChange(ChangeKind::Added, key.path));
    if (right == nullptr) visit(KeyChange(ChangeKind::Removed, key.path));
    Merge(left ? left->values : nothing, right ? right->values : nothing,
          [&](const SnapshotValue& value, const SnapshotValue* a, const SnapshotValue* b) {
            visit(ChangeBetween(key.path, value.name, a, b));
          });
  });
}

void FindLosses(XmlReader& reader, const CString& file, std::span<const char* const> paths,
                const CStringList* outward, const CStringList* inward, bool withCredentials,
                const std::function<void(const SettingsLoss& loss)>& visit) {
  SettingsSnapshot back;
  const FileError error = ReadSnapshot(reader, file, inward, back);
  if (error) visit({{}, {}, "An import refuses the whole file. " + error.sentence});
  LossWalk walk(back, outward, inward, withCredentials, visit);
  walk.fileIsCutShort = static_cast<bool>(error);
  for (const CString path : paths) {
    const size_t cut = std::min(path.find('\\'), path.size());
    UniqueKey key;
    const CString below = path.substr(std::min(cut + 1, path.size()));
    if (OpenHivePath(path.substr(0, cut), below, key) == ERROR_SUCCESS)
      walk.Tree(path, key.get(), nullptr, 0);
  }
}
