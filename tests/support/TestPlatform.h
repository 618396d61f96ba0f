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

// The system's text for one of its error codes (errno values on Linux, the thread's last-error
// values on Windows), as the system gives it: Wine's words are not always Windows' words.
std::string SystemErrorText(int code);

} // namespace vlt::test
