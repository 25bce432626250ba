#pragma once

// What an event has changed in the store, for a person and for a program.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/machine.h"

class StoredChanges {
 public:
  // Of the event at hand, up to now. An import's are too many to be kept where only their number is told.
  enum class Keep : bool { Counts, All };
  static StoredChanges OfEvent(Keep keep);

  bool Empty() const { return m_stored.values + m_stored.keys + m_removed.values + m_removed.keys == 0; }

  const std::vector<machine::Change>& All() const { return m_all; }

  // "2 values and 1 key" of those that were stored, or removed; empty for none.
  std::string Stored() const { return Text(m_stored); }
  std::string Removed() const { return Text(m_removed); }
  // "2 values and 1 key stored.", "Nothing was stored."
  std::string Count() const;
  // [{"key", "name", "before", "typeBefore", "after", "typeAfter"}] without what there is not; a key that
  // came or went has "made" instead.
  nlohmann::ordered_json Json() const;

 private:
  struct Counts {
    size_t values = 0;
    size_t keys = 0;
  };
  static std::string Text(const Counts& counts);

  Counts m_stored;
  Counts m_removed;
  std::vector<machine::Change> m_all;
};

// "1 value", "2 values".
std::string Counted(size_t count, const char* what);

// A value's data as a person reads them.
std::string TextOf(const machine::StoredValue& value);

// The text on one line, cut where it is long, in quotation marks.
std::string QuotedShort(const std::string& text);
