// The stream failures shared by the devices and the filters.
#pragma once

namespace vlt::detail {

// Throws the broken-connection `omi_FatalError`: a heap copy of its text, with the system's
// error number of the moment as its code.
[[noreturn]] void bio_ThrowBrokenConnection();

} // namespace vlt::detail
