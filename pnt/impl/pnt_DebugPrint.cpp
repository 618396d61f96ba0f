#include "pnt_DebugPrint.h"

#include "pnt_PrettyPrint.h"

#include <cstdio>

namespace {
pnt_PrettyPrint* debugPrinter = nullptr;
} // namespace

pnt_PrettyPrint& pnt_debugPrint() {
    if (debugPrinter == nullptr) {
        debugPrinter = new pnt_PrettyPrint(stderr);
    }
    return *debugPrinter;
}

void vlt::detail::pnt_releaseDebugPrint() {
    delete debugPrinter;
    debugPrinter = nullptr;
}
