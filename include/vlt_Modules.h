// The start-up and shut-down pairs of the library's modules below utl, declared at the bottom
// so that each module declares its own pair without reaching the top module. Clients include
// utl_Modules.h, which brings these with `utl_initialize` and `utl_finalize`.
//
// Every pair may be called any number of times and nested: only the first initialise and the
// matching last finalise do work. The `int&` is the caller's tally of modules that actually
// started (+1 each) or stopped (-1 each); it is never read. Calls belong on one thread.
#pragma once

#include "vlt_Export.h"

VLTUTL_API void typ_initialize(int& tally);
VLTUTL_API void typ_finalize(int& tally);
VLTUTL_API void omni_initialize(int& tally);
VLTUTL_API void omni_finalize(int& tally);
VLTUTL_API void cow_initialize(int& tally);
VLTUTL_API void cow_finalize(int& tally);
VLTUTL_API void bio_initialize(int& tally);
VLTUTL_API void bio_finalize(int& tally);
VLTUTL_API void pnt_initialize(int& tally);
VLTUTL_API void pnt_finalize(int& tally);
VLTUTL_API void obj_initialize(int& tally);
VLTUTL_API void obj_finalize(int& tally);
VLTUTL_API void cio_initialize(int& tally);
VLTUTL_API void cio_finalize(int& tally);
VLTUTL_API void nex_initialize(int& tally);
VLTUTL_API void nex_finalize(int& tally);
