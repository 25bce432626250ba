#pragma once

// Long waits for the store are told on standard error.
void TellWaits();
