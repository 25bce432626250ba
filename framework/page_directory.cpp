#include "framework/page_directory.h"

std::array<CTesselPropertyPage*, kPageCount>& PageDirectory() {
  static std::array<CTesselPropertyPage*, kPageCount> pages{};
  return pages;
}
