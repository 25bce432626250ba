#pragma once

// The dialog that asks for a new user's name.

#include "platform/text.h"

// The name as a key is called, "DOMAIN?name" where a domain was given; empty where the person cancels.
CString AskUserName();
