#include "utl_Version.h"

#include <cstdio>
#include <tuple>

template class omi_SingletonBase<utl_Version>;

utl_Version::utl_Version()
    : major(VLTUTL_VERSION_MAJOR), minor(VLTUTL_VERSION_MINOR), patch(VLTUTL_VERSION_PATCH) {
    std::snprintf(text, sizeof text, "%d.%d.%d", major, minor, patch);
}

bool utl_Version::IsAtLeast(int wantMajor, int wantMinor, int wantPatch) const {
    return std::tie(major, minor, patch) >= std::tie(wantMajor, wantMinor, wantPatch);
}
