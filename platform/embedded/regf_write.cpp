#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>

#include "platform/embedded/codepage.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/regf.h"
#include "platform/embedded/regf_format.h"
#include "platform/win32.h"

namespace embedded {
namespace {

// A name as the file holds it.
struct FileName {
  explicit FileName(const std::string& utf8) : wide(Utf8ToUtf16(utf8)) {
    // Readers do not agree on the bytes from 0x80 to 0x9F.
    narrow = std::ranges::all_of(wide, [](char16_t c) { return c < 0x80 || (c >= 0xA0 && c < 0x100); });
    if (narrow) {
      for (const char16_t c : wide) bytes += static_cast<char>(c);
    } else {
      bytes.assign(reinterpret_cast<const char*>(wide.data()), WideSize());
    }
  }
  uint32_t WideSize() const { return static_cast<uint32_t>(wide.size() * sizeof(char16_t)); }

  std::u16string wide;
  bool narrow;
  std::string bytes;
};

// Where each different descriptor of the tree stands, and how many keys have it.
struct Placed {
  uint32_t offset = 0;
  uint32_t keys = 0;
};

class Writer {
 public:
  // The whole file; empty when the tree is too large for one.
  std::string File(const HiveKey& root) {
    Count(root);
    AddDescriptors();
    const uint32_t root_at = AddKey(root, kNothing);
    CloseBin();
    if (m_full) return {};
    FileHeader header{};
    std::memcpy(header.magic, "regf", 4);
    header.sequences[0] = header.sequences[1] = 1;
    header.major = 1;
    header.minor = 3;
    header.format = 1;
    header.root = root_at;
    header.bins_size = static_cast<uint32_t>(m_bins.size());
    header.cluster = 1;
    header.checksum = Checksum(header);
    std::string file(kPage, '\0');
    Put(file, 0, header);
    return file + m_bins;
  }

 private:
  void Count(const HiveKey& key) {
    ++m_descriptors[key.descriptor].keys;
    for (const HiveKey& below : key.subkeys) Count(below);
  }

  // What is left of the bin becomes a free cell.
  void CloseBin() {
    if (m_used < m_bins.size()) Put(m_bins, m_used, static_cast<int32_t>(m_bins.size() - m_used));
    m_used = m_bins.size();
  }

  // A cell for so many bytes, its size included; its offset. No cell goes beyond the end of its bin.
  uint32_t Add(size_t bytes) {
    constexpr size_t kLargestFile = 0x7FFFF000;
    const size_t size = (bytes + 7) & ~size_t{7};
    if (m_full || m_bins.size() + size + 2 * kPage > kLargestFile) {
      m_full = true;
      return 0;
    }
    if (m_used + size > m_bins.size()) {
      CloseBin();
      const size_t bin = (sizeof(BinHeader) + size + kPage - 1) / kPage * kPage;
      m_bins.resize(m_used + bin);
      Put(m_bins, m_used,
          BinHeader{{'h', 'b', 'i', 'n'}, static_cast<uint32_t>(m_used), static_cast<uint32_t>(bin), {}});
      m_used += sizeof(BinHeader);
    }
    const auto at = static_cast<uint32_t>(m_used);
    Put(m_bins, at, -static_cast<int32_t>(size));
    m_used += size;
    return at;
  }

  // Fills a cell behind its size, which `cell` begins with.
  template <typename Cell>
  void Fill(uint32_t at, Cell cell, const char* magic, const std::string& behind) {
    if (m_full) return;
    std::memcpy(&cell.size, m_bins.data() + at, sizeof cell.size);
    std::memcpy(cell.magic, magic, sizeof cell.magic);
    Put(m_bins, at, cell);
    std::copy(behind.begin(), behind.end(), m_bins.begin() + at + sizeof cell);
  }

  uint32_t AddBytes(const std::string& bytes) {
    const uint32_t at = Add(sizeof(int32_t) + bytes.size());
    if (!m_full) std::copy(bytes.begin(), bytes.end(), m_bins.begin() + at + sizeof(int32_t));
    return at;
  }

  // The descriptors stand in a ring.
  void AddDescriptors() {
    for (auto& [descriptor, placed] : m_descriptors) {
      placed.offset = Add(sizeof(DescriptorCell) + descriptor.size());
    }
    uint32_t previous = std::prev(m_descriptors.end())->second.offset;
    for (auto one = m_descriptors.begin(); one != m_descriptors.end(); ++one) {
      const auto next = std::next(one) == m_descriptors.end() ? m_descriptors.begin() : std::next(one);
      DescriptorCell cell{};
      cell.next = next->second.offset;
      cell.previous = previous;
      cell.references = one->second.keys;
      cell.length = static_cast<uint32_t>(one->first.size());
      Fill(one->second.offset, cell, "sk", one->first);
      previous = one->second.offset;
    }
  }

