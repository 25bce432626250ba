#pragma once

// The operations of Windows that the system uses. On Windows they are the system's own; elsewhere the same
// functions, types and constants are declared here, bit for bit, and the embedded computer implements them.

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// What follows needs windows.h before it.
#include <aclapi.h>
#include <io.h>
#include <lm.h>
#include <objbase.h>
#include <sddl.h>
#include <share.h>
#include <shellapi.h>
#include <stdio.h>
#include <wincrypt.h>
#include <winsvc.h>
// Macros that would rename our own functions and variables.
#undef WinHelp
#undef far
#undef near
#include "platform/windows/registry_calls.h"

#else

#include "platform/embedded/win32/certificates.h"
#include "platform/embedded/win32/crypto.h"
#include "platform/embedded/win32/files.h"
#include "platform/embedded/win32/network.h"
#include "platform/embedded/win32/registry.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/services.h"
#include "platform/embedded/win32/system.h"
#include "platform/embedded/win32/types.h"

#endif
