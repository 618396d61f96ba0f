// Runs part of a test in a child process, the same way on Linux and on Windows, for the cases
// that must die, hold a second writer, or sit at the other end of a pipe.
//
// On Linux the child is a fork of the test. On Windows the test program is started again,
// running only the current test, and the test runs from its start in the new process up to
// the same RunInChild call, which then runs `body` there; earlier calls answer 0 in the child
// without starting anything. So on Windows the child does again everything the test did before
// the call: what the child must inherit (a pipe, a file) reaches it by name or through the
// environment, not through memory.
#pragma once

#include <functional>
#include <string>

namespace vlt::test {

// A child running `body` beside the test, for a peer that the test talks to while it runs. In
// the child (and in a Windows child that is not this call's) the object does nothing. A Windows
// child may run a copy of the test program under another name (`program`, a path).
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body, const std::string& program = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // How the child ended: its exit code, or the signal that killed it on Linux (128 + signal),
    // or the exception code of an unhandled exception on Windows. Waits once; later calls
    // answer the same.
    int Wait();

private:
    long long process_ = -1;
    int status_ = -1;
};

// Runs `body` in a child and waits for it: ChildProcess(body, program).Wait().
int RunInChild(const std::function<int()>& body, const std::string& program = {});

// True in a child that RunInChild started on Windows (never on Linux, where the child is the
// fork): the part of a test that only the parent may do checks this.
bool InRerunChild();

} // namespace vlt::test
