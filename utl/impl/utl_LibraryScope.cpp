#include "utl_LibraryScope.h"

#include "utl_CommandLine.h"
#include "utl_Modules.h"
#include "utl_ResourceMonitor.h"

utl_LibraryScope::utl_LibraryScope(int argc, char** argv) : utl_LibraryScope() {
    utl_setCommandLine(argc, argv);
}

utl_LibraryScope::utl_LibraryScope() {
    utl_initialize(tally_);
}

// The monitor writes the end of its file when it is destroyed; the modules it writes through
// must still be running then.
utl_LibraryScope::~utl_LibraryScope() {
    if (omi_SingletonBase<utl_ResourceMonitor>::Instance() != nullptr) {
        omi_SingletonBase<utl_ResourceMonitor>::Finalize();
    }
    utl_finalize(tally_);
}
