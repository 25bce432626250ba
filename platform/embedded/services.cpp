#include "platform/embedded/services.h"

#include <algorithm>
#include <optional>
#include <string>

#include "platform/embedded/computers.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/sid.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/services.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

struct Service {
  const char* name;
  DWORD type;
};
constexpr Service kServices[] = {
    {"Spooler", SERVICE_WIN32_OWN_PROCESS},
    {"InetD", SERVICE_WIN32_OWN_PROCESS},
    {"RemoteRegistry", SERVICE_WIN32_SHARE_PROCESS},
};

// The texts of the records.
constexpr struct {
  ServiceState state;
  std::string_view text;
} kStates[] = {{ServiceState::kRunning, "running"},
               {ServiceState::kStopped, "stopped"},
               {ServiceState::kDisabled, "disabled"}};

const Service* ServiceNamed(std::string_view name) {
  const auto* found = std::ranges::find_if(
      kServices, [&](const Service& service) { return text::EqualNoCase(name, service.name); });
  return found == std::end(kServices) ? nullptr : found;
}

std::string RecordOf(const Service& service) { return std::string("service/") + service.name; }

ServiceState StateOf(std::string_view computer, const Service& service) {
  const std::optional<std::string> record = GetRecord(computer, RecordOf(service));
  for (const auto& [state, text] : kStates) {
    if (record && *record == text) return state;
  }
  return ServiceState::kRunning;
}

LONG PutState(std::string_view computer, const Service& service, ServiceState wanted) {
  for (const auto& [state, text] : kStates) {
    if (state == wanted) return PutRecord(computer, RecordOf(service), text);
  }
  return ERROR_INVALID_PARAMETER;
}

SERVICE_STATUS StatusOf(std::string_view computer, const Service& service) {
  const bool running = StateOf(computer, service) == ServiceState::kRunning;
  return {.dwServiceType = service.type,
          .dwCurrentState = running ? SERVICE_RUNNING : SERVICE_STOPPED,
          .dwControlsAccepted = running ? SERVICE_ACCEPT_STOP : 0,
          .dwWin32ExitCode = NO_ERROR,
          .dwServiceSpecificExitCode = 0,
          .dwCheckPoint = 0,
          .dwWaitHint = 0};
}

struct ScObject : Object {
  std::string computer;
  const Service* service = nullptr;  // Null for the manager itself.
  DWORD access = 0;
};

// Everyone may look at services; changing them is the administrators'.
bool MayOpen(DWORD access, DWORD for_everyone) {
  if (machine::GetCaller().AllPowerful() || (access & ~for_everyone) == 0) return true;
  const SidBytes administrators = MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS});
  return std::ranges::count(machine::GetCaller().sids, administrators) != 0;
}

SC_HANDLE OpenObject(std::string computer, const Service* service, DWORD access) {
  auto object = std::make_shared<ScObject>();
  object->computer = std::move(computer);
  object->service = service;
  object->access = access;
  return static_cast<SC_HANDLE>(OpenHandle(std::move(object)));
}

// The service behind a handle that was opened with `right`.
std::shared_ptr<ScObject> FindService(SC_HANDLE handle, DWORD right) {
  auto object = Find<ScObject>(handle);
  if (!object) return nullptr;
  if (object->service == nullptr) return Fail(ERROR_INVALID_HANDLE), nullptr;
  if ((object->access & right) != right) return Fail(ERROR_ACCESS_DENIED), nullptr;
  return object;
}

DWORD RightFor(DWORD control) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      return SERVICE_STOP;
    case SERVICE_CONTROL_PAUSE:
    case SERVICE_CONTROL_CONTINUE:
      return SERVICE_PAUSE_CONTINUE;
    default:
      return SERVICE_INTERROGATE;
  }
}

}  // namespace

bool ServiceIsRunning(std::string_view computer, std::string_view name) {
  const Service* service = ServiceNamed(name);
  return service != nullptr && StateOf(computer, *service) == ServiceState::kRunning;
}

LONG SetServiceState(std::string_view computer, std::string_view name, ServiceState state) {
  const Service* service = ServiceNamed(name);
  return service == nullptr ? ERROR_SERVICE_DOES_NOT_EXIST : PutState(computer, *service, state);
}

}  // namespace embedded

