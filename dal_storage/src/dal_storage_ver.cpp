#include "dal_versions.h"

#ifndef FNX_DAL_STORAGE_VERSION
#define FNX_DAL_STORAGE_VERSION "0.0.0"
#endif

namespace {

constexpr const char kLibraryName[] = "dal_storage";
constexpr const char kVersionText[] =
    "@(#)VER_INF0|dal_storage|" FNX_DAL_STORAGE_VERSION "|" __DATE__ " " __TIME__ "|";

// Registers the library at load time, as every library of the process does.
const FnxVr_AutoRegister kAutoRegister(kLibraryName, kVersionText);

}  // namespace

void GetVersionsList_dal_storage(FnxVr_Versions& versions) { versions.Register(kLibraryName, kVersionText); }

const char* DalStorageVersionText() { return kVersionText; }
