// Module start-up and shut-down.
//
// A client calls `utl_initialize` once at start and `utl_finalize` once at the end; the other
// pairs (vlt_Modules.h, and thr_Mutex.h for the thread library) let a client use single
// modules. Every pair may be called any number of times and nested: only the first initialise
// and the matching last finalise do work. The `int&` is the caller's tally of modules that
// actually started (+1 each) or stopped (-1 each); it is never read. Calls belong on one thread.
#pragma once

#include "thr_Mutex.h"
#include "vlt_Export.h"
#include "vlt_Modules.h"

// Starts typ, thr, omni, cow, bio, pnt, obj, cio and nex, in this order, then the network layer.
VLTUTL_API void utl_initialize(int& tally);
// Releases the library's own singletons, the translation dictionaries and the network layer,
// then stops the modules in the reverse order.
VLTUTL_API void utl_finalize(int& tally);
