// What the fuzz targets share: the modules a decoder needs, and runs that spend their time
// decoding, not printing.
//
// `StartStreamModules` starts the type table, the streams, the printer, the registered types
// and the exceptions, but not `omni`: its crash handler would take the fault signals from the
// sanitizers. While a `QuietRun` lives, the texts the library writes to standard error (through C
// stdio and through std::cerr) go to the null device, and assertion reports are counted instead of
// written. The sanitizers and the fuzzer write to the file descriptor directly, so their
// reports still show. Targets print what they read into `Discard()`.
#pragma once

#include "crt_Assert.h"
#include "utl_Modules.h"

#include <cstdio>
#include <cstdlib>
#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif
#include <iostream>
#include <ostream>
#include <streambuf>

namespace vlt::fuzz {

// Once per process; later calls only nest the use counts.
inline bool StartStreamModules() {
    int tally = 0;
    typ_initialize(tally);
    bio_initialize(tally);
    pnt_initialize(tally);
    obj_initialize(tally);
    cio_initialize(tally);
    nex_initialize(tally);
    return true;
}

// Sets an environment variable of this process, for the targets whose reader is configured
// through one.
inline void SetEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

// Assertion reports seen by quiet runs since the process started.
inline unsigned long assertionReports = 0;

// A stream that drops what it is given without a system call.
inline std::ostream& Discard() {
    struct DropAll : std::streambuf {
        int_type overflow(int_type c) override { return traits_type::not_eof(c); }
        std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
    };
    static DropAll buffer;
    static std::ostream stream(&buffer);
    return stream;
}

// The C library's standard error is an assignable stream on Linux; on Windows it is not, and
// its descriptor is pointed at the null device instead.
class QuietStderr {
public:
#if defined(_WIN32)
    QuietStderr() : saved(_dup(2)) {
        std::fflush(stderr);
        const int null = _open("NUL", _O_WRONLY);
        _dup2(null, 2);
        _close(null);
    }
    ~QuietStderr() {
        std::fflush(stderr);
        _dup2(saved, 2);
        _close(saved);
    }

private:
    int saved;
#else
    QuietStderr() : saved(stderr) {
        stderr = NullFile();
    }
    ~QuietStderr() {
        stderr = saved;
    }

private:
    // Fully buffered, so that the dropped texts cost a write only every 64 KiB.
    static std::FILE* NullFile() {
        static std::FILE* const file = std::fopen("/dev/null", "w");
        static const bool buffered =
            file != nullptr && std::setvbuf(file, nullptr, _IOFBF, 1 << 16) == 0;
        (void)buffered;
        return file != nullptr ? file : stderr;
    }

    std::FILE* saved;
#endif
};

class QuietRun {
public:
    QuietRun()
        : cerrBuffer(std::cerr.rdbuf(Discard().rdbuf())), handler(crt_SetAssertHandler(Count)) {}
    ~QuietRun() {
        std::cerr.rdbuf(cerrBuffer);
        crt_SetAssertHandler(handler);
    }
    QuietRun(const QuietRun&) = delete;
    QuietRun& operator=(const QuietRun&) = delete;

private:
    static void Count(const char*, const char*, int) { ++assertionReports; }

    QuietStderr quietStderr;
    std::streambuf* cerrBuffer;
    crt_AssertHandler handler;
};

} // namespace vlt::fuzz
