// Records the assertion reports raised while it is alive, instead of printing them.
//
// Install one in a test (or a fixture), drive the misuse, then check `Reports()`. The previous
// handler comes back when the recorder goes.
#pragma once

#include "crt_Assert.h"

#include <ostream>
#include <string>
#include <vector>

namespace vlt::test {

struct AssertReport {
    std::string expression;
    std::string path;
    int line = 0;

    bool operator==(const AssertReport&) const = default;
};

std::ostream& operator<<(std::ostream& out, const AssertReport& report);

class AssertRecorder {
public:
    AssertRecorder();
    ~AssertRecorder();
    AssertRecorder(const AssertRecorder&) = delete;
    AssertRecorder& operator=(const AssertRecorder&) = delete;

    const std::vector<AssertReport>& Reports() const { return reports; }
    // The expressions only, in order: enough for most checks.
    std::vector<std::string> Expressions() const;
    void Clear() { reports.clear(); }

private:
    static void Record(const char* expression, const char* path, int line);

    std::vector<AssertReport> reports;
    crt_AssertHandler previous;
    AssertRecorder* outer;
};

} // namespace vlt::test
