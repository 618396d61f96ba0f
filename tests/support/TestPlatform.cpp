#include "TestPlatform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <process.h>
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace vlt::test {

namespace fs = std::filesystem;

TempDirectory::TempDirectory(const std::string& stem) {
    static unsigned made = 0;
    for (;;) {
        const fs::path candidate =
            fs::temp_directory_path() /
            (stem + "_" + std::to_string(ProcessId()) + "_" + std::to_string(++made));
        if (fs::create_directory(candidate)) {
            path_ = candidate.generic_string();
            return;
        }
    }
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TempDirectory::PathOf(const std::string& name) const {
    return path_ + "/" + name;
}

WorkInTempDirectory::WorkInTempDirectory(const std::string& stem)
    : previous_(fs::current_path()), directory_(stem) {
    fs::current_path(directory_.Path());
}

WorkInTempDirectory::~WorkInTempDirectory() {
    fs::current_path(previous_);
}

#if defined(_WIN32)

// The runtime keeps no empty variables: an empty value removes it, as a null one does.
void SetEnvironment(const char* name, const char* value) {
    _putenv_s(name, value != nullptr ? value : "");
}

int ProcessId() {
    return _getpid();
}

void SetSystemError(int code) {
    SetLastError(static_cast<DWORD>(code));
}

int SystemError() {
    return static_cast<int>(GetLastError());
}

bool UnderWine() {
    const HMODULE system = GetModuleHandleA("ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}

std::string SystemErrorText(int code) {
    char text[512] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(code), 0, text, sizeof text, nullptr);
    std::string message = text;
    message.erase(message.find_last_not_of("\r\n ") + 1);
    return message;
}

std::string ProgramPath() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, sizeof path);
    return path;
}

void* LoadModule(const std::string& path) {
    return LoadLibraryA(path.c_str());
}

void* ProgramModule() {
    return GetModuleHandleA(nullptr);
}

#else

void SetEnvironment(const char* name, const char* value) {
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
}

int ProcessId() {
    return static_cast<int>(getpid());
}

void SetSystemError(int code) {
    errno = code;
}

int SystemError() {
    return errno;
}

bool UnderWine() {
    return false;
}

std::string SystemErrorText(int code) {
    return std::strerror(code);
}

std::string ProgramPath() {
    return fs::read_symlink("/proc/self/exe").string();
}

void* LoadModule(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW);
}

void* ProgramModule() {
    return dlopen(nullptr, RTLD_NOW);
}

#endif

} // namespace vlt::test
