#pragma once

// The pages in the order in which the host receives them, and what makes each.

#include <memory>
#include <span>
#include <string_view>

#include "framework/page_directory.h"
#include "framework/tessel_property_page.h"

struct PageTableRow {
  PageIndex index;
  // A title path, or a pattern: "*" before alternatives selects several branches of the host's tree, and a
  // lone "*" in `appended` stands for any principal in them. Empty: the context names the title.
  std::string_view titleText;
  std::string_view appended;
  std::string_view baseKey;
  std::string_view secondKey;  // of a list of principals; the server's three do not use theirs
  std::unique_ptr<CTesselPropertyPage> (*make)(const PageArguments& arguments);
};

// One row for each index, in order.
std::span<const PageTableRow, kPageCount> PageTableRows();

// The order in which pages are destroyed. It leaves two pages out, which live until the process ends.
std::span<const PageIndex> DestructionOrder();
