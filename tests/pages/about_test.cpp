// The page about the product: what it tells of the server's program, and the restart that its Apply is.

#include <cstdio>

#include "pages/pages.h"
#include "store/diagnostic_log.h"
#include "tests/support/page_driver.h"

using test_support::PageDriver;

namespace {

constexpr const char* kService = "InetD";

// The state of the service that the page restarts; 0 where the computer has none.
DWORD StateOf(const char* name) {
  const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = manager ? OpenServiceA(manager, name, SERVICE_ALL_ACCESS) : nullptr;
  SERVICE_STATUS status{};
  if (service) QueryServiceStatus(service, &status);
  if (service) CloseServiceHandle(service);
  if (manager) CloseServiceHandle(manager);
  return status.dwCurrentState;
}

// The states of services that the log tells of.
std::string StatesIn(const char* log) {
  constexpr std::string_view kState = "dwCurrentState = ";
  std::string text;
  if (FILE* const file = _fsopen(log, "r", _SH_DENYNO)) {
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
    std::fclose(file);
  }
  std::string states;
  for (size_t at = text.find(kState); at != std::string::npos; at = text.find(kState, at + 1))
    states += text[at + kState.size()];
  return states;
}

}  // namespace

TEST(About, TellsOfTheServersProgramAndItsMakers) {
  PageDriver driver;
  CTesselPropertyPage& page = driver.Add(PageIndex::About, MakeAboutPage, "About");
  EXPECT_EQ(page.m_aboutFlag, 1);
  PageDriver::Store("Path", "C:\\Nowhere\\");
  driver.Show(page);
  EXPECT_EQ(driver.Value("Server"), "C:\\Nowhere\\Marrowen\\sshd64.exe");
  EXPECT_FALSE(page.Put("Server", "x"));
  driver.Press("support@tesselworks.example");
  driver.Press("https://www.tesselworks.example");
  page.WinHelp();
  EXPECT_EQ(driver.frontEnd.Opened(), (std::vector<std::string>{"mailto:support@tesselworks.example",
                                                                "https://www.tesselworks.example", ""}));
}

TEST(About, RestartsTheServerOnceItWasShown) {
  constexpr const char* kFolder = "C:\\AboutTest";
  constexpr const char* kLog = "C:\\AboutTest\\about.log";
  CreateDirectoryA(kFolder, nullptr);
  DeleteFileA(kLog);
  ASSERT_EQ(LogOpen(kLog), 0);
  PageDriver driver;
  CTesselPropertyPage& compression =
      driver.Add(PageIndex::Compression, MakeCompressionPage, "General Settings::Compression");
  CTesselPropertyPage& page = driver.Add(PageIndex::About, MakeAboutPage, "About");
  const DWORD before = StateOf(kService);
  driver.Show(compression);
  driver.Put("Enable Compression", "on");
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(StatesIn(kLog), "");
  driver.Show(page);
  driver.Show(compression);
  ASSERT_TRUE(driver.Apply());
  // Stopped, and running again; a service that does not run stays as it is.
  EXPECT_EQ(StatesIn(kLog), before == SERVICE_RUNNING ? "14" : "");
  EXPECT_EQ(StateOf(kService), before);
  DeleteFileA(kLog);
  RemoveDirectoryA(kFolder);
}
