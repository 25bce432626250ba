#pragma once

// What an import of settings would do, shown before it does it.

#include <string>

#include "console/host.h"

namespace web {

// Shows the person what the file would add and change; true for "Import".
bool ConfirmImport(const Host& host, const std::string& file, const SourceOpener& open);

}  // namespace web
