// What the two POSIX halves of the crash handler share.
#pragma once

namespace vlt::detail {

// Resolves the unwinder, the loader queries and libdw, and maps the slots that the symbol
// helper process fills. Once per process; false when walks cannot be made.
bool CrashPrepareSymbols();

} // namespace vlt::detail
