#pragma once

// The rows of long lists, which a browser fetches by the window that it shows.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "window/controls.h"

namespace web {

// Changes whenever a row's text, tick or selection does.
std::uint64_t RowsStamp(const CWnd& control);

// One row as the browser draws it: {"row", "cells", "checked", "selected"}.
nlohmann::ordered_json DescribeRow(const CWnd& control, size_t row);

enum class RowOrder : unsigned char { AsTheyStand, Rising, Falling };

// The rows that hold a text, kept while neither rows nor text change, so that scrolling doesn't search again.
class RowCache {
 public:
  // Indexes of the rows that hold `filter` without regard to case; all for an empty one. Sorted by their text
  // without regard to case.
  const std::vector<std::uint32_t>& Matching(const CWnd& control, const std::string& filter, RowOrder order);

 private:
  const CWnd* m_control = nullptr;
  std::uint64_t m_stamp = 0;
  std::string m_filter;
  RowOrder m_order = RowOrder::AsTheyStand;
  std::vector<std::uint32_t> m_rows;
};

}  // namespace web
