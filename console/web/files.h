#pragma once

// The file picker's view of the machine: what lies under the given folders, and nothing else.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace web {

// A folder that the picker shows. Its paths begin with `prefix`: "C:\" for a drive of the computer, else the
// folder itself. `drive` says that they are written as those of drives are.
struct FileRoot {
  std::string prefix;
  std::filesystem::path folder;
  bool drive = false;
};

class FileRoots {
 public:
  // The given folders or, where there are none, the drives of the local computer.
  explicit FileRoots(const std::vector<std::string>& folders);

  // {"path", "parent", "folders": [{"name", "path"}], "files": [{"name", "path", "size"}]}; the roots for an
  // empty path; null for a path that is not under a root or no folder. The parent of a root is "".
  nlohmann::ordered_json List(std::string_view path) const;
  // Whether a path as the pages take it lies under a root, with every link followed.
  bool Allows(std::string_view path) const;
  // Whether a page may open it as a file, or as the file that it makes of a name without an ending.
  bool AllowsFile(std::string_view path) const;
  // Whether there is such a file, or the one that a page makes of a name without an ending.
  bool HasFile(std::string_view path) const;

 private:
  // The root that the path lies under, with its real place; null for none.
  const FileRoot* RootOf(std::string_view path, std::filesystem::path& place) const;

  std::vector<FileRoot> m_roots;
};

}  // namespace web
