#include "platform/embedded/values.h"

#include <cstring>

#include "platform/embedded/changes.h"
#include "platform/embedded/names.h"

namespace embedded {
namespace {

uint64_t NamePlace(KeyId key, std::string_view name) { return uint64_t{key} << 32 | HashName(name); }
uint64_t ValuePlace(KeyId key, uint32_t sequence) { return uint64_t{key} << 32 | sequence; }

// Finds the value by the sequences that share its name's hash, which is nearly always one. The cursor of
// kValues stays at the value, `*sequences` holds all of them.
LONG Seek(Transaction& txn, uint64_t place, std::string_view name, MDB_val* sequences, uint32_t* sequence,
          Value& value) {
  *sequences = {0, nullptr};
  const auto key = static_cast<KeyId>(place >> 32);
  const int result = txn.Get(kNames, NumberKey(place), sequences);
  if (result != 0) return Status(result);
  for (size_t at = 0; at + sizeof *sequence <= sequences->mv_size; at += sizeof *sequence) {
    std::memcpy(sequence, static_cast<const char*>(sequences->mv_data) + at, sizeof *sequence);
    MDB_val data{};
    LONG status = Status(txn.Get(kValues, NumberKey(ValuePlace(key, *sequence)), &data));
    if (status == 0) status = ReadValue(data, value);
    if (status != 0) return status;
    if (SameName(value.name, name)) return ERROR_SUCCESS;
  }
  return ERROR_FILE_NOT_FOUND;
}

LONG Write(Transaction& txn, KeyId key, uint32_t sequence, const Value& value) {
  const ValueHeader header = {value.type, static_cast<uint32_t>(value.name.size())};
  MDB_val place = {sizeof header + value.name.size() + value.data.size(), nullptr};
  const int result = txn.Put(kValues, NumberKey(ValuePlace(key, sequence)), &place, MDB_RESERVE);
  if (result != 0) return Status(result);
  char* to = static_cast<char*>(place.mv_data);
  std::memcpy(to, &header, sizeof header);
  to += sizeof header;
  if (!value.name.empty()) std::memcpy(to, value.name.data(), value.name.size());
  to += value.name.size();
  if (!value.data.empty()) std::memcpy(to, value.data.data(), value.data.size());
  Transaction::Seal(kValues, NumberKey(ValuePlace(key, sequence)), place);
  return ERROR_SUCCESS;
}

LONG WriteSequences(Transaction& txn, uint64_t place, std::string_view sequences) {
  MDB_val data = AsValue(sequences);
  return Status(txn.Put(kNames, NumberKey(place), &data));
}

}  // namespace

LONG FindValue(Transaction& txn, KeyId key, std::string_view name, Value& value) {
  MDB_val sequences{};
  uint32_t sequence = 0;
  return Seek(txn, NamePlace(key, name), name, &sequences, &sequence, value);
}

void NamesAt(Transaction& txn, uint64_t place, std::vector<std::string>& names) {
  MDB_val sequences{};
  if (txn.Get(kNames, NumberKey(place), &sequences) != 0) return;
  std::string_view rest = AsText(sequences);
  for (uint32_t sequence; rest.size() >= sizeof sequence; rest.remove_prefix(sizeof sequence)) {
    std::memcpy(&sequence, rest.data(), sizeof sequence);
    MDB_val data{};
    Value value;
    const uint64_t entry = ValuePlace(static_cast<KeyId>(place >> 32), sequence);
    if (txn.Get(kValues, NumberKey(entry), &data) == 0 && ReadValue(data, value) == 0) {
      names.emplace_back(value.name);
    }
  }
}

LONG PutValue(Transaction& txn, KeyId key, std::string_view name, DWORD type, std::string_view data) {
  KeyRecord* record = nullptr;
  LONG status = EditKey(txn, key, record);
  if (status != 0) return status;
  MDB_val sequences{};
  uint32_t sequence = 0;
  Value old;
  const uint64_t place = NamePlace(key, name);
  NoteValue(place);
  status = Seek(txn, place, name, &sequences, &sequence, old);
  if (status == 0) {
    Touch(*record, false);
    const std::string spelling(old.name);
    return Write(txn, key, sequence, {type, spelling, data});
  }
  if (status != ERROR_FILE_NOT_FOUND) return status;
  if (record->next_sequence == ~0u) return ERROR_NO_SYSTEM_RESOURCES;
  Touch(*record, true);
  ++record->values;
  sequence = record->next_sequence++;
  std::string all(AsText(sequences));
  all.append(reinterpret_cast<const char*>(&sequence), sizeof sequence);
  status = WriteSequences(txn, place, all);
  return status != 0 ? status : Write(txn, key, sequence, {type, name, data});
}

LONG RemoveValue(Transaction& txn, KeyId key, std::string_view name) {
  KeyRecord* record = nullptr;
  LONG status = EditKey(txn, key, record);
  if (status != 0) return status;
  MDB_val sequences{};
  uint32_t sequence = 0;
  Value old;
  const uint64_t place = NamePlace(key, name);
  status = Seek(txn, place, name, &sequences, &sequence, old);
  if (status != 0) return status;
  NoteValue(place);
  std::string others;
  for (size_t at = 0; at + sizeof sequence <= sequences.mv_size; at += sizeof sequence) {
    const std::string_view one = AsText(sequences).substr(at, sizeof sequence);
    if (std::memcmp(one.data(), &sequence, sizeof sequence) != 0) others += one;
  }
  status = Status(txn.DeleteHere(kValues));
  if (status != 0) return status;
  Touch(*record, true);
  --record->values;
  if (!others.empty()) return WriteSequences(txn, place, others);
  return Status(txn.DeleteHere(kNames));
}

}  // namespace embedded
