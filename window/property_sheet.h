#pragma once

// The property sheet and its pages, as a Windows property sheet behaves.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "window/dialog.h"

class CPropertySheet;

class CPropertyPage : public CDialog {
 public:
  using CDialog::CDialog;
  // Takes the page out of its sheet.
  ~CPropertyPage() override;

  // The page comes to the front; false keeps it from being shown.
  virtual bool OnSetActive() { return true; }
  // The page is left, or Apply is pressed on it; false keeps the page.
  virtual bool OnKillActive() { return true; }
  // Apply; false stops the pages behind it.
  virtual bool OnApply();
  void OnOK() override {}
  void OnCancel() override {}

  // Help for the page, from F1 or the help button.
  virtual void WinHelp() {}

  // A message of QuerySiblings; a result other than 0 ends the round.
  virtual long OnQuerySiblings(unsigned, unsigned) { return 0; }

  // Enables or disables Apply on behalf of this page.
  void SetModified(bool modified);
  bool IsModified() const { return m_modified; }

  // Sends a message to every page of the sheet, this one included, in order, until one answers other than 0,
  // and returns that answer.
  long QuerySiblings(unsigned code, unsigned parameter);

  const std::string& Title() const { return m_title; }
  void SetTitle(std::string_view title) { m_title = title; }

 private:
  friend class CPropertySheet;
  CPropertySheet* m_sheet = nullptr;
  std::string m_title;
  bool m_modified = false;
};

class CPropertySheet {
 public:
  CPropertySheet() = default;
  ~CPropertySheet();
  CPropertySheet(const CPropertySheet&) = delete;
  CPropertySheet& operator=(const CPropertySheet&) = delete;

  // Pages are borrowed.
  void AddPage(CPropertyPage& page);
  const std::vector<CPropertyPage*>& Pages() const { return m_pages; }

  // Leaves the active page and shows another, which may be the same one for another node; a page without a
  // window gets it. False when the active page will not be left, or the other one not be shown.
  bool SetActivePage(CPropertyPage* page);
  // Leaves the active page without showing another.
  bool LeaveActivePage();
  CPropertyPage* GetActivePage() const { return m_active; }

  // Whether Apply is enabled.
  bool IsModified() const;
  // Leaves the active page, applies every page in order until one refuses, and shows the active page again,
  // so that it reloads. False when a page refused, which then is the active one. `left`, if there is one,
  // runs once the active page is left.
  bool PressApply(const std::function<void()>& left = {});
  // The page that has refused the last Apply; null where none did.
  CPropertyPage* RefusedBy() const { return m_refusedBy; }
  // Resets every page and shows the active page again.
  void PressCancel();

 private:
  friend class CPropertyPage;
  std::vector<CPropertyPage*> m_pages;
  CPropertyPage* m_active = nullptr;
  CPropertyPage* m_refusedBy = nullptr;
};
