#include "console/web/http.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "console/code_page.h"
#include "platform/program.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace web {
namespace {

// What is no escape stays as it is.
std::string Decoded(std::string_view text, bool plusIsSpace) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const char* const digits = text.data() + i + 1;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      decoded += plusIsSpace && text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

}  // namespace

void Request::SetTarget(std::string_view target) {
  target = target.substr(0, target.find('#'));
  const size_t end = std::min(target.find('?'), target.size());
  path = Decoded(target.substr(0, end), false);
  query.clear();
  for (const std::string& field : text::Split(target.substr(std::min(end + 1, target.size())), '&')) {
    const std::string_view whole = field;
    const size_t equals = std::min(whole.find('='), whole.size());
    std::string value = Decoded(whole.substr(std::min(equals + 1, whole.size())), true);
    // What the computer has not, nothing is found for.
    std::string why;
    value = code_page::FromUtf8(value, why).value_or(value);
    query.emplace_back(Decoded(whole.substr(0, equals), true), std::move(value));
  }
}

bool Request::Has(std::string_view field) const {
  return std::any_of(query.begin(), query.end(), [&](const auto& one) { return one.first == field; });
}

std::string Request::Field(std::string_view name) const {
  for (const auto& [field, value] : query) {
    if (field == name) return value;
  }
  return {};
}

std::string Request::Header(std::string_view name) const {
  for (const auto& [header, value] : headers) {
    if (text::EqualNoCase(header, name)) return value;
  }
  return {};
}

size_t Request::HeaderCount(std::string_view name) const {
  return static_cast<size_t>(std::count_if(headers.begin(), headers.end(), [&](const auto& header) {
    return text::EqualNoCase(header.first, name);
  }));
}

OutgoingFile::OutgoingFile(const std::string& path)
    : m_folder(platform::PathOf(path).parent_path()),
      m_file(platform::PathOf(path), std::ios::binary | std::ios::ate) {
  m_size = static_cast<std::uint64_t>(std::max<std::streamoff>(m_file.tellg(), 0));
  m_file.seekg(0);
  // Where an open file can lose its name it does so at once.
  std::error_code ignored;
  fs::remove_all(m_folder, ignored);
}

OutgoingFile::~OutgoingFile() {
  m_file.close();
  std::error_code ignored;
  fs::remove_all(m_folder, ignored);
}

bool OutgoingFile::Read(std::string& piece, size_t size) {
  piece.resize(size);
  return static_cast<bool>(m_file.read(piece.data(), static_cast<std::streamsize>(size)));
}

Response Sentence(int status, std::string_view sentence) {
  return {status, "text/plain; charset=utf-8", std::string(sentence) + "\n"};
}

}  // namespace web
