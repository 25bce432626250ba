#include "console/cli/terminal.h"

#ifdef _WIN32
#include <io.h>

#include <cstdio>

bool OutputGoesToTerminal() { return _isatty(_fileno(stdout)) != 0; }
#else
#include <unistd.h>

bool OutputGoesToTerminal() { return isatty(STDOUT_FILENO) != 0; }
#endif
