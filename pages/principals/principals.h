#pragma once

// What the three lists of the server's principals share.

#include "framework/list_page.h"

// The pages whose settings a new principal gets from its source. The others of a principal start from their
// own defaults.
inline constexpr PageIndex kCopiedSettings[] = {
    PageIndex::UserGen,   PageIndex::UserEnv,    PageIndex::UserFullCon,   PageIndex::UserKeyboard,
    PageIndex::UserLogon, PageIndex::UserStream, PageIndex::UserTerminate,
};
