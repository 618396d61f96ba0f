// The typical round trip of a simulation client.
//
// A model held in copy-on-write containers is copied into a result (one counter increment),
// the copy is changed (only the path to the change is copied), and the result travels to a
// peer process over a pipe through the file-descriptor devices. The peer sends back what it
// read, and this side compares it with what it sent and pretty-prints it. An exception raised
// here travels too, and the peer raises it again with its own class.
//
//     roundtrip [-values N]      N values per quantity (6 by default)
//               [-save FILE]     also write the stream sent to the peer into FILE
//
// The peer is a fork on Linux, and on Windows this program started again with the handles of
// its two pipe ends (-peerIn, -peerOut).
//
// The exit status is 0 when everything came back as it left.
#include "bio_FdDevice.h"
#include "bio_InternalFilter.h"
#include "cio_1DArrayList.h"
#include "cio_Map.h"
#include "nex_ExitException.h"
#include "pnt_PrettyPrint.h"
#include "utl_CommandLine.h"
#include "utl_FileDevice.h"
#include "utl_Modules.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <string>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <cstdlib>

namespace {

using Quantity = cow_1DArrayList<int, int>;
using Model = cow_Map<cow_String, Quantity>;
using ExceptionHandle = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;

const char* const quantityNames[] = {"density", "pressure", "temperature", "velocity"};

Model MakeModel(int values) {
    Model model;
    int seed = 1;
    for (const char* name : quantityNames) {
        Quantity quantity;
        for (int i = 0; i < values; ++i) {
            quantity.Append(seed * 100 + i);
        }
        model.Insert(name, quantity);
        ++seed;
    }
    return model;
}

// A node of the map that two copies share has one address in both.
void ShowSharing(const char* when, const Model& model, const Model& result) {
    std::printf("%s:\n", when);
    for (const char* name : quantityNames) {
        const bool shared = &model.ConstGet(name) == &result.ConstGet(name);
        std::printf("  %-12s %s\n", name, shared ? "shared" : "copied");
    }
}

bool SameModel(const Model& a, const Model& b) {
    if (a.Size() != b.Size()) {
        return false;
    }
    cow_ConstMapIterator<cow_String, Quantity> it(a);
    for (it.First(); !it.IsDone(); it.Next()) {
        if (!b.IsMember(it.CurrentKey()) ||
            !it.CurrentValue().IsEqual(b.ConstGet(it.CurrentKey()))) {
            return false;
        }
    }
    return true;
}

// The failure a solver would report: raised, caught as any library exception, and kept.
ExceptionHandle SolverFailure() {
    try {
        nex_ExitException("solver stopped: the residual diverged", 3).Throw(__FILE__, __LINE__);
    } catch (const nex_Exception& e) {
        return ExceptionHandle(e.Copy());
    }
}

// The peer: reads the model and the exception, sends the model back, and raises the exception
// again. Exits 0 when it arrives with its own class.
int RunPeer(int fromParent, int toParent) {
    bio_IfdDevice inDevice(fromParent);
    bio_IinternalFilter in(inDevice);
    bio_OfdDevice outDevice(toParent);
    bio_OinternalFilter out(outDevice);

    Model model;
    ExceptionHandle failure(static_cast<nex_Exception*>(nullptr));
    in >> model >> failure;
    out << model;
    outDevice.donePushing();

    try {
        failure.ConstPtr()->Propagate();
    } catch (const nex_ExitException& e) {
        std::printf("peer caught nex_ExitException (exit code %d):\n  %s\n", e.ExitCode(),
                    e.DeveloperReport().c_str());
        return 0;
    } catch (const nex_Exception& e) {
        std::printf("peer caught the wrong class: %s\n", e.DeveloperReport().c_str());
    }
    return 1;
}

// Sends the result and the failure to the peer, and reads back what the peer read.
Model Exchange(const Model& result, const ExceptionHandle& failure, int toPeer, int fromPeer) {
    bio_OfdDevice outDevice(toPeer);
    bio_OinternalFilter out(outDevice);
    out << result << failure;
    outDevice.donePushing();

    bio_IfdDevice inDevice(fromPeer);
    bio_IinternalFilter in(inDevice);
    Model echo;
    in >> echo;
    return echo;
}

// The two pipes to the peer and the peer process itself; PeerStatus waits for its exit code.
struct Peer {
    int toPeer = -1;
    int fromPeer = -1;
    long long process = -1;
};

#if defined(_WIN32)
intptr_t LentHandle(int fd) {
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(fd));
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return reinterpret_cast<intptr_t>(handle);
}

