#include "tests/configuration/files.h"

#include <array>

ScratchFile::ScratchFile(const CString& name) {
  std::array<char, MAX_PATH + 1> folder{};
  GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
  path = CString(folder.data()) + "configuration_test_" + std::to_string(GetCurrentProcessId()) + "_" + name;
  DeleteFileA(path.c_str());
}

ScratchFile::~ScratchFile() { DeleteFileA(path.c_str()); }

CString ReadWholeFile(const CString& path) {
  CString bytes;
  const auto source = OpenFileSource(path);
  if (!source) return bytes;
  std::array<char, 4096> piece;
  for (size_t got; (got = source->Read(piece)) > 0;) bytes.append(piece.data(), got);
  return bytes;
}

void WriteWholeFile(const CString& path, std::string_view bytes) {
  FileSink sink;
  sink.Open(path);
  sink.Write(bytes);
  sink.Close();
}

CString KeptFile(const CString& name) { return ReadWholeFile(KEPT_FILES "/" + name); }
