#include "console/stored_changes.h"

#include "configuration/value_text.h"
#include "console/describe.h"

using nlohmann::ordered_json;

std::string Counted(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

StoredChanges StoredChanges::OfEvent(Keep keep) {
  StoredChanges changes;
  machine::ForEachChange([&changes, keep](const machine::Change& change) {
    Counts& counts = change.after ? changes.m_stored : changes.m_removed;
    ++(change.isKey ? counts.keys : counts.values);
    if (keep == Keep::All) changes.m_all.push_back(change);
  });
  return changes;
}

std::string StoredChanges::Text(const Counts& counts) {
  std::string text = counts.values > 0 ? Counted(counts.values, "value") : "";
  if (counts.keys > 0) text += (text.empty() ? "" : " and ") + Counted(counts.keys, "key");
  return text;
}

std::string StoredChanges::Count() const {
  const std::string stored = Stored();
  const std::string removed = Removed();
  if (Empty()) return "Nothing was stored.";
  if (removed.empty()) return stored + " stored.";
  return (stored.empty() ? "" : stored + " stored, ") + removed + " removed.";
}

ordered_json StoredChanges::Json() const {
  ordered_json all = ordered_json::array();
  for (const machine::Change& change : m_all) {
    ordered_json json{{"key", change.key}, {"name", change.name}};
    if (change.isKey) {
      json["made"] = change.after.has_value();
    } else {
      if (change.before) {
        json["before"] = TextOf(*change.before);
        json["typeBefore"] = RegTypeName(change.before->type);
      }
      if (change.after) {
        json["after"] = TextOf(*change.after);
        json["typeAfter"] = RegTypeName(change.after->type);
      }
    }
    all.push_back(std::move(json));
  }
  return all;
}

std::string TextOf(const machine::StoredValue& value) {
  if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) return std::string(text::UpToZero(value.data));
  return FormatRegValue(value.type, {reinterpret_cast<const BYTE*>(value.data.data()), value.data.size()});
}

std::string QuotedShort(const std::string& text) {
  constexpr size_t kShown = 120;
  const std::string line = OneLine(text);
  return "\"" + (line.size() > kShown ? line.substr(0, kShown) + "..." : line) + "\"";
}
