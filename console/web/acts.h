#pragma once

// A person's acts at the controls of a window, by name.

#include "console/web/session.h"

namespace web {

// Does the act and returns the control's refusal, empty when it was done.
std::string DoAtControl(CDialog& dialog, const PersonsAct& act, RowCache& rows);

// The act of a JSON object; nothing, with one sentence, for other texts, a field of another type or a number
// out of range.
std::optional<PersonsAct> ActOf(std::string_view text, std::string& why);

// {"refusal"}
std::string RefusalText(std::string_view sentence);

}  // namespace web
