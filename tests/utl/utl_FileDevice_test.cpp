#include "utl_FileDevice.h"

#include "TestPlatform.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"
#include "cio_1DArrayList.h"
#include "cio_String.h"
#include "nex_TextException.h"
#include "omi_FatalError.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

using Values = cow_1DArrayList<double, double>;

Values Model(int count) {
    Values values;
    for (int index = 0; index < count; ++index) {
        values.Append(index * 0.25);
    }
    return values;
}

// The bytes the internal filter makes of `values` in memory.
std::string MemoryBytes(const Values& values) {
    bio_Buffer buffer(1 << 20);
    bio_OmemoryDevice device(buffer);
    bio_OinternalFilter out(device);
    out << values;
    return std::string(buffer.Data(), buffer.wr_off);
}

std::string ContentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class FileDevice : public testing::Test {
protected:
    static void SetUpTestSuite() { utl_initialize(tally); }
    static void TearDownTestSuite() { utl_finalize(tally); }
    static inline int tally = 0;

    vlt::test::TempDirectory directory{"filedevice"};
    std::string path = directory.PathOf("model.bin");
};

// A buffer far smaller than the model makes every value cross buffer boundaries.
TEST_F(FileDevice, AModelGoesToAFileAsInMemoryAndComesBack) {
    const Values model = Model(5000);
    {
        utl_OfileDevice sink(path.c_str(), utl_FileAccessWrite, 100);
        bio_OinternalFilter out(sink);
        out << model;
    }
    EXPECT_EQ(ContentOf(path), MemoryBytes(model));

    utl_IfileDevice source(path.c_str(), 64);
    bio_IinternalFilter in(source);
    Values back;
    in >> back;
    ASSERT_EQ(back.Length(), model.Length());
    for (unsigned index = 0; index < model.Length(); ++index) {
        ASSERT_EQ(back.ConstGet(index), model.ConstGet(index)) << index;
    }
    try {
        int beyond = 0;
        in >> beyond;
        ADD_FAILURE() << "read past the end of the file";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), omi_BrokenConnectionMessage);
    }
}

// Borrowed files: two streams one after the other in one file, each device starting at the
// file's position.
TEST_F(FileDevice, StreamsFollowEachOtherInOneFile) {
    {
        utl_File file(path.c_str(), utl_FileAccessWrite);
        for (const char* text : {"first", "second"}) {
            utl_OfileDevice sink(file);
            bio_OinternalFilter out(sink);
            out << cow_String(text);
            sink.donePushing();
        }
    }
    utl_File file(path.c_str(), utl_FileAccessRead);
    const auto readOne = [&file] {
        utl_IfileDevice source(file, 1);
        bio_IinternalFilter in(source);
        cow_String text;
        in >> text;
        return std::string(text);
    };
    EXPECT_EQ(readOne(), "first");
    EXPECT_EQ(readOne(), "second");
}

TEST_F(FileDevice, FailuresNameTheFile) {
    EXPECT_THROW(utl_IfileDevice(directory.PathOf("missing").c_str()), nex_TextException);
#ifdef __linux__
    // A full disk: donePushing reports the failure once; the device's end says it on standard
    // error.
    testing::internal::CaptureStderr();
    {
        utl_OfileDevice full("/dev/full", utl_FileAccessUpdate, 16);
        bio_OinternalFilter out(full);
        out << 1.0 << 2.0;
        EXPECT_THROW(full.donePushing(), nex_TextException);
        full.donePushing();
        out << 4.0;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "utl_File::Write: " + vlt::test::SystemErrorText(ENOSPC) + "\n");
#endif
}

} // namespace
