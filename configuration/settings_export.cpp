#include "configuration/settings_export.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>

#include "configuration/cached_records.h"
#include "configuration/value_text.h"

namespace {

constexpr const char* kAskAboutCachedKeys =
    "Do you want to export cached authentication keys? The export file will contain passwords in clear "
    "text.\r\n"
    "Please make sure you have full permissions to the registry key HKLM\\SOFTWARE\\TesselWorks\\SSHD.";

constexpr int kKeysPerTurn = 50;

// Keys visited by every export of the process.
int walkCounter = 0;

// `info` is null for a key that can't be queried.
LSTATUS ReadValues(HKEY key, const KeyInfo* info, std::vector<ValueEntry>& entries);

class ExportWalk {
 public:
  // `path` is where the walk begins, for those who are told of it.
  ExportWalk(XmlWriter& writer, bool compact, const CStringList* pairs, const EngineCallbacks& ui,
             CString path)
      : m_writer(writer), m_compact(compact), m_pairs(pairs), m_ui(ui), m_path(std::move(path)) {}

  // `entropy` is null outside PAD.
  int Tree(const CString& keyName, HKEY key, const CString* entropy);

 private:
  bool CutShort();
  void Values(HKEY key, const KeyInfo& info, const CString* entropy, XmlElement& element);
  void Value(const ValueEntry& entry, XmlElement& element);
  void Subkeys(HKEY key, const KeyInfo& info, const CString& name, const CString* entropy);
  void Check(LSTATUS status) const {
    if (status != ERROR_SUCCESS && m_ui.unreadable) m_ui.unreadable(m_path, status);
  }

  XmlWriter& m_writer;
  bool m_compact;
  const CStringList* m_pairs;
  const EngineCallbacks& m_ui;
  CString m_path;
  CString m_line;
  bool m_ended = false;
};

bool ExportWalk::CutShort() {
  if (walkCounter % kKeysPerTurn != 0 || !m_ui.turn) return false;
  const Turn turn = m_ui.turn(walkCounter);
  m_ended = turn == Turn::End;
  return turn != Turn::GoOn;
}

int ExportWalk::Tree(const CString& keyName, HKEY key, const CString* entropy) {
  if (m_ended) return 0;
  if (entropy == nullptr && IsPadName(keyName) && !m_ui.Ask(kAskAboutCachedKeys)) return 0;
  KeyInfo info;
  if (const LSTATUS status = QueryKeyInfo(key, info); status != ERROR_SUCCESS) return Check(status), 0;
  const CString name = SubstituteTokens(XmlEscape(keyName), m_pairs);
  XmlElement element(m_compact ? name : "k");
  const bool named = !name.empty();
  // What the counts say decides, also where every value will be skipped.
  const bool hasContents = info.subkeys > 0 || (!m_compact && info.values > 0);
  if (named && !m_compact) {
    element.SetAttribute("name", name);
    hasContents ? element.WriteStart(m_writer, 1, true, true) : element.WriteEmpty(m_writer, 1, true, true);
  }
  if (CutShort()) return 0;
  ++walkCounter;
  Values(key, info, entropy, element);
  if (named && m_compact) {
    hasContents ? element.WriteStart(m_writer, 1, true, true) : element.WriteEmpty(m_writer, 1, true, true);
  }
  Subkeys(key, info, name, entropy);
  if (named && hasContents) element.WriteEnd(m_writer, -1, true, true);
  return 1;
}

void ExportWalk::Values(HKEY key, const KeyInfo& info, const CString* entropy, XmlElement& element) {
  std::vector<ValueEntry> entries;
  Check(ReadValues(key, &info, entries));
  for (ValueEntry& entry : entries) {
    if (entropy != nullptr) {
      const auto sealed = ParseRegValue(entry.value, entry.type);
      auto clear = sealed ? ReadCachedRecord(*sealed, entry.name, *entropy) : std::nullopt;
      if (clear) entry.value = std::move(*clear);
    } else {
      entry.value = SubstituteTokens(std::move(entry.value), m_pairs);
      if (entry.name == kDefaultName || entry.value == kValueNotSet) continue;
    }
    Value(entry, element);
  }
}

void ExportWalk::Value(const ValueEntry& entry, XmlElement& element) {
  if (m_compact) {
    element.SetAttribute(XmlEscape(entry.name), XmlEscape(entry.value));
    return;
  }
  // As XmlElement::WriteEmpty does, but into one line that is used again: a file can have millions of them.
  m_line.assign(static_cast<size_t>(m_writer.indent) + 1, ' ');
  AppendValueElement(m_line, entry);
  m_line += "\r\n";
  m_writer.Write(m_line);
}

void ExportWalk::Subkeys(HKEY key, const KeyInfo& info, const CString& name, const CString* entropy) {
  const bool isPad = entropy == nullptr && IsPadName(name);
  const size_t own = m_path.size();
  const auto enter = [&](const CString& subkeyName) { m_path += (own == 0 ? "" : "\\") + subkeyName; };
  Check(ForEachSubkey(
      key, info,
      [&](const CString& subkeyName, HKEY subkey) {
        enter(subkeyName);
        Tree(subkeyName, subkey, isPad ? &subkeyName : entropy);
        m_path.resize(own);
      },
      [&](const CString& subkeyName, LSTATUS status) {
        enter(subkeyName);
        Check(status);
        m_path.resize(own);
      }));
}

// Moves the names that overtake a "(Default)" behind the last one; gives where the free part begins.
std::vector<ValueEntry>::iterator SettleDefaults(std::vector<ValueEntry>& entries) {
  const auto last = std::find_if(entries.rbegin(), entries.rend(),
                                 [](const ValueEntry& entry) { return IsDefaultName(entry.name); });
  return std::stable_partition(entries.begin(), last.base(), [](const ValueEntry& entry) {
    return text::CompareNoCase(entry.name, kDefaultName) <= 0;
  });
}

// Sorts by name without case; equal names keep their order. Small things are moved around in place of the
// entries: the first eight characters, which nearly always decide, and where the entry stands.
void SortByName(std::span<ValueEntry> entries) {
  struct Place {
    uint64_t head;
    size_t index;
  };
  std::vector<Place> places;
  places.reserve(entries.size());
  for (size_t index = 0; index < entries.size(); ++index) {
    uint64_t head = 0;
    const CString& name = entries[index].name;
    for (size_t i = 0; i < sizeof head; ++i) {
      head = head << 8 | static_cast<unsigned char>(i < name.size() ? text::LowerAscii(name[i]) : '\0');
    }
    places.push_back({head, index});
  }
  const auto before = [&](const Place& a, const Place& b) {
    if (a.head != b.head) return a.head < b.head;
    const int order = text::CompareNoCase(entries[a.index].name, entries[b.index].name);
    return order != 0 ? order < 0 : a.index < b.index;
  };
  if (std::is_sorted(places.begin(), places.end(), before)) return;
  std::sort(places.begin(), places.end(), before);
  std::vector<ValueEntry> sorted;
  sorted.reserve(entries.size());
  for (const Place& place : places) sorted.push_back(std::move(entries[place.index]));
  std::move(sorted.begin(), sorted.end(), entries.begin());
}

LSTATUS ReadValues(HKEY key, const KeyInfo* info, std::vector<ValueEntry>& entries) {
  LSTATUS status = ERROR_SUCCESS;
  entries.clear();
  if (info != nullptr) {
    entries.reserve(size_t{info->values == 0xFFFFFFFF ? 0 : info->values} + 1);
    status = ForEachValue(key, *info, [&](std::string_view name, DWORD type, std::span<const BYTE> data) {
      const bool unset = name.empty() && data.empty();
      ValueEntry& entry = entries.emplace_back();
      entry.name = name.empty() ? kDefaultName : name;
      entry.value = unset ? CString(kValueNotSet) : FormatRegValue(type, data);
      entry.type = type;
    });
  }
  SortValueEntries(entries);
  const auto isDefault = [](const ValueEntry& entry) { return entry.name == kDefaultName; };
  if (std::none_of(entries.begin(), entries.end(), isDefault)) {
    entries.insert(entries.begin(), {CString(kDefaultName), CString(kValueNotSet), REG_SZ});
  }
  return status;
}

}  // namespace

