#pragma once
// The version of this library in the process's version list.
#include "fnx_export.h"
#include "fnx_versions.h"

// Registers "dal_storage" with its version text in versions.
FNX_API void GetVersionsList_dal_storage(FnxVr_Versions& versions);

// "@(#)VER_INF0|dal_storage|<version>|<build time>|"
FNX_API const char* DalStorageVersionText();
