#include "platform/program.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <streambuf>

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
constexpr const char* kLock = "lock";

// Nobody else opens the file while it is open, and it is open until it is closed or the process ends.
HANDLE OpenLock(const fs::path& folder, DWORD disposition) {
  return CreateFileW((folder / kLock).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

void RemoveAbandoned(const fs::path& place) {
  std::error_code error;
  for (fs::directory_iterator it(place, error), end; !error && it != end; it.increment(error)) {
    if (!it->path().filename().string().starts_with(kScratch)) continue;
    const HANDLE lock = OpenLock(it->path(), OPEN_EXISTING);
    if (lock == INVALID_HANDLE_VALUE) continue;
    CloseHandle(lock);
    std::error_code ignored;
    fs::remove_all(it->path(), ignored);
  }
}

std::wstring Wide(UINT page, std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<size_t>(MultiByteToWideChar(page, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::string Narrow(UINT page, std::wstring_view wide) {
  const int size = static_cast<int>(wide.size());
  std::string text(4 * wide.size(), '\0');
  text.resize(static_cast<size_t>(WideCharToMultiByte(page, 0, wide.data(), size, text.data(),
                                                      static_cast<int>(text.size()), nullptr, nullptr)));
  return text;
}

// ShellExecute tells success by a number above 32.
bool Execute(const std::string& file, const std::string& arguments) {
  return reinterpret_cast<INT_PTR>(ShellExecuteA(nullptr, "open", file.c_str(),
                                                 arguments.empty() ? nullptr : arguments.c_str(), nullptr,
                                                 SW_SHOWNORMAL)) > 32;
}

// A window of text shows UTF-8 whatever its own code page and age: it takes 16-bit units.
class WindowOfText final : public std::streambuf {
 public:
  explicit WindowOfText(HANDLE window) : m_window(window) {}

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) m_text += traits_type::to_char_type(c);
    return c == '\n' && sync() != 0 ? traits_type::eof() : traits_type::not_eof(c);
  }
  int sync() override {
    const std::wstring wide = Wide(CP_UTF8, m_text);
    m_text.clear();
    // Older windows take 64 KB at a time.
    constexpr size_t kMost = 16384;
    for (size_t done = 0; done < wide.size();) {
      DWORD written = 0;
      const auto size = static_cast<DWORD>(std::min(kMost, wide.size() - done));
      if (WriteConsoleW(m_window, wide.data() + done, size, &written, nullptr) == 0 || written == 0)
        return -1;
      done += written;
    }
    return 0;
  }

 private:
  HANDLE m_window;
  std::string m_text;
};

bool IsTerminal(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

// Where an existing file or folder really lies.
std::optional<fs::path> Final(const fs::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::wstring real(32768, L'\0');
  const DWORD size = GetFinalPathNameByHandleW(file, real.data(), static_cast<DWORD>(real.size()), 0);
  CloseHandle(file);
  if (size == 0 || size >= real.size()) return std::nullopt;
  real.resize(size);
  constexpr std::wstring_view kUnc = LR"(\\?\UNC\)";
  constexpr std::wstring_view kLong = LR"(\\?\)";
  if (real.starts_with(kUnc)) return LR"(\\)" + real.substr(kUnc.size());
  return real.starts_with(kLong) ? real.substr(kLong.size()) : real;
}

}  // namespace

void PrepareProgram() {
  if (OutputIsTerminal()) {
    static WindowOfText output(GetStdHandle(STD_OUTPUT_HANDLE));
    std::cout.rdbuf(&output);
  }
  if (ErrorsAreTerminal()) {
    static WindowOfText errors(GetStdHandle(STD_ERROR_HANDLE));
    std::cerr.rdbuf(&errors);
  }
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

std::vector<std::string> Arguments(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; words != nullptr && i < count; ++i) arguments.push_back(Narrow(CP_UTF8, words[i]));
  LocalFree(words);
  return arguments;
}

fs::path PathOf(std::string_view text) { return Wide(CP_ACP, text); }
std::string TextOf(const fs::path& path) { return Narrow(CP_ACP, path.native()); }

fs::path ProgramFile() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

fs::path LibraryFile(std::string_view name) {
  return ProgramFile().parent_path() / (std::string(name) + ".dll");
}
void* LoadLibraryFile(const fs::path& file) { return reinterpret_cast<void*>(LoadLibraryW(file.c_str())); }
void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void UnloadLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

void FillWithRandom(unsigned char* bytes, size_t count) {
  if (!RtlGenRandom(bytes, static_cast<ULONG>(count))) std::abort();
}

bool OpenForPerson(const std::string& fileOrAddress) { return Execute(fileOrAddress, {}); }

bool StartProgram(const std::string& name, const std::string& parameters) {
  return Execute(name, parameters);
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

std::optional<fs::path> RealPath(std::string_view path) {
  const fs::path whole = PathOf(path);
  if (!whole.is_absolute()) return std::nullopt;
  if (std::optional<fs::path> real = Final(whole)) return real;
  // What is not there yet lies in its folder; a name of a device or a stream is no file there.
  const fs::path name = whole.filename();
  if (name.empty() || name == "." || name == ".." || name.native().find(L':') != std::wstring::npos) {
    return std::nullopt;
  }
  std::optional<fs::path> folder = Final(whole.parent_path());
  if (folder) *folder /= name;
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
  m_path = TextOf(place / name);
  m_lock = reinterpret_cast<std::intptr_t>(OpenLock(place / name, CREATE_NEW));
}

ScratchFolder::~ScratchFolder() {
  if (m_path.empty()) return;
  CloseHandle(reinterpret_cast<HANDLE>(m_lock));
  std::error_code ignored;
  fs::remove_all(PathOf(m_path), ignored);
}

}  // namespace platform