bool StartPeer(Peer& peer) {
    int down[2];
    int up[2];
    if (_pipe(down, 1 << 16, _O_BINARY | _O_NOINHERIT) != 0 ||
        _pipe(up, 1 << 16, _O_BINARY | _O_NOINHERIT) != 0) {
        return false;
    }
    char program[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, program, sizeof program);
    std::string command = std::string("\"") + program + "\" -peerIn " +
                          std::to_string(LentHandle(down[0])) + " -peerOut " +
                          std::to_string(LentHandle(up[1]));
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &startup, &process);
    _close(down[0]);
    _close(up[1]);
    if (!started) {
        return false;
    }
    CloseHandle(process.hThread);
    peer = Peer{down[1], up[0], reinterpret_cast<long long>(process.hProcess)};
    return true;
}

int PeerStatus(const Peer& peer) {
    const HANDLE process = reinterpret_cast<HANDLE>(peer.process);
    WaitForSingleObject(process, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    return static_cast<int>(code);
}

// In the peer started again: the pipe ends it was given, or -1 when this is not the peer.
int PeerEnd(const char* option) {
    const int handle = utl_CommandLine::Instance().ConstGetValueAsInt(option, -1);
    return handle < 0 ? -1 : _open_osfhandle(handle, _O_BINARY);
}
#else
bool StartPeer(Peer& peer) {
    int down[2];
    int up[2];
    if (pipe(down) != 0 || pipe(up) != 0) {
        return false;
    }
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        close(down[1]);
        close(up[0]);
        std::exit(RunPeer(down[0], up[1]));
    }
    close(down[0]);
    close(up[1]);
    peer = Peer{down[1], up[0], child};
    return child > 0;
}

int PeerStatus(const Peer& peer) {
    int status = 0;
    waitpid(static_cast<pid_t>(peer.process), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int PeerEnd(const char*) {
    return -1;
}
#endif

// The stream the peer is sent, in a file: what vlt-dump reads.
void Save(const cow_String& path, const Model& result, const ExceptionHandle& failure) {
    utl_OfileDevice file(path);
    bio_OinternalFilter out(file);
    out << result << failure;
    file.donePushing();
}

int RoundTrip(int values, const cow_String& savePath) {
    const Model model = MakeModel(values);
    Model result = model;
    ShowSharing("after the copy", model, result);
    result.Get("pressure").Get(0) = -1;
    ShowSharing(
        "after changing pressure[0] in the copy (the map nodes on the path to it are copied)",
        model, result);

    if (!savePath.empty()) {
        Save(savePath, result, SolverFailure());
    }
    Peer peer;
    if (!StartPeer(peer)) {
        std::perror("peer");
        return 1;
    }
    const Model echo = Exchange(result, SolverFailure(), peer.toPeer, peer.fromPeer);
    const int peerStatus = PeerStatus(peer);

    const bool same = SameModel(result, echo);
    std::printf("the peer read %s\n", same ? "the same model" : "a DIFFERENT model");
    pnt_PrettyPrint printer(stdout, 72);
    printer << echo << "\n";
    printer.Flush();
    return same && peerStatus == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    int tally = 0;
    utl_initialize(tally);
    utl_setCommandLine(argc, argv);
    const int fromParent = PeerEnd("peerIn");
    const int toParent = PeerEnd("peerOut");
    const int values = utl_CommandLine::Instance().ConstGetValueAsInt("values", 6);
    const cow_String savePath = utl_CommandLine::Instance().ConstGetValue("save", "");
    const int status = fromParent >= 0 && toParent >= 0 ? RunPeer(fromParent, toParent)
                                                        : RoundTrip(values, savePath);
    utl_finalize(tally);
    return status;
}
