#include "store/service_control.h"

#include "store/diagnostic_log.h"

namespace {

bool AwaitState(SC_HANDLE service, DWORD wanted, const RestartRules& rules) {
  SERVICE_STATUS state = {};
  for (;;) {
    if (!QueryServiceStatus(service, &state)) return false;
    if (rules.logsStates) LogPrint(0, "dwCurrentState = %d\n", static_cast<int>(state.dwCurrentState));
    if (state.dwCurrentState == wanted) return true;
    if (rules.waits && !rules.waits()) return false;
    if (rules.pause != 0) Sleep(rules.pause);
  }
}

}  // namespace

OpenedService::OpenedService(const char* computer, const char* name)
    : manager(OpenSCManagerA(computer, nullptr, SC_MANAGER_ALL_ACCESS)),
      service(manager ? OpenServiceA(manager.get(), name, SERVICE_ALL_ACCESS) : nullptr) {}

bool RestartService(const CString& computer, const char* name, const RestartRules& rules) {
  const OpenedService opened(computer.empty() ? nullptr : computer.c_str(), name);
  SERVICE_STATUS state = {};
  if (!opened.service || !QueryServiceStatus(opened.service.get(), &state)) return false;
  if (rules.onlyIfRunning && state.dwCurrentState != SERVICE_RUNNING) return true;
  ControlService(opened.service.get(), SERVICE_CONTROL_STOP, &state);
  if (!AwaitState(opened.service.get(), SERVICE_STOPPED, rules)) return false;
  StartServiceA(opened.service.get(), 0, nullptr);
  return !rules.waitsForStart || AwaitState(opened.service.get(), SERVICE_RUNNING, rules);
}
