#include "AssertRecorder.h"
#include "pnt_PrettyPrint.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

constexpr const char* Open = pnt_GroupOpen;
constexpr const char* Close = pnt_GroupClose;
constexpr const char* In = pnt_IndentIn;
constexpr const char* Out = pnt_IndentOut;
constexpr const char* Opt = pnt_OptionalBreak;
constexpr const char* Cond = pnt_ConditionalBreak;
constexpr const char* NL = pnt_NewLine;

std::string TextOf(pnt_PrettyPrint& pp) {
    return pp.Text().c_str();
}

// An item in the style of the library's print functions: "(head a b ...)", items separated
// by " " and an optional break, the whole indented one step.
void Item(pnt_PrettyPrint& pp, const char* head, std::initializer_list<const char*> parts) {
    pp << In << Open << "(" << head;
    for (const char* part : parts) {
        pp << " " << Opt << part;
    }
    pp << ")" << Close << Out;
}

// ---------------------------------------------------------------------------------------------
// Groups and breaks

// A broken group breaks only before the item that would pass the width, and drops the blank
// before that break.
TEST(PrettyPrintGroups, GroupOfExactlyTheWidthFitsAndOneMoreBreaksBeforeTheLastItem) {
    pnt_PrettyPrint exact(7);
    Item(exact, "a", {"b", "c"}); // "(a b c)" is 7 columns
    EXPECT_EQ(TextOf(exact), "(a b c)");

    pnt_PrettyPrint narrow(6);
    Item(narrow, "a", {"b", "c"});
    EXPECT_EQ(TextOf(narrow), "(a b\n  c)");
}

TEST(PrettyPrintGroups, InnerGroupStaysWholeOnTheLineWhereItFits) {
    pnt_PrettyPrint pp(20);
    pp << In << Open << "(outer"
       << " " << Opt;
    Item(pp, "inner", {"x", "y"});
    pp << " " << Opt << "end)" << Close << Out;
    EXPECT_EQ(TextOf(pp), "(outer (inner x y)\n  end)");
}

TEST(PrettyPrintGroups, NestedBrokenGroupsIndentOneStepMore) {
    pnt_PrettyPrint pp(12);
    pp << In << Open << "(outer"
       << " " << Opt;
    Item(pp, "inner", {"xxxxxxx"});
    pp << ")" << Close << Out;
    EXPECT_EQ(TextOf(pp), "(outer\n  (inner\n    xxxxxxx))");
}

TEST(PrettyPrintGroups, InnerGroupIsMeasuredFromTheColumnWhereItStarts) {
    // "(inner x)" would fit on a line of its own, but not after "  yy ".
    pnt_PrettyPrint pp(12);
    pp << In << Open << "(outer"
       << " " << Opt << "yy"
       << " ";
    Item(pp, "inner", {"x"});
    pp << ")" << Close << Out;
    EXPECT_EQ(TextOf(pp), "(outer\n  yy (inner\n    x))");
}

// The blank before a break that is taken is dropped, so it needs no room on the line.
TEST(PrettyPrintGroups, ItemEndingAtTheWidthStaysOnItsLine) {
    pnt_PrettyPrint pp(10);
    pp << Open << "aaa,"
       << " " << Opt << "bbbb,"
       << " " << Opt << "c" << Close;
    EXPECT_EQ(TextOf(pp), "aaa, bbbb,\nc");
}

TEST(PrettyPrintGroups, IndentStepIsAdjustable) {
    pnt_PrettyPrint pp(8);
    pp.SetIndentStep(4);
    Item(pp, "alpha", {"beta"});
    EXPECT_EQ(TextOf(pp), "(alpha\n    beta)");
}

TEST(PrettyPrintGroups, DefaultWidthIsEighty) {
    EXPECT_EQ(pnt_PrettyPrint().Width(), 80u);
}

TEST(PrettyPrintGroups, TopLevelOptionalBreakActsAsConditional) {
    pnt_PrettyPrint pp(10);
    pp << "aaaa"
       << " " << Opt << "bbbb"
       << " " << Opt << "cccc";
    EXPECT_EQ(TextOf(pp), "aaaa bbbb\ncccc");
}

TEST(PrettyPrintGroups, BreaksOfAGroupThatEndsAtTheEdgeNeverFire) {
    pnt_PrettyPrint pp(10);
    pp << "123456" << Open << "ab" << Cond << Opt << "cd" << Close;
    EXPECT_EQ(TextOf(pp), "123456abcd");
}

// "bb)" fits after "(aaaa ", but the brackets glued to it would pass the width.
TEST(PrettyPrintGroups, AnItemHoldsTheTextAfterItsGroupUpToTheNextBreakAroundIt) {
    pnt_PrettyPrint pp(10);
    pp << Open << "(aaaa"
       << " " << Opt << "bb)" << Close << ")))"
       << " " << Cond << "c";
    EXPECT_EQ(TextOf(pp), "(aaaa\nbb)))) c");
}

