#pragma once

// A person's acts at the controls of a window, by name.

#include "console/web/session.h"

namespace web {

// Does the act and returns the control's refusal, empty when it was done.
std::string DoAtControl(CDialog& dialog, const PersonsAct& act, RowCache& rows);

// The act of a JSON object; nothing for a field of another type or a number out of range.
std::optional<PersonsAct> ActOf(const nlohmann::json& json);

}  // namespace web
