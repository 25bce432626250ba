#pragma once

// The one shape in which the console's front ends pass controls and dialogs on.

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "window/dialog.h"

// {"name", "caption", "kind", "group", "value", "enabled", "visible", "storedAs", "rows"...}; `name` is what
// a command calls the control.
nlohmann::ordered_json DescribeControl(const CDialog& dialog, size_t index);

// All controls of a dialog but fixed texts and groups, in reading order.
nlohmann::ordered_json DescribeControls(const CDialog& dialog);

// The same for a person to read: a line a control, under the captions of the groups.
std::string PrintControls(const CDialog& dialog);

// "a"; "a" and "b"; "a", "b" and "c".
std::string AllOf(const std::vector<std::string>& names);

// A text of several lines on one line.
std::string OneLine(std::string_view text);

// Texts of the store are bytes; JSON wants UTF-8, in which other bytes become U+FFFD.
std::string DumpJson(const nlohmann::ordered_json& json);
