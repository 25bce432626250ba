#pragma once

// Settings as registry hive files at the command line. The page Configuration Management writes and reads
// them.

#include "console/cli/command.h"

Outcome ExportLegacy(const Settings& settings, const std::string& file, bool force);
Outcome ImportLegacy(const Settings& settings, const std::string& file, bool dryRun);
