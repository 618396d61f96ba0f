#include "crt_Assert.h"

#include <cerrno>
#include <cstdio>

namespace {

crt_AssertHandler currentHandler = &crt_DefaultAssertHandler;

} // namespace

extern "C" {

void crt_DefaultAssertHandler(const char* expression, const char* path, int line) {
    // A report must not disturb the caller's error state.
    const int savedErrno = errno;
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", expression ? expression : "",
                 path ? path : "", line);
    std::fflush(stderr);
    errno = savedErrno;
}

void crt_Assert(const char* expression, const char* path, int line) {
    currentHandler(expression, path, line);
}

crt_AssertHandler crt_SetAssertHandler(crt_AssertHandler handler) {
    crt_AssertHandler previous = currentHandler;
    currentHandler = handler ? handler : &crt_DefaultAssertHandler;
    return previous;
}
}
