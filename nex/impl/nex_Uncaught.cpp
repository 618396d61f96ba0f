// An uncaught exception of the family ends the process with its developer report on standard
// error. The family is not a std::exception, so the runtime's own handler can only name the
// class; it still runs afterwards, names the class and aborts (and a crash handler, if one is
// installed, then writes its report).
//
// Installed when the library is loaded, so that a program that throws before, or without,
// initialising the library is covered too; a handler that the program installs later wins.
#include "nex_Exception.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

std::terminate_handler runtimeHandler = nullptr;

void WriteReport(const nex_Exception& uncaught) noexcept {
    try {
        const cow_String report = uncaught.DeveloperReport() + "\n";
        std::fwrite(report.c_str(), 1, report.Length(), stderr);
        std::fflush(stderr);
    } catch (...) {
        // No memory for the text: the runtime's handler still names the class.
    }
}

[[noreturn]] void ReportUncaught() noexcept {
    if (const std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const nex_Exception& uncaught) {
            WriteReport(uncaught);
        } catch (...) {
            // Not ours: the runtime's handler reports it.
        }
    }
    if (runtimeHandler != nullptr) {
        runtimeHandler();
    }
    std::abort();
}

const bool installed = [] {
    runtimeHandler = std::set_terminate(ReportUncaught);
    return true;
}();

} // namespace
