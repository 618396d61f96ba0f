// Per-facility debug levels, set by facility name.
//
// A level is a signed integer per facility number (1024 of them, all 0 at start), which a
// module reads to decide how much to trace ("obj" traces its marshalling at 1 and 2). Names
// come from `typ_debugFacilityNames`, which lists this library's own modules, and from the
// suite's other modules, which add theirs with `RegisterFacilityNames` (a client does so after
// `typ_initialize`, which fills the library's names). Levels and names are process-wide, and
// are set on one thread before anyone reads them.
#pragma once

#include "vlt_Export.h"

// One facility's debug name and number.
struct typ_FacNameNumber {
    const char* name;
    unsigned short number;
};

// This library's facilities, ended by a row with a null name.
extern VLTUTL_API const typ_FacNameNumber typ_debugFacilityNames[];

class VLTUTL_API typ_DebugFlags {
public:
    static constexpr unsigned Facilities = 1024;

    // Fills the names from `typ_debugFacilityNames`; the levels stay as they are.
    static void initialize();
    // Names the facilities of a table ended by a null name; the names must stay valid. A
    // number outside the table is skipped, and false is answered.
    static bool RegisterFacilityNames(const typ_FacNameNumber* names);
    // The facility's name; empty when it has none.
    static const char* GetFacilityName(unsigned facility);

    // No report for a facility beyond the table: it answers 0.
    static int GetDebugFlags(unsigned facility);
    // 0 for an unknown name.
    static int GetDebugFlags(const char* name);
    // False, and nothing set, for an unknown name.
    static bool SetDebugFlags(const char* name, int level);
    // Sets levels from "name=digits" items separated by commas ("obj=2,nex=1"); no digits
    // mean 0. A malformed item stops the parse with false; an unknown name is skipped and
    // makes the answer false.
    static bool ParseDebugFlags(const char* flags);

private:
    static int facilityOf(const char* name);

    static int levels[Facilities];
    static const char* names[Facilities];
};