// ---------------------------------------------------------------------------------------------
// Newlines and conditional breaks

// A group around a line end is broken, so the items after it still fill their lines.
TEST(PrettyPrintNewLines, NewLineBreaksTheGroupsAroundItAndItemsStillFill) {
    pnt_PrettyPrint pp(10);
    pp << Open << "a"
       << " " << Opt << "b" << NL << "cccccc"
       << " " << Opt << "dddd"
       << " " << Opt << "e" << Close;
    EXPECT_EQ(TextOf(pp), "a b\ncccccc\ndddd e");
}

// An item that holds a line end cannot fit: the break before it is taken.
TEST(PrettyPrintNewLines, ItemHoldingALineEndStartsOnANewLine) {
    pnt_PrettyPrint pp(80);
    pp << Open << "x"
       << " " << Opt << Open << "y" << NL << "z" << Close << Close;
    EXPECT_EQ(TextOf(pp), "x\ny\nz");
}

TEST(PrettyPrintNewLines, PlainLineEndInTextIsANewLine) {
    pnt_PrettyPrint pp(80);
    pp << In << Open << "a"
       << " " << Opt << "b\nc" << Close << Out;
    EXPECT_EQ(TextOf(pp), "a b\n  c");
}

TEST(PrettyPrintNewLines, TwoNewLinesLeaveAnEmptyLineButBreaksAtALineStartDoNot) {
    pnt_PrettyPrint pp(80);
    pp << Open << "a" << NL << NL << "b" << NL << Opt << Cond << "c" << Close;
    EXPECT_EQ(TextOf(pp), "a\n\nb\nc");
}

TEST(PrettyPrintNewLines, ConditionalBreaksFillLines) {
    pnt_PrettyPrint pp(10);
    pp << In << Open << "[aa,"
       << " " << Cond << "bb,"
       << " " << Cond << "cc,"
       << " " << Cond << "dd,"
       << " " << Cond << "ee]" << Close << Out;
    EXPECT_EQ(TextOf(pp), "[aa, bb,\n  cc, dd,\n  ee]");
}

TEST(PrettyPrintNewLines, ConditionalBreakCountsNestedGroupsInItsSection) {
    // The first section is "cd efgh" (7 columns), nested group included: it ends the 10-column
    // line exactly after "ab ", and "ij" goes to the next.
    pnt_PrettyPrint pp(10);
    pp << Open << "ab"
       << " " << Cond << Open << "cd"
       << " " << Opt << "ef" << Close << "gh"
       << " " << Cond << "ij" << Close;
    EXPECT_EQ(TextOf(pp), "ab cd efgh\nij");
}

// ---------------------------------------------------------------------------------------------
// Escape handling and inserters

TEST(PrettyPrintText, EscapeSplitBetweenTwoCallsStillActs) {
    pnt_PrettyPrint pp(6);
    pp << "\x1b"
       << "{(abc"
       << " \x1b"
       << "odefg)\x1b"
       << "}";
    EXPECT_EQ(TextOf(pp), "(abc\ndefg)");
}

TEST(PrettyPrintText, EscapeBeforeAnyOtherLetterIsWrittenUnchanged) {
    pnt_PrettyPrint pp(80);
    pp << "a\x1bzb"
       << "\x1b"
       << "\x1b"
       << "t"
       << "c";
    EXPECT_EQ(TextOf(pp), "a\x1bzb\x1b"
                          "c");
}

TEST(PrettyPrintText, TrailingBlanksWaitForWhatFollows) {
    pnt_PrettyPrint pp(80);
    pp << "a  ";
    EXPECT_EQ(TextOf(pp), "a");
    pp << "b"
       << "   " << NL << "c";
    EXPECT_EQ(TextOf(pp), "a  b\nc");
}

TEST(PrettyPrintText, UTF8CharactersCountOneColumnEach) {
    pnt_PrettyPrint pp(7);
    Item(pp, "\xc3\xa9t\xc3\xa9", {"x"}); // "(été x)": 7 columns, 9 bytes
    EXPECT_EQ(TextOf(pp), "(\xc3\xa9t\xc3\xa9 x)");
}

TEST(PrettyPrintText, InsertersWriteNumbersStringsAndAddresses) {
    pnt_PrettyPrint pp(200);
    pp << -5 << ' ' << 4000000000u << ' ' << -7L << ' ' << 18446744073709551615ULL << ' ' << 1.5
       << ' ' << 1e100 << ' ' << cow_String("text") << ' ' << static_cast<const void*>(nullptr)
       << ' ' << reinterpret_cast<const void*>(0xbeef) << ' ' << 2.0f;
    EXPECT_EQ(TextOf(pp), "-5 4000000000 -7 18446744073709551615 1.5 1e+100 text 0x0 0xbeef 2");
}

