#pragma once

// What a program asks of the system that it runs on, beside the machine whose settings it edits.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// What the process asks before it does anything: no memory of it, which may hold passwords, is written to
// disk when it crashes; a file that would get too large fails a write, and does not end it; what ends it
// leaves no file behind that was not finished; and a window of text shows the program's texts.
void PrepareProgram();

// Ends the process at once, whatever its other threads do; no unfinished file is left.
[[noreturn]] void EndProgram(int status);

// Calls `end` on a thread of its own when a person or the system wants the process to end: Ctrl+C, a signal,
// a window that is closed. The process goes on until it returns from main, for which the system may leave
// it a few seconds. Once, before the process has other threads.
void OnWishToEnd(std::function<void()> end);

bool OutputIsTerminal();
// Whether the window of text closes with this program, and takes away what was printed last.
bool WindowEndsWithProgram();
bool ErrorsAreTerminal();

// The names under which standard input and output are opened as files; empty where there are no such names.
std::string InputFile();
std::string OutputFile();

// What was typed behind the program's name, in UTF-8.
std::vector<std::string> Arguments(int argc, char** argv);

// The path that a text in the code page of the local computer names, and the other way round: what the code
// page lacks becomes its default character.
std::filesystem::path PathOf(std::string_view text);
std::string TextOf(const std::filesystem::path& path);

std::filesystem::path ProgramFile();

// A library that lies beside the program: its path by its plain name, and what is in it. Null where it can't
// be loaded, or has no such function.
std::filesystem::path LibraryFile(std::string_view name);
void* LoadLibraryFile(const std::filesystem::path& file);
void* FindFunction(void* library, const char* name);
void UnloadLibrary(void* library);

// Random bytes that nobody can guess. Ends the process where the system has none.
void FillWithRandom(unsigned char* bytes, size_t count);

// Shows a file or an address with the person's own program for it. False where that can't be begun. What is
// shown may be in everybody's sight, as an argument of a process.
bool OpenForPerson(const std::string& fileOrAddress);

// Starts a tool of the system that shows something of the computer whose settings are edited. False where
// there is none. `parameters` are as its command line has them, quoted where they must be.
bool StartProgram(const std::string& name, const std::string& parameters);

// What a person must do to have the rights that were missing, as a sentence; empty where there is no such
// way.
std::string HowToGetRights();

// The drives of the local computer: as its paths begin ("C:\"), and the folder of this machine that each is.
struct Drive {
  std::string prefix;
  std::filesystem::path folder;
};
std::vector<Drive> Drives();

// The folder or file of this machine that a path of the local computer leads to, with every link followed. Of
// what is not there yet, the folder has a real place. Nothing for a path that leads nowhere, or is relative.
std::optional<std::filesystem::path> RealPath(std::string_view path);

// A folder of this user alone, which goes with all that lies in it. What is left of one whose process was
// killed, with clear passwords perhaps, goes when the next one is made.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  // As a text in the code page of the local computer; empty where none could be made.
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
  std::intptr_t m_lock = -1;  // held while the folder is in use
};

}  // namespace platform
