#include "omi_UseCount.h"
#include "utl_CommandLine.h"
#include "utl_Modules.h"
#include "utl_Platform.h"
#include "utl_Version.h"
#include "utl_tr.h"

namespace {
omi_UseCount useCount;
} // namespace

void utl_initialize(int& tally) {
    if (!useCount.Initialize(tally)) {
        return;
    }
    typ_initialize(tally);
    thr_initialize(tally);
    omni_initialize(tally);
    cow_initialize(tally);
    bio_initialize(tally);
    pnt_initialize(tally);
    obj_initialize(tally);
    cio_initialize(tally);
    nex_initialize(tally);
    utl_InetInitialize();
}

void utl_finalize(int& tally) {
    if (!useCount.Finalize(tally)) {
        return;
    }
    omi_SingletonBase<utl_Version>::Finalize();
    utl_trReleaseDB();
    thr_GlobalSingletonBase<utl_CommandLine>::Finalize();
    utl_InetFinalize();
    nex_finalize(tally);
    cio_finalize(tally);
    obj_finalize(tally);
    pnt_finalize(tally);
    bio_finalize(tally);
    cow_finalize(tally);
    omni_finalize(tally);
    thr_finalize(tally);
    typ_finalize(tally);
}
