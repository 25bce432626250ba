// A check of the pages of an LMDB file (format version 1, 64-bit) without mapping it. LMDB trusts its file: a
// page that is missing, or holds something else than it should, ends the process or gives other data.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include "platform/embedded/environment.h"

namespace embedded {
namespace {

constexpr uint16_t kBranchPage = 0x01;
constexpr uint16_t kLeafPage = 0x02;
constexpr uint16_t kOverflowPage = 0x04;
constexpr uint16_t kMetaPage = 0x08;
constexpr uint16_t kBigData = 0x01;  // Flags of a node: its data lies on overflow pages,
constexpr uint16_t kSubTree = 0x02;  // or is a tree of its own.
constexpr uint16_t kNumberKeys = 0x08;
constexpr uint64_t kNoPage = ~uint64_t{0};
constexpr uint32_t kMagic = 0xBEEFC0DE;
constexpr uint32_t kVersion = 1;
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

class File {
 public:
  explicit File(const std::string& name) : m_file(open(name.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (m_file >= 0) close(m_file);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool Read(uint64_t place, void* bytes, size_t size) const {
    return pread(m_file, bytes, size, static_cast<off_t>(place)) == static_cast<ssize_t>(size);
  }
  uint64_t Size() const {
    struct stat status {};
    return fstat(m_file, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
  }

  // The two meta pages, which take turns, so that one is a single state behind the other; the first tells the
  // page size. False where either is none. Others may commit between the two reads.
  bool ReadMetas(Meta (&metas)[2]) const {
    for (int tries = 0; tries < 5; ++tries) {
      if (!ReadBoth(metas)) return false;
      const uint64_t even = metas[0].transaction;
      const uint64_t odd = metas[1].transaction;
      if ((even == 0 && odd == 0) || ((even & 1) == 0 && (odd == even + 1 || odd + 1 == even))) return true;
    }
    return false;
  }

 private:
  bool ReadBoth(Meta (&metas)[2]) const {
    size_t page = 0;
    for (Meta& meta : metas) {
      PageHeader header;
      if (!Read(page, &header, sizeof header) || !Read(page + sizeof header, &meta, sizeof meta))
        return false;
      const uint32_t size = meta.trees[0].pad;
      const bool sound = (header.flags & kMetaPage) != 0 && meta.magic == kMagic &&
                         (meta.version & 0xFFFF) == kVersion && size >= 512 && size <= 65536 &&
                         (size & (size - 1)) == 0 && (page == 0 || page == size) &&
                         meta.trees[0].flags == kNumberKeys && meta.trees[1].flags == 0;
      if (!sound) return false;
      page = size;
    }
    return true;
  }

  int m_file;
};

// One state of the store: each page is reached once and is what it should be, and each tree counts what it
// has.
class StateCheck {
 public:
  StateCheck(const File& file, const Meta& meta)
      : m_file(file), m_meta(meta), m_pageSize(meta.trees[0].pad), m_used(file.Size() / meta.trees[0].pad) {}

  bool Sound() { return TreeSound(m_meta.trees[0], Kind::Free) && TreeSound(m_meta.trees[1], Kind::Main); }

 private:
  enum class Kind : unsigned char { Free, Main, Names, Numbers };
  using Page = std::vector<char>;
  // What a walk over one tree finds.
  struct Walk {
    Kind kind;
    const Tree& tree;
    Tree found{};
  };
  struct Node {
    NodeHeader header;
    std::string_view key;
    const char* data;  // Behind the key.
    size_t room;       // To the page's end.
    uint32_t Size() const { return header.low | uint32_t{header.high} << 16; }
  };
  // What a node takes of its page.
  struct Extent {
    size_t begin;
    size_t end;
  };

  bool Use(uint64_t page) {
    if (page < 2 || page > m_meta.last_page || page >= m_used.size() || m_used[page]) return false;
    m_used[page] = true;
    return true;
  }

  bool TreeSound(const Tree& tree, Kind kind) {
    Walk walk{kind, tree};
    if (tree.root == kNoPage) return tree.entries == 0 && tree.depth == 0;
    if (tree.depth == 0 || tree.depth > kDeepest) return false;
    if (!PageSound(walk, tree.root, 1, nullptr, nullptr)) return false;
    return walk.found.branches == tree.branches && walk.found.leaves == tree.leaves &&
           walk.found.overflows == tree.overflows && walk.found.entries == tree.entries;
  }

  static bool Less(Kind kind, std::string_view a, std::string_view b) {
    if (kind == Kind::Main || kind == Kind::Names) return a < b;
    uint64_t left;
    uint64_t right;
    std::memcpy(&left, a.data(), sizeof left);
    std::memcpy(&right, b.data(), sizeof right);
    return left < right;
  }

  // Null for a node that does not lie within the page.
  static bool Take(const Page& page, size_t offset, const PageHeader& header, Node& node) {
    if (offset < header.upper || (offset & 1) != 0 || offset + sizeof node.header > page.size()) return false;
    std::memcpy(&node.header, page.data() + offset, sizeof node.header);
    const size_t behind = offset + sizeof node.header + node.header.key_size;
    if (behind > page.size()) return false;
    node.key = {page.data() + offset + sizeof node.header, node.header.key_size};
    node.data = page.data() + behind;
    node.room = page.size() - behind;
    return true;
  }

  static size_t SpaceOf(const Node& node, bool branch) {
    size_t size = sizeof node.header + node.header.key_size;
    if (!branch) size += node.header.flags == kBigData ? sizeof(uint64_t) : node.Size();
    return size + size % 2;
  }

  // Without gaps and overlaps from `upper` to the page's end. LMDB goes by the sum of the nodes' sizes, and
  // where that is another one it writes beside the page.
  bool FillPage(std::vector<Extent>& extents, size_t upper) const {
    std::ranges::sort(extents, {}, &Extent::begin);
    for (const Extent& extent : extents) {
      if (extent.begin != upper) return false;
      upper = extent.end;
    }
    return upper == m_pageSize;
  }

  // Its keys lie from `low` on and before `high`; null for no limit.
  bool PageSound(Walk& walk, uint64_t number, int depth, const std::string* low, const std::string* high) {
    if (depth > walk.tree.depth || !Use(number)) return false;
    const bool branch = depth < walk.tree.depth;
    Page page(m_pageSize);
    if (!m_file.Read(number * m_pageSize, page.data(), page.size())) return false;
    PageHeader header;
    std::memcpy(&header, page.data(), sizeof header);
    const size_t nodes = (header.lower - sizeof header) / sizeof(uint16_t);
    if (header.number != number || header.flags != (branch ? kBranchPage : kLeafPage) ||
        header.lower < sizeof header || (header.lower & 1) != 0 || header.upper < header.lower ||
        header.upper > m_pageSize || nodes < (branch ? 2u : 1u)) {
      return false;
    }
    ++(branch ? walk.found.branches : walk.found.leaves);
    std::vector<Node> all(nodes);
    std::vector<Extent> extents(nodes);
    for (size_t i = 0; i < nodes; ++i) {
      uint16_t offset;
      std::memcpy(&offset, page.data() + sizeof header + i * sizeof offset, sizeof offset);
      if (!Take(page, offset, header, all[i])) return false;
      extents[i] = {offset, offset + SpaceOf(all[i], branch)};
      const bool nameless = branch && i == 0;  // The first child of a branch has no key of its own.
      if (!nameless && !KeySound(walk.kind, all[i].key)) return false;
    }
    if (!FillPage(extents, header.upper)) return false;
    for (size_t i = branch ? 1 : 0; i < nodes; ++i) {
      const bool first = i == (branch ? 1u : 0u);
      if (first ? low != nullptr && Less(walk.kind, all[i].key, *low)
                : !Less(walk.kind, all[i - 1].key, all[i].key)) {
        return false;
      }
      if (high != nullptr && !Less(walk.kind, all[i].key, *high)) return false;
    }
    return branch ? ChildrenSound(walk, all, depth, low, high)
                  : std::ranges::all_of(all, [&](const Node& node) { return DataSound(walk, node); });
  }

  static bool KeySound(Kind kind, std::string_view key) {
    if (kind == Kind::Free || kind == Kind::Numbers) return key.size() == sizeof(uint64_t);
    return !key.empty() && key.size() <= 511;
  }

  bool ChildrenSound(Walk& walk, const std::vector<Node>& nodes, int depth, const std::string* low,
                     const std::string* high) {
    std::string from;
    std::string to;
    for (size_t i = 0; i < nodes.size(); ++i) {
      const uint64_t child = nodes[i].Size() | uint64_t{nodes[i].header.flags} << 32;
      from = nodes[i].key;
      if (i + 1 < nodes.size()) to = nodes[i + 1].key;
      if (!PageSound(walk, child, depth + 1, i == 0 ? low : &from, i + 1 < nodes.size() ? &to : high)) {
        return false;
      }
    }
    return true;
  }

  bool DataSound(Walk& walk, const Node& node) {
    ++walk.found.entries;
    const uint32_t size = node.Size();
    if (walk.kind == Kind::Free && !FreedBefore(node.key)) return false;
    if (node.header.flags == kBigData) {
      uint64_t first;
      if (node.room < sizeof first) return false;
      std::memcpy(&first, node.data, sizeof first);
      return OverflowSound(walk, first, size);
    }
    if (size > node.room) return false;
    if (walk.kind == Kind::Free) return FreePagesSound({node.data, size});
    if (walk.kind != Kind::Main || node.header.flags == 0) return node.header.flags == 0;
    Tree tree;
    if (node.header.flags != kSubTree || size != sizeof tree) return false;
    std::memcpy(&tree, node.data, sizeof tree);
    const Kind kind = node.key == "keys" ? Kind::Names : Kind::Numbers;
    return tree.pad == 0 && tree.flags == (kind == Kind::Names ? 0 : kNumberKeys) && TreeSound(tree, kind);
  }

  bool OverflowSound(Walk& walk, uint64_t first, uint32_t size) {
    PageHeader header;
    if (first >= m_used.size() || !m_file.Read(first * m_pageSize, &header, sizeof header)) return false;
    const uint64_t pages = header.lower | uint64_t{header.upper} << 16;
    if (header.number != first || header.flags != kOverflowPage) return false;
    // What shrinks in the transaction that has written it keeps its pages.
    if (pages < (sizeof header - 1 + size) / m_pageSize + 1) return false;
    for (uint64_t i = 0; i < pages; ++i) {
      if (!Use(first + i)) return false;
    }
    walk.found.overflows += pages;
    if (walk.kind != Kind::Free) return true;
    std::string list(size, '\0');
    return m_file.Read(first * m_pageSize + sizeof header, list.data(), size) && FreePagesSound(list);
  }

  // The transaction that has freed pages. LMDB takes those of a transaction 0 again and again.
  bool FreedBefore(std::string_view key) const {
    uint64_t transaction;
    std::memcpy(&transaction, key.data(), sizeof transaction);
    return transaction > 0 && transaction <= m_meta.transaction;
  }

  // A count, and so many pages from the last to the first. They may lie beyond the file's end, where they
  // were never written.
  bool FreePagesSound(std::string_view list) {
    uint64_t count;
    if (list.size() < sizeof count) return false;
    std::memcpy(&count, list.data(), sizeof count);
    if (count > list.size() / sizeof count - 1) return false;
    uint64_t last = m_meta.last_page + 1;
    for (uint64_t i = 1; i <= count; ++i) {
      uint64_t page;
      std::memcpy(&page, list.data() + i * sizeof page, sizeof page);
      if (page >= last || page < 2) return false;
      if (page < m_used.size() ? !Use(page) : !m_beyond.insert(page).second) return false;
      last = page;
    }
    return true;
  }

  const File& m_file;
  const Meta& m_meta;
  size_t m_pageSize;
  std::vector<bool> m_used;
  std::set<uint64_t> m_beyond;  // free pages behind the file's end
};

}  // namespace

bool HeadIsSound(const std::string& file) {
  Meta metas[2];
  return File(file).ReadMetas(metas);
}

PagesState CheckPages(const std::string& file, size_t transaction) {
  const File opened(file);
  Meta metas[2];
  if (!opened.ReadMetas(metas)) return PagesState::Damaged;
  for (const Meta& meta : metas) {
    if (meta.transaction != transaction) continue;
    return StateCheck(opened, meta).Sound() ? PagesState::Sound : PagesState::Damaged;
  }
  return PagesState::Gone;
}

bool PagesAreSound(const std::string& file) {
  Meta metas[2];
  if (!File(file).ReadMetas(metas)) return false;
  return CheckPages(file, std::max(metas[0].transaction, metas[1].transaction)) == PagesState::Sound;
}

}  // namespace embedded
