// What the suites need of the operating system, the same on Linux and on Windows: fresh
// directories, the environment, the process id and the system's own error texts.
#pragma once

#include <filesystem>
#include <string>

namespace vlt::test {

// A fresh, empty directory under the system's temporary folder, removed with everything in it
// when the object goes.
class TempDirectory {
public:
    explicit TempDirectory(const std::string& stem);
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& Path() const { return path_; }
    std::string PathOf(const std::string& name) const;

private:
    std::string path_;
};

// A fresh temporary directory that is the working directory while the object lives.
class WorkInTempDirectory {
public:
    explicit WorkInTempDirectory(const std::string& stem);
    ~WorkInTempDirectory();

    const TempDirectory& Directory() const { return directory_; }

private:
    std::filesystem::path previous_;
    TempDirectory directory_;
};

// Sets an environment variable of this process, or removes it for a null value (on Windows
// also for an empty one: the runtime keeps no empty variables).
void SetEnvironment(const char* name, const char* value);

int ProcessId();

// Sets the last system error that the library reports: errno on Linux, the thread's last error
// on Windows.
void SetSystemError(int code);
int SystemError();

// True when the Windows program runs under Wine (whose system library tells its version).
bool UnderWine();

// The system's text for one of its error codes (errno values on Linux, the thread's last-error
// values on Windows), as the system gives it: Wine's words are not always Windows' words. The
// line end that Windows puts after its texts is cut, as the library cuts it; a code without a
// text gives an empty text on Windows.
std::string SystemErrorText(int code);

// The full path of the running program, as the system names it (/proc/self/exe on Linux, the
// main module's file name on Windows).
std::string ProgramPath();

// Modules as the library takes them: a handle of dlopen on Linux, a module handle on Windows.
// LoadModule gives null when the module cannot be loaded; ProgramModule is the program itself.
void* LoadModule(const std::string& path);
void* ProgramModule();

} // namespace vlt::test
