#include "store/diagnostic_log.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdio>

#include "store/error_text.h"
#include "tests/support/scratch_home.h"

using testing::EndsWith;
using testing::StartsWith;

namespace {

constexpr const char* kFolder = "C:\\marrowen-log-test";
constexpr const char* kPath = "C:\\marrowen-log-test\\sshd.log";

class DiagnosticLog : public testing::Test {
 protected:
  void SetUp() override {
    CreateDirectoryA(kFolder, nullptr);
    DeleteFileA(kPath);
    ASSERT_EQ(LogOpen(kPath), 0);
    LogPrefixOff();
    LogSetLevel(0);
  }
  void TearDown() override {
    LogSetLevel(0);
    LogSetMaxSize("0");
    DeleteFileA(kPath);
    RemoveDirectoryA(kFolder);
  }

  // The file as text, with each line's end as the C runtime reads it.
  static CString File() {
    CString text;
    FILE* file = _fsopen(kPath, "r", _SH_DENYNO);
    if (!file) return text;
    std::array<char, 8192> piece;
    while (const size_t read = std::fread(piece.data(), 1, piece.size(), file))
      text.append(piece.data(), read);
    std::fclose(file);
    return text;
  }
  static CString Process() { return std::to_string(GetCurrentProcessId()) + ": "; }
};

}  // namespace

TEST_F(DiagnosticLog, EndsEachLineOnce) {
  const struct {
    const char* text;
    const char* line;
  } cases[] = {{"DeleteKey\n", "DeleteKey\r\n"},
               {"a\r\n\r\n", "a\r\n"},
               {"a\nb", "a\nb\r\n"},
               {"", "\r\n"},
               {"\n", "\n\r\n"}};
  CString expected;
  for (const auto& c : cases) {
    SetLastError(1234);
    EXPECT_EQ(LogPrint(0, "%s", c.text), static_cast<int>(strlen(c.text)));
    EXPECT_EQ(GetLastError(), 1234u);
    expected += Process() + c.line;
  }
  EXPECT_EQ(File(), expected);
}

TEST_F(DiagnosticLog, KeepsWhatIsAtItsLevelAndFits) {
  EXPECT_EQ(LogPrint(1, "above the level"), 0);
  EXPECT_EQ(LogPrint(0, "%s", CString(4096, 'x').c_str()), -1);
  EXPECT_EQ(File(), "");
  LogSetLevel(1);
  LogPrefixOn();
  EXPECT_EQ(LogPrint(1, "%s", CString(4095, 'x').c_str()), 4095);
  const CString prefix = Process() + std::to_string(GetCurrentThreadId()) + ": ";
  EXPECT_THAT(File(), StartsWith(prefix));
  EXPECT_EQ(File().size(), prefix.size() + 11 + 4095 + 2) << "HH:MM:SS:: behind the thread, a line end last";
}

TEST_F(DiagnosticLog, PrintsWideTextAndBytes) {
  const WCHAR format[] = {'%', 's', ' ', '%', 'd', '\n', 0};
  const WCHAR word[] = {'w', 'i', 'd', 'e', 0};
  EXPECT_EQ(LogPrintW(0, format, word, 42), 8);
  const BYTE bytes[17] = {0x00, 0xff, 0x0a};
  EXPECT_EQ(LogDump(0, bytes, sizeof(bytes)), 0);
  CString first = "00 ff 0a ";
  for (int i = 3; i < 16; ++i) first += "00 ";
  EXPECT_EQ(File(), Process() + "wide 42\r\n" + Process() + first + Process() + "00 ");
}

TEST_F(DiagnosticLog, RefusesPathsItCannotName) {
  EXPECT_EQ(LogOpen("sshd.log"), -1);
  EXPECT_EQ(LogOpen("C:\\no such folder\\sshd.log"), 17);
  EXPECT_EQ(LogPrint(0, "to the debugger alone"), 21);
  EXPECT_EQ(File(), "");
}

TEST_F(DiagnosticLog, ReportsEventsWithAddressAndError) {
  LogSetLevel(2);
  SetEnvironmentVariableA("TESSELWK_REMOTE_ADDR", "10.0.0.7");
  ReportServerEvent("StoreTest", 1, EVENTLOG_INFORMATION_TYPE, 1, ERROR_ACCESS_DENIED, "user %s", "joe");
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_THAT(File(), StartsWith(Process() + "Remote Address 10.0.0.7:\r\n\tuser joe\r\n\tError 5: "));

  const WCHAR name[] = {'S', 0};
  const WCHAR format[] = {'g', 'o', 'n', 'e', 0};
  ReportServerEventW(name, 1, EVENTLOG_INFORMATION_TYPE, 0, 123456789, format);
  EXPECT_THAT(File(), EndsWith(Process() + "gone\r\n\tError 123456789: (null)\r\n"));
}

// The last one here: a process that found its file full writes to no file any more.
TEST_F(DiagnosticLog, MarksAFullFileOnceAndStops) {
  EXPECT_EQ(LogSetMaxSize("1"), 1024u);
  while (File().size() < 1024) ASSERT_EQ(LogPrint(0, "%s", CString(90, 'x').c_str()), 90);
  const CString full = File();
  LogPrint(0, "lost");
  LogPrint(0, "lost too");
  EXPECT_EQ(File(), full + Process() + "MAXIMUM FILE SIZE REACHED\r\n");
}

TEST(ErrorText, IsNullForUnknownCodes) {
  EXPECT_TRUE(LocalMemory<char>(GetErrorText(ERROR_ACCESS_DENIED, nullptr)));
  EXPECT_TRUE(LocalMemory<WCHAR>(GetErrorTextW(ERROR_ACCESS_DENIED, nullptr)));
  EXPECT_EQ(GetErrorText(123456789, nullptr), nullptr);
  EXPECT_EQ(GetErrorTextW(123456789, nullptr), nullptr);
}
