#include "platform/embedded/regf.h"

#include <hivex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "platform/embedded/keysecurity.h"
#include "platform/embedded/paths.h"
#include "platform/win32.h"

namespace embedded {
namespace {

// The file is a header page and then bins of whole pages. Offsets inside count from the first bin. A bin is
// its header and cells; a cell is its size (negative while in use) and its content, here a key ("nk") or a
// descriptor ("sk").
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
constexpr uint16_t kRootKey = 0x2C;  // The root; not to be deleted; a name of bytes.

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

uint32_t Checksum(const FileHeader& header) {
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

struct CloseHive {
  void operator()(hive_h* hive) const { hivex_close(hive); }
};
using Hive = std::unique_ptr<hive_h, CloseHive>;
struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename Type>
using Allocated = std::unique_ptr<Type, Free>;

LONG CheckHeader(const std::string& bytes) {
  FileHeader header;
  if (!Get(bytes, 0, header) || std::memcmp(header.magic, "regf", 4) != 0) return ERROR_NOT_REGISTRY_FILE;
  const bool sound = header.major == 1 && header.checksum == Checksum(header) && header.bins_size >= kPage &&
                     header.bins_size <= bytes.size() - std::min(bytes.size(), kPage);
  return sound ? ERROR_SUCCESS : ERROR_BADDB;
}

std::string DescriptorAt(const std::string& bytes, uint32_t offset) {
  DescriptorCell cell;
  const size_t at = kPage + size_t{offset};
  if (!Get(bytes, at, cell) || std::memcmp(cell.magic, "sk", 2) != 0) return "";
  if (cell.length > bytes.size() - at - sizeof cell) return "";
  std::string descriptor = bytes.substr(at + sizeof cell, cell.length);
  return IsDescriptor(descriptor) ? descriptor : "";
}

class Reader {
 public:
  Reader(hive_h* hive, const std::string& bytes) : hive_(hive), bytes_(bytes) {}

  // False when the key is damaged. `depth`: a damaged file may contain itself.
  bool Read(hive_node_h node, int depth, HiveKey& key) {
    constexpr int kDeepest = 512;
    KeyCell cell;
    if (depth > kDeepest || ++keys_ > bytes_.size() / sizeof cell || !Get(bytes_, node, cell)) return false;
    key.last_write = cell.time[0] | uint64_t{cell.time[1]} << 32;
    key.descriptor = DescriptorAt(bytes_, cell.descriptor);
    const Allocated<hive_value_h> values(hivex_node_values(hive_, node));
    const Allocated<hive_node_h> children(hivex_node_children(hive_, node));
    if (!values || !children) return false;
    for (const hive_value_h* value = values.get(); *value != 0; ++value) {
      if (!ReadValue(*value, key.values.emplace_back())) return false;
    }
    for (const hive_node_h* child = children.get(); *child != 0; ++child) {
      HiveKey& below = key.subkeys.emplace_back();
      const Allocated<char> name(hivex_node_name(hive_, *child));
      if (!name || *name.get() == '\0') return false;
      below.name = name.get();
      if (!Read(*child, depth + 1, below)) return false;
    }
    return true;
  }

 private:
  bool ReadValue(hive_value_h place, HiveValue& value) {
    const Allocated<char> name(hivex_value_key(hive_, place));
    hive_type type{};
    size_t size = 0;
    if (!name || hivex_value_type(hive_, place, &type, &size) != 0) return false;
    value.name = name.get();
    std::memcpy(&value.type, &type, sizeof value.type);  // Any number, not only those that hivex names.
    if (size == 0) return true;
    const Allocated<char> data(hivex_value_value(hive_, place, &type, &size));
    if (data) value.data.assign(data.get(), size);
    return data != nullptr;
  }

  hive_h* hive_;
  const std::string& bytes_;
  size_t keys_ = 0;
};

// Where each different descriptor of the tree stands, and how many keys have it.
struct Placed {
  uint32_t offset = 0;
  uint32_t keys = 0;
};
using Descriptors = std::map<std::string, Placed>;

void Collect(const HiveKey& key, Descriptors& descriptors) {
  ++descriptors[key.descriptor].keys;
  for (const HiveKey& below : key.subkeys) Collect(below, descriptors);
}

// A hive of the root key alone, with all descriptors in a ring. hivex gives every key that it adds the
// root's; the others are placed afterwards.
std::string EmptyHive(const std::string& root_name, Descriptors& descriptors) {
  std::string cells(sizeof(BinHeader), '\0');
  const auto add = [&](std::string cell) {
    const auto offset = static_cast<uint32_t>(cells.size());
    cell.resize((cell.size() + 7) & ~size_t{7});
    Put(cell, 0, -static_cast<int32_t>(cell.size()));
    cells += cell;
    return offset;
  };
  std::string root(sizeof(KeyCell), '\0');
  const uint32_t root_at = add(root + root_name);
  for (auto& [descriptor, placed] : descriptors) {
    placed.offset = add(std::string(sizeof(DescriptorCell), '\0') + descriptor);
  }
  for (auto one = descriptors.begin(); one != descriptors.end(); ++one) {
    const auto& last = std::prev(descriptors.end())->second;
    const uint32_t next = std::next(one) == descriptors.end() ? descriptors.begin()->second.offset
                                                              : std::next(one)->second.offset;
    const uint32_t previous = one == descriptors.begin() ? last.offset : std::prev(one)->second.offset;
    DescriptorCell cell;
    Get(cells, one->second.offset, cell);
    std::memcpy(cell.magic, "sk", 2);
    cell.next = next;
    cell.previous = previous;
    cell.references = one->second.keys;
    cell.length = static_cast<uint32_t>(one->first.size());
    Put(cells, one->second.offset, cell);
  }
  KeyCell key;
  Get(cells, root_at, key);
  std::memcpy(key.magic, "nk", 2);
  key.flags = kRootKey;
  key.parent = key.subkey_list = key.volatile_list = key.value_list = key.class_name = kNothing;
  key.descriptor = descriptors.begin()->second.offset;
  key.name_size = static_cast<uint16_t>(root_name.size());
  Put(cells, root_at, key);

  const auto used = static_cast<uint32_t>(cells.size());
  cells.resize((cells.size() + kPage - 1) / kPage * kPage);
  if (cells.size() > used) Put(cells, used, static_cast<int32_t>(cells.size() - used));
  Put(cells, 0, BinHeader{{'h', 'b', 'i', 'n'}, 0, static_cast<uint32_t>(cells.size()), {}});
  FileHeader header{};
  std::memcpy(header.magic, "regf", 4);
  header.sequences[0] = header.sequences[1] = 1;
  header.major = 1;
  header.minor = 3;
  header.format = 1;
  header.root = root_at;
  header.bins_size = static_cast<uint32_t>(cells.size());
  header.cluster = 1;
  header.checksum = Checksum(header);
  std::string file(kPage, '\0');
  Put(file, 0, header);
  return file + cells;
}

bool Fill(hive_h* hive, hive_node_h node, const HiveKey& key,
          std::vector<std::pair<hive_node_h, const HiveKey*>>& placed) {
  placed.emplace_back(node, &key);
  std::vector<hive_set_value> values;
  for (const HiveValue& value : key.values) {
    hive_set_value one{};
    one.key = const_cast<char*>(value.name.c_str());
    std::memcpy(&one.t, &value.type, sizeof value.type);
    one.len = value.data.size();
    one.value = const_cast<char*>(value.data.data());
    values.push_back(one);
  }
  if (!values.empty() && hivex_node_set_values(hive, node, values.size(), values.data(), 0) != 0)
    return false;
  for (const HiveKey& below : key.subkeys) {
    const hive_node_h child = hivex_node_add_child(hive, node, below.name.c_str());
    if (child == 0 || !Fill(hive, child, below, placed)) return false;
  }
  return true;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return std::move(bytes).str();
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  return file.good();
}

// Builds the hive in `path`, an empty file.
bool Build(const std::string& path, const HiveKey& root) {
  Descriptors descriptors;
  Collect(root, descriptors);
  if (!WriteFile(path, EmptyHive("root", descriptors))) return false;
  std::vector<std::pair<hive_node_h, const HiveKey*>> placed;
  {
    const Hive hive(hivex_open(path.c_str(), HIVEX_OPEN_WRITE));
    if (!hive || !Fill(hive.get(), hivex_root(hive.get()), root, placed)) return false;
    if (hivex_commit(hive.get(), path.c_str(), 0) != 0) return false;
  }
  std::string bytes = ReadFile(path);
  for (const auto& [node, key] : placed) {
    KeyCell cell;
    if (!Get(bytes, node, cell)) return false;
    cell.descriptor = descriptors[key->descriptor].offset;
    cell.time[0] = static_cast<uint32_t>(key->last_write);
    cell.time[1] = static_cast<uint32_t>(key->last_write >> 32);
    Put(bytes, node, cell);
  }
  // hivex counted the keys that it added for the root's descriptor.
  for (const auto& [descriptor, place] : descriptors) {
    DescriptorCell cell;
    if (!Get(bytes, kPage + place.offset, cell)) return false;
    cell.references = place.keys;
    Put(bytes, kPage + place.offset, cell);
  }
  return WriteFile(path, bytes);
}

}  // namespace

LONG ReadHive(const std::string& path, HiveKey& root) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return static_cast<LONG>(FileError(errno, path));
  if (!S_ISREG(status.st_mode)) return ERROR_ACCESS_DENIED;
  if (access(path.c_str(), R_OK) != 0) return static_cast<LONG>(FileError(errno, path));
  const std::string bytes = ReadFile(path);
  const LONG sound = CheckHeader(bytes);
  if (sound != 0) return sound;
  const Hive hive(hivex_open(path.c_str(), 0));
  if (!hive) return ERROR_BADDB;
  const hive_node_h node = hivex_root(hive.get());
  return node != 0 && Reader(hive.get(), bytes).Read(node, 0, root) ? ERROR_SUCCESS : ERROR_BADDB;
}

LONG WriteHive(const std::string& path, const HiveKey& root) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return ERROR_ALREADY_EXISTS;
  std::string beside = path + ".XXXXXX";
  const int file = mkstemp(beside.data());
  if (file < 0) return static_cast<LONG>(FileError(errno, path));
  errno = 0;
  LONG result = Build(beside, root) && fsync(file) == 0 ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
  if (result != 0 && errno == ENOSPC) result = ERROR_DISK_FULL;
  if (result == 0 && rename(beside.c_str(), path.c_str()) != 0)
    result = static_cast<LONG>(FileError(errno, path));
  close(file);
  if (result != 0) unlink(beside.c_str());
  return result;
}

}  // namespace embedded
