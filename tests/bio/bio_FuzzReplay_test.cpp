// Replays the fuzzing seeds and the inputs that once failed through every input filter.
#include "../../fuzz/bio_IfilterDecode.h"
#include "AssertRecorder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path fuzzDir = fs::path(__FILE__).parent_path().parent_path().parent_path() / "fuzz";

std::vector<fs::path> Inputs() {
    std::vector<fs::path> files;
    for (const char* dir : {"corpus/bio_Ifilter", "regressions"}) {
        if (fs::is_directory(fuzzDir / dir)) {
            for (const fs::directory_entry& entry : fs::directory_iterator(fuzzDir / dir)) {
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') {
                    files.push_back(entry.path());
                }
            }
        }
    }
    return files;
}

std::string Contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::array<unsigned, 3> DecodeEveryWay(const std::string& bytes) {
    vlt::test::AssertRecorder quiet;
    return vlt::fuzz::DecodeEveryWay(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

TEST(FuzzReplay, EveryKeptInputDecodesAlikeThroughEveryFilter) {
    const std::vector<fs::path> files = Inputs();
    ASSERT_FALSE(files.empty()) << "no inputs under " << fuzzDir;
    for (const fs::path& file : files) {
        const std::array<unsigned, 3> steps = DecodeEveryWay(Contents(file));
        EXPECT_EQ(steps[0], steps[1]) << file;
        EXPECT_EQ(steps[1], steps[2]) << file;
    }
}

TEST(FuzzReplay, ScriptStopsAtTheFirstReadTheBytesCannotSatisfy) {
    // int 1, double 1.0, then a string whose length claims more than follows
    const std::string script("\x05\x01\x00\x00\x00"
                             "\x00\x00\x00\x00\x00\x00\x00\xF0\x3F"
                             "\x0B\xFF\xFF\xFF\x7F"
                             "abc",
                             22);
    EXPECT_EQ(DecodeEveryWay(script), (std::array<unsigned, 3>{2, 2, 2}));
}

TEST(FuzzReplay, EmptyInputDecodesNothing) {
    EXPECT_EQ(DecodeEveryWay(std::string()), (std::array<unsigned, 3>{0, 0, 0}));
}

} // namespace
