#include "framework/ordered_list_page.h"

#include <unordered_map>
#include <unordered_set>

#include "framework/name_set.h"
#include "store/places.h"

namespace {

// Those of `names` that stand in the text as a part of it. They are looked up by their length at each place
// of the text, so that the time does not grow with their number.
std::unordered_set<std::string_view> PartsOf(std::string_view text,
                                             const std::vector<std::string_view>& names) {
  std::unordered_map<size_t, std::unordered_set<std::string_view>> byLength;
  for (const std::string_view name : names) byLength[name.size()].insert(name);
  std::unordered_set<std::string_view> parts;
  for (auto& [length, wanted] : byLength) {
    for (size_t at = 0; at + length <= text.size() && !wanted.empty(); ++at) {
      const auto found = wanted.find(text.substr(at, length));
      if (found != wanted.end()) parts.insert(wanted.extract(found));
    }
  }
  return parts;
}

// Drops the keys that the order does not name, and the names of the order that have no key.
void MatchByName(const CStringList& keys, const CString& order, CStringList& tokens, CStringList& names) {
  const NameSet ranks(tokens);
  std::vector<bool> hasKey(tokens.size());
  std::vector<std::string_view> unranked;
  for (const CString& key : keys) {
    if (const size_t rank = ranks.Find(key); rank != NameSet::kNone) {
      hasKey[rank] = true;
    } else {
      unranked.emplace_back(key);
    }
  }
  const auto parts = PartsOf(order, unranked);
  for (const CString& key : keys) {
    if (ranks.Holds(key) || parts.contains(key)) names.push_back(key);
  }
  CStringList kept;
  for (size_t rank = 0; rank < tokens.size(); ++rank) {
    // A name that comes again stands at its first rank.
    if (hasKey[rank] || hasKey[ranks.Find(tokens[rank])]) kept.push_back(tokens[rank]);
  }
  tokens = std::move(kept);
}

}  // namespace

namespace ordered_list {

void Load(const CTesselRegObject& folder, Counted counted, OrderedListRecord& record) {
  const CString stored = folder.GetStringValue(kOrder);
  const CStringList keys = principal_list::NamesIn(folder.GetKey());
  if (counted == Counted::All) {
    record.names = keys;
    record.order = stored;
    return;
  }
  const CString order = principal_list::KeyName(stored);
  CStringList tokens = text::Split(order, ',');
  record.names.clear();
  MatchByName(keys, order, tokens, record.names);
  record.order = principal_list::DisplayName(text::Joined(tokens, ","));
}

void Save(CTesselRegObject& folder, const OrderedListRecord& record) {
  folder.SetBinaryValue(kOrder, record.order, REG_SZ);
  principal_list::Save(folder.GetKey(), record.names);
}

}  // namespace ordered_list
