#include "configuration/byte_stream.h"

#include <algorithm>
#include <cstring>

#include "store/error_text.h"

namespace {

constexpr size_t kSinkBuffer = 64 * 1024;

// Full access for the file's owner (S-1-3-4), administrators and the system, and for nobody else.
constexpr char kOwnersOnly[] = "D:P(A;;FA;;;S-1-3-4)(A;;FA;;;BA)(A;;FA;;;SY)";
constexpr DWORD kDescriptorRevision = 1;  // SDDL_REVISION_1 of sddl.h

constexpr size_t kLargestTransfer = 1 << 30;  // ReadFile and WriteFile count in 32 bits

class FileSource : public ByteSource {
 public:
  FileSource(HANDLE file, const CString& name) : m_file(file), m_name(name) {}
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  ~FileSource() override { CloseHandle(m_file); }

  size_t Read(std::span<char> buffer) override {
    DWORD got = 0;
    const auto wanted = static_cast<DWORD>(std::min(buffer.size(), kLargestTransfer));
    if (!ReadFile(m_file, buffer.data(), wanted, &got, nullptr)) {
      throw FileError(m_name + " can't be read to its end.", GetLastError());
    }
    return got;
  }

 private:
  HANDLE m_file;
  CString m_name;
};

class BytesInMemory : public ByteSource {
 public:
  explicit BytesInMemory(std::string_view bytes) : m_bytes(bytes) {}

  size_t Read(std::span<char> buffer) override {
    const size_t count = std::min(buffer.size(), m_bytes.size());
    std::copy_n(m_bytes.data(), count, buffer.data());
    m_bytes.remove_prefix(count);
    return count;
  }

 private:
  std::string_view m_bytes;
};

}  // namespace

std::unique_ptr<ByteSource> OpenFileSource(const CString& name) {
  HANDLE file = CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  return std::make_unique<FileSource>(file, name);
}

SourceOpener MemorySource(std::string_view bytes) {
  return [bytes](const CString&) { return std::make_unique<BytesInMemory>(bytes); };
}

FileSink::~FileSink() {
  try {
    Close();
  } catch (const FileError&) {  // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
  }
}

bool FileSink::Open(const CString& name) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorA(kOwnersOnly, kDescriptorRevision, &descriptor,
                                                       nullptr);
  const LocalMemory<void> owner(descriptor);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
  m_file = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  m_name = name;
  return m_file != INVALID_HANDLE_VALUE;
}

void FileSink::Write(std::string_view bytes) {
  if (m_buffer.size() + bytes.size() > kSinkBuffer) Flush();
  m_buffer += bytes;
}

void FileSink::Flush() {
  std::string_view rest = m_buffer;
  while (!rest.empty()) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(rest.size(), kLargestTransfer));
    if (!WriteFile(m_file, rest.data(), wanted, &written, nullptr) || written == 0) {
      const DWORD code = GetLastError();
      m_buffer.clear();
      throw FileError(m_name + " can't be written to its end.", code);
    }
    rest.remove_prefix(written);
  }
  m_buffer.clear();
}

void FileSink::Close() {
  if (m_file == INVALID_HANDLE_VALUE) return;
  struct Closer {
    HANDLE& file;
    ~Closer() {
      CloseHandle(file);
      file = INVALID_HANDLE_VALUE;
    }
  } closer{m_file};
  Flush();
}
