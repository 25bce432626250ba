#pragma once

// The dialog that asks for a user's name.

#include "platform/text.h"

// The name, behind its domain and the separator where a domain was given: a key is called "DOMAIN?name", and
// an account "DOMAIN\name". Empty where the person cancels.
CString AskUserName(char separator);
