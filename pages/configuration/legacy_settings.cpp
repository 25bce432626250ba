#include "pages/configuration/legacy_settings.h"

namespace {

struct Companion {
  const char* key;
  const char* ending;
};

constexpr Companion kCompanions[] = {
    {R"(Software\TesselWorks\InetD)", "_inetd.tcfg"},
    {R"(Software\TesselWorks\SFTP)", "_sftp.tcfg"},
};

CString Base(const CString& file) {
  const size_t dot = file.rfind('.');
  return dot == CString::npos ? CString() : file.substr(0, dot);
}

// Runs `work` with each other service's key that can be opened and its file, until one fails.
template <class Work>
DWORD ForCompanions(const CString& computer, const CString& file, Work work) {
  for (const auto& [path, ending] : kCompanions) {
    CTesselRegObject key;
    if (key.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, path) != ERROR_SUCCESS) continue;
    const DWORD status = work(key, Base(file) + ending);
    key.CloseKey();
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

}  // namespace

DWORD SaveLegacySettings(const CTesselRegObject& key, const CString& computer, const CString& file) {
  if (const DWORD status = key.SaveKey(file.c_str()); status != ERROR_SUCCESS) return status;
  return ForCompanions(computer, file, [](const CTesselRegObject& other, const CString& beside) {
    return other.SaveKey(beside.c_str());
  });
}

DWORD RestoreLegacySettings(CTesselRegObject& key, const CString& computer, const CString& file) {
  if (const DWORD status = key.RestoreKey(file.c_str()); status != ERROR_SUCCESS) return status;
  return ForCompanions(computer, file, [](CTesselRegObject& other, const CString& beside) -> DWORD {
    const DWORD status = other.RestoreKey(beside.c_str());
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
  });
}
