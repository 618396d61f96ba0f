// vlt-dump: prints a binary stream file of the library, or standard input, record by record.
//
//     vlt-dump [--offset N] [--count N] [FILE | -]
//
// Exit status: 0 when the stream was read to its end or to the record limit; 1 when it is
// empty, foreign, malformed or truncated (the offset and the reason go to standard error);
// 2 for a wrong command line or a file that cannot be read.
#include "utl_File.h"
#include "utl_Modules.h"
#include "vlt_StreamDump.h"

#include "nex_Exception.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

// What the dump holds in memory at most; a later --offset reaches the rest of a larger file.
constexpr uint64_t readLimit = uint64_t{1} << 30;

constexpr char usage[] = "usage: vlt-dump [--offset N] [--count N] [FILE | -]\n";

struct Request {
    std::string file = "-";
    vlt::tools::DumpLimits limits;
};

class BadInput : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

uint64_t Number(const std::string& option, const char* text) {
    try {
        std::size_t used = 0;
        const unsigned long long value = std::stoull(text, &used, 0);
        if (used == std::string(text).size() && text[0] != '-') {
            return value;
        }
    } catch (const std::logic_error&) {
    }
    throw BadInput(option + " wants a number, not \"" + text + "\"");
}

Request ParseArguments(int argc, char** argv) {
    Request request;
    bool haveFile = false;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if ((argument == "--offset" || argument == "--count") && index + 1 < argc) {
            const uint64_t value = Number(argument, argv[++index]);
            (argument == "--offset" ? request.limits.firstOffset : request.limits.maxRecords) =
                value;
        } else if ((argument == "-" || argument[0] != '-') && !haveFile) {
            request.file = argument;
            haveFile = true;
        } else {
            throw BadInput("unexpected argument \"" + argument + "\"");
        }
    }
    return request;
}

void RefuseHuge(uint64_t size) {
    if (size > readLimit) {
        throw BadInput("more than " + std::to_string(readLimit) +
                       " bytes to read; give an --offset nearer the end");
    }
}

std::vector<char> ReadStandardInput(uint64_t skip) {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    std::vector<char> bytes;
    char chunk[65536];
    std::size_t got = 0;
    uint64_t seen = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) {
        const uint64_t skipHere = seen >= skip ? 0 : std::min<uint64_t>(skip - seen, got);
        seen += got;
        bytes.insert(bytes.end(), chunk + skipHere, chunk + got);
        RefuseHuge(bytes.size());
    }
    return bytes;
}

std::vector<char> ReadFile(const std::string& name, uint64_t offset) {
    utl_File file(name.c_str(), utl_FileAccessRead);
    const auto size = static_cast<uint64_t>(file.FileSize().Rounded());
    if (offset > size) {
        throw BadInput("the offset is past the end of the file (" + std::to_string(size) +
                       " bytes)");
    }
    RefuseHuge(size - offset);
    file.Seek(static_cast<double>(offset));
    std::vector<char> bytes(size - offset);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const int want = static_cast<int>(std::min<std::size_t>(bytes.size() - done, 1 << 24));
        const int got = file.Read(bytes.data() + done, want);
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    bytes.resize(done);
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    int tally = 0;
    utl_initialize(tally);
    int status = 0;
    std::string file;
    try {
        const Request request = ParseArguments(argc, argv);
        file = request.file;
        const std::vector<char> bytes = request.file == "-"
                                            ? ReadStandardInput(request.limits.firstOffset)
                                            : ReadFile(request.file, request.limits.firstOffset);
        const vlt::tools::DumpOutcome outcome =
            vlt::tools::DumpStream(bytes.data(), bytes.size(), request.limits, std::cout);
        std::cout.flush();
        if (!outcome.complete) {
            std::fprintf(stderr, "vlt-dump: %s: offset 0x%08llx: %s\n", request.file.c_str(),
                         static_cast<unsigned long long>(outcome.offset), outcome.reason.c_str());
            status = 1;
        }
    } catch (const BadInput& error) {
        std::fprintf(stderr, "vlt-dump: %s\n%s", error.what(), usage);
        status = 2;
    } catch (const nex_Exception& error) {
        std::fprintf(stderr, "vlt-dump: %s: %s\n", file.c_str(), error.AsString().c_str());
        status = 2;
    }
    utl_finalize(tally);
    return status;
}
