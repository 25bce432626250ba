#include "platform/program.h"

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "platform/win32.h"
// What follows needs windows.h before it.
#include <ntsecapi.h>

namespace fs = std::filesystem;

namespace platform {
namespace {

std::function<void()>& WishToEnd() {
  static std::function<void()> end;
  return end;
}

// The system ends the process when this returns, except after Ctrl+C and Ctrl+Break.
BOOL WINAPI TakeWish(DWORD wish) {
  WishToEnd()();
  if (wish != CTRL_C_EVENT && wish != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

constexpr std::string_view kScratch = "marrowen-";
constexpr const char* kLock = "\\lock";

// Nobody else opens the file while it is open, and it is open until it is closed or the process ends.
HANDLE OpenLock(const std::string& folder, DWORD disposition) {
  return CreateFileA((folder + kLock).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

void RemoveAbandoned(const fs::path& place) {
  std::error_code error;
  for (fs::directory_iterator it(place, error), end; !error && it != end; it.increment(error)) {
    if (!it->path().filename().string().starts_with(kScratch)) continue;
    const HANDLE lock = OpenLock(it->path().string(), OPEN_EXISTING);
    if (lock == INVALID_HANDLE_VALUE) continue;
    CloseHandle(lock);
    std::error_code ignored;
    fs::remove_all(it->path(), ignored);
  }
}

// ShellExecute tells success by a number above 32.
bool Execute(const char* file, const char* arguments) {
  return reinterpret_cast<INT_PTR>(ShellExecuteA(nullptr, "open", file, arguments, nullptr, SW_SHOWNORMAL)) >
         32;
}

bool IsTerminal(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

// Where an existing file or folder really lies.
std::optional<std::string> Final(const std::string& path) {
  const HANDLE file = CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::string real(32768, '\0');
  const DWORD size = GetFinalPathNameByHandleA(file, real.data(), static_cast<DWORD>(real.size()), 0);
  CloseHandle(file);
  if (size == 0 || size >= real.size()) return std::nullopt;
  real.resize(size);
  constexpr std::string_view kUnc = R"(\\?\UNC\)";
  constexpr std::string_view kLong = R"(\\?\)";
  if (real.starts_with(kUnc)) return R"(\\)" + real.substr(kUnc.size());
  return real.starts_with(kLong) ? real.substr(kLong.size()) : real;
}

}  // namespace

// Texts are in the system's code page, which a window of text need not have.
void PrepareProgram() {
  SetConsoleOutputCP(GetACP());
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

void EndProgram(int status) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  std::abort();
}

void OnWishToEnd(std::function<void()> end) {
  WishToEnd() = std::move(end);
  SetConsoleCtrlHandler(TakeWish, TRUE);
}

bool OutputIsTerminal() { return IsTerminal(STD_OUTPUT_HANDLE); }
bool WindowEndsWithProgram() {
  DWORD processes[2];
  return GetConsoleProcessList(processes, 2) == 1;
}
bool ErrorsAreTerminal() { return IsTerminal(STD_ERROR_HANDLE); }

std::string InputFile() { return {}; }
std::string OutputFile() { return {}; }

std::string ProgramFile() {
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::string LibraryFile(std::string_view name) {
  return (fs::path(ProgramFile()).parent_path() / (std::string(name) + ".dll")).string();
}
void* LoadLibraryFile(const std::string& file) { return reinterpret_cast<void*>(LoadLibraryA(file.c_str())); }
void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void UnloadLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

void FillWithRandom(unsigned char* bytes, size_t count) {
  if (!RtlGenRandom(bytes, static_cast<ULONG>(count))) std::abort();
}

bool OpenForPerson(const std::string& fileOrAddress) { return Execute(fileOrAddress.c_str(), nullptr); }

bool StartProgram(const std::string& name, const std::string& parameters) {
  return Execute(name.c_str(), parameters.c_str());
}

std::string HowToGetRights() { return "Run the console as administrator."; }

std::vector<Drive> Drives() {
  std::vector<Drive> drives;
  const DWORD all = GetLogicalDrives();
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string root = std::string(1, letter) + ":\\";
    if ((all >> (letter - 'A') & 1) != 0 && GetDriveTypeA(root.c_str()) != DRIVE_NO_ROOT_DIR) {
      drives.push_back({root, root});
    }
  }
  return drives;
}

std::optional<std::string> RealPath(std::string_view path) {
  const std::string whole(path);
  if (!fs::path(whole).is_absolute()) return std::nullopt;
  if (std::optional<std::string> real = Final(whole)) return real;
  // What is not there yet lies in its folder; a name of a device or a stream is no file there.
  const fs::path name = fs::path(whole).filename();
  if (name.empty() || name == "." || name == ".." || name.string().find(':') != std::string::npos) {
    return std::nullopt;
  }
  std::optional<std::string> folder = Final(fs::path(whole).parent_path().string());
  if (folder) *folder = (fs::path(*folder) / name).string();
  return folder;
}

ScratchFolder::ScratchFolder() {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) return;
  RemoveAbandoned(place);
  unsigned char bytes[8];
  FillWithRandom(bytes, sizeof bytes);
  std::string name(kScratch);
  for (const unsigned char byte : bytes) name += static_cast<char>('a' + byte % 26);
  // A person's folder for temporary files is that person's alone.
  if (!fs::create_directory(place / name, error)) return;
  m_path = (place / name).string();
  m_lock = reinterpret_cast<std::intptr_t>(OpenLock(m_path, CREATE_NEW));
}

ScratchFolder::~ScratchFolder() {
  if (m_path.empty()) return;
  CloseHandle(reinterpret_cast<HANDLE>(m_lock));
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

}  // namespace platform