int ExportRegistryKey(XmlWriter& writer, bool compact, const CString& path, const CStringList* pairs,
                      const EngineCallbacks& ui) {
  if (path.empty()) return 0;
  const size_t cut = std::min(path.find('\\'), path.size());
  UniqueKey key;
  const LSTATUS opened = OpenHivePath(path.substr(0, cut), path.substr(std::min(cut + 1, path.size())), key);
  if (opened != ERROR_SUCCESS) {
    if (opened != ERROR_FILE_NOT_FOUND && ui.unreadable) ui.unreadable(path, opened);
    return 0;
  }
  CStringList components = text::Split(path, '\\');
  CString last;
  if (compact) {
    last = components.back();
    components.pop_back();
  }
  const auto elementOf = [compact](const CString& component) {
    XmlElement element(compact ? component : "k");
    if (!compact) element.SetAttribute("name", XmlEscape(component));
    return element;
  };
  for (const CString& component : components) elementOf(component).WriteStart(writer, 1, true, true);
  const int result = ExportWalk(writer, compact, pairs, ui, path).Tree(last, key.get(), nullptr);
  std::reverse(components.begin(), components.end());
  for (const CString& component : components) elementOf(component).WriteEnd(writer, -1, true, true);
  return result;
}

int ExportKeyTree(XmlWriter& writer, bool compact, const CString& name, HKEY key, const CStringList* pairs,
                  const EngineCallbacks& ui) {
  return ExportWalk(writer, compact, pairs, ui, name).Tree(name, key, nullptr);
}

int ExportCachedTree(XmlWriter& writer, bool compact, const CString& name, HKEY key, const CStringList* pairs,
                     const CString& entropy, const EngineCallbacks& ui) {
  return ExportWalk(writer, compact, pairs, ui, name).Tree(name, key, &entropy);
}

void ReadSortedValues(HKEY key, std::vector<ValueEntry>& entries) {
  KeyInfo info;
  ReadValues(key, QueryKey(key, info) ? &info : nullptr, entries);
}

void AppendValueElement(CString& out, const ValueEntry& entry) {
  out += "<v name=\"";
  AppendXmlEscaped(out, entry.name);
  out += "\" value=\"";
  AppendXmlEscaped(out, entry.value);
  if (entry.type >= REG_EXPAND_SZ) {
    out += "\" type=\"";
    out += RegTypeName(entry.type);
  }
  out += "\"/>";
}

void SortValueEntries(std::vector<ValueEntry>& entries) {
  const auto free = SettleDefaults(entries);
  for (auto from = entries.begin(); from != free;) {
    const auto fence =
        std::find_if(from, free, [](const ValueEntry& entry) { return IsDefaultName(entry.name); });
    SortByName({from, fence});
    from = fence == free ? free : std::next(fence);
  }
  SortByName({free, entries.end()});
}
