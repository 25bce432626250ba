#include "console/web/transfers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "console/web/gate.h"
#include "platform/program.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace web {
namespace {

constexpr char kPiece[] = "/piece";

// A name for this machine's folders in any code page.
std::string SafeName(std::string_view name) {
  constexpr size_t kLongest = 100;
  constexpr std::string_view kPunctuation = " ._-()";
  std::string safe(name.substr(name.size() - std::min(name.size(), kLongest)));
  for (char& c : safe) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    if (!plain && kPunctuation.find(c) == std::string_view::npos) c = '_';
  }
  return safe.find_first_not_of(" .") == std::string::npos ? "file" : safe;
}

bool MakeEmpty(const std::string& path) {
  return std::ofstream(platform::PathOf(path), std::ios::binary).is_open();
}

void Delete(const std::string& folder) {
  std::error_code ignored;
  fs::remove_all(platform::PathOf(folder), ignored);
}

}  // namespace

std::string Transfers::NewFolder() {
  if (m_folder.empty()) return {};
  std::string folder = m_folder + "/" + std::to_string(++m_last);
  std::error_code error;
  return fs::create_directory(platform::PathOf(folder), error) ? folder : "";
}

std::optional<std::string> Transfers::BeginDownload(std::string_view name, const std::string& tab,
                                                    size_t depth) {
  if (m_download) Delete(m_download->folder);
  m_download.reset();
  const std::string folder = NewFolder();
  const std::string path = folder + "/" + SafeName(name);
  if (folder.empty() || !MakeEmpty(path)) return std::nullopt;
  m_download = Download{MakeSecret(), std::string(name), tab, folder, path, depth};
  return path;
}

nlohmann::ordered_json Transfers::Waiting() const {
  if (!m_download || m_download->ready.empty()) return nullptr;
  return {{"id", m_download->id}, {"name", m_download->name}, {"tab", m_download->tab}};
}

std::string Transfers::TakeDownload(std::string_view id) {
  if (!m_download || m_download->ready.empty() || m_download->id != id) return {};
  std::string path = std::move(m_download->ready);
  m_download.reset();
  return path;
}

std::string Transfers::AddToUpload(unsigned window, const std::string& tab, std::uint64_t at,
                                   std::string_view bytes) {
  if (at == 0) {
    if (m_upload) Delete(m_upload->folder);
    m_upload = Upload{NewFolder(), window, tab};
    if (m_upload->folder.empty() || !MakeEmpty(m_upload->folder + kPiece)) {
      m_upload.reset();
      return "The console has no room for the file.";
    }
  }
  if (!m_upload || m_upload->window != window || m_upload->tab != tab || m_upload->size != at ||
      m_upload->depth) {
    return "The file has not arrived whole.";
  }
  if (at + bytes.size() > kMostUpload) return "The file is too large.";
  std::ofstream file(platform::PathOf(m_upload->folder + kPiece), std::ios::binary | std::ios::app);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) return "The console has no room for the file.";
  m_upload->size += bytes.size();
  return {};
}

std::optional<std::string> Transfers::EndUpload(unsigned window, const std::string& tab,
                                                std::string_view name, size_t depth) {
  if (!m_upload || m_upload->window != window || m_upload->tab != tab || m_upload->depth) return std::nullopt;
  const std::string path = m_upload->folder + "/" + SafeName(name);
  std::error_code error;
  fs::rename(platform::PathOf(m_upload->folder + kPiece), platform::PathOf(path), error);
  if (error) return std::nullopt;
  m_upload->name = name;
  m_upload->path = path;
  m_upload->depth = depth;
  return path;
}

std::string Transfers::InPersonsWords(std::string_view text) const {
  std::string words(text);
  if (m_download) words = text::Replaced(words, m_download->path, m_download->name);
  if (m_upload && m_upload->depth) words = text::Replaced(words, m_upload->path, m_upload->name);
  return words;
}

void Transfers::Settled(size_t depth) {
  if (m_upload && m_upload->depth && depth <= *m_upload->depth) {
    Delete(m_upload->folder);
    m_upload.reset();
  }
  if (!m_download || !m_download->ready.empty() || depth > m_download->depth) return;
  std::error_code error;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(platform::PathOf(m_download->folder), error)) {
    if (!entry.is_regular_file(error) || entry.file_size(error) == 0) continue;
    m_download->ready = platform::TextOf(entry.path());
    // A page adds an ending to a name without one.
    if (!platform::PathOf(m_download->name).has_extension()) {
      m_download->name += platform::TextOf(entry.path().extension());
    }
  }
  // Where the page has written nothing, it has said why.
  if (!m_download->ready.empty()) return;
  Delete(m_download->folder);
  m_download.reset();
}

}  // namespace web
