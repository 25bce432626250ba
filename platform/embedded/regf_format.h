#pragma once

// How a hive file lies on the disk.

#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

namespace embedded {

// The file is a header page and then bins of whole pages. Offsets inside count from the first bin. A bin is
// its header and cells; a cell is its size (negative while in use) and its content: a key ("nk"), a value
// ("vk"), a descriptor ("sk"), data, or a list of offsets.
constexpr size_t kPage = 4096;
constexpr uint32_t kNothing = 0xFFFFFFFF;

struct FileHeader {
  char magic[4];
  uint32_t sequences[2];  // Equal when the file was written to its end.
  uint32_t time[2];
  uint32_t major;
  uint32_t minor;
  uint32_t type;
  uint32_t format;
  uint32_t root;
  uint32_t bins_size;
  uint32_t cluster;
  uint8_t rest[460];
  uint32_t checksum;  // All the numbers before it, by exclusive or.
};
static_assert(sizeof(FileHeader) == 512);

struct BinHeader {
  char magic[4];
  uint32_t offset;
  uint32_t size;
  uint32_t unused[5];
};

struct KeyCell {
  int32_t size;
  char magic[2];
  uint16_t flags;
  uint32_t time[2];
  uint32_t unused;
  uint32_t parent;
  uint32_t subkeys;
  uint32_t volatile_subkeys;
  uint32_t subkey_list;
  uint32_t volatile_list;
  uint32_t values;
  uint32_t value_list;
  uint32_t descriptor;
  uint32_t class_name;
  uint32_t longest[4];  // Subkey name, class, value name, data.
  uint32_t work;
  uint16_t name_size;
  uint16_t class_size;
};
static_assert(sizeof(KeyCell) == 80);
constexpr uint16_t kRootKey = 0x0C;   // The root, and not to be deleted.
constexpr uint16_t kByteName = 0x20;  // The name is bytes of Latin-1, and not 16-bit units.

struct ValueCell {
  int32_t size;
  char magic[2];
  uint16_t name_size;
  uint32_t data_size;  // With the top bit for data of at most four bytes, which stand in place of `data`.
  uint32_t data;
  uint32_t type;
  uint16_t flags;  // 1: the name is bytes.
  uint16_t unused;
};
static_assert(sizeof(ValueCell) == 24);

struct DescriptorCell {
  int32_t size;
  char magic[2];
  uint16_t unused;
  uint32_t next;
  uint32_t previous;
  uint32_t references;
  uint32_t length;
};
static_assert(sizeof(DescriptorCell) == 24);

inline uint32_t Checksum(const FileHeader& header) {
  uint32_t numbers[sizeof header / 4];
  std::memcpy(numbers, &header, sizeof header);
  uint32_t sum = 0;
  for (size_t i = 0; i + 1 < std::size(numbers); ++i) sum ^= numbers[i];
  if (sum == kNothing) return kNothing - 1;
  return sum == 0 ? 1 : sum;
}

template <typename Struct>
bool Get(const std::string& bytes, size_t at, Struct& result) {
  if (at > bytes.size() || bytes.size() - at < sizeof result) return false;
  std::memcpy(&result, bytes.data() + at, sizeof result);
  return true;
}

template <typename Struct>
void Put(std::string& bytes, size_t at, const Struct& value) {
  std::memcpy(bytes.data() + at, &value, sizeof value);
}

}  // namespace embedded
