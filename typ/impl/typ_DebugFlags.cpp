#include "typ_DebugFlags.h"

#include <climits>
#include <cstring>
#include <string>

// The suite's other modules register their own names.
const typ_FacNameNumber typ_debugFacilityNames[] = {
    {"obj", 23},
    {"cio", 26},
    {"nex", 31},
    {nullptr, 0},
};

int typ_DebugFlags::levels[Facilities] = {};
const char* typ_DebugFlags::names[Facilities] = {};

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The decimal value of the digits, held at INT_MAX rather than overflowing.
int decimalValue(const std::string& digits) {
    long long value = 0;
    for (const char d : digits) {
        value = value * 10 + (d - '0');
        if (value > INT_MAX) {
            return INT_MAX;
        }
    }
    return static_cast<int>(value);
}

} // namespace

void typ_DebugFlags::initialize() {
    RegisterFacilityNames(typ_debugFacilityNames);
}

bool typ_DebugFlags::RegisterFacilityNames(const typ_FacNameNumber* table) {
    bool allPlaced = true;
    for (const typ_FacNameNumber* row = table; row != nullptr && row->name != nullptr; ++row) {
        if (row->number < Facilities) {
            names[row->number] = row->name;
        } else {
            allPlaced = false;
        }
    }
    return allPlaced;
}

const char* typ_DebugFlags::GetFacilityName(unsigned facility) {
    return facility < Facilities && names[facility] != nullptr ? names[facility] : "";
}

int typ_DebugFlags::GetDebugFlags(unsigned facility) {
    return facility < Facilities ? levels[facility] : 0;
}

int typ_DebugFlags::GetDebugFlags(const char* name) {
    const int facility = facilityOf(name);
    return facility >= 0 ? levels[facility] : 0;
}

bool typ_DebugFlags::SetDebugFlags(const char* name, int level) {
    const int facility = facilityOf(name);
    if (facility < 0) {
        return false;
    }
    levels[facility] = level;
    return true;
}

bool typ_DebugFlags::ParseDebugFlags(const char* flags) {
    bool allKnown = true;
    const char* p = flags != nullptr ? flags : "";
    while (*p != '\0') {
        std::string name;
        while (*p != '\0' && *p != '=' && *p != ',') {
            name += *p++;
        }
        if (*p != '=') {
            return false;
        }
        ++p;
        std::string digits;
        while (isDigit(*p)) {
            digits += *p++;
        }
        if (*p != ',' && *p != '\0') {
            return false;
        }
        if (*p == ',') {
            ++p;
        }
        allKnown = SetDebugFlags(name.c_str(), decimalValue(digits)) && allKnown;
    }
    return allKnown;
}

int typ_DebugFlags::facilityOf(const char* name) {
    if (name == nullptr) {
        return -1;
    }
    for (unsigned facility = 0; facility < Facilities; ++facility) {
        if (names[facility] != nullptr && std::strcmp(names[facility], name) == 0) {
            return static_cast<int>(facility);
        }
    }
    return -1;
}
