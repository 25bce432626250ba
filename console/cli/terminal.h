#pragma once

// Whether a person reads standard output as it is written.
bool OutputGoesToTerminal();
