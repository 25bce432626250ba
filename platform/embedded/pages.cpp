// A walk over the pages of an LMDB file (format version 1, 64-bit) without mapping it, for files that are
// shorter than they claim to be.

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/embedded/environment.h"

namespace embedded {
namespace {

constexpr uint16_t kBranchPage = 0x01;
constexpr uint16_t kLeafPage = 0x02;
constexpr uint16_t kOverflowPage = 0x04;
constexpr uint16_t kBigData = 0x01;  // Flags of a node: its data lies on overflow pages,
constexpr uint16_t kSubTree = 0x02;  // or is a tree of its own.
constexpr uint64_t kNoPage = ~uint64_t{0};
constexpr int kDeepest = 32;

struct PageHeader {
  uint64_t number;
  uint16_t pad;
  uint16_t flags;
  uint16_t lower;  // The end of the node offsets that follow, and the start of the nodes;
  uint16_t upper;  // together the number of pages of an overflow page.
};
struct NodeHeader {
  uint16_t low;  // The size of the data; of a branch, with `flags` the child's number.
  uint16_t high;
  uint16_t flags;
  uint16_t key_size;
};
struct Tree {
  uint32_t pad;
  uint16_t flags;
  uint16_t depth;
  uint64_t branches, leaves, overflows, entries;
  uint64_t root;
};
struct Meta {
  uint32_t magic;
  uint32_t version;
  uint64_t address;
  uint64_t map_size;
  Tree trees[2];  // Free pages, and the main tree; the first one's pad is the page size.
  uint64_t last_page;
  uint64_t transaction;
};

class Walk {
 public:
  explicit Walk(const std::string& file) : m_file(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Walk() {
    if (m_file >= 0) close(m_file);
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  bool WholeFile() {
    Meta newest{};
    // The two meta pages take turns; the first tells the page size.
    for (size_t i = 0; i < 2; ++i) {
      Meta meta;
      const size_t place = sizeof(PageHeader) + i * newest.trees[0].pad;
      if (pread(m_file, &meta, sizeof meta, static_cast<off_t>(place)) != sizeof meta) return false;
      if (i == 0 || meta.transaction > newest.transaction) newest = meta;
    }
    m_pageSize = newest.trees[0].pad;
    if (m_pageSize < 256 || m_pageSize > 65536) return false;
    return Present(newest.trees[0].root, 0) && Present(newest.trees[1].root, 0);
  }

 private:
  bool Read(uint64_t number, std::vector<char>& page) {
    page.resize(m_pageSize);
    const auto place = static_cast<off_t>(number * m_pageSize);
    return pread(m_file, page.data(), m_pageSize, place) == static_cast<ssize_t>(m_pageSize);
  }

  bool Present(uint64_t root, int depth) {
    if (root == kNoPage) return true;
    std::vector<char> page;
    if (depth > kDeepest || !Read(root, page)) return false;
    PageHeader header;
    std::memcpy(&header, page.data(), sizeof header);
    if (header.number != root || header.lower < sizeof header || header.lower > m_pageSize) return false;
    if ((header.flags & (kBranchPage | kLeafPage)) == 0) return false;
    for (size_t at = sizeof header; at + sizeof(uint16_t) <= header.lower; at += sizeof(uint16_t)) {
      uint16_t offset;
      std::memcpy(&offset, page.data() + at, sizeof offset);
      if (!NodePresent(page, offset, (header.flags & kBranchPage) != 0, depth)) return false;
    }
    return true;
  }

  bool NodePresent(const std::vector<char>& page, size_t offset, bool branch, int depth) {
    NodeHeader node;
    if (offset + sizeof node > m_pageSize) return false;
    std::memcpy(&node, page.data() + offset, sizeof node);
    const uint64_t low = node.low | uint64_t{node.high} << 16;
    if (branch) return Present(low | uint64_t{node.flags} << 32, depth + 1);
    const size_t data = offset + sizeof node + node.key_size;
    if ((node.flags & kBigData) != 0) {
      uint64_t first;
      if (data + sizeof first > m_pageSize) return false;
      std::memcpy(&first, page.data() + data, sizeof first);
      return OverflowPresent(first);
    }
    if ((node.flags & kSubTree) != 0) {
      Tree tree;
      if (data + sizeof tree > m_pageSize) return false;
      std::memcpy(&tree, page.data() + data, sizeof tree);
      return Present(tree.root, depth + 1);
    }
    return true;
  }

  bool OverflowPresent(uint64_t first) {
    std::vector<char> page;
    if (!Read(first, page)) return false;
    PageHeader header;
    std::memcpy(&header, page.data(), sizeof header);
    if (header.number != first || (header.flags & kOverflowPage) == 0) return false;
    const uint64_t pages = header.lower | uint64_t{header.upper} << 16;
    return pages > 0 && Read(first + pages - 1, page);
  }

  int m_file;
  size_t m_pageSize = 0;
};

}  // namespace

bool PagesArePresent(const std::string& file) { return Walk(file).WholeFile(); }

}  // namespace embedded
