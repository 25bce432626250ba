#pragma once

// The public keys that authorize users, of all users at once. The page table does not serve this page: the
// console drives it by itself.

#include "framework/record_page.h"

struct AuthorizedKeyEntry {
  CString keyName;   // a GUID in braces
  CString userName;  // may be empty
  CString keyText;   // one line, which the key library understands
  CString fingerprint;
  CString comment;
};

// An owner of entries: a page's record.
struct AuthorizedKeysRecord {
  std::vector<AuthorizedKeyEntry> entries;
};

class CPrpAuthKeys final : public RecordPage<CPrpAuthKeys, AuthorizedKeysRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  void ShowRecord(const AuthorizedKeysRecord& record) override;
  void ReadScreen(AuthorizedKeysRecord& record) override;
  bool Differs(const AuthorizedKeysRecord& a, const AuthorizedKeysRecord& b) const override;

  void Import();
  void Export();
  void Delete();
  void Edit();

  // What the rows of the list stand for, from its top.
  const std::vector<AuthorizedKeyEntry>& Shown() const { return m_shown; }

  CListCtrl* m_list = nullptr;

 protected:
  std::string_view HelpKey() const override;
  void LoadFrom(const CTesselRegObject& key, AuthorizedKeysRecord& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const AuthorizedKeysRecord& record, KeyOf which) override;

 private:
  void InsertRow(AuthorizedKeyEntry entry);

  std::vector<AuthorizedKeyEntry> m_shown;
};
