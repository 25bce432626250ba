#pragma once

// Files that pass through the browser: one that a page writes to be downloaded, and one that was uploaded for
// a page to read. They lie in a folder that only this user enters, and are deleted once they were fetched or
// read.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace web {

class Transfers {
 public:
  static constexpr std::uint64_t kMostUpload = 256 << 20;

  // The folder is there, and whoever made it deletes it at the end. An empty name: there are no transfers.
  explicit Transfers(std::string folder) : m_folder(std::move(folder)) {}

  // The path at which a page shall write what the person of that tab downloads as `name`. It takes the place
  // of a download before it. `depth` is the number of windows that stand above the page while the page
  // writes. Nothing if the file can't be made.
  std::optional<std::string> BeginDownload(std::string_view name, const std::string& tab, size_t depth);
  // {"id", "name", "tab"} of the download that waits; null for none.
  nlohmann::ordered_json Waiting() const;
  // Gives the download away: the path of the file, which the caller deletes. Empty for another id.
  std::string TakeDownload(std::string_view id);

  // Adds a piece to a tab's upload for a window; a first one, at 0, begins anew. A refusal if the piece does
  // not follow the last one, or makes the file too large.
  std::string AddToUpload(unsigned window, const std::string& tab, std::uint64_t at, std::string_view bytes);
  // The path of the uploaded file, which a page reads while `depth` windows stand above it. Nothing if that
  // tab has uploaded none for the window.
  std::optional<std::string> EndUpload(unsigned window, const std::string& tab, std::string_view name,
                                       size_t depth);

  // What a page says of those files, with the names that the person gave them in place of where they lie.
  std::string InPersonsWords(std::string_view text) const;

  // The page waits for a person, with so many windows above it: files of windows below are written and read.
  void Settled(size_t depth);

 private:
  struct Download {
    std::string id;
    std::string name;
    std::string tab;
    std::string folder;
    std::string path;  // where the page shall write
    size_t depth = 0;
    std::string ready{};  // the file that the page has written, whose name may have an ending more
  };
  struct Upload {
    std::string folder;
    unsigned window = 0;
    std::string tab;
    std::uint64_t size = 0;
    std::string name{};
    std::string path{};
    std::optional<size_t> depth{};  // once a page reads it
  };
  std::string NewFolder();

  std::string m_folder;
  unsigned m_last = 0;
  std::optional<Download> m_download;
  std::optional<Upload> m_upload;
};

}  // namespace web