TEST(PrettyPrintText, PrecisionOfFloatingPointValuesIsSettableWithinItsRange) {
    pnt_PrettyPrint pp(200);
    EXPECT_EQ(pp.Precision(), 6);
    pp.SetPrecision(3);
    pp << 3.14159 << ' ' << 1234567.0 << ' ';
    pp.SetPrecision(17);
    pp << 0.1 << ' ';
    pp.SetPrecision(0);
    pp << 2.5;
    EXPECT_EQ(TextOf(pp), "3.14 1.23e+06 0.10000000000000001 2");
    pp.SetPrecision(1000);
    EXPECT_EQ(pp.Precision(), 40);
}

TEST(PrettyPrintText, PrinterOnAStreamTakesTheStreamsPrecision) {
    std::ostringstream out;
    out.precision(3);
    {
        pnt_PrettyPrint pp(out);
        pp << 2.0 / 3;
    }
    EXPECT_EQ(out.str(), "0.667");
}

TEST(PrettyPrintText, ValuePrintsIntoEitherStringInOneCall) {
    EXPECT_EQ(std::string(pnt_ToString(1.0 / 3).c_str()), "0.333333");
    EXPECT_EQ(pnt_ToStdString(1.0 / 3, {.precision = 2}), "0.33");
    EXPECT_EQ(pnt_ToStdString(cow_String("ab\ncd"), {.width = 1}), "ab\ncd");
}

TEST(PrettyPrintText, NullTextPrintsNothing) {
    pnt_PrettyPrint pp(80);
    pp << static_cast<const char*>(nullptr) << "x";
    pp.Output(nullptr, 3);
    EXPECT_EQ(TextOf(pp), "x");
}

// ---------------------------------------------------------------------------------------------
// Misuse

TEST(PrettyPrintMisuse, UnbalancedCloseUnindentAndEndDebugAreReportedAndIgnored) {
    AssertRecorder recorder;
    pnt_PrettyPrint pp(6);
    pp << Close << Out;
    pp.EndDebug();
    Item(pp, "abc", {"def"});
    EXPECT_EQ(TextOf(pp), "(abc\n  def)");
    ASSERT_EQ(recorder.Reports().size(), 3u);
    EXPECT_EQ(recorder.Reports()[0].expression, "depth > 0");
    EXPECT_EQ(recorder.Reports()[0].path, "pnt/impl/pnt_Layout");
    EXPECT_EQ(recorder.Reports()[1].expression, "indentSteps > 0");
    EXPECT_EQ(recorder.Reports()[2].expression, "debugDepth_ > 0");
    EXPECT_EQ(recorder.Reports()[2].path, "pnt/impl/pnt_PrettyPrint");
}

TEST(PrettyPrintMisuse, FlushDecidesOpenGroupsFromWhatWasSeen) {
    pnt_PrettyPrint pp(10);
    pp << Open << "ab"
       << " " << Opt << "cd";
    EXPECT_EQ(TextOf(pp), "ab cd");
    pp << " " << Opt << "efghijkl" << Close;
    EXPECT_EQ(TextOf(pp), "ab cd efghijkl");
}

// ---------------------------------------------------------------------------------------------
// Pointer log and debug records

TEST(PrettyPrintPointerLog, MarkersNumberAddressesFromOneAndBackReferencesRepeatThem) {
    pnt_PrettyPrint pp(80);
    int a = 0;
    int b = 0;
    unsigned marker = 99;
    EXPECT_FALSE(pp.FindMarker(&a, marker));
    EXPECT_EQ(marker, 99u);
    pp.PrintMarker(pp.NewMarker(&a));
    pp << "(a)"
       << " ";
    pp.PrintMarker(pp.NewMarker(&b));
    pp << "(b)"
       << " ";
    ASSERT_TRUE(pp.FindMarker(&a, marker));
    pp.PrintPtr(marker);
    EXPECT_EQ(TextOf(pp), "#1=(a) #2=(b) #1#");
}

TEST(PrettyPrintDebug, RecordStartsOnAFreshLineIndentsItsBodyAndEndsTheLine) {
    pnt_PrettyPrint pp(24);
    pp << "before";
    pp.StartDebug("obj/impl/x", 12);
    Item(pp, "node", {"alpha", "beta"});
    pp.EndDebug();
    pp.StartDebug("f", 3);
    pp << "next";
    pp.EndDebug();
    EXPECT_EQ(TextOf(pp), "before\nobj/impl/x:12: (node\n    alpha beta)\nf:3: next\n");
}

