#pragma once

#include "store/registry_object.h"

// Gives the server's key and all keys below it the access list that they have after the defaults were
// restored. Nothing is done, and nothing reported, where one of the list's accounts does not exist.
void SetDefaultSecurity(const CTesselRegObject& key);
