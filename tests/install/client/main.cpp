// A client of the installed library, as the README writes one: the scope starts the library
// and takes the arguments, a container's header needs C++20 (which the client does not ask
// for itself), and the scope's end stops the library. It also uses the containers as the
// standard library's own (standard.cpp).
#include <cow_Map.h>
#include <cow_String.h>
#include <utl_CommandLine.h>
#include <utl_LibraryScope.h>
#include <utl_Version.h>

#include <cstdio>

int StandardLibraryFailures(); // standard.cpp

int main(int argc, char** argv) {
    const utl_LibraryScope library(argc, argv);
    const utl_CommandLine& line = thr_GlobalSingleton<utl_CommandLine>::Instance();
    cow_Map<cow_String, float> settings;
    settings.Insert("dt", 0.5f);
    std::printf("VLTutl %s steps %d dt %g\n", omi_Singleton<utl_Version>::Instance().Text(),
                line.ConstGetValueAsInt("steps", 10), static_cast<double>(settings.ConstGet("dt")));
    return StandardLibraryFailures() == 0 ? 0 : 1;
}
