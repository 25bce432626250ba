#pragma once

// What the process asks of the system before it does anything: no memory of it, which may hold passwords, is
// written to disk when it crashes; a file that would get too large fails a write, and does not end it; and
// what ends it leaves no file behind that was not finished.
void PrepareProcess();

// Long waits for the store are told on standard error.
void TellWaits();