  uint32_t AddKey(const HiveKey& key, uint32_t parent) {
    const FileName name(parent == kNothing ? "root" : key.name);
    const uint32_t at = Add(sizeof(KeyCell) + name.bytes.size());
    KeyCell cell{};
    cell.flags = static_cast<uint16_t>((parent == kNothing ? kRootKey : 0) | (name.narrow ? kByteName : 0));
    cell.time[0] = static_cast<uint32_t>(key.last_write);
    cell.time[1] = static_cast<uint32_t>(key.last_write >> 32);
    cell.parent = parent;
    cell.descriptor = m_descriptors[key.descriptor].offset;
    cell.name_size = static_cast<uint16_t>(name.bytes.size());
    cell.subkey_list = cell.volatile_list = cell.value_list = cell.class_name = kNothing;
    AddValues(key, cell);
    AddSubkeys(key, at, cell);
    Fill(at, cell, "nk", name.bytes);
    return at;
  }

  void AddValues(const HiveKey& key, KeyCell& cell) {
    std::string list;
    for (const HiveValue& value : key.values) {
      const FileName name(value.name);
      constexpr uint32_t kInPlace = 0x80000000;
      ValueCell one{};
      one.name_size = static_cast<uint16_t>(name.bytes.size());
      one.data_size = static_cast<uint32_t>(value.data.size());
      one.type = value.type;
      one.flags = name.narrow && !name.bytes.empty() ? 1 : 0;
      if (value.data.size() <= sizeof one.data) {
        std::copy(value.data.begin(), value.data.end(), reinterpret_cast<char*>(&one.data));
        one.data_size |= kInPlace;
      } else {
        one.data = AddBytes(value.data);
      }
      const uint32_t at = Add(sizeof one + name.bytes.size());
      Fill(at, one, "vk", name.bytes);
      Append(list, at);
      cell.longest[2] = std::max(cell.longest[2], name.WideSize());
      cell.longest[3] = std::max(cell.longest[3], static_cast<uint32_t>(value.data.size()));
    }
    cell.values = static_cast<uint32_t>(key.values.size());
    if (!list.empty()) cell.value_list = AddBytes(list);
  }

  // Lists of the subkeys with their first letters, and above several of them one of those lists.
  void AddSubkeys(const HiveKey& key, uint32_t at, KeyCell& cell) {
    constexpr size_t kMostInList = 507;  // As many as a bin of one page takes.
    std::string lists;
    for (size_t first = 0; first < key.subkeys.size(); first += kMostInList) {
      const size_t count = std::min(kMostInList, key.subkeys.size() - first);
      std::string list = ListHead("lf", count);
      for (size_t i = first; i < first + count; ++i) {
        const HiveKey& below = key.subkeys[i];
        const FileName name(below.name);
        Append(list, AddKey(below, at));
        list += Hint(name.wide);
        cell.longest[0] = std::max(cell.longest[0], name.WideSize());
      }
      cell.subkey_list = AddBytes(list);
      Append(lists, cell.subkey_list);
    }
    cell.subkeys = static_cast<uint32_t>(key.subkeys.size());
    const size_t count = lists.size() / sizeof(uint32_t);
    if (count > 1) cell.subkey_list = AddBytes(ListHead("ri", count) + lists);
  }

  static std::string ListHead(const char* magic, size_t count) {
    const auto entries = static_cast<uint16_t>(count);
    std::string head = magic;
    head.append(reinterpret_cast<const char*>(&entries), sizeof entries);
    return head;
  }

  static void Append(std::string& list, uint32_t offset) {
    list.append(reinterpret_cast<const char*>(&offset), sizeof offset);
  }

  // Four letters by which a reader passes over other names; none where one of them is no byte.
  static std::string Hint(std::u16string_view name) {
    std::string hint;
    for (const char16_t c : name.substr(0, 4)) {
      if (c > 0xFF) return std::string(4, '\0');
      hint += static_cast<char>(c);
    }
    hint.resize(4);
    return hint;
  }

  std::map<std::string, Placed> m_descriptors;
  std::string m_bins;
  size_t m_used = 0;  // Of m_bins; the rest is the room left in the last bin.
  bool m_full = false;
};

}  // namespace

LONG WriteHive(const std::string& path, const HiveKey& root) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return ERROR_ALREADY_EXISTS;
  const std::string bytes = Writer().File(root);
  if (bytes.empty()) return ERROR_NO_SYSTEM_RESOURCES;
  std::string beside = path + ".XXXXXX";
  const int file = mkstemp(beside.data());
  if (file < 0) return static_cast<LONG>(FileError(errno, path));
  const bool done = WriteAll(file, bytes) && fsync(file) == 0 && rename(beside.c_str(), path.c_str()) == 0;
  const LONG result = done ? ERROR_SUCCESS : static_cast<LONG>(FileError(errno, path));
  close(file);
  if (!done) unlink(beside.c_str());
  return result;
}

}  // namespace embedded