TEST(PrettyPrintDebug, EndOfOutermostRecordAndClearingEmptyThePointerLog) {
    pnt_PrettyPrint pp(80);
    int a = 0;
    pp.StartDebug("f", 1);
    pp.StartDebug("g", 2);
    pp.NewMarker(&a);
    pp.EndDebug();
    unsigned marker = 0;
    EXPECT_TRUE(pp.FindMarker(&a, marker));
    pp.EndDebug();
    EXPECT_FALSE(pp.FindMarker(&a, marker));
    pp.NewMarker(&a);
    pp.ClearPointerLog();
    EXPECT_FALSE(pp.FindMarker(&a, marker));
    EXPECT_EQ(pp.NewMarker(&a), 1u);
}

TEST(PrettyPrintDebug, SharedDebugPrinterWritesToStandardErrorAndGoesWithTheModule) {
    int tally = 0;
    pnt_initialize(tally);
    pnt_PrettyPrint& shared = pnt_debugPrint();
    EXPECT_EQ(&shared, &pnt_debugPrint());
    testing::internal::CaptureStderr();
    shared << Open << "held back";
    // Undecided until the group ends or the printer goes: finalising destroys the printer.
    pnt_finalize(tally);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "held back");
    EXPECT_EQ(tally, 0);
}

// ---------------------------------------------------------------------------------------------
// Sinks

TEST(PrettyPrintSinks, FileAndStreamSinksReceiveTheLayoutAndNoOwnText) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::ostringstream out;
    {
        pnt_PrettyPrint toFile(file, 6);
        pnt_PrettyPrint toStream(out, 6);
        Item(toFile, "ab", {"cd", "ef"});
        Item(toStream, "ab", {"cd", "ef"});
        EXPECT_EQ(TextOf(toStream), "");
    }
    std::rewind(file);
    char buffer[64] = {};
    const std::size_t n = std::fread(buffer, 1, sizeof buffer - 1, file);
    std::fclose(file);
    EXPECT_EQ(std::string(buffer, n), "(ab cd\n  ef)");
    EXPECT_EQ(out.str(), std::string(buffer, n));
}

TEST(PrettyPrintSinks, GroupIsDecidedAsSoonAsItCannotFit) {
    std::ostringstream out;
    pnt_PrettyPrint pp(out, 10);
    pp << Open << "(aaaa"
       << " " << Opt;
    EXPECT_EQ(out.str(), "");
    pp << "bbbbbbbbbbb";
    EXPECT_EQ(out.str(), "(aaaa\nbbbbbbbbbbb");
}

// ---------------------------------------------------------------------------------------------
// Bounded lookahead

// Discards what it is given, so that long runs measure the printer alone.
class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void ExpectWithinLimit(const pnt_PrettyPrint& pp) {
    EXPECT_LE(pp.BufferHighWater().tokens, pp.BufferLimit().tokens);
    EXPECT_LE(pp.BufferHighWater().textBytes, pp.BufferLimit().textBytes);
}

TEST(PrettyPrintBounds, LongOutputInOneOpenGroupStaysWithinTheLimits) {
    NullBuffer sink;
    std::ostream out(&sink);
    pnt_PrettyPrint pp(out, 80);
    pp << In << Open; // never closed: nothing in it can be decided by its end
    for (int i = 0; i < 100000; ++i) {
        pp << Open << "item"
           << " " << Opt << i << Close << ","
           << " " << Cond;
    }
    ExpectWithinLimit(pp);
    EXPECT_GT(pp.BufferHighWater().tokens, 0u);
}

TEST(PrettyPrintBounds, ZeroWidthEscapesAreBoundedByTheTokenLimit) {
    NullBuffer sink;
    std::ostream out(&sink);
    pnt_PrettyPrint pp(out, 20);
    pp << Open << "x";
    for (int i = 0; i < 100000; ++i) {
        pp << Open << Opt << Close << Opt;
    }
    ExpectWithinLimit(pp);
    EXPECT_EQ(pp.BufferHighWater().tokens, pp.BufferLimit().tokens);
}

TEST(PrettyPrintBounds, LongTextInAnOpenGroupIsNotHeldWhole) {
    pnt_PrettyPrint pp(40);
    const std::string text(1 << 20, 'x');
    pp << Open << "a"
       << " " << Opt << text.c_str() << Close;
    ExpectWithinLimit(pp);
    EXPECT_EQ(TextOf(pp), "a\n" + text);
}

TEST(PrettyPrintBounds, LongRunsLayOutLikeShortOnes) {
    pnt_PrettyPrint pp(12);
    std::string expected;
    for (int i = 0; i < 20000; ++i) {
        Item(pp, "abc", {"def"});
        Item(pp, "abcdef", {"ghijkl"});
        pp << NL;
        expected += "(abc\n  def)(abcdef\n  ghijkl)\n"; // "def)(abcdef" cannot part
    }
    EXPECT_EQ(TextOf(pp), expected);
}

} // namespace
