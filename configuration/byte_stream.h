#pragma once

// The bytes under the settings file's reader and writer: files of the computer, streams, or memory. Nothing
// here throws: what failed says so, and why is asked for.

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "platform/text.h"
#include "platform/win32.h"

// Why a file can't be read or written any further (a full disk, a lost drive): one sentence with its name,
// and the Windows error. Without a code nothing is amiss.
struct FileError {
  CString sentence;
  DWORD code = 0;
  explicit operator bool() const { return code != 0; }
};

// Bytes in their order.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Fills `buffer` (not empty) from its start; gives the number of bytes, 0 at the end and where the rest
  // can't be read, of which Error then tells.
  virtual size_t Read(std::span<char> buffer) = 0;
  const FileError& Error() const { return m_error; }

 protected:
  FileError m_error;
};

// Opens what a name stands for; null when that fails.
using SourceOpener = std::function<std::unique_ptr<ByteSource>(const CString& name)>;

// Opens a file for reading, shared with all others.
std::unique_ptr<ByteSource> OpenFileSource(const CString& name);

// Gives `bytes` under any name. The bytes must outlive the source.
SourceOpener MemorySource(std::string_view bytes);

// Opens a file as often as it is asked for. A stream gives its bytes once: they are kept from the first time
// on, for as long as the opener lives.
SourceOpener RepeatableSource();

// Whether the name stands for a pipe or a device, which is written and read as it stands: it has no rights of
// its own, and no place beside it.
bool IsStream(const CString& name);

// A file that is written from its start through a buffer, for its owner and administrators alone since
// settings hold passwords. It is made anew under a name that nobody can guess (where the system can do that,
// under none) and takes its place when it is closed; a process that dies before leaves the place as it was.
// What stands at the place is replaced, a link itself and not what it points to. A stream takes the bytes as
// they come.
class FileSink {
 public:
  FileSink() = default;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;
  // What was not closed is given up.
  ~FileSink() { Abandon(); }

  bool Open(const CString& name);
  // False from the first failure on, for good.
  bool Write(std::string_view bytes);
  // Writes what is buffered and puts the file in its place; true when no file is open. After a failure, also
  // one of Write, nothing is at the place that was not there before.
  bool Close();
  void Abandon();
  // The first failure since Open.
  const FileError& Error() const { return m_error; }

 private:
  bool Fail(const char* what);
  bool Flush();
  bool PutInPlace();

  HANDLE m_file = INVALID_HANDLE_VALUE;
  bool m_isStream = false;
  CString m_name;
  CString m_buffer;
  FileError m_error;
};
