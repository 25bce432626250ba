#pragma once

// The stored values of a page as a table: one row a value. Rows stand in the order of writing, which can be
// seen from outside, since the first write that fails ends the chain.

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "framework/form.h"
#include "store/reading_rules.h"
#include "store/registry_object.h"

// How two records are told apart by a field.
enum class Compare : unsigned char { Exact, NoCase, Ignored };

template <class Record>
struct Value {
  const char* name;
  Field<Record> field{};
  ReadRule rule = ReadRule::TextAsIs;
  Compare compare = Compare::Exact;
  DWORD buffer = kValueBufferSize;
  std::optional<bool> absentFlag{};              // what a missing or empty value gives, where the rule
  std::optional<std::string_view> absentText{};  // alone does not say it
  bool withRowAbove = false;                     // one more field of a value that the row above handles
  const char* yes = "yes";                       // the server knows some values by a capital "Yes"
  // Replace the rule where a value is not read or written like its kind.
  void (*load)(const CTesselRegObject& key, Record& record) = nullptr;
  DWORD (*save)(CTesselRegObject& key, const Record& record) = nullptr;

  constexpr Value NoCase() const { return With(&Value::compare, Compare::NoCase); }
  constexpr Value NotCompared() const { return With(&Value::compare, Compare::Ignored); }
  constexpr Value Buffer(DWORD size) const { return With(&Value::buffer, size); }
  constexpr Value Absent(bool flag) const { return With(&Value::absentFlag, std::optional<bool>(flag)); }
  // A `const char*`, which would else become a flag.
  constexpr Value Absent(const char* text) const {
    return With(&Value::absentText, std::optional<std::string_view>(text));
  }
  constexpr Value WithRowAbove() const { return With(&Value::withRowAbove, true); }
  constexpr Value CapitalYes() const { return With(&Value::yes, "Yes"); }
  constexpr Value LoadedBy(void (*function)(const CTesselRegObject&, Record&)) const {
    return With(&Value::load, function);
  }
  constexpr Value SavedBy(DWORD (*function)(CTesselRegObject&, const Record&)) const {
    return With(&Value::save, function);
  }

 private:
  template <class Member>
  constexpr Value With(Member Value::*member, Member value) const {
    Value copy = *this;
    copy.*member = value;
    return copy;
  }
};

template <class Record>
struct Values {
  static constexpr Value<Record> Flag(const char* name, bool Record::*field, ReadRule rule) {
    return {.name = name, .field = field, .rule = rule};
  }
  static constexpr Value<Record> Text(const char* name, CString Record::*field,
                                      ReadRule rule = ReadRule::TextAsIs) {
    return {.name = name, .field = field, .rule = rule};
  }
};

// Reads one row. A value that does not fit the buffer leaves the field as it was, whatever the rule.
template <class Record>
void LoadValue(const CTesselRegObject& key, const Value<Record>& row, Record& record) {
  if (row.withRowAbove) return;
  if (row.load != nullptr) {
    row.load(key, record);
  } else if (const auto* flag = std::get_if<bool Record::*>(&row.field)) {
    CString stored;
    if (ReadText(key, row.name, ReadRule::TextAsIs, stored, row.buffer) == ERROR_SUCCESS) {
      record.** flag = row.absentFlag && stored.empty() ? *row.absentFlag : FlagOf(row.rule, stored);
    }
  } else if (const auto* field = std::get_if<CString Record::*>(&row.field)) {
    if (ReadText(key, row.name, row.rule, record.**field, row.buffer) == ERROR_SUCCESS && row.absentText &&
        (record.**field).empty()) {
      record.** field = *row.absentText;
    }
  }
}

template <class Record>
DWORD SaveValue(CTesselRegObject& key, const Value<Record>& row, const Record& record) {
  if (row.withRowAbove) return ERROR_SUCCESS;
  if (row.save != nullptr) return row.save(key, record);
  if (const auto* flag = std::get_if<bool Record::*>(&row.field)) {
    return key.SetStringValue(row.name, record.**flag ? row.yes : "no");
  }
  if (const auto* field = std::get_if<CString Record::*>(&row.field)) {
    return WriteText(key, row.name, record.**field);
  }
  return ERROR_SUCCESS;
}

// Writes the rows in order up to the first that fails, and returns how many were written.
template <class Record>
size_t SaveValues(CTesselRegObject& key, std::span<const Value<Record>> rows, const Record& record) {
  size_t written = 0;
  while (written < rows.size() && SaveValue(key, rows[written], record) == ERROR_SUCCESS) ++written;
  return written;
}

template <class Record>
bool RecordsDiffer(std::span<const Value<Record>> rows, const Record& a, const Record& b) {
  for (const Value<Record>& row : rows) {
    if (row.compare == Compare::Ignored) continue;
    if (const auto* flag = std::get_if<bool Record::*>(&row.field)) {
      if (a.**flag != b.**flag) return true;
    } else if (const auto* field = std::get_if<CString Record::*>(&row.field)) {
      const CString& left = a.**field;
      const CString& right = b.**field;
      if (row.compare == Compare::NoCase ? !text::EqualNoCase(left, right) : left != right) return true;
    }
  }
  return false;
}
