#include "AssertRecorder.h"
#include "utl_CmdLineArgExceptions.h"
#include "utl_CommandLine.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

// Every test starts from a fresh singleton and leaves none behind.
class CommandLine : public ::testing::Test {
protected:
    void SetUp() override { thr_GlobalSingletonBase<utl_CommandLine>::Finalize(); }
    void TearDown() override { thr_GlobalSingletonBase<utl_CommandLine>::Finalize(); }

    // Hands the words over as a host's main would, from writable copies.
    static void Hand(Words words) {
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        utl_setCommandLine(static_cast<int>(words.size()), argv.data());
    }
    static void HandList(const Words& words) {
        cow_1DArrayList<cow_String, cow_String> list;
        for (const std::string& word : words) {
            list.Append(cow_String(word.c_str()));
        }
        utl_setCommandLineList(list);
    }

    static const utl_CommandLine& Line() {
        return thr_GlobalSingleton<utl_CommandLine>::Instance();
    }
    // "name=value" for a present option, "-" for an absent one.
    static std::string Option(const char* name) {
        return Line().IsMember(name) ? std::string(name) + "=" + Line().ConstGetValue(name).c_str()
                                     : "-";
    }
    static std::string Raw(int i) { return Line().ConstGet(i).c_str(); }
};

struct Parse {
    Words words;
    Words expected; // Option() of each name in `names`
    Words names;
};

class CommandLineParse : public CommandLine, public ::testing::WithParamInterface<Parse> {};

TEST_P(CommandLineParse, OptionTakesTheNextPlainWord) {
    Hand(GetParam().words);
    Words seen;
    for (const std::string& name : GetParam().names) {
        seen.push_back(Option(name.c_str()));
    }
    EXPECT_EQ(seen, GetParam().expected);
    EXPECT_EQ(Line().Size(), static_cast<int>(GetParam().words.size()));
    EXPECT_EQ(Raw(0), "prog");
}

INSTANTIATE_TEST_SUITE_P(
    Words, CommandLineParse,
    ::testing::Values(
        Parse{{"prog", "-a", "1", "-b", "-c"}, {"a=1", "b=", "c=", "-"}, {"a", "b", "c", "prog"}},
        Parse{{"prog", "x", "-a"}, {"-", "a="}, {"x", "a"}},
        Parse{{"prog", "-n", "-5"}, {"n=", "5="}, {"n", "5"}}, // no sign handling
        Parse{{"prog", "--x", "v", "-A", "-"},
              {"-x=v", "-", "A=", "-", "="},
              {"-x", "x", "A", "a", ""}},
        Parse{{"prog", "-a", "1", "-a", "2", "-b", "1", "-b"}, {"a=2", "b="}, {"a", "b"}}));

TEST_F(CommandLine, HandingOverTwiceAccumulatesAndSkipsTheSecondProgramName) {
    Hand({"prog", "-a", "1"});
    Hand({"-z", "-y"});
    EXPECT_EQ(Line().Size(), 5);
    EXPECT_EQ(Raw(3), "-z");
    EXPECT_EQ(Option("z") + Option("y") + Option("a"), "-y=a=1");
}

TEST_F(CommandLine, ListParsesItsFirstElementAndReplacesOnlyTheRawArguments) {
    Hand({"prog", "-a", "1", "word"});
    HandList({"-k", "v"});
    EXPECT_EQ(Line().Size(), 2);
    EXPECT_EQ(Raw(0), "-k");
    EXPECT_EQ(Option("k") + Option("a"), "k=va=1");
}

TEST_F(CommandLine, PositionPastTheEndIsReportedAndReadsEmpty) {
    Hand({"prog"});
    vlt::test::AssertRecorder rec;
    EXPECT_EQ(Raw(1) + Raw(-1), "");
    EXPECT_EQ(rec.Expressions(), (Words{"index < Length()", "index < Length()"}));
}

