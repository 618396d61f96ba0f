// Questions about the machine and the process, and the start and stop of the network layer.
//
// Each query is a thin wrapper over the operating system with a fixed answer when the system
// cannot tell: none of them throws. `utl_initialize` starts the network layer and
// `utl_finalize` stops it; clients that start it themselves pair each start with a stop.
// Nothing here locks: call the network start and stop from one thread.
#pragma once

#include "cow_String.h"
#include "vlt_Export.h"

// Starts the network layer (version 2.0). A failure is an assertion report, and the caller
// goes on.
VLTUTL_API void utl_InetInitialize();
// Stops the network layer once.
VLTUTL_API void utl_InetFinalize();

// The host's first IPv4 address in host byte order; 0 when it cannot be found. Each call
// starts the network layer once more and never stops it (deliberate, clients rely on the
// layer staying up after the first query).
VLTUTL_API unsigned utl_getHostIPAddress();
// The number of processors, never less than 1.
VLTUTL_API int utl_getNumberCpus();
// The clock speed of processor 0 in MHz; -1 when the system does not tell.
VLTUTL_API int utl_getCpusClockSpeed();
// Always "nt", on every platform: deliberate, the clients test for that text.
VLTUTL_API cow_String utl_getPlatform();
// The name of the user running the process; empty when it cannot be found or does not fit.
VLTUTL_API cow_String utl_getUserName();
// The current working directory; empty when the system cannot tell.
VLTUTL_API cow_String utl_getcwd();

namespace vlt::detail {
// Starts of the network layer not yet stopped; lets tests check that starts and stops pair.
VLTUTL_API unsigned utl_InetUseCount();
} // namespace vlt::detail
