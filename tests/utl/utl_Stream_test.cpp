#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "cio_List.h"
#include "cio_Map.h"
#include "nex_TextException.h"
#include "utl_Modules.h"
#include "utl_Stream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Writer = std::function<void(utl_Stream&)>;
constexpr std::size_t bufferSize = 64 * 1024; // the stream's, as its header states
#if defined(_WIN32)
constexpr int missingFile = 2; // ERROR_FILE_NOT_FOUND
#else
constexpr int missingFile = ENOENT;
#endif

class StreamTest : public testing::Test {
protected:
    vlt::test::TempDirectory directory{"utl_Stream_test"};
    const std::string path = directory.PathOf("text");

    std::string Written(const Writer& write) const {
        {
            utl_Stream out(path.c_str(), utl_FileAccessWrite);
            write(out);
        }
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    std::vector<std::string> LinesOf(const std::string& content) const {
        std::ofstream(path, std::ios::binary) << content;
        utl_Stream in(path.c_str(), utl_FileAccessRead);
        std::vector<std::string> lines;
        for (cow_String line; in.ReadLine(line);) {
            lines.emplace_back(line);
        }
        return lines;
    }
};

// The text of the nex_TextException that `action` throws from `expectedPath`.
std::string ThrownText(const std::function<void()>& action,
                       const char* expectedPath = "utl/impl/utl_Stream") {
    try {
        action();
    } catch (const nex_TextException& e) {
        EXPECT_STREQ(e.FileName().c_str(), expectedPath);
        return e.Text().c_str();
    }
    return "(nothing thrown)";
}

struct NumberCase {
    Writer write;
    std::string text;
};

TEST_F(StreamTest, WritesNumbersAndTextsExactly) {
    using D = std::numeric_limits<double>;
    const NumberCase cases[] = {
        {[](utl_Stream& s) {
             s << int8_t{INT8_MIN} << ' ' << uint8_t{UINT8_MAX} << ' ' << int16_t{INT16_MIN};
         },
         "-128 255 -32768"},
        {[](utl_Stream& s) { s << uint16_t{UINT16_MAX} << ' ' << INT32_MIN << ' ' << UINT32_MAX; },
         "65535 -2147483648 4294967295"},
        {[](utl_Stream& s) { s << INT64_MIN << ' ' << UINT64_MAX; },
         "-9223372036854775808 18446744073709551615"},
        {[](utl_Stream& s) { s << 0.1 << ' ' << 0.1f << ' ' << 1e300 << ' ' << 1e-5; },
         "0.1 0.1 1e+300 1e-05"},
        {[](utl_Stream& s) { s << 1e21 << ' ' << 123456.0 << ' ' << D::max(); },
         "1e+21 123456 1.7976931348623157e+308"},
        {[](utl_Stream& s) { s << D::denorm_min() << ' ' << D::min() - D::denorm_min(); },
         "5e-324 2.225073858507201e-308"},
        {[](utl_Stream& s) { s << -0.0 << ' ' << D::infinity() << ' ' << -D::infinity(); },
         "-0 inf -inf"},
        {[](utl_Stream& s) { s << D::quiet_NaN() << ' ' << -D::quiet_NaN(); }, "nan -nan"},
        {[](utl_Stream& s) { s << utl_Fixed(3.14159, 2) << ' ' << utl_Fixed(-2.5, 0); }, "3.14 -2"},
        {[](utl_Stream& s) { s << utl_Fixed(0.125, 2) << ' ' << utl_Fixed(1e-7, 3); },
         "0.12 0.000"},
        {[](utl_Stream& s) { s << utl_Scientific(1234.5678, 3) << ' ' << utl_Scientific(0.0, 2); },
         "1.235e+03 0.00e+00"},
        {[](utl_Stream& s) { s << utl_Scientific(-1.5, 0) << ' ' << utl_Scientific(1e-310, 2); },
         "-2e+00 1.00e-310"},
        {[](utl_Stream& s) { s << true << ' ' << false << ' ' << 'c'; }, "true false c"},
        {[](utl_Stream& s) {
             s << "a" << static_cast<const char*>(nullptr) << std::string_view("b\0", 2)
               << cow_String("c\0", 2);
         },
         std::string("ab\0c\0", 5)},
    };
    for (const NumberCase& row : cases) {
        EXPECT_EQ(Written(row.write), row.text);
    }
}

// Every digit of the smallest denormal: 1074 of them after the point, the last a 5.
TEST_F(StreamTest, FixedPrecisionReachesEveryDigitOfADouble) {
    const double smallest = std::numeric_limits<double>::denorm_min();
    const std::string text =
        Written([&](utl_Stream& s) { s << utl_Fixed(smallest, utl_Stream::MaxPrecision); });
    ASSERT_EQ(text.size(), 2u + 1074u);
    EXPECT_EQ(text.substr(0, 326), "0." + std::string(323, '0') + "4");
    EXPECT_EQ(text.back(), '5');
    vlt::test::AssertRecorder recorder;
    EXPECT_EQ(Written([](utl_Stream& s) { s << utl_Fixed(1.5, -1) << utl_Scientific(1.5, -3); }),
              "22e+00");
    EXPECT_EQ(recorder.Reports().size(), 2u);
}

// Shortest forms read back to the very same bits, across buffer flushes.
TEST_F(StreamTest, RandomDoublesRoundTrip) {
    std::mt19937_64 random(20261125);
    std::vector<double> values;
    while (values.size() < 200000) {
        const uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (value == value) {
            values.push_back(value);
        }
    }
    {
        utl_Stream out(path.c_str(), utl_FileAccessWrite);
        for (const double value : values) {
            out << value << '\n';
        }
    }
    utl_Stream in(path.c_str(), utl_FileAccessRead);
    cow_String line;
    for (const double value : values) {
        ASSERT_TRUE(in.ReadLine(line));
        double back = 0;
        std::from_chars(line.begin(), line.end(), back);
        ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << line.c_str();
    }
    EXPECT_FALSE(in.ReadLine(line));
}

struct LinesCase {
    const char* name;
    std::string content;
    std::vector<std::string> lines;
};

TEST_F(StreamTest, ReadsLinesWithEitherEndingAcrossBufferBoundaries) {
    const std::string fill(bufferSize - 1, 'a');
    const std::string longLine = std::string(3 * bufferSize + 7, 'b') + std::string("\0\r", 2);
    const LinesCase cases[] = {
        {"empty input", "", {}},
        {"both endings, empty lines", "one\r\ntwo\n\n\r\nthree", {"one", "two", "", "", "three"}},
        {"lone CR is data, also at the end", "a\rb\nc\r", {"a\rb", "c\r"}},
        {"NUL inside a line", std::string("x\0y\r\n", 5), {std::string("x\0y", 3)}},
        {"CR LF split by the buffer", fill + "\r\nnext", {fill, "next"}},
        {"LF first in the next buffer", fill + "c\nnext\n", {fill + "c", "next"}},
        {"CR ending a buffer before data", fill + "\rx\n", {fill + "\rx"}},
        {"line over several buffers", longLine + "\r\n" + longLine, {longLine, longLine}},
    };
    for (const LinesCase& row : cases) {
        EXPECT_EQ(LinesOf(row.content), row.lines) << row.name;
    }
}

// Positions beyond 4 GiB, on a sparse file, and a file of many buffers read back.
TEST_F(StreamTest, LargeFilesWriteAndReadBack) {
    constexpr double fiveGiB = 5.0 * 1024 * 1024 * 1024;
    {
        utl_Stream out(path.c_str(), utl_FileAccessWrite);
        out.Seek(fiveGiB);
        out << "far\r\n";
    }
    {
        utl_Stream in(path.c_str(), utl_FileAccessRead);
        in.Seek(fiveGiB);
        cow_String line;
        ASSERT_TRUE(in.ReadLine(line));
        EXPECT_EQ(line, "far");
    }
    constexpr int count = 300000;
    {
        utl_Stream out(path.c_str(), utl_FileAccessWrite);
        for (int i = 0; i < count; ++i) {
            out << i << ',' << utl_Fixed(i * 0.25, 2) << '\n';
        }
    }
    utl_Stream in(path.c_str(), utl_FileAccessRead);
    int read = 0;
    char expected[32];
    for (cow_String line; in.ReadLine(line); ++read) {
        std::snprintf(expected, sizeof expected, "%d,%.2f", read, read * 0.25);
        ASSERT_EQ(line, expected);
    }
    EXPECT_EQ(read, count);
}

TEST_F(StreamTest, MisuseThrowsBeforeAnyTransfer) {
    std::ofstream(path) << "line\n";
    utl_Stream input(path.c_str(), utl_FileAccessRead);
    utl_Stream output(utl_StandardStream::Output);
    utl_Stream moved(directory.PathOf("moved").c_str(), utl_FileAccessWrite);
    moved << "kept";
    utl_Stream owner(std::move(moved));
    const std::vector<std::pair<std::function<void()>, const char*>> cases = {
        {[&] { input << 1; }, "utl_Stream::Write - attempt to write to an input stream."},
        {[&] { input << cow_List<int>(); },
         "utl_Stream::Write - attempt to write to an input stream."},
        {[&] {
             cow_String line;
             output.ReadLine(line);
         },
         "utl_Stream::ReadLine - attempt to read from an output stream."},
        {[&] { moved << 'x'; }, "utl_Stream::Write - attempt to write to a closed stream."},
        {[&] {
             cow_String line;
             moved.ReadLine(line);
         },
         "utl_Stream::ReadLine - attempt to read from a closed stream."},
        {[&] { moved.Seek(0.0); }, "utl_Stream::Seek - attempt to seek on a closed stream."},
    };
    for (const auto& [action, text] : cases) {
        EXPECT_EQ(ThrownText(action), text);
    }
    owner.Close();
    std::ifstream in(directory.PathOf("moved"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "kept");
    EXPECT_EQ(
        ThrownText([&] { utl_Stream(directory.PathOf("missing").c_str(), utl_FileAccessRead); },
                   "utl/impl/utl_File"),
        "utl_FileRead::Open: " + vlt::test::SystemErrorText(missingFile));
}

// /dev/full takes every write and answers "no space": the device that a full disk is.
TEST_F(StreamTest, FullDiskFailsTheFlushAndTheClose) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no device that is always full";
#else
    const std::string noSpace = "utl_Stream::Flush: " + vlt::test::SystemErrorText(ENOSPC);
    utl_Stream full("/dev/full", utl_FileAccessUpdate);
    full << "pending";
    EXPECT_EQ(ThrownText([&] { full.Flush(); }), noSpace);
    full.Flush(); // the refused bytes are gone, not met again
    EXPECT_EQ(ThrownText([&] { full << std::string(bufferSize + 1, 'x'); }), noSpace);
    cow_List<int> longList; // printed longer than the buffer: the printer meets the failure
    for (int i = 0; i < 20000; ++i) {
        longList.Append(i);
    }
    EXPECT_EQ(ThrownText([&] { full << longList; }), noSpace);
    full << 1.5;
    EXPECT_EQ(ThrownText([&] { full.Close(); }), noSpace);
    EXPECT_FALSE(full.IsOutput());
    testing::internal::CaptureStderr();
    {
        utl_Stream lost("/dev/full", utl_FileAccessUpdate);
        lost << "pending";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "utl_Stream::~utl_Stream: " + noSpace + "\n");
#endif
}

// What C's stdout held goes out first; the stream's own bytes go at its Flush.
TEST_F(StreamTest, StandardOutputKeepsOrderWithStdio) {
    testing::internal::CaptureStdout();
    std::printf("a");
    {
        utl_Stream out(utl_StandardStream::Output);
        out << "b";
        out.Flush();
        std::printf("c");
        out << "d";
    }
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abcd");
}

// A value goes through the printer as pnt_ToString lays it out, at the stream's format.
TEST_F(StreamTest, PrintableValuesGoThroughThePrinter) {
    int tally = 0;
    utl_initialize(tally); // exceptions print through the type table
    cow_List<int> list;
    for (int i = 1; i <= 12; ++i) {
        list.Append(i);
    }
    cow_Map<unsigned, double> map;
    map.Insert(2u, 1.0 / 3);
    map.Insert(1u, 0.5);
    const nex_TextException failure("solver diverged");
    const pnt_Format narrow{.width = 16, .precision = 3};
    EXPECT_EQ(Written([&](utl_Stream& s) {
                  s << "list " << list << '\n' << map << '\n' << failure << '\n';
                  s.SetPrintFormat(narrow);
                  s << list << ' ' << map;
              }),
              "list " + pnt_ToStdString(list) + "\n" + pnt_ToStdString(map) + "\n" +
                  pnt_ToStdString(failure) + "\n" + pnt_ToStdString(list, narrow) + " " +
                  pnt_ToStdString(map, narrow));
    EXPECT_EQ(pnt_ToStdString(map, narrow), "{ 1: 0.5,\n  2: 0.333 }");
    utl_finalize(tally);
}

} // namespace
