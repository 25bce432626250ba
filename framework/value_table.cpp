#include "framework/value_table.h"

#include <algorithm>
#include <string>

#include "framework/name_set.h"

namespace {

const char* AskedFor(const Value& row) { return row.readName != nullptr ? row.readName : row.name; }

// Two rules, each about one of the flag's two words.
bool FlagOf(const Value& row, std::string_view stored) {
  return row.rule == ReadRule::TrueUnlessNo ? !text::EqualNoCase(stored, row.no)
                                            : text::EqualNoCase(stored, row.yes);
}

void TakeFlag(const Value& row, std::string_view stored, RecordRef record) {
  bool& field = row.field.Flag(record);
  if (!stored.empty() || (!row.absentFlag && row.absentWhen == nullptr)) {
    field = FlagOf(row, stored);
  } else {
    field = row.absentFlag ? *row.absentFlag : row.absentWhen(record.data);
  }
}

void TakeText(const Value& row, std::string_view stored, RecordRef record) {
  CString& field = row.field.Text(record);
  if (stored.empty() && row.absentText) {
    field = *row.absentText;
  } else if (!stored.empty() || row.rule == ReadRule::TextAsIs) {
    field = stored;
  }
}

void TakeSeconds(const Value& row, const CString& stored, RecordRef record) {
  const int seconds = text::ToInt(stored);
  row.field.Text(record) = std::to_string(seconds / 3600);
  row.minutes.Text(record) = std::to_string(seconds % 3600 / 60);
  row.seconds.Text(record) = std::to_string(seconds % 60);
}

void TakeWord(const Value& row, std::string_view stored, RecordRef record) {
  if (stored.empty() && row.absentText) stored = *row.absentText;
  int& field = row.field.Number(record);
  field = row.otherwise;
  for (size_t i = 0; i < row.words.size(); ++i) {
    if (text::EqualNoCase(stored, row.words[i])) field = static_cast<int>(i);
  }
}

void TakeStored(const Value& row, const CString& stored, RecordRef record) {
  switch (row.kind) {
    case ValueKind::Flag:
      return TakeFlag(row, stored, record);
    case ValueKind::Seconds:
      return TakeSeconds(row, stored, record);
    case ValueKind::Number:
      row.field.Number(record) =
          text::ToInt(stored.empty() && row.absentText ? CString(*row.absentText) : stored);
      return;
    case ValueKind::Word:
      return TakeWord(row, stored, record);
    case ValueKind::List:
      if (stored.empty() && row.rule == ReadRule::TextIfNotEmpty) return;
      row.field.List(record) = text::Split(stored, row.separator);
      return;
    default:
      return TakeText(row, stored, record);
  }
}

void LoadBit(const CTesselRegObject& key, const Value& row, RecordRef record) {
  DWORD stored = 0;
  if (key.GetDWORDValue(&stored, AskedFor(row)) != ERROR_SUCCESS) return;
  int& field = row.field.Number(record);
  field = 0;
  for (size_t i = row.bits.size(); i-- > 1;) {
    if ((stored & row.bits[i]) != 0) field = static_cast<int>(i);
  }
}

// A value whose size can't be had leaves the list as it was.
void LoadMultiString(const CTesselRegObject& key, const Value& row, RecordRef record) {
  if (key.GetValueSize(AskedFor(row)) == 0) return;
  CStringList& field = row.field.List(record);
  field.clear();
  const CString data = key.GetBinaryValue(AskedFor(row));
  for (std::string_view rest = data; !text::UpToZero(rest).empty();) {
    field.emplace_back(text::UpToZero(rest));
    rest.remove_prefix(std::min(field.back().size() + 1, rest.size()));
  }
}

void LoadValue(const CTesselRegObject& key, const Value& row, RecordRef record) {
  if (row.kind == ValueKind::Dword) return LoadBit(key, row, record);
  if (row.kind == ValueKind::MultiString) return LoadMultiString(key, row, record);
  if (row.kind == ValueKind::Bytes) {
    CString& field = row.field.Text(record);
    field = key.GetBinaryValue(AskedFor(row));
    if (field.size() >= row.buffer) field.clear();
    return;
  }
  CString stored;
  const DWORD status = ReadText(key, AskedFor(row), ReadRule::TextAsIs, stored, row.buffer);
  bool taken = status == ERROR_SUCCESS || row.failedIsAbsent;
  if (row.takenWith != nullptr) {
    CString other;
    taken = ReadText(key, row.takenWith, ReadRule::TextAsIs, other) == ERROR_SUCCESS;
  }
  if (taken) TakeStored(row, stored, record);
}

// As long as there is room for in a number of seconds that a text can hold.
CString SecondsText(const Value& row, ConstRecordRef record) {
  const long long minutes =
      text::ToInt(row.minutes.Text(record)) + 60LL * text::ToInt(row.field.Text(record));
  return std::to_string(minutes * 60 + text::ToInt(row.seconds.Text(record)));
}

CString MultiStringOf(const CStringList& list) {
  CString data;
  for (const CString& text : list) data.append(text).push_back('\0');
  data.push_back('\0');
  return data;
}

DWORD SaveValue(CTesselRegObject& key, const Value& row, ConstRecordRef record) {
  switch (row.kind) {
    case ValueKind::Flag: {
      const bool yes = row.writes != nullptr ? row.writes(record.data) : row.field.Flag(record);
      return WriteText(key, row.name, yes ? row.yes : row.no);
    }
    case ValueKind::Text: {
      const CString& text = row.field.Text(record);
      return WriteText(key, row.name, text.empty() && row.emptyAs != nullptr ? row.emptyAs : text);
    }
    case ValueKind::Seconds:
      return WriteText(key, row.name, SecondsText(row, record));
    case ValueKind::Number: {
      const CString digits = std::to_string(row.field.Number(record));
      return row.oneDigit && digits.size() > 1 ? ERROR_SUCCESS : WriteText(key, row.name, digits);
    }
    case ValueKind::Word: {
      const auto word = static_cast<size_t>(row.field.Number(record));
      return word < row.words.size() ? WriteText(key, row.name, CString(row.words[word])) : ERROR_SUCCESS;
    }
    case ValueKind::Dword: {
      const auto bit = static_cast<size_t>(row.field.Number(record));
      return key.SetDWORDValue(bit > 0 && bit < row.bits.size() ? row.bits[bit] : 0, row.name);
    }
    case ValueKind::List:
      return WriteText(key, row.name,
                       text::Joined(row.field.List(record), std::string_view(&row.separator, 1)));
    case ValueKind::MultiString: {
      const CString data = MultiStringOf(row.field.List(record));
      if (row.block != 0 && data.size() > row.block) return ERROR_INSUFFICIENT_BUFFER;
      return key.SetBinaryValue(row.name, data, REG_MULTI_SZ);
    }
    case ValueKind::Bytes:
      return key.SetBinaryValue(row.name, row.field.Text(record), REG_BINARY);
  }
  return ERROR_SUCCESS;
}

bool TextsDiffer(const Value& row, const Field& field, ConstRecordRef a, ConstRecordRef b) {
  const CString& left = field.Text(a);
  const CString& right = field.Text(b);
  return row.compare == Compare::NoCase ? !text::EqualNoCase(left, right) : left != right;
}

bool ListsDiffer(const Value& row, const CStringList& a, const CStringList& b) {
  if (row.compare != Compare::AnyOrder || a == b) return a != b;
  const NameSet others(b);
  return a.size() != b.size() ||
         !std::all_of(a.begin(), a.end(), [&others](const CString& text) { return others.Holds(text); });
}

bool DifferBy(const Value& row, ConstRecordRef a, ConstRecordRef b) {
  switch (row.field.kind) {
    case Field::Kind::Flag:
      return row.field.Flag(a) != row.field.Flag(b);
    case Field::Kind::Number:
      return row.field.Number(a) != row.field.Number(b);
    case Field::Kind::List:
      return ListsDiffer(row, row.field.List(a), row.field.List(b));
    case Field::Kind::Text:
      return TextsDiffer(row, row.field, a, b) ||
             (row.minutes && (TextsDiffer(row, row.minutes, a, b) || TextsDiffer(row, row.seconds, a, b)));
    case Field::Kind::None:
      return false;
  }
  return false;
}

bool IsIn(const Value& row, KeyOf which) { return row.inOtherKey == (which == KeyOf::Other); }

}  // namespace

void LoadValues(const CTesselRegObject& key, std::span<const Value> rows, RecordRef record, KeyOf which) {
  for (const Value& row : rows) {
    if (!row.neverRead && IsIn(row, which)) LoadValue(key, row, record);
  }
}

SaveResult SaveValues(CTesselRegObject& key, std::span<const Value> rows, ConstRecordRef record, KeyOf which,
                      Chain chain) {
  SaveResult result;
  bool ended = false;
  for (const Value& row : rows) {
    if (!IsIn(row, which) || (ended && !row.always)) continue;
    const DWORD status = SaveValue(key, row, record);
    if (status == ERROR_SUCCESS || row.resultIgnored) continue;
    if (result) result = {status, row.name};
    ended = chain == Chain::Ends;
  }
  return result;
}

bool RecordsDiffer(std::span<const Value> rows, ConstRecordRef a, ConstRecordRef b) {
  for (const Value& row : rows) {
    if (row.compare != Compare::Ignored && DifferBy(row, a, b)) return true;
  }
  return false;
}

bool IsOfField(const Value& row, const Field& field) {
  return field && (row.field == field || row.minutes == field || row.seconds == field);
}
