#pragma once

// A request and its response as the console's routes see them, whatever carries them.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace web {

using Fields = std::vector<std::pair<std::string, std::string>>;

struct Request {
  std::string method;
  std::string path;  // decoded, as the query's fields are
  Fields query;
  Fields headers;
  std::string body;

  // Takes the target of a request line apart.
  void SetTarget(std::string_view target);
  bool Has(std::string_view field) const;
  // The first one of that name, empty where there is none. Names of headers compare without case.
  std::string Field(std::string_view name) const;
  std::string Header(std::string_view name) const;
  size_t HeaderCount(std::string_view name) const;
};

// A file on its way out, which is deleted with the folder that it lies in once it was sent, or could not be.
class OutgoingFile {
 public:
  explicit OutgoingFile(const std::string& path);
  ~OutgoingFile();
  OutgoingFile(const OutgoingFile&) = delete;
  OutgoingFile& operator=(const OutgoingFile&) = delete;

  std::uint64_t Size() const { return m_size; }
  // The next piece; false where the file ends before it.
  bool Read(std::string& piece, size_t size);

 private:
  std::filesystem::path m_folder;
  std::ifstream m_file;
  std::uint64_t m_size = 0;
};

struct Response {
  int status = 200;
  std::string type;
  std::string body;
  Fields headers{};
  std::shared_ptr<OutgoingFile> file{};  // in place of the body
};

// One sentence as plain text.
Response Sentence(int status, std::string_view sentence);

}  // namespace web
