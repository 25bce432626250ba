// Services, groups, mutexes between processes, code page, events and keys of an embedded computer.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/embedded/codepage.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/events.h"
#include "platform/embedded/services.h"
#include "platform/embedded/store.h"
#include "platform/machine.h"
#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace {

template <typename Call>
DWORD ErrorOf(Call call) {
  SetLastError(0);
  return call() != 0 ? ERROR_SUCCESS : GetLastError();
}

struct ServiceHandle {
  SC_HANDLE manager;
  SC_HANDLE service;
  ServiceHandle(LPCSTR computer, LPCSTR name, DWORD access)
      : manager(OpenSCManagerA(computer, nullptr, SC_MANAGER_CONNECT)),
        service(OpenServiceA(manager, name, access)) {}
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(const ServiceHandle&) = delete;
  ~ServiceHandle() {
    if (service != nullptr) CloseServiceHandle(service);
    CloseServiceHandle(manager);
  }
  DWORD State() const {
    SERVICE_STATUS status = {};
    EXPECT_NE(QueryServiceStatus(service, &status), FALSE);
    return status.dwCurrentState;
  }
};

}  // namespace

TEST(ServicesOnEmbedded, StartAndStopOnTheirOwnComputer) {
  ASSERT_TRUE(machine::AddComputer("services1"));
  const ServiceHandle spooler("\\\\services1", "spooler", SERVICE_ALL_ACCESS);
  ASSERT_NE(spooler.service, nullptr);
  SERVICE_STATUS status = {};
  EXPECT_EQ(spooler.State(), SERVICE_RUNNING);
  EXPECT_EQ(ErrorOf([&] { return StartServiceA(spooler.service, 0, nullptr); }),
            DWORD{ERROR_SERVICE_ALREADY_RUNNING});
  EXPECT_EQ(ErrorOf([&] { return ControlService(spooler.service, SERVICE_CONTROL_STOP, &status); }), 0u);
  EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
  EXPECT_FALSE(embedded::ServiceIsRunning("services1", "Spooler"));
  EXPECT_TRUE(embedded::ServiceIsRunning("", "Spooler"));
  EXPECT_EQ(ErrorOf([&] { return ControlService(spooler.service, SERVICE_CONTROL_STOP, &status); }),
            DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_EQ(embedded::SetServiceState("services1", "SPOOLER", embedded::ServiceState::kDisabled), 0);
  EXPECT_EQ(ErrorOf([&] { return StartServiceA(spooler.service, 0, nullptr); }),
            DWORD{ERROR_SERVICE_DISABLED});
  EXPECT_EQ(embedded::SetServiceState("services1", "Spooler", embedded::ServiceState::kStopped), 0);
  EXPECT_EQ(ErrorOf([&] { return StartServiceA(spooler.service, 0, nullptr); }), 0u);
  EXPECT_EQ(spooler.State(), SERVICE_RUNNING);

  EXPECT_EQ(ErrorOf([] { return OpenSCManagerA("nosuch", nullptr, SC_MANAGER_CONNECT) != nullptr; }),
            DWORD{RPC_S_SERVER_UNAVAILABLE});
  EXPECT_EQ(ErrorOf([&] { return OpenServiceA(spooler.manager, "NoSuch", SERVICE_START) != nullptr; }),
            DWORD{ERROR_SERVICE_DOES_NOT_EXIST});
  EXPECT_EQ(ErrorOf([&] { return QueryServiceStatus(spooler.manager, &status); }),
            DWORD{ERROR_INVALID_HANDLE});
  const ServiceHandle looking(nullptr, "InetD", SERVICE_QUERY_STATUS);
  EXPECT_EQ(ErrorOf([&] { return ControlService(looking.service, SERVICE_CONTROL_STOP, &status); }),
            DWORD{ERROR_ACCESS_DENIED});

  machine::SetCaller({.sids = {embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_USERS})}});
  EXPECT_EQ(ErrorOf([] { return OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS) != nullptr; }),
            DWORD{ERROR_ACCESS_DENIED});
  machine::SetCaller({});
}

TEST(GroupsOnEmbedded, ComeByPagesThatTogetherHoldEachOnce) {
  const auto names = [](DWORD preferred, int* pages) {
    std::vector<std::u16string> result;
    DWORD_PTR resume = 0;
    NET_API_STATUS status = ERROR_MORE_DATA;
    while (status == ERROR_MORE_DATA) {
      LPBYTE buffer = nullptr;
      DWORD read = 0;
      DWORD total = 0;
      status = NetLocalGroupEnum(nullptr, 0, &buffer, preferred, &read, &total, &resume);
      EXPECT_GE(total, read);
      for (DWORD i = 0; i < read; ++i) {
        result.emplace_back(reinterpret_cast<LOCALGROUP_INFO_0*>(buffer)[i].lgrpi0_name);
      }
      NetApiBufferFree(buffer);
      ++*pages;
    }
    EXPECT_EQ(status, DWORD{NERR_Success});
    return result;
  };
  int one = 0;
  int many = 0;
  const auto whole = names(MAX_PREFERRED_LENGTH, &one);
  EXPECT_EQ(names(200, &many), whole);
  EXPECT_EQ(one, 1);
  EXPECT_GT(many, 3);
  EXPECT_THAT(whole, testing::Contains(u"Administrators"));

  LPBYTE buffer = nullptr;
  DWORD read = 0;
  DWORD total = 0;
  EXPECT_EQ(NetLocalGroupEnum(u"\\\\nosuch", 0, &buffer, 2048, &read, &total, nullptr),
            DWORD{ERROR_BAD_NETPATH});
  EXPECT_EQ(NetLocalGroupEnum(nullptr, 7, &buffer, 2048, &read, &total, nullptr), DWORD{ERROR_INVALID_LEVEL});
  EXPECT_EQ(NetLocalGroupEnum(nullptr, 0, &buffer, 4, &read, &total, nullptr), DWORD{NERR_BufTooSmall});
  EXPECT_EQ(NetGetAnyDCName(nullptr, u"domain", &buffer), DWORD{ERROR_NO_SUCH_DOMAIN});
}

