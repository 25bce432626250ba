#pragma once

// A service of a computer: opened with all access, asked and restarted.

#include <functional>
#include <memory>
#include <type_traits>

#include "platform/text.h"
#include "platform/win32.h"

struct ServiceCloser {
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using UniqueService = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

// `computer` is null or empty for the local one. On failure `service` is null, with the reason as last error.
struct OpenedService {
  OpenedService(const char* computer, const char* name);
  UniqueService manager;
  UniqueService service;
};

struct RestartRules {
  bool onlyIfRunning = false;  // a service that does not run stays as it is
  bool waitsForStart = false;  // returns when the service runs again, not when it was told to
  bool logsStates = false;     // every state that it has while it is waited for
  DWORD pause = 0;             // milliseconds between two looks at it
  // Runs before each pause; false gives up waiting. Without it waiting has no end.
  std::function<bool()> waits{};
};

// Stops the service and starts it again. False if it can't be opened or asked, or a person gave up.
bool RestartService(const CString& computer, const char* name, const RestartRules& rules);
