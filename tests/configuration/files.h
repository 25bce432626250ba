#pragma once

#include "configuration/byte_stream.h"

// A path in the folder for temporary files; the file is gone before and after.
struct ScratchFile {
  explicit ScratchFile(const CString& name);
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile();
  CString path;
};

CString ReadWholeFile(const CString& path);
void WriteWholeFile(const CString& path, std::string_view bytes);

// A file that is kept beside the tests, in files/.
CString KeptFile(const CString& name);