TEST_F(CommandLine, OnlyDecimalDigitsConvertAndDefaultsAnswerOnlyForAbsentOptions) {
    Hand({"prog", "-a", "007", "-b", "-c", "2147483647", "-d", "12a", "-e", "+5", "-f", " 5", "-g",
          "0x1F"});
    EXPECT_EQ(Line().ConstGetValueAsInt("a"), 7);
    EXPECT_EQ(Line().ConstGetValueAsInt("b"), 0);
    EXPECT_EQ(Line().ConstGetValueAsLong("c"), 2147483647L);
    EXPECT_EQ(Line().ConstGetValueAsInt("a", 5), 7);
    EXPECT_EQ(Line().ConstGetValueAsInt("m", 5), 5);
    EXPECT_EQ(Line().ConstGetValueAsLong("m", -3L), -3L);
    EXPECT_STREQ(Line().ConstGetValue("m", "dflt").c_str(), "dflt");
    for (const char* bad : {"d", "e", "f", "g"}) {
        EXPECT_THROW(Line().ConstGetValueAsInt(bad), utl_CmdLineArgFormatException) << bad;
        EXPECT_THROW(Line().ConstGetValueAsLong(bad, 5L), utl_CmdLineArgFormatException) << bad;
    }
}

TEST_F(CommandLine, FailuresCarryTheirTextsAndReleaseTheLock) {
    Hand({"prog", "-n", "4x"});
    try {
        Line().ConstGetValueAsInt("zz");
        ADD_FAILURE() << "no exception";
    } catch (const utl_MissingCmdLineArgException& e) {
        EXPECT_STREQ(e.AsString().c_str(), "Command line argument zz is required.");
        EXPECT_STREQ(e.FileName().c_str(), "utl/impl/utl_CommandLine");
    }
    try {
        Line().ConstGetValueAsLong("n");
        ADD_FAILURE() << "no exception";
    } catch (const utl_CmdLineArgFormatException& e) {
        EXPECT_STREQ(e.AsString().c_str(), "Command line argument n must have type integer.");
        EXPECT_STREQ(e.FileName().c_str(), "utl/impl/utl_CommandLine");
    }
    EXPECT_THROW(Line().ConstGetValue("zz"), utl_MissingCmdLineArgException);
    EXPECT_EQ(Line().Size(), 3); // a lock left held would hang here
}

TEST_F(CommandLine, FlatEntryPointsTrimBlanksAndAnswerStatusZeroWhenFound) {
    Hand({"prog", "-a", "-n", "42", "-bad", "4-2"});
    int out[6] = {-1, -1, -1, -1, -1, -1};
    UTL_COMMANDLINEISMEMBER("  a   ", 6, &out[0]);
    UTL_COMMANDLINEISMEMBER("b", 1, &out[1]);
    UTL_COMMANDLINEISMEMBER("ab", 1, &out[2]);  // the length, not a terminator, ends the name
    UTL_COMMANDLINEISMEMBER("\ta", 2, &out[3]); // only blanks are trimmed
    UTL_COMMANDLINEINTEGER("n  ", 3, &out[4]);
    UTL_COMMANDLINEINTEGER("m", 1, &out[5]);
    EXPECT_EQ(std::vector<int>(out, out + 6), (std::vector<int>{0, 1, 0, 1, 42, 0}));
    EXPECT_THROW(UTL_COMMANDLINEINTEGER("bad", 3, &out[0]), utl_CmdLineArgFormatException);
}

TEST_F(CommandLine, StringsAreBlankPaddedAndTooLongReadsAsAbsent) {
    Hand({"prog", "-s", "abc", "-long", "twelve chars", "-e"});
    char buffer[11] = "XXXXXXXXXX";
    EXPECT_EQ(utl_CommandLineStringC("long", buffer, 10), 0);
    EXPECT_EQ(utl_CommandLineStringC("none", buffer, 10), 0);
    EXPECT_STREQ(buffer, "XXXXXXXXXX");
    int length = -1;
    UTL_COMMANDLINESTRING(" s ", 3, buffer, 4, &length);
    EXPECT_EQ(length, 3);
    EXPECT_STREQ(buffer, "abc XXXXXX");
    EXPECT_EQ(utl_CommandLineStringC("s", buffer, 10), 3);
    EXPECT_STREQ(buffer, "abc       ");
    EXPECT_EQ(utl_CommandLineStringC("e", buffer, 10), 0);
    EXPECT_STREQ(buffer, "          ");

    char out[8] = "XXXXXXX";
    EXPECT_EQ(utl_getArgs("t", out), 0);
    EXPECT_STREQ(out, "XXXXXXX");
    EXPECT_EQ(utl_getArgs("s", out), 3);
    EXPECT_EQ(std::string(out, 7), std::string("abc\0XXX", 7));
}

TEST_F(CommandLine, FinaliseReleasesTheArguments) {
    int tally = 0;
    utl_initialize(tally);
    Hand({"prog", "-a", "1"});
    utl_finalize(tally);
    EXPECT_EQ(Line().Size(), 0);
    EXPECT_EQ(Option("a"), "-");
}

} // namespace
