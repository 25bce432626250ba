#include "console/web/files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/embedded/paths.h"
#include "platform/text.h"

namespace fs = std::filesystem;
using nlohmann::ordered_json;

namespace web {
namespace {

// Whether `path` is `folder` or lies below it; both are real paths.
bool IsWithin(const std::string& path, const std::string& folder) {
  return path == folder || (path.starts_with(folder) && (folder == "/" || path[folder.size()] == '/'));
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
    const std::string real = fs::canonical(folder, error).string();
    if (!error && fs::is_directory(real, error)) m_roots.push_back({real, real, false});
  }
  if (!folders.empty()) return;
  const auto drive = embedded::MapPath("C:\\");
  if (!drive) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(*drive).parent_path(), error)) {
    std::string letter = entry.path().filename().string();
    if (letter.size() != 1) continue;
    letter[0] = static_cast<char>(letter[0] - 'a' + 'A');
    m_roots.push_back({letter + ":\\", fs::canonical(entry.path(), error).string(), true});
  }
  std::sort(m_roots.begin(), m_roots.end(),
            [](const FileRoot& a, const FileRoot& b) { return a.prefix < b.prefix; });
}

const FileRoot* FileRoots::RootOf(std::string_view path, std::string& place) const {
  if (path.find('\0') != std::string_view::npos) return nullptr;
  const auto mapped = embedded::MapPath(path);
  if (!mapped || !mapped->starts_with('/')) return nullptr;
  std::error_code error;
  // A file that is yet to be written has a real folder; the file itself must not be a link that leads away,
  // nor one to a place where nothing is yet.
  place = fs::weakly_canonical(*mapped, error).string();
  if (error || fs::is_symlink(fs::symlink_status(place, error))) return nullptr;
  const bool drive = !path.starts_with('/');
  for (const FileRoot& root : m_roots) {
    if (root.drive == drive && IsWithin(place, root.folder)) return &root;
  }
  return nullptr;
}

bool FileRoots::Allows(std::string_view path) const {
  std::string place;
  return RootOf(path, place) != nullptr;
}

bool FileRoots::AllowsFile(std::string_view path) const {
  std::string place;
  std::error_code error;
  if (RootOf(path, place) == nullptr || fs::is_directory(place, error)) return false;
  return path.find('.') != std::string_view::npos || Allows(std::string(path) + ".xml");
}

ordered_json FileRoots::List(std::string_view path) const {
  ordered_json list{
      {"path", path}, {"parent", ""}, {"folders", ordered_json::array()}, {"files", ordered_json::array()}};
  if (path.empty()) {
    for (const FileRoot& root : m_roots)
      list["folders"].push_back({{"name", root.prefix}, {"path", root.prefix}});
    return list;
  }
  std::string place;
  const FileRoot* root = RootOf(path, place);
  std::error_code error;
  if (root == nullptr || !fs::is_directory(place, error)) return nullptr;
  if (place != root->folder) list["parent"] = ParentOf(std::string(path), root->drive);
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator it(place, error), end; !error && it != end; it.increment(error))
    entries.push_back(*it);
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return text::CompareNoCase(a.path().filename().string(), b.path().filename().string()) < 0;
  });
  for (const fs::directory_entry& entry : entries) {
    const std::string name = entry.path().filename().string();
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
