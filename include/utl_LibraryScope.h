// The library's lifetime as a scope: the first line of a client's `main`.
//
//     int main(int argc, char** argv) {
//         const utl_LibraryScope library(argc, argv);
//         ...
//     }
//
// The constructor starts every module (`utl_initialize`) and hands the arguments over
// (`utl_setCommandLine`). The destructor, on every way out of the scope (an exception
// included), first ends the resource monitor if the client started one, so that its ".use" file
// gets its closing row, column header and timer summary, and then stops the modules
// (`utl_finalize`). A client that calls the pairs by hand must do the same in the same order.
//
// One per process, on the main thread, living as long as anything of the library is used; it
// is neither copied nor moved.
#pragma once

#include "vlt_Export.h"

class VLTUTL_API utl_LibraryScope {
public:
    utl_LibraryScope(int argc, char** argv);
    // For a host that hands its arguments over otherwise (a list, or a Fortran program).
    utl_LibraryScope();
    ~utl_LibraryScope();
    utl_LibraryScope(const utl_LibraryScope&) = delete;
    utl_LibraryScope& operator=(const utl_LibraryScope&) = delete;

private:
    int tally_ = 0;
};
