#pragma once

#include "platform/embedded/win32/types.h"

namespace embedded {

enum class MessageTable { kSystem, kNetwork };

// The text of a code without its line end, or null.
const char* MessageText(MessageTable table, DWORD code);

// The table that a module of LoadLibraryExA carries, or null: netmsg.dll has one.
const MessageTable* ModuleMessages(HMODULE module);

}  // namespace embedded
