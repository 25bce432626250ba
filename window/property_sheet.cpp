#include "window/property_sheet.h"

#include <algorithm>

CPropertyPage::~CPropertyPage() {
  if (m_sheet == nullptr) return;
  std::erase(m_sheet->m_pages, this);
  if (m_sheet->m_active == this) m_sheet->m_active = nullptr;
  if (m_sheet->m_refusedBy == this) m_sheet->m_refusedBy = nullptr;
}

bool CPropertyPage::OnApply() {
  OnOK();
  return true;
}

void CPropertyPage::SetModified(bool modified) { m_modified = modified; }

long CPropertyPage::QuerySiblings(unsigned code, unsigned parameter) {
  if (m_sheet == nullptr) return 0;
  for (CPropertyPage* page : m_sheet->m_pages) {
    if (const long answer = page->OnQuerySiblings(code, parameter); answer != 0) return answer;
  }
  return 0;
}

CPropertySheet::~CPropertySheet() {
  for (CPropertyPage* page : m_pages) page->m_sheet = nullptr;
}

void CPropertySheet::AddPage(CPropertyPage& page) {
  page.m_sheet = this;
  m_pages.push_back(&page);
}

bool CPropertySheet::SetActivePage(CPropertyPage* page) {
  if (!LeaveActivePage()) return false;
  if (page == nullptr) return true;
  page->Create();
  if (!page->OnSetActive()) return false;
  m_active = page;
  return true;
}

bool CPropertySheet::LeaveActivePage() {
  if (m_active != nullptr && !m_active->OnKillActive()) return false;
  m_active = nullptr;
  return true;
}

bool CPropertySheet::IsModified() const {
  return std::any_of(m_pages.begin(), m_pages.end(),
                     [](const CPropertyPage* page) { return page->IsModified(); });
}

bool CPropertySheet::PressApply(const std::function<void()>& left) {
  CPropertyPage* const active = m_active;
  m_refusedBy = active != nullptr && !active->OnKillActive() ? active : nullptr;
  if (m_refusedBy != nullptr) return false;
  if (left) left();
  for (CPropertyPage* page : m_pages) {
    if (!page->OnApply()) {
      SetActivePage(page);
      m_refusedBy = page;
      return false;
    }
    page->m_modified = false;
  }
  if (active != nullptr) active->OnSetActive();
  return true;
}

void CPropertySheet::PressCancel() {
  for (CPropertyPage* page : m_pages) {
    page->OnCancel();
    page->m_modified = false;
  }
  if (m_active != nullptr) m_active->OnSetActive();
}
