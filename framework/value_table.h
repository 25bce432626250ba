#pragma once

// The stored values of a page as a table: one row a value. Rows stand in the order of writing, which can be
// seen from outside, since the first write that fails ends the chain.

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "framework/field.h"
#include "store/reading_rules.h"
#include "store/registry_object.h"

// How two records are told apart by a field.
enum class Compare : unsigned char {
  Exact,
  NoCase,
  AnyOrder,  // of a list: as many texts, and each of the first record's stands in the other's
  Ignored,
};

enum class ValueKind : unsigned char {
  Flag,         // one of two words
  Text,         // as it stands
  Seconds,      // decimal text, shown as hours, minutes and seconds: three texts
  Number,       // decimal text
  Word,         // a number as a word of a table
  Dword,        // REG_DWORD: a number as a bit of a table
  List,         // texts with a character between
  MultiString,  // REG_MULTI_SZ
  Bytes,        // REG_BINARY, in a text
};

struct Value {
  const char* name = "";
  ValueKind kind = ValueKind::Text;
  Field field{};
  Field minutes{};  // of Seconds, beside the hours in `field`
  Field seconds{};
  ReadRule rule = ReadRule::TextAsIs;
  Compare compare = Compare::Exact;
  DWORD buffer = kValueBufferSize;
  const char* readName = nullptr;   // the spelling by which the value is asked for, where it is another one
  const char* takenWith = nullptr;  // another value: the field is taken if that one can be read
  bool failedIsAbsent = false;      // a value that can't be read counts as a missing one
  const char* yes = "yes";          // the words of a flag; the server knows some values by others
  const char* no = "no";
  std::span<const std::string_view> words{};     // of a number
  std::span<const DWORD> bits{};                 // of a number; the first one is no bit
  int otherwise = 0;                             // the number of a missing or unknown word
  char separator = ',';                          // of a list
  std::optional<bool> absentFlag{};              // what a missing or empty value gives, where the rule alone
  std::optional<std::string_view> absentText{};  // does not say it
  Predicate absentWhen = nullptr;                // the same, by the fields that rows above have read
  Predicate writes = nullptr;     // whether the flag is written as its first word; else the field says it
  const char* emptyAs = nullptr;  // what an empty text is written as
  bool neverRead = false;         // written at every save, whatever is stored
  bool inOtherKey = false;        // the value lies in the page's other key
  bool resultIgnored = false;     // what becomes of this write does not count
  bool always = false;            // written also behind a write that has failed
  bool oneDigit = false;          // a number of more is not written
  size_t block = 0;               // bytes of a REG_MULTI_SZ beyond which it is not written; 0 for any number
};

// A row with what a table may say of it; tables keep plain values.
template <class Record>
struct TypedValue : Value {
  constexpr TypedValue NoCase() const { return With(&Value::compare, Compare::NoCase); }
  constexpr TypedValue AnyOrder() const { return With(&Value::compare, Compare::AnyOrder); }
  constexpr TypedValue NotCompared() const { return With(&Value::compare, Compare::Ignored); }
  constexpr TypedValue Buffer(DWORD bytes) const { return With(&Value::buffer, bytes); }
  constexpr TypedValue ReadAs(const char* spelling) const { return With(&Value::readName, spelling); }
  constexpr TypedValue TakenWith(const char* other) const { return With(&Value::takenWith, other); }
  constexpr TypedValue FailedIsAbsent() const { return With(&Value::failedIsAbsent, true); }
  constexpr TypedValue Words(const char* yesWord, const char* noWord) const {
    return With(&Value::yes, yesWord).With(&Value::no, noWord);
  }
  // The value says the opposite of the field.
  constexpr TypedValue Inverted() const { return Words("no", "yes"); }
  constexpr TypedValue Absent(bool flag) const { return With(&Value::absentFlag, flag); }
  // A `const char*`, which would else become a flag.
  constexpr TypedValue Absent(const char* text) const {
    return With(&Value::absentText, std::string_view(text));
  }
  template <auto Question>
  constexpr TypedValue AbsentWhen() const {
    return With(&Value::absentWhen, &Asks<Record, Question>);
  }
  template <auto Question>
  constexpr TypedValue WrittenWhen() const {
    return With(&Value::writes, &Asks<Record, Question>);
  }
  constexpr TypedValue EmptyAs(const char* word) const { return With(&Value::emptyAs, word); }
  constexpr TypedValue NeverRead() const { return With(&Value::neverRead, true); }
  constexpr TypedValue InOtherKey() const { return With(&Value::inOtherKey, true); }
  constexpr TypedValue ResultIgnored() const { return With(&Value::resultIgnored, true); }
  constexpr TypedValue Always() const { return With(&Value::always, true); }
  constexpr TypedValue OneDigit() const { return With(&Value::oneDigit, true); }
  constexpr TypedValue Block(size_t bytes) const { return With(&Value::block, bytes); }

