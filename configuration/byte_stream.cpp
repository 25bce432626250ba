#include "configuration/byte_stream.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <random>
#include <vector>

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
    if (ReadFile(m_file, buffer.data(), wanted, &got, nullptr)) return got;
    const DWORD code = GetLastError();
    // A pipe that was closed at its other end has been read to its end.
    if (code != ERROR_BROKEN_PIPE) m_error = {m_name + " can't be read to its end.", code};
    return 0;
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

// What a stream has given.
struct Kept {
  CString bytes;
  FileError error;
};

class KeptBytes : public ByteSource {
 public:
  explicit KeptBytes(std::shared_ptr<const Kept> kept) : m_kept(std::move(kept)), m_bytes(m_kept->bytes) {}

  size_t Read(std::span<char> buffer) override {
    const size_t got = m_bytes.Read(buffer);
    if (got == 0) m_error = m_kept->error;
    return got;
  }

 private:
  std::shared_ptr<const Kept> m_kept;
  BytesInMemory m_bytes;
};

std::shared_ptr<const Kept> ReadStream(const CString& name) {
  const std::unique_ptr<ByteSource> source = OpenFileSource(name);
  if (!source) return nullptr;
  auto kept = std::make_shared<Kept>();
  std::vector<char> piece(kSinkBuffer);
  while (const size_t got = source->Read(piece)) kept->bytes.append(piece.data(), got);
  kept->error = source->Error();
  return kept;
}

// Sixteen hexadecimal digits from the system's generator.
CString RandomDigits() {
  std::random_device random;
  CString digits;
  for (int i = 0; i < 4; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (unsigned bits = random() & 0xFFFF, n = 0; n < 4; ++n, bits >>= 4) digits += kDigits[bits & 15];
  }
  return digits;
}

// Whether the file goes when its handle is closed, whatever ends the process.
bool SetFleeting(HANDLE file, bool fleeting) {
  FILE_DISPOSITION_INFO info{};
  info.DeleteFile = fleeting ? TRUE : FALSE;
  return SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info) != FALSE;
}

// Gives an open file another name; what has that name is replaced.
bool Rename(HANDLE file, const CString& name) {
  std::vector<WCHAR> wide(name.size() + 1);
  const int length = MultiByteToWideChar(CP_ACP, 0, name.data(), static_cast<int>(name.size()), wide.data(),
                                         static_cast<int>(name.size()));
  const size_t bytes = static_cast<size_t>(std::max(length, 0)) * sizeof(WCHAR);
  std::vector<std::byte> memory(sizeof(FILE_RENAME_INFO) + bytes);
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(memory.data());
  info->ReplaceIfExists = TRUE;
  info->FileNameLength = static_cast<DWORD>(bytes);
  std::memcpy(info->FileName, wide.data(), bytes);
  return SetFileInformationByHandle(file, FileRenameInfo, info, static_cast<DWORD>(memory.size())) != FALSE;
}

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

SourceOpener RepeatableSource() {
  const auto kept = std::make_shared<std::shared_ptr<const Kept>>();
  return [kept](const CString& name) -> std::unique_ptr<ByteSource> {
    if (!IsStream(name)) return OpenFileSource(name);
    if (*kept == nullptr) *kept = ReadStream(name);
    if (*kept == nullptr) return nullptr;
    return std::make_unique<KeptBytes>(*kept);
  };
}

bool IsStream(const CString& name) {
  const DWORD attributes = GetFileAttributesA(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DEVICE) != 0;
}

bool FileSink::Open(const CString& name) {
  Abandon();
  m_name = name;
  m_error = {};
  m_isStream = IsStream(name);
  if (m_isStream) {
    m_file = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return m_file != INVALID_HANDLE_VALUE || Fail("can't be opened");
  }
  // Found out now and not when all was written: a folder's place is taken.
  const DWORD attributes = GetFileAttributesA(name.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    SetLastError(ERROR_ACCESS_DENIED);
    return Fail("is a folder");
  }
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorA(kOwnersOnly, kDescriptorRevision, &descriptor,
                                                       nullptr);
  const LocalMemory<void> owner(descriptor);
  SECURITY_ATTRIBUTES attributesOfFile{sizeof attributesOfFile, descriptor, FALSE};
  const CString folder = name.substr(0, name.find_last_of("/\\") + 1);
  m_file = CreateFileA((folder + ".marrowen-" + RandomDigits()).c_str(), GENERIC_WRITE | DELETE,
                       FILE_SHARE_READ | FILE_SHARE_DELETE, &attributesOfFile, CREATE_NEW,
                       FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (m_file == INVALID_HANDLE_VALUE) return Fail("can't be made");
  SetFleeting(m_file, true);
  return true;
}

bool FileSink::Fail(const char* what) {
  if (!m_error) m_error = {m_name + " " + what + ".", GetLastError()};
  if (!m_error) m_error.code = ERROR_WRITE_FAULT;
  return false;
}

bool FileSink::Write(std::string_view bytes) {
  if (m_error || m_file == INVALID_HANDLE_VALUE) return false;
  if (m_buffer.size() + bytes.size() > kSinkBuffer && !Flush()) return false;
  m_buffer += bytes;
  return true;
}

bool FileSink::Flush() {
  std::string_view rest = m_buffer;
  while (!rest.empty()) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(rest.size(), kLargestTransfer));
    if (!WriteFile(m_file, rest.data(), wanted, &written, nullptr) || written == 0) {
      return Fail("can't be written to its end");
    }
    rest.remove_prefix(written);
  }
  m_buffer.clear();
  return true;
}

// On the disk first, so that a machine that fails finds the old file or the new one whole.
bool FileSink::PutInPlace() {
  if (m_isStream) return true;
  if (!FlushFileBuffers(m_file)) return Fail("can't be written to its end");
  SetFleeting(m_file, false);
  if (Rename(m_file, m_name)) return true;
  Fail("can't be put in its place");
  SetFleeting(m_file, true);
  return false;
}

bool FileSink::Close() {
  if (m_file == INVALID_HANDLE_VALUE) return !m_error;
  const bool good = !m_error && Flush() && PutInPlace();
  Abandon();
  return good;
}

void FileSink::Abandon() {
  m_buffer.clear();
  if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
  m_file = INVALID_HANDLE_VALUE;
}
