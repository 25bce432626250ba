#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/paths.h"
#include "platform/embedded/win32/files.h"
#include "platform/embedded/win32/system.h"

// The version resource of a program file (Microsoft's PE format). Files are anyone's: each offset
// is checked against the file's bounds.

namespace {

using Bytes = std::span<const BYTE>;

constexpr size_t kLargestFile = size_t{1} << 30;
constexpr DWORD kVersionType = 16;  // RT_VERSION
constexpr DWORD kFixedSignature = 0xFEEF04BD;
constexpr DWORD kSubdirectory = 0x80000000;

template <typename Value>
std::optional<Value> At(Bytes bytes, size_t offset) {
  Value value;
  if (offset > bytes.size() || bytes.size() - offset < sizeof value) return std::nullopt;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::optional<Bytes> Slice(Bytes bytes, size_t offset, size_t size) {
  if (offset > bytes.size() || bytes.size() - offset < size) return std::nullopt;
  return bytes.subspan(offset, size);
}

struct Section {
  DWORD virtual_size;
  DWORD address;
  DWORD raw_size;
  DWORD raw_offset;
};

// What the headers of a PE file say about its resources.
struct Image {
  Bytes file;
  std::vector<Section> sections;
  DWORD resources = 0;  // Address of the directory.

  // The file's bytes from an address to the end of its section.
  std::optional<Bytes> From(DWORD address) const {
    for (const Section& section : sections) {
      if (address < section.address || address - section.address >= section.raw_size) continue;
      const DWORD inside = address - section.address;
      return Slice(file, size_t{section.raw_offset} + inside, section.raw_size - inside);
    }
    return std::nullopt;
  }
};

std::optional<Image> ReadHeaders(Bytes file) {
  Image image{.file = file, .sections = {}};
  const auto pe = At<DWORD>(file, 0x3C);
  if (!pe || At<WORD>(file, 0) != 0x5A4D || At<DWORD>(file, *pe) != 0x00004550u) return std::nullopt;
  const size_t header = size_t{*pe} + 4;
  const size_t optional = header + 20;
  const auto section_count = At<WORD>(file, header + 2);
  const auto optional_size = At<WORD>(file, header + 16);
  const auto magic = At<WORD>(file, optional);
  if (!section_count || !optional_size || !magic) return std::nullopt;
  // The third data directory, of PE32+ or PE32.
  const auto resources = At<DWORD>(file, optional + (*magic == 0x20B ? 112 : 96) + 2 * 8);
  if (!resources || *resources == 0) return std::nullopt;
  image.resources = *resources;
  for (size_t i = 0; i < *section_count; ++i) {
    const auto section = At<Section>(file, optional + *optional_size + i * 40 + 8);
    if (!section) return std::nullopt;
    image.sections.push_back(*section);
  }
  return image;
}

// The entry of a resource directory with the identifier, or its first one; its offset field.
std::optional<DWORD> Entry(Bytes resources, DWORD directory, std::optional<DWORD> identifier) {
  const auto named = At<WORD>(resources, size_t{directory} + 12);
  const auto numbered = At<WORD>(resources, size_t{directory} + 14);
  if (!named || !numbered) return std::nullopt;
  const size_t count = size_t{*named} + *numbered;
  for (size_t i = 0; i < count; ++i) {
    const size_t entry = size_t{directory} + 16 + i * 8;
    if (!identifier || At<DWORD>(resources, entry) == identifier) return At<DWORD>(resources, entry + 4);
  }
  return std::nullopt;
}

// The version resource: type, then the first name, then the first language.
std::optional<Bytes> VersionResource(const Image& image) {
  const std::optional<Bytes> resources = image.From(image.resources);
  if (!resources) return std::nullopt;
  const auto type = Entry(*resources, 0, kVersionType);
  if (!type || (*type & kSubdirectory) == 0) return std::nullopt;
  const auto name = Entry(*resources, *type & ~kSubdirectory, std::nullopt);
  if (!name || (*name & kSubdirectory) == 0) return std::nullopt;
  const auto leaf = Entry(*resources, *name & ~kSubdirectory, std::nullopt);
  if (!leaf || (*leaf & kSubdirectory) != 0) return std::nullopt;
  const auto address = At<DWORD>(*resources, *leaf);
  const auto size = At<DWORD>(*resources, size_t{*leaf} + 4);
  if (!address || !size) return std::nullopt;
  const std::optional<Bytes> data = image.From(*address);
  return data ? Slice(*data, 0, *size) : std::nullopt;
}

// Where the fixed information stands in a version block: behind its three lengths and its key, on a multiple
// of 4.
std::optional<size_t> FixedInformation(Bytes block) {
  constexpr std::u16string_view kKey = u"VS_VERSION_INFO";
  constexpr size_t kOffset = (6 + (kKey.size() + 1) * 2 + 3) & ~size_t{3};
  const auto value_size = At<WORD>(block, 2);
  if (!value_size || *value_size < sizeof(VS_FIXEDFILEINFO)) return std::nullopt;
  for (size_t i = 0; i < kKey.size(); ++i) {
    if (At<WORD>(block, 6 + i * 2) != static_cast<WORD>(kKey[i])) return std::nullopt;
  }
  if (!Slice(block, kOffset, sizeof(VS_FIXEDFILEINFO)) || At<DWORD>(block, kOffset) != kFixedSignature) {
    return std::nullopt;
  }
  return kOffset;
}

// The file's version block; without one the last error is set.
std::vector<BYTE> VersionBlock(LPCSTR path) {
  const std::optional<std::string> mapped = embedded::MapPath(path == nullptr ? "" : path);
  if (!mapped) return {};
  std::ifstream stream(*mapped, std::ios::binary | std::ios::ate);
  const std::streamoff size = stream ? static_cast<std::streamoff>(stream.tellg()) : -1;
  if (size < 0 || size > static_cast<std::streamoff>(kLargestFile)) {
    SetLastError(size < 0 ? embedded::FileError(ENOENT, *mapped) : ERROR_BAD_FORMAT);
    return {};
  }
  std::vector<BYTE> file(static_cast<size_t>(size));
  stream.seekg(0);
  stream.read(reinterpret_cast<char*>(file.data()), size);
  const std::optional<Image> image = stream ? ReadHeaders(file) : std::nullopt;
  const std::optional<Bytes> block = image ? VersionResource(*image) : std::nullopt;
  if (!block || !FixedInformation(*block)) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return {};
  }
  return {block->begin(), block->end()};
}

}  // namespace

DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR path, LPDWORD handle) {
  if (handle != nullptr) *handle = 0;
  return static_cast<DWORD>(VersionBlock(path).size());
}

BOOL WINAPI GetFileVersionInfoA(LPCSTR path, DWORD, DWORD size, LPVOID data) {
  const std::vector<BYTE> block = VersionBlock(path);
  if (block.empty()) return FALSE;
  // As much as fits, as Windows does; the lengths at its start say when something is missing.
  std::memset(data, 0, size);
  std::memcpy(data, block.data(), std::min<size_t>(size, block.size()));
  return TRUE;
}

BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR name, LPVOID* buffer, PUINT size) {
  const auto* bytes = static_cast<const BYTE*>(block);
  WORD length = 0;
  std::memcpy(&length, bytes, sizeof length);
  const std::optional<size_t> offset = FixedInformation({bytes, length});
  const std::string_view wanted = name == nullptr ? "" : name;
  if (!offset || (wanted != "\\" && !wanted.empty())) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
  }
  *buffer = const_cast<BYTE*>(bytes + *offset);
  *size = sizeof(VS_FIXEDFILEINFO);
  return TRUE;
}
