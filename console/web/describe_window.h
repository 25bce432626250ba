#pragma once

// A dialog or page in the shape that the browser draws.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "framework/tessel_property_page.h"

namespace web {

// All controls in reading order, so that a control's place in the array is the index by which acts name it.
// Short lists come with their rows; of long ones only the number of rows and their stamp.
nlohmann::ordered_json DescribeWindow(const CDialog& dialog);

// Changes whenever something does that a person can edit: texts, ticks, rows. Selections in lists don't
// count.
std::uint64_t ValuesStamp(const CDialog& dialog);

// Adds to the controls of a page that is shown what is stored where they show something else: "changed".
void AddStored(const CTesselPropertyPage& page, bool waits, nlohmann::ordered_json& controls);

}  // namespace web
