#pragma once

// One function a page. The page table alone calls them.

#include <memory>

#include "framework/tessel_property_page.h"

std::unique_ptr<CTesselPropertyPage> MakeCompressionPage(const PageArguments& arguments);