using namespace embedded;

SC_HANDLE WINAPI OpenSCManagerA(LPCSTR computer, LPCSTR database, DWORD access) {
  constexpr DWORD kForEveryone = 0x80020015;  // Connect, enumerate, query the lock, and read.
  const std::optional<std::string> found = ComputerNamed(computer == nullptr ? "" : computer);
  if (!found) return Fail(RPC_S_SERVER_UNAVAILABLE), nullptr;
  if (database != nullptr && !text::EqualNoCase(database, "ServicesActive")) {
    return Fail(ERROR_DATABASE_DOES_NOT_EXIST), nullptr;
  }
  if (!MayOpen(access, kForEveryone)) return Fail(ERROR_ACCESS_DENIED), nullptr;
  return OpenObject(*found, nullptr, access);
}

SC_HANDLE WINAPI OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access) {
  constexpr DWORD kForEveryone =
      0x8002018D;  // Query, enumerate, interrogate, user-defined control, and read.
  const auto object = Find<ScObject>(manager);
  if (!object) return nullptr;
  if (object->service != nullptr) return Fail(ERROR_INVALID_HANDLE), nullptr;
  if (name == nullptr) return Fail(ERROR_INVALID_ADDRESS), nullptr;
  if (std::string_view(name).find_first_of("/\\") != std::string_view::npos || *name == '\0') {
    return Fail(ERROR_INVALID_NAME), nullptr;
  }
  const Service* service = ServiceNamed(name);
  if (service == nullptr) return Fail(ERROR_SERVICE_DOES_NOT_EXIST), nullptr;
  if (!MayOpen(access, kForEveryone)) return Fail(ERROR_ACCESS_DENIED), nullptr;
  if ((access & GENERIC_ALL) != 0) access |= SERVICE_ALL_ACCESS;
  if ((access & GENERIC_READ) != 0)
    access |= SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS | SERVICE_INTERROGATE;
  if ((access & GENERIC_EXECUTE) != 0) access |= SERVICE_START | SERVICE_STOP | SERVICE_PAUSE_CONTINUE;
  return OpenObject(object->computer, service, access);
}

BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status) {
  const auto object = FindService(service, SERVICE_QUERY_STATUS);
  if (!object) return FALSE;
  *status = StatusOf(object->computer, *object->service);
  return TRUE;
}

BOOL WINAPI StartServiceA(SC_HANDLE service, DWORD, LPCSTR*) {
  const auto object = FindService(service, SERVICE_START);
  if (!object) return FALSE;
  switch (StateOf(object->computer, *object->service)) {
    case ServiceState::kRunning:
      return Fail(ERROR_SERVICE_ALREADY_RUNNING);
    case ServiceState::kDisabled:
      return Fail(ERROR_SERVICE_DISABLED);
    case ServiceState::kStopped:
      break;
  }
  const LONG status = PutState(object->computer, *object->service, ServiceState::kRunning);
  return status == ERROR_SUCCESS ? TRUE : Fail(static_cast<DWORD>(status));
}

BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status) {
  if (control < SERVICE_CONTROL_STOP || control > SERVICE_CONTROL_INTERROGATE)
    return Fail(ERROR_INVALID_PARAMETER);
  const auto object = FindService(service, RightFor(control));
  if (!object) return FALSE;
  const bool running = StateOf(object->computer, *object->service) == ServiceState::kRunning;
  DWORD failure = ERROR_SUCCESS;
  if (!running) {
    failure = ERROR_SERVICE_NOT_ACTIVE;
  } else if (control == SERVICE_CONTROL_STOP) {
    failure = static_cast<DWORD>(PutState(object->computer, *object->service, ServiceState::kStopped));
  } else if (control != SERVICE_CONTROL_INTERROGATE) {
    failure = ERROR_INVALID_SERVICE_CONTROL;
  }
  // The state is told also when the control was refused.
  *status = StatusOf(object->computer, *object->service);
  return failure == ERROR_SUCCESS ? TRUE : Fail(failure);
}

BOOL WINAPI CloseServiceHandle(SC_HANDLE object) { return Close<ScObject>(object); }
