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
  FileSource(HANDLE file, const CString& name) : file_(file), name_(name) {}
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  ~FileSource() override { CloseHandle(file_); }

  size_t Read(std::span<char> buffer) override {
    DWORD got = 0;
    const auto wanted = static_cast<DWORD>(std::min(buffer.size(), kLargestTransfer));
    if (!ReadFile(file_, buffer.data(), wanted, &got, nullptr)) {
      throw FileError(name_ + " can't be read to its end.", GetLastError());
    }
    return got;
  }

 private:
  HANDLE file_;
  CString name_;
};

class BytesInMemory : public ByteSource {
 public:
  explicit BytesInMemory(std::string_view bytes) : bytes_(bytes) {}

  size_t Read(std::span<char> buffer) override {
    const size_t count = std::min(buffer.size(), bytes_.size());
    std::copy_n(bytes_.data(), count, buffer.data());
    bytes_.remove_prefix(count);
    return count;
  }

 private:
  std::string_view bytes_;
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
  file_ = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  name_ = name;
  return file_ != INVALID_HANDLE_VALUE;
}

void FileSink::Write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kSinkBuffer) Flush();
  buffer_ += bytes;
}

void FileSink::Flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(rest.size(), kLargestTransfer));
    if (!WriteFile(file_, rest.data(), wanted, &written, nullptr) || written == 0) {
      const DWORD code = GetLastError();
      buffer_.clear();
      throw FileError(name_ + " can't be written to its end.", code);
    }
    rest.remove_prefix(written);
  }
  buffer_.clear();
}

void FileSink::Close() {
  if (file_ == INVALID_HANDLE_VALUE) return;
  struct Closer {
    HANDLE& file;
    ~Closer() {
      CloseHandle(file);
      file = INVALID_HANDLE_VALUE;
    }
  } closer{file_};
  Flush();
}
