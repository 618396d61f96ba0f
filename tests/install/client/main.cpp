// A client of the installed library: starts it, reads its version, stops it.
#include <utl_Modules.h>
#include <utl_Version.h>

#include <cstdio>

int main() {
    int tally = 0;
    utl_initialize(tally);
    std::printf("VLTutl %s tally %d\n", omi_Singleton<utl_Version>::Instance().Text(), tally);
    utl_finalize(tally);
    return tally == 0 ? 0 : 1;
}
