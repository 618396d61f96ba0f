// The decoding script of the input-filter fuzz target, pinned on inputs whose outcome is known
// (the fuzz replay runs its corpus through every filter).
#include "../../fuzz/bio_IfilterDecode.h"
#include "AssertRecorder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::array<unsigned, 3> DecodeEveryWay(const std::string& bytes) {
    vlt::test::AssertRecorder quiet;
    return vlt::fuzz::DecodeEveryWay(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
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