TEST(MutexesOnEmbedded, AreSharedByProcessesAndOutliveTheirHolder) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  embedded::HomeFolder();
  machine::CloseHome();  // Before a fork.
  const pid_t child = fork();
  if (child == 0) {
    CreateMutexA(nullptr, TRUE, "shared");
    if (write(ready[1], "x", 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, "shared");
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_EQ(WaitForSingleObject(mutex, 50), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(ErrorOf([&] { return ReleaseMutex(mutex); }), DWORD{ERROR_NOT_OWNER});
  kill(child, SIGKILL);
  EXPECT_EQ(WaitForSingleObject(mutex, 5000), WAIT_ABANDONED);
  EXPECT_NE(ReleaseMutex(mutex), FALSE);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  CloseHandle(mutex);
  waitpid(child, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  const HANDLE anew = CreateMutexA(nullptr, FALSE, "shared");
  EXPECT_EQ(GetLastError(), 0u);
  CloseHandle(anew);
}

TEST(CodePageOnEmbedded, IsTheComputersOwn) {
  EXPECT_EQ(GetACP(), CP_UTF8);
  EXPECT_EQ(embedded::SetCodePage(37), ERROR_INVALID_PARAMETER);  // EBCDIC, where "A" is no "A".
  ASSERT_EQ(embedded::SetCodePage(1252), 0);
  EXPECT_EQ(GetACP(), 1252u);
  EXPECT_EQ(embedded::AcpToUtf8("\x80"), "\xE2\x82\xAC");
  EXPECT_EQ(embedded::Utf8ToAcp("\xD0\x96"), "?");
  ASSERT_EQ(embedded::SetCodePage(CP_UTF8), 0);
}

TEST(EventsOnEmbedded, StandInTheComputersLog) {
  std::string debug;
  embedded::SetDebugSink([&](std::string_view text) { debug += text; });
  OutputDebugStringA("line\r\n");
  embedded::SetDebugSink(nullptr);
  EXPECT_EQ(debug, "line\r\n");

  const HANDLE source = RegisterEventSourceA(nullptr, "Marrowen");
  LPCSTR texts[] = {"first\r\nsecond"};
  EXPECT_NE(ReportEventA(source, EVENTLOG_WARNING_TYPE, 0, 1001, nullptr, 1, 0, texts, nullptr), FALSE);
  EXPECT_NE(DeregisterEventSource(source), FALSE);
  EXPECT_EQ(ErrorOf([&] { return DeregisterEventSource(source); }), DWORD{ERROR_INVALID_HANDLE});
  std::stringstream log;
  log << std::ifstream(embedded::ComputerFolder("") + "/events.log").rdbuf();
  EXPECT_THAT(log.str(), testing::EndsWith(" warning Marrowen 1001\n\tfirst\n\tsecond\n"));
}

TEST(ProtectionOnEmbedded, KeepsItsKeyPrivate) {
  const mode_t old_mask = umask(0);
  BYTE clear[] = {1, 2, 3};
  DATA_BLOB data = {sizeof clear, clear};
  DATA_BLOB blob = {};
  ASSERT_NE(CryptProtectData(&data, u"text", nullptr, nullptr, nullptr, 0, &blob), FALSE);
  umask(old_mask);
  struct stat status {};
  const std::string key = embedded::ComputerFolder("") + "/protection.key";
  ASSERT_EQ(stat(key.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  DATA_BLOB back = {};
  LPWSTR description = nullptr;
  ASSERT_NE(CryptUnprotectData(&blob, &description, nullptr, nullptr, nullptr, 0, &back), FALSE);
  EXPECT_EQ(std::u16string(description), u"text");
  LocalFree(description);
  LocalFree(back.pbData);
  // Every byte of a blob is watched over.
  for (DWORD i = 0; i < blob.cbData; ++i) {
    blob.pbData[i] ^= 1;
    EXPECT_EQ(
        ErrorOf([&] { return CryptUnprotectData(&blob, nullptr, nullptr, nullptr, nullptr, 0, &back); }),
        DWORD{ERROR_INVALID_DATA})
        << i;
    blob.pbData[i] ^= 1;
  }
  LocalFree(blob.pbData);
}