 private:
  template <class Member>
  constexpr TypedValue With(Member Value::*member, std::type_identity_t<Member> value) const {
    TypedValue copy = *this;
    copy.*member = value;
    return copy;
  }
};

// The rows, as a table over one record type names them. Members are those of the record or of its base.
template <class Record>
struct Values {
  using V = TypedValue<Record>;

  template <auto Member>
  static constexpr V Flag(const char* name, ReadRule rule) {
    return Make(name, ValueKind::Flag, FieldOf<Record, Member>(), rule);
  }
  // A flag that no field holds: `Question` says it of the record, and nothing reads it.
  template <auto Question>
  static constexpr V Derived(const char* name) {
    return Make(name, ValueKind::Flag, {}, ReadRule::TrueOnlyIfYes)
        .NeverRead()
        .NotCompared()
        .template WrittenWhen<Question>();
  }
  template <auto Member>
  static constexpr V Text(const char* name, ReadRule rule = ReadRule::TextAsIs) {
    return Make(name, ValueKind::Text, FieldOf<Record, Member>(), rule);
  }
  template <auto Hours, auto Minutes, auto Seconds>
  static constexpr V Time(const char* name) {
    V row = Make(name, ValueKind::Seconds, FieldOf<Record, Hours>());
    row.minutes = FieldOf<Record, Minutes>();
    row.seconds = FieldOf<Record, Seconds>();
    return row;
  }
  template <auto Member>
  static constexpr V Number(const char* name) {
    return Make(name, ValueKind::Number, FieldOf<Record, Member>());
  }
  // The words compare without case; a number beyond them is not written.
  template <auto Member>
  static constexpr V Word(const char* name, std::span<const std::string_view> words, int otherwise) {
    V row = Make(name, ValueKind::Word, FieldOf<Record, Member>());
    row.words = words;
    row.otherwise = otherwise;
    return row;
  }
  // The first bit of the table that is set decides, and none of them is number 0. Other bits are lost.
  template <auto Member>
  static constexpr V Bit(const char* name, std::span<const DWORD> bits) {
    V row = Make(name, ValueKind::Dword, FieldOf<Record, Member>());
    row.bits = bits;
    return row;
  }
  // Under TextIfNotEmpty a missing or empty value leaves the list as it was.
  template <auto Member>
  static constexpr V List(const char* name, char separator, ReadRule rule = ReadRule::TextAsIs) {
    V row = Make(name, ValueKind::List, FieldOf<Record, Member>(), rule);
    row.separator = separator;
    return row;
  }
  template <auto Member>
  static constexpr V MultiString(const char* name) {
    return Make(name, ValueKind::MultiString, FieldOf<Record, Member>());
  }
  template <auto Member>
  static constexpr V Bytes(const char* name) {
    return Make(name, ValueKind::Bytes, FieldOf<Record, Member>());
  }

 private:
  static constexpr V Make(const char* name, ValueKind kind, Field field, ReadRule rule = ReadRule::TextAsIs) {
    V row;
    row.name = name;
    row.kind = kind;
    row.field = field;
    row.rule = rule;
    return row;
  }
};

// Which of a page's two keys; most pages have one.
enum class KeyOf : unsigned char { Own, Other };

// Whether a save ends at the first write that fails.
enum class Chain : unsigned char { Ends, GoesOn };

// What came of writing: 0, or the status of the first write that failed and counts, and its value.
struct SaveResult {
  DWORD status = ERROR_SUCCESS;
  CString value;
  explicit operator bool() const { return status == ERROR_SUCCESS; }
};

// Reads the rows of one key. A value that does not fit its buffer leaves the field as it was, whatever the
// rule, unless the row says otherwise.
void LoadValues(const CTesselRegObject& key, std::span<const Value> rows, RecordRef record,
                KeyOf which = KeyOf::Own);

// Writes the rows of one key, in order.
SaveResult SaveValues(CTesselRegObject& key, std::span<const Value> rows, ConstRecordRef record,
                      KeyOf which = KeyOf::Own, Chain chain = Chain::Ends);

bool RecordsDiffer(std::span<const Value> rows, ConstRecordRef a, ConstRecordRef b);

// Whether the row reads or writes the field.
bool IsOfField(const Value& row, const Field& field);
