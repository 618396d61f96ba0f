// The decoder behind vlt-dump: a binary stream of the library, as a person reads it.
//
// A stream is read from its first byte as a run of records. A typed record (type id, marker,
// data) of a type in the type table is decoded by the type's own reader and printed by its own
// printer, after its offset, class name, type id and marker ("#1=" for the first occurrence of a
// pointer, nothing for an object record); a later occurrence of a pointer is "#1#", as the
// printer writes back-references; a zero word where a record starts is a null pointer. Bytes that
// start no record (raw values written beside the records, or a foreign type) are shown in hex
// with their offsets, up to the next word that starts a record of a known type.
//
// The decoding never trusts the bytes: a record that the type's reader refuses (an assertion
// report, a truncated value, a foreign type) ends the dump with its offset and the reason. The
// objects decoded are kept until the dump ends, because later records may refer back to them.
// The caller starts the library's stream modules first (utl_initialize does).
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

namespace vlt::tools {

struct DumpLimits {
    // The offset in the file of the first byte given; offsets are printed from there.
    uint64_t firstOffset = 0;
    // Records after which the dump stops.
    uint64_t maxRecords = UINT64_MAX;
};

struct DumpOutcome {
    // The whole input was read as records and bytes, or the record limit was reached.
    bool complete = false;
    uint64_t records = 0;
    // Where the dump stopped, and why when it is not complete.
    uint64_t offset = 0;
    std::string reason;
};

DumpOutcome DumpStream(const char* bytes, std::size_t size, const DumpLimits& limits,
                       std::ostream& out);

} // namespace vlt::tools
