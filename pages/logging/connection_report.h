#pragma once

// A report of connections as a text or a page for the browser.

#include <cstdint>
#include <vector>

#include "framework/form_dialog.h"

struct ConnectionRecord {
  CString user;
  CString domain;
  CString remoteIp;
  std::int64_t when = 0;  // seconds since 1970
};
using ConnectionList = std::vector<ConnectionRecord>;

// Two examples: no log of the server is read.
ConnectionList GetConnections();

struct ReportRecord {
  CString reportType = "Connections";
  CString reportFormat = "Text";
  CString fromDate;  // "2026-01-31"
  CString toDate;
  CString reportDirectory;
  CString sortBy = "Date/Time";
  bool showTotals = false;
};

// The dates stand in the heading; the columns, the order and the totals do not count.
class CDlgGenerateReport final : public FormDialog<CDlgGenerateReport, ReportRecord> {
 public:
  CDlgGenerateReport();
  static const std::span<const Row> kControls;

  void Generate();
  void ReloadColumns();

  CListCtrl* m_columns = nullptr;
  CComboBox* m_sortBy = nullptr;

 protected:
  bool OnInitDialog() override;
};
