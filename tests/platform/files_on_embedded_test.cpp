// Paths, files and file versions of an embedded computer.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/embedded/paths.h"
#include "platform/embedded/store.h"
#include "platform/machine.h"
#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace {

namespace fs = std::filesystem;

std::string Mapped(const char* path) {
  SetLastError(0);
  const auto mapped = embedded::MapPath(path);
  if (!mapped) return "error " + std::to_string(GetLastError());
  // Below the drive's folder the home's own place does not matter.
  const std::string drives = embedded::ComputerFolder("") + "/drives/";
  return mapped->starts_with(drives) ? mapped->substr(drives.size()) : *mapped;
}

DWORD Open(const char* path, DWORD access, DWORD disposition, DWORD flags = FILE_ATTRIBUTE_NORMAL,
           SECURITY_ATTRIBUTES* security = nullptr) {
  const HANDLE file = CreateFileA(path, access, FILE_SHARE_READ, security, disposition, flags, nullptr);
  const DWORD error = GetLastError();
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  return error;
}

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(embedded::MapPath(path)->c_str(), &status), 0);
  return status.st_mode & 0777;
}

// A PE file of one section, with a version resource of 1.2.3.4.
std::vector<BYTE> ProgramFile() {
  constexpr size_t kSection = 0x200;
  constexpr DWORD kAddress = 0x1000;
  std::vector<BYTE> file(0x400);
  const auto put = [&file](size_t at, auto value) { std::memcpy(file.data() + at, &value, sizeof value); };
  put(0, WORD{0x5A4D});
  put(0x3C, DWORD{0x40});
  put(0x40, DWORD{0x4550});
  put(0x46, WORD{1});      // Sections.
  put(0x54, WORD{0xF0});   // Size of the optional header.
  put(0x58, WORD{0x20B});  // PE32+
  put(0x58 + 112 + 16, kAddress);
  const size_t header = 0x58 + 0xF0;
  put(header + 8, DWORD{0x200});
  put(header + 12, kAddress);
  put(header + 16, DWORD{0x200});
  put(header + 20, DWORD{kSection});
  // Three directories of one entry each, then the data's entry and the data.
  const DWORD levels[][2] = {{16, 0x80000018}, {1, 0x80000030}, {1033, 0x48}};
  for (size_t i = 0; i < 3; ++i) {
    put(kSection + i * 0x18 + 14, WORD{1});
    put(kSection + i * 0x18 + 16, levels[i][0]);
    put(kSection + i * 0x18 + 20, levels[i][1]);
  }
  put(kSection + 0x48, kAddress + 0x60);
  put(kSection + 0x4C, DWORD{0x5C});
  const size_t block = kSection + 0x60;
  put(block, WORD{0x5C});
  put(block + 2, WORD{sizeof(VS_FIXEDFILEINFO)});
  std::memcpy(file.data() + block + 6, u"VS_VERSION_INFO", 32);
  put(block + 40, DWORD{0xFEEF04BD});
  put(block + 48, DWORD{0x00010002});
  put(block + 52, DWORD{0x00030004});
  return file;
}

}  // namespace

TEST(PathsOnEmbedded, StayOnTheirDrives) {
  fs::create_directories(*embedded::MapPath("C:\\Program Files\\Marrowen"));
  fs::create_directories(*embedded::MapPath("C:\\") + "/both");
  fs::create_directories(*embedded::MapPath("C:\\") + "/BOTH");
  const struct {
    const char* path;
    const char* mapped;
  } cases[] = {
      {"c:\\PROGRAM files\\marrowen\\New.TXT", "c/Program Files/Marrowen/New.TXT"},
      {"C:/Program Files/./Marrowen", "c/Program Files/Marrowen"},
      {"C:\\both", "c/both"},
      {"C:\\BOTH", "c/BOTH"},
      {"C:\\..\\..\\..\\etc\\passwd", "c/etc/passwd"},
      {"C:\\a\\..\\..\\b", "c/b"},
      {"C:\\..\\.. \\x", "error 123"},
      {"C:\\name. .", "c/name"},
      {"\\windows", "c/windows"},
      {"C:", "c"},
      {"D:\\x", "error 3"},
      {"C:\\a*b", "error 123"},
      {"C:\\stream:x", "error 123"},
      {"\\\\nosuch\\C$\\x", "error 53"},
      {"\\\\localhost\\C$\\..\\x", "c/x"},
      {"\\\\localhost\\share\\x", "error 67"},
      {"/etc/hosts", "/etc/hosts"},
      {"srv\\D$\\logs", "srv/D$/logs"},
      {"", "error 3"},
  };
  for (const auto& expected : cases) EXPECT_EQ(Mapped(expected.path), expected.mapped) << expected.path;

  ASSERT_TRUE(machine::AddComputer("files1"));
  EXPECT_EQ(embedded::MapPath("\\\\FILES1\\c$\\x"), embedded::ComputerFolder("files1") + "/drives/c/x");
}

