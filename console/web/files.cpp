#include "console/web/files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/program.h"
#include "platform/text.h"

namespace fs = std::filesystem;
using nlohmann::ordered_json;

namespace web {
namespace {

// Whether `path` is `folder` or lies below it; both are real paths.
bool IsWithin(const fs::path& path, const fs::path& folder) {
  auto part = path.begin();
  for (const fs::path& wanted : folder) {
    // The folder may end with a separator.
    if (wanted.empty()) break;
    if (part == path.end() || *part != wanted) return false;
    ++part;
  }
  return true;
}

std::string Joined(const std::string& path, bool drive, const std::string& name) {
  if (!drive) return (path == "/" ? "" : path) + "/" + name;
  return path + (path.ends_with('\\') ? "" : "\\") + name;
}

std::string ParentOf(const std::string& path, bool drive) {
  const size_t end = path.find_last_of(drive ? '\\' : '/');
  if (end == std::string::npos) return {};
  // The root of a drive keeps its separator: "C:\".
  if (drive && end == 2) return path.size() == 3 ? "" : path.substr(0, 3);
  return path.substr(0, std::max<size_t>(end, 1));
}

}  // namespace

FileRoots::FileRoots(const std::vector<std::string>& folders) {
  std::error_code error;
  for (const std::string& folder : folders) {
    const std::optional<fs::path> real =
        platform::RealPath(platform::TextOf(fs::absolute(std::u8string(folder.begin(), folder.end()))));
    if (!real || !fs::is_directory(*real, error)) continue;
    const std::string name = platform::TextOf(*real);
    m_roots.push_back({name, *real, !name.starts_with('/')});
  }
  if (!folders.empty()) return;
  for (const platform::Drive& drive : platform::Drives())
    m_roots.push_back({drive.prefix, drive.folder, true});
}

const FileRoot* FileRoots::RootOf(std::string_view path, fs::path& place) const {
  if (path.find('\0') != std::string_view::npos) return nullptr;
  // A file that is yet to be written has a real folder; the file itself must not be a link that leads away.
  const std::optional<fs::path> real = platform::RealPath(path);
  if (!real) return nullptr;
  place = *real;
  const bool drive = !path.starts_with('/');
  for (const FileRoot& root : m_roots) {
    if (root.drive == drive && IsWithin(place, root.folder)) return &root;
  }
  return nullptr;
}

bool FileRoots::Allows(std::string_view path) const {
  fs::path place;
  return RootOf(path, place) != nullptr;
}

bool FileRoots::AllowsFile(std::string_view path) const {
  fs::path place;
  std::error_code error;
  if (RootOf(path, place) == nullptr || fs::is_directory(place, error)) return false;
  return path.find('.') != std::string_view::npos || Allows(std::string(path) + ".xml");
}

bool FileRoots::HasFile(std::string_view path) const {
  fs::path place;
  std::error_code error;
  if (RootOf(path, place) == nullptr) return false;
  if (fs::exists(place, error)) return true;
  return path.find('.') == std::string_view::npos && HasFile(std::string(path) + ".xml");
}

ordered_json FileRoots::List(std::string_view path) const {
  ordered_json list{
      {"path", path}, {"parent", ""}, {"folders", ordered_json::array()}, {"files", ordered_json::array()}};
  if (path.empty()) {
    for (const FileRoot& root : m_roots)
      list["folders"].push_back({{"name", root.prefix}, {"path", root.prefix}});
    return list;
  }
  fs::path place;
  const FileRoot* root = RootOf(path, place);
  std::error_code error;
  if (root == nullptr || !fs::is_directory(place, error)) return nullptr;
  if (place != root->folder) list["parent"] = ParentOf(std::string(path), root->drive);
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator it(place, error), end; !error && it != end; it.increment(error))
    entries.push_back(*it);
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return text::CompareNoCase(platform::TextOf(a.path().filename()), platform::TextOf(b.path().filename())) <
           0;
  });
  for (const fs::directory_entry& entry : entries) {
    const std::string name = platform::TextOf(entry.path().filename());
    const std::string full = Joined(std::string(path), root->drive, name);
    // A link that leads out of the roots is not there.
    if (!Allows(full)) continue;
    if (entry.is_directory(error)) {
      list["folders"].push_back({{"name", name}, {"path", full}});
    } else if (entry.is_regular_file(error)) {
      list["files"].push_back({{"name", name}, {"path", full}, {"size", entry.file_size(error)}});
    }
  }
  return list;
}

}  // namespace web
