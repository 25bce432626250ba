#pragma once

// The bytes under the settings file's reader and writer: files of the computer, or memory.

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>

#include "platform/text.h"
#include "platform/win32.h"

// An open file that can't be read or written any further (a full disk, a lost drive). The text is one
// sentence with the file's name; `code` is the Windows error.
struct FileError : std::runtime_error {
  FileError(const CString& sentence, DWORD windowsCode) : std::runtime_error(sentence), code(windowsCode) {}
  DWORD code;
};

// Bytes in their order.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Fills `buffer` (not empty) from its start; gives the number of bytes, 0 only at the end. Throws
  // FileError.
  virtual size_t Read(std::span<char> buffer) = 0;
};

// Opens what a name stands for; null when that fails.
using SourceOpener = std::function<std::unique_ptr<ByteSource>(const CString& name)>;

// Opens a file for reading, shared with all others.
std::unique_ptr<ByteSource> OpenFileSource(const CString& name);

// Gives `bytes` under any name. The bytes must outlive the source.
SourceOpener MemorySource(std::string_view bytes);

// A file that is written from its start through a buffer. Others may read it meanwhile.
class FileSink {
 public:
  FileSink() = default;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;
  // Writes what is still buffered; a failure is lost here, so a caller that cares closes first.
  ~FileSink();

  // Makes the file, for its owner and administrators alone since settings hold passwords, or cuts an existing
  // one to nothing, whose rights stay. False when that fails.
  bool Open(const CString& name);
  // Throws FileError.
  void Write(std::string_view bytes);
  // Writes what is buffered and closes; nothing when no file is open. Throws FileError.
  void Close();

 private:
  void Flush();

  HANDLE m_file = INVALID_HANDLE_VALUE;
  CString m_name;
  CString m_buffer;
};