TEST(FilesOnEmbedded, FailWithTheCodesOfWindows) {
  EXPECT_EQ(Open("C:\\none.txt", GENERIC_READ, OPEN_EXISTING), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(Open("C:\\none\\none.txt", GENERIC_READ, OPEN_EXISTING), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(Open("C:\\made.txt", GENERIC_WRITE, CREATE_ALWAYS), 0u);
  EXPECT_EQ(Open("C:\\MADE.txt", GENERIC_WRITE, CREATE_ALWAYS), DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_EQ(Open("C:\\Made.txt", GENERIC_WRITE, CREATE_NEW), DWORD{ERROR_FILE_EXISTS});
  EXPECT_EQ(CreateDirectoryA("C:\\logs", nullptr), TRUE);
  EXPECT_EQ(CreateDirectoryA("C:\\LOGS", nullptr), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_EQ(CreateDirectoryA("C:\\no\\logs", nullptr), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(Open("C:\\Logs", GENERIC_READ, OPEN_EXISTING), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_EQ(Open("C:\\Logs", GENERIC_READ, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS), 0u);
  EXPECT_EQ(DeleteFileA("C:\\logs"), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  // An invalid handle closes as the pseudo handle that it also is.
  EXPECT_EQ(CloseHandle(INVALID_HANDLE_VALUE), TRUE);
}

TEST(FilesOnEmbedded, TheDescriptorOfASecretKeepsOthersOut) {
  const mode_t old_mask = umask(0377);
  const auto make = [](const char* path, const char* sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, nullptr);
    SECURITY_ATTRIBUTES security = {sizeof security, descriptor, FALSE};
    EXPECT_EQ(Open(path, GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, &security), 0u);
    LocalFree(descriptor);
  };
  make("C:\\secret1", "D:P(A;;GA;;;SY)(A;;GA;;;BA)");
  umask(0);
  make("C:\\secret2", "D:P(A;;GA;;;SY)(A;;GA;;;BA)");
  make("C:\\open", "D:(A;;GA;;;SY)(A;;GR;;;BU)");
  umask(old_mask);
  EXPECT_EQ(ModeOf("C:\\secret1"), 0600u);
  EXPECT_EQ(ModeOf("C:\\secret2"), 0600u);
  EXPECT_EQ(ModeOf("C:\\open"), 0666u);
}

TEST(FilesOnEmbedded, VersionsAreReadFromProgramFilesAlone) {
  const std::string path = *embedded::MapPath("C:\\program.exe");
  const std::vector<BYTE> file = ProgramFile();
  const auto write = [&](const std::vector<BYTE>& bytes) {
    fs::remove(path);  // A new file is not flushed to the disk when it closes, as one that was emptied is.
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  };
  write(file);
  DWORD handle = 1;
  const DWORD size = GetFileVersionInfoSizeA("C:\\PROGRAM.EXE", &handle);
  ASSERT_NE(size, 0u);
  std::vector<BYTE> block(size);
  ASSERT_NE(GetFileVersionInfoA("C:\\program.exe", 0, size, block.data()), FALSE);
  LPVOID fixed = nullptr;
  UINT length = 0;
  ASSERT_NE(VerQueryValueA(block.data(), "\\", &fixed, &length), FALSE);
  ASSERT_EQ(length, sizeof(VS_FIXEDFILEINFO));
  EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(fixed)->dwFileVersionMS, 0x00010002u);
  EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(fixed)->dwFileVersionLS, 0x00030004u);

  EXPECT_EQ(GetFileVersionInfoSizeA("C:\\absent.exe", &handle), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  // Cut short or with any one byte turned over it is read within its bounds, or not at all.
  for (size_t i = 0; i < file.size(); i += 3) {
    write({file.begin(), file.begin() + static_cast<std::ptrdiff_t>(i)});
    GetFileVersionInfoSizeA("C:\\program.exe", &handle);
  }
  for (size_t i = 0; i < 0x300; ++i) {
    std::vector<BYTE> damaged = file;
    damaged[i] ^= 0xFF;
    write(damaged);
    GetFileVersionInfoSizeA("C:\\program.exe", &handle);
  }
  write({file.begin(), file.begin() + 0x200});
  EXPECT_EQ(GetFileVersionInfoSizeA("C:\\program.exe", &handle), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_DATA_NOT_FOUND});
}
