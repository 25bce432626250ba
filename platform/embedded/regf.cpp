#include "platform/embedded/regf.h"

#include <hivex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform/embedded/keysecurity.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/regf_format.h"
#include "platform/win32.h"

namespace embedded {
namespace {

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
  Reader(hive_h* hive, const std::string& bytes) : m_hive(hive), m_bytes(bytes) {}

  // False when the key is damaged. A damaged file may contain itself, or the same values in every key, and be
  // far larger in memory than on the disk.
  bool Read(hive_node_h node, int depth, HiveKey& key) {
    constexpr int kDeepest = 512;
    KeyCell cell;
    if (depth > kDeepest || ++m_keys > m_bytes.size() / sizeof cell || !Get(m_bytes, node, cell))
      return false;
    key.last_write = cell.time[0] | uint64_t{cell.time[1]} << 32;
    key.descriptor = DescriptorAt(m_bytes, cell.descriptor);
    const Allocated<hive_value_h> values(hivex_node_values(m_hive, node));
    const Allocated<hive_node_h> children(hivex_node_children(m_hive, node));
    if (!values || !children) return false;
    for (const hive_value_h* value = values.get(); *value != 0; ++value) {
      if (!ReadValue(*value, key.values.emplace_back())) return false;
    }
    for (const hive_node_h* child = children.get(); *child != 0; ++child) {
      HiveKey& below = key.subkeys.emplace_back();
      const Allocated<char> name(hivex_node_name(m_hive, *child));
      if (!name || *name.get() == '\0') return false;
      below.name = name.get();
      if (!Read(*child, depth + 1, below)) return false;
    }
    return true;
  }

 private:
  bool ReadValue(hive_value_h place, HiveValue& value) {
    const Allocated<char> name(hivex_value_key(m_hive, place));
    hive_type type{};
    size_t size = 0;
    if (!name || hivex_value_type(m_hive, place, &type, &size) != 0) return false;
    m_data += size;
    if (++m_values > m_bytes.size() / sizeof(ValueCell) || m_data > m_bytes.size()) return false;
    value.name = name.get();
    std::memcpy(&value.type, &type, sizeof value.type);  // Any number, not only those that hivex names.
    if (size == 0) return true;
    const Allocated<char> data(hivex_value_value(m_hive, place, &type, &size));
    if (data) value.data.assign(data.get(), size);
    return data != nullptr;
  }

  hive_h* m_hive;
  const std::string& m_bytes;
  size_t m_keys = 0;
  size_t m_values = 0;
  size_t m_data = 0;  // Bytes of all values.
};

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return std::move(bytes).str();
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

}  // namespace embedded
