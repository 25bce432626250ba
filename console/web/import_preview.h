#pragma once

// What an import of settings would do, shown before it does it.

#include <string>

#include "configuration/byte_stream.h"

namespace web {

// Shows the person what the file would add and change; true for "Import".
bool ConfirmImport(const std::string& file, const SourceOpener& open);

}  // namespace web
