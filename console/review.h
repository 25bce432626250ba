#pragma once

// All that waits to be applied, by page and setting: as it is stored, and as it was edited.

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/host.h"

struct ReviewedSetting {
  size_t control = 0;
  std::string name;     // as a command calls the control
  bool secret = false;  // a password: neither text is told
  bool alone = false;   // it can be put back by itself
  std::string was;
  std::string now;
  // Of a list: the rows that came and went; of one with check boxes those that are ticked now, and no more.
  // Both empty where they stand in another order.
  bool list = false;
  bool ticks = false;
  std::vector<std::string> added;
  std::vector<std::string> removed;
};

struct ReviewedPage {
  std::string node;
  std::vector<ReviewedSetting> settings;  // none where the difference lies in a dialog of the page
};

// What the control of a page shows, compared with what is stored; nothing if it is the same, or no setting.
std::optional<ReviewedSetting> CompareSetting(const CTesselPropertyPage& page, size_t control,
                                              const std::string& stored, const std::string& shown);

// The `count` waiting pages from the `first` on; `total` gets the number of all.
std::vector<ReviewedPage> Review(const Host& host, size_t first, size_t count, size_t& total);

// [{"node", "settings": [{"control", "name", "was", "now" | "added", "removed" | "secret", "alone"}]}]
nlohmann::ordered_json ReviewJson(const std::vector<ReviewedPage>& pages);
nlohmann::ordered_json ReviewJson(const ReviewedSetting& setting);

// A line a setting, under the names of the pages.
std::string PrintReview(const std::vector<ReviewedPage>& pages);
