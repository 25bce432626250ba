#pragma once

// The dialog that makes a host key, and the one that edits what stands beside a user's public key.

#include "framework/form_dialog.h"

struct KeyRequest {
  CString type;  // "dsa", "rsa" or "rsa1"
  CString file;
  CString bits = "1024";
  CString comment{};
  // Not shown: the server could ask nobody for a host key's passphrase.
  CString passphrase{};
  CString confirm{};
};

class CDlgKeyGen final : public FormDialog<CDlgKeyGen, KeyRequest> {
 public:
  CDlgKeyGen(const CString& file, const CString& type);
  static const std::span<const Row> kControls;

  // What the dialog's edit holds in the end, whether a key was made there or not.
  const CString& GetFile() const { return Data().file; }

  void Generate();
  void ComparePassphrases();

  CComboBox* m_typeList = nullptr;
  CSmartEdit* m_bitsEdit = nullptr;
  CLinkSlider* m_slider = nullptr;

 protected:
  bool OnInitDialog() override;

 private:
  CString m_initialFile;
};

struct KeyDescription {
  CString user;
  CString comment{};
  CString fingerprint;
};

class CDlgKeyEdit final : public FormDialog<CDlgKeyEdit, KeyDescription> {
 public:
  explicit CDlgKeyEdit(KeyDescription key) : FormDialog("Authorized Key", std::move(key)) {}
  static const std::span<const Row> kControls;
};
