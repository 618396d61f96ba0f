// The module's shared debug printer, which `pnt_finalize` releases.
#pragma once

namespace vlt::detail {

// Destroys the shared printer if `pnt_debugPrint()` created one, writing what it still held.
void pnt_releaseDebugPrint();

} // namespace vlt::detail
