#pragma once

// Cached credentials, about which an export asks.

#include <string_view>

// Whether this is the question of an export about them.
bool AsksForCredentials(std::string_view question);

// Whether an export of the local computer's settings has any to ask about.
bool ExportHoldsCredentials();
