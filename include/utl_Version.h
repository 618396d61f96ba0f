// The version of the library that is loaded, as numbers and as text ("1.4.2").
//
// A process-wide singleton: `omi_Singleton<utl_Version>::Instance()`, released by
// `utl_finalize`. A client compares it against the version it was built for.
#pragma once

#include "omi_Singleton.h"
#include "vlt_Export.h"

class utl_Version;
// The instance lives in the library: one per process, also across a DLL boundary.
extern template class VLTUTL_API omi_SingletonBase<utl_Version>;

class VLTUTL_API utl_Version : public omi_SingletonBase<utl_Version> {
public:
    utl_Version();

    int Major() const { return major; }
    int Minor() const { return minor; }
    int Patch() const { return patch; }
    // "major.minor.patch".
    const char* Text() const { return text; }

    // True when this version is the given one or a later one.
    bool IsAtLeast(int wantMajor, int wantMinor, int wantPatch) const;

private:
    int major;
    int minor;
    int patch;
    char text[40];
};
