#pragma once

#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "tests/support/registry_support.h"

inline const CString kRoot = "Software\\ConfigurationTest";
inline const CString kSshd = "HKEY_CURRENT_USER\\" + kRoot + "\\SSHD";
inline const CStringList kOutward = {"C:\\Prog\\", "$(TesselInstallDir)\\", "HOST7", "$(ComputerName)"};
inline const CStringList kInward = {"$(TesselInstallDir)\\", "D:\\M\\", "$(ComputerName)", "HERE"};

// A subtree of the registry of its own, and what the engine says and asks.
class ScratchSettings : public ::testing::Test {
 protected:
  void SetUp() override { registry_test::DeleteTree(HKEY_CURRENT_USER, kRoot.c_str()); }
  void TearDown() override { registry_test::DeleteTree(HKEY_CURRENT_USER, kRoot.c_str()); }

  static UniqueKey Key(const CString& path) {
    HKEY key = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, (kRoot + "\\" + path).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &key, nullptr);
    return UniqueKey(key);
  }

  CString Export(const CStringList* pairs = nullptr) const {
    XmlStringWriter writer;
    ExportRegistryKey(writer, false, kSshd, pairs, ui);
    return writer.GetBuffer();
  }

  int Import(const CString& text, const CStringList* pairs = nullptr) const {
    XmlReader reader(MemorySource(text));
    reader.showMessage = ui.tell;
    return ImportSettingsFile(reader, "", pairs, ui);
  }

  CString said;
  bool answer = false;
  EngineCallbacks ui{[this](const CString& question) {
                       said += question.substr(0, question.find('?') + 1) + "\n";
                       return answer;
                     },
                     [this](const CString& message) { said += message + "\n"; },
                     {}};
};

// The tags around the contents of the key SSHD, without their ends.
inline CString Chained(const CString& inner) {
  return "<k name=\"HKEY_CURRENT_USER\"><k name=\"Software\"><k name=\"ConfigurationTest\"><k "
         "name=\"SSHD\">" +
         inner;
}
