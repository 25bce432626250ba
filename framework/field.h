#pragma once

// A field of a record, as the rows of tables name it, and records by reference. The tables' engine works on
// records of any type: a field knows which one it is of, and how to find itself there.

#include <type_traits>

#include "platform/text.h"

// Tells record types apart.
template <class Record>
inline constexpr char kRecordTag = 0;

struct RecordRef;
struct ConstRecordRef;
template <class Record>
concept IsRecord = !std::is_same_v<std::remove_cv_t<Record>, RecordRef> &&
                   !std::is_same_v<std::remove_cv_t<Record>, ConstRecordRef>;

struct RecordRef {
  template <class Record>
  requires IsRecord<Record> &&(!std::is_const_v<Record>)
      RecordRef(Record& record)  // NOLINT(google-explicit-constructor): stands for the record
      : data(&record), type(&kRecordTag<Record>) {}

  void* data;
  const void* type;
};

struct ConstRecordRef {
  template <class Record>
  requires IsRecord<Record> ConstRecordRef(
      const Record& record)  // NOLINT(google-explicit-constructor): stands for the record
      : data(&record), type(&kRecordTag<Record>) {}
  ConstRecordRef(RecordRef record)  // NOLINT(google-explicit-constructor): the same record
      : data(record.data), type(record.type) {}

  const void* data;
  const void* type;
};

struct Field {
  enum class Kind : unsigned char { None, Flag, Text, Number, List };

  Kind kind = Kind::None;
  const void* record = nullptr;
  const void* (*at)(const void* record) = nullptr;

  constexpr explicit operator bool() const { return kind != Kind::None; }
  constexpr bool operator==(const Field&) const = default;
  bool IsOf(ConstRecordRef other) const { return kind != Kind::None && record == other.type; }

  // The field's value, which must be of the kind that stands for `Value`.
  template <class Value>
  const Value& In(ConstRecordRef of) const {
    return *static_cast<const Value*>(at(of.data));
  }
  template <class Value>
  Value& In(RecordRef of) const {
    return *const_cast<Value*>(static_cast<const Value*>(at(of.data)));
  }
  bool Flag(ConstRecordRef of) const { return In<bool>(of); }
  bool& Flag(RecordRef of) const { return In<bool>(of); }
  const CString& Text(ConstRecordRef of) const { return In<CString>(of); }
  CString& Text(RecordRef of) const { return In<CString>(of); }
  int Number(ConstRecordRef of) const { return In<int>(of); }
  int& Number(RecordRef of) const { return In<int>(of); }
  const CStringList& List(ConstRecordRef of) const { return In<CStringList>(of); }
  CStringList& List(RecordRef of) const { return In<CStringList>(of); }
};

// Gives the field of one record the value that it has in another.
inline void CopyField(const Field& field, RecordRef to, ConstRecordRef from) {
  switch (field.kind) {
    case Field::Kind::Flag:
      field.Flag(to) = field.Flag(from);
      break;
    case Field::Kind::Text:
      field.Text(to) = field.Text(from);
      break;
    case Field::Kind::Number:
      field.Number(to) = field.Number(from);
      break;
    case Field::Kind::List:
      field.List(to) = field.List(from);
      break;
    case Field::Kind::None:
      break;
  }
}

template <class Value>
constexpr Field::Kind FieldKindOf() {
  if constexpr (std::is_same_v<Value, bool>) return Field::Kind::Flag;
  if constexpr (std::is_same_v<Value, CString>) return Field::Kind::Text;
  if constexpr (std::is_same_v<Value, int>) return Field::Kind::Number;
  if constexpr (std::is_same_v<Value, CStringList>) return Field::Kind::List;
}

template <class Record, auto Member>
const void* FieldAt(const void* record) {
  return &(static_cast<const Record*>(record)->*Member);
}

// The field that a pointer to a member of the record, or of its base, names.
template <class Record, auto Member>
constexpr Field FieldOf() {
  using Value = std::remove_cvref_t<decltype(std::declval<const Record&>().*Member)>;
  return {FieldKindOf<Value>(), &kRecordTag<Record>, FieldAt<Record, Member>};
}

template <class Record, auto... Members>
inline constexpr Field kFields[] = {FieldOf<Record, Members>()...};

// A question about a record.
using Predicate = bool (*)(const void* record);

// `Question` takes a const Record&; `Negated` turns its answer round.
template <class Record, auto Question, bool Negated = false>
bool Asks(const void* record) {
  return Question(*static_cast<const Record*>(record)) != Negated;
}
template <class Record, auto Flag, bool Negated = false>
bool AsksFlag(const void* record) {
  return static_cast<const Record*>(record)->*Flag != Negated;
}
