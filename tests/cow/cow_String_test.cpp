#include "AssertRecorder.h"
#include "cow_String.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

constexpr char stringPath[] = "cow/impl/cow_String";

std::string text(const cow_String& s) {
    return std::string(s.c_str(), s.Length());
}

struct Edit {
    const char* name;
    std::function<void(cow_String&)> apply;
    const char* expected; // the edited copy of "Hello world"
};

class WriteToSharedCopy : public testing::TestWithParam<Edit> {};

TEST_P(WriteToSharedCopy, ChangesOnlyTheWrittenCopy) {
    const cow_String source("Hello world");
    cow_String copy = source;
    const char* const shared = source.c_str();
    ASSERT_EQ(copy.c_str(), shared);

    GetParam().apply(copy);

    EXPECT_EQ(text(copy), GetParam().expected);
    EXPECT_EQ(text(source), "Hello world");
    EXPECT_EQ(source.c_str(), shared);
    EXPECT_NE(copy.c_str(), shared);
}

INSTANTIATE_TEST_SUITE_P(
    EveryEdit, WriteToSharedCopy,
    testing::Values(Edit{"Append", [](cow_String& s) { s.Append("!"); }, "Hello world!"},
                    Edit{"Insert", [](cow_String& s) { s.Insert(5, ","); }, "Hello, world"},
                    Edit{"Substitute",
                         [](cow_String& s) { s.Substitute(cow_String("o"), cow_String("0")); },
                         "Hell0 w0rld"},
                    Edit{"Erase", [](cow_String& s) { s.Erase(5); }, "Hello"},
                    Edit{"Trim", [](cow_String& s) { s.Trim("lo"); }, "He wrd"},
                    Edit{"ToUpper", [](cow_String& s) { s.ToUpper(); }, "HELLO WORLD"},
                    Edit{"IndexWrite", [](cow_String& s) { s[4] = '0'; }, "Hell0 world"},
                    Edit{"AssignText", [](cow_String& s) { s = "other"; }, "other"}),
    [](const testing::TestParamInfo<Edit>& info) { return info.param.name; });

TEST(StringSharing, ReadsAndCopiesNeverCopyTheText) {
    const cow_String a("Hello world");
    cow_String b;
    b = a;
    const cow_String c = b;
    const char* const shared = a.c_str();
    EXPECT_EQ(a.Find("wor"), 6u);
    EXPECT_EQ(b.ReverseFind("o"), 7u);
    EXPECT_EQ(text(c.Substr(0, 5)), "Hello");
    EXPECT_EQ(c[1], 'e');
    EXPECT_TRUE(a == b && !(b < c));
    for (const cow_String* s : std::initializer_list<const cow_String*>{&a, &b, &c}) {
        EXPECT_EQ(s->c_str(), shared);
    }
    const cow_String upper("HELLO 1"), lower("hello 1");
    cow_String same = upper, other = lower;
    EXPECT_EQ(same.ToUpper().c_str(), upper.c_str()) << "nothing to change: stays shared";
    EXPECT_EQ(other.ToLower().Uncapitalize().c_str(), lower.c_str());
}

TEST(StringSharing, SoleOwnerEditsInPlaceAndSelfAssignmentAndMoveKeepTheText) {
    cow_String s("abc");
    const char* const buffer = s.c_str();
    s.Append("def").Insert(0, "x").Erase(1, 1).ToUpper();
    EXPECT_EQ(s.c_str(), buffer);
    EXPECT_EQ(text(s), "XBCDEF");
    const cow_String& alias = s;
    s = alias;
    EXPECT_EQ(text(s), "XBCDEF");
    cow_String moved = std::move(s);
    EXPECT_EQ(text(moved), "XBCDEF");
    EXPECT_EQ(s.Length(), 0u); // NOLINT(bugprone-use-after-move): moved-from reads as empty
    EXPECT_STREQ(s.c_str(), "");
}

TEST(StringConstruction, EmptyTextGivesNoRepresentationButAssignmentKeepsOne) {
    const cow_String constructed("");
    cow_String assigned("x");
    assigned = "";
    EXPECT_EQ(constructed.Capacity(), 0u);
    EXPECT_STREQ(constructed.c_str(), "");
    EXPECT_EQ(assigned.Capacity(), 32u);
    EXPECT_EQ(assigned.Length(), 0u);
    EXPECT_EQ(constructed, assigned);
    EXPECT_EQ(cow_String().c_str(), constructed.c_str()); // the one static empty text
    EXPECT_EQ(text(cow_String("a\0b", 3)), std::string("a\0b", 3));
}

class StringCapacity : public testing::TestWithParam<std::pair<unsigned, unsigned>> {};

TEST_P(StringCapacity, FollowsTheSizeClassesOfTheRequest) {
    const auto [length, capacity] = GetParam();
    const std::string chars(length, 'x');
    EXPECT_EQ(cow_String(chars.c_str()).Capacity(), capacity);
}

INSTANTIATE_TEST_SUITE_P(Boundaries, StringCapacity,
                         testing::Values(std::pair{14u, 32u}, std::pair{15u, 64u},
                                         std::pair{47u, 64u}, std::pair{48u, 65u}));

TEST(StringCapacityGrowth, AppendingOneByOneReallocatesAtThePublishedPoints) {
    cow_String s;
    std::vector<std::pair<unsigned, unsigned>> changes; // (length, new capacity)
    unsigned capacity = 0;
    while (s.Length() < 100) {
        s.Append('x');
        if (s.Capacity() != capacity) {
            capacity = s.Capacity();
            changes.emplace_back(s.Length(), capacity);
        }
    }
    EXPECT_EQ(changes, (std::vector<std::pair<unsigned, unsigned>>{
                           {1, 32}, {32, 64}, {64, 81}, {81, 98}, {98, 115}}));
}

// Assignment sizes for the terminator too; unsharing sizes for the request, not the source.
TEST(StringCapacityGrowth, AssignmentAndUnsharingSizeForTheirRequest) {
    cow_String s;
    s = "abcdefghijklmn";
    EXPECT_EQ(s.Capacity(), 64u);
    const cow_String source("0123456789");
    cow_String copy = source;
    copy.Append(std::string(40, 'y').c_str());
    EXPECT_EQ(copy.Capacity(), 67u);
    EXPECT_EQ(source.Capacity(), 32u);
}

TEST(StringNumbers, FormatsIntegersWithSign) {
    EXPECT_EQ(text(cow_String(INT_MIN)), "-2147483648");
    EXPECT_EQ(text(cow_String(UINT_MAX)), "4294967295");
}

class StringDouble : public testing::TestWithParam<std::pair<double, const char*>> {};

TEST_P(StringDouble, PrintsShortestGeneralFormWithTwoDigitExponents) {
    EXPECT_EQ(text(cow_String(GetParam().first)), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Cases, StringDouble,
                         testing::Values(std::pair{100000.0, "100000"}, std::pair{1e+100, "1e+100"},
                                         std::pair{-1.5e-7, "-1.5e-07"},
                                         std::pair{1234567.0, "1.23457e+06"}));

struct Misuse {
    const char* name;
    std::function<std::string(cow_String&)> apply; // returns what the operation produced
    const char* expression;
    const char* result; // after carrying on with clipped values
};

class StringMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(StringMisuse, ReportsThePublishedTextAndCarriesOnClipped) {
    AssertRecorder recorder;
    cow_String s("hello");
    const std::string produced = GetParam().apply(s);
    ASSERT_EQ(recorder.Reports().size(), 1u);
    EXPECT_EQ(recorder.Reports()[0].expression, GetParam().expression);
    EXPECT_EQ(recorder.Reports()[0].path, stringPath);
    EXPECT_GT(recorder.Reports()[0].line, 0);
    EXPECT_EQ(produced, GetParam().result);
}

std::string after(cow_String& s) {
    return text(s);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCheck, StringMisuse,
    testing::Values(
        Misuse{"Append", [](cow_String& s) { return after(s.Append("abc", 4)); },
               "(start <= clen) && \"Append: start out of range\"", "hello"},
        Misuse{"Erase", [](cow_String& s) { return after(s.Erase(6, 1)); },
               "(start <= oldLength) && \"Erase: start out of range\"", "hello"},
        Misuse{"InsertStart1", [](cow_String& s) { return after(s.Insert(9, "xy")); },
               "(start1 <= oldLength) && \"Insert: start1 out of range\"", "helloxy"},
        Misuse{"InsertStart2", [](cow_String& s) { return after(s.Insert(0, "xy", 3)); },
               "(start2 <= slen) && \"Insert: start2 out of range\"", "hello"},
        Misuse{"ReplaceStart1", [](cow_String& s) { return after(s.Replace(7, 2, "xy", 2)); },
               "(start1 <= oldLength) && \"Replace: start1 out of range\"", "helloxy"},
        Misuse{"ReplaceStart2",
               [](cow_String& s) { return after(s.Replace(0, 1, cow_String("xy"), 5)); },
               "(start2 <= slen) && \"Replace: start2 out of range\"", "ello"},
        Misuse{"Substr", [](cow_String& s) { return text(s.Substr(6)); },
               "(start <= length) && \"Substr: start out of range\"", ""},
        Misuse{"ConstIndex", [](cow_String& s) { return std::to_string(int{std::as_const(s)[6]}); },
               "ix <= Length()", "0"},
        Misuse{"WritableIndex",
               [](cow_String& s) {
                   s[5] = 'x';
                   return after(s);
               },
               "ix < Length()", "hello"}),
    [](const testing::TestParamInfo<Misuse>& info) { return info.param.name; });

TEST(StringIndex, ConstReadsTheTerminatorWithoutReport) {
    AssertRecorder recorder;
    const cow_String s("ab"), empty;
    EXPECT_EQ(s[2], '\0');
    EXPECT_EQ(empty[0], '\0');
    EXPECT_TRUE(recorder.Reports().empty());
}

TEST(StringFind, NotFoundIsTheLength) {
    const cow_String s("abcabc");
    EXPECT_EQ(s.Find("bc", 2), 4u);
    EXPECT_EQ(s.Find("bc", 5), 6u);
    EXPECT_EQ(s.Find("a", 7), 6u);
    EXPECT_EQ(cow_String().Find("a"), 0u);
}

// The search scans whole vectors at a time: a hit, a decoy first byte and an embedded NUL at
// every position around the vector sizes must give what a C-string search from start gives.
TEST(StringFind, StopsAtTheFirstNulWhereverTheVectorsFall) {
    for (unsigned length : {1u, 15u, 16u, 17u, 31u, 32u, 33u, 127u, 128u, 129u, 200u, 300u}) {
        for (unsigned at = 0; at + 2 <= length; at += 7) {
            for (unsigned nul : {0u, 1u, at, at + 1, length - 1, length}) {
                std::string text(length, 'x');
                text[at / 2] = 'n'; // a first byte that does not complete the needle
                text.replace(at, 2, "nd");
                if (nul < length) {
                    text[nul] = '\0';
                }
                const cow_String s(text.data(), length);
                for (unsigned start : {0u, at / 3, at}) {
                    const char* hit = std::strstr(text.c_str() + start, "nd");
                    const unsigned expected = hit != nullptr ? hit - text.c_str() : length;
                    ASSERT_EQ(s.Find("nd", start), expected)
                        << "length " << length << ", hit " << at << ", NUL " << nul;
                }
            }
        }
    }
}

TEST(StringReverseFind, FindsTheLastStartAtOrBeforePos) {
    const cow_String s("abcabc");
    EXPECT_EQ(s.ReverseFind("bc", 3), 1u);
    EXPECT_EQ(s.ReverseFind("x"), 6u);
    EXPECT_EQ(s.ReverseFind(""), 6u);
    EXPECT_EQ(cow_String("aaaa").ReverseFind("aa"), 2u);   // overlapping hits count
    EXPECT_EQ(cow_String("abc").ReverseFind("ab", 0), 3u); // position 0 is never a hit
}

TEST(StringTrim, TrimFiltersTheWholeStringWhileLeftAndRightTrimOnlyEnds) {
    EXPECT_EQ(text(cow_String("  a b  ").LeftTrim(" ")), "a b  ");
    EXPECT_EQ(text(cow_String("  a b  ").RightTrim(" ")), "  a b");
    EXPECT_EQ(text(cow_String("\xe9x\xe9").Trim("\xe9")), "x");
    EXPECT_EQ(text(cow_String(" \t ").RightTrim("\t ")), "");
}

TEST(StringSubstitute, SearchesFromTheStartAgainAfterEachReplacement) {
    EXPECT_EQ(text(cow_String("a").Substitute(cow_String("a"), cow_String("aa"), 3)), "aaaa");
    EXPECT_EQ(text(cow_String("a.b.c").Substitute(cow_String("."), cow_String("/"), 1)), "a/b.c");
    EXPECT_EQ(text(cow_String("abc").Substitute(cow_String(""), cow_String("x"))), "abc");
    EXPECT_EQ(text(cow_String("abc").Substitute(cow_String("a"), cow_String("x"), 0)), "abc");
}

TEST(StringEdit, EraseReplaceSubstrClipCounts) {
    EXPECT_EQ(text(cow_String("hello").Erase(1, 2)), "hlo");
    EXPECT_EQ(text(cow_String("hello").Erase(5, 3)), "hello");
    EXPECT_EQ(text(cow_String("hello").Replace(1, 99, "i", 1)), "hi");
    EXPECT_EQ(cow_String("ab").Replace(1, 0, "x\0y", 3).Length(), 5u);
    EXPECT_EQ(text(cow_String("hello").Replace(0, 2, cow_String("JAM"), 1, 1)), "Allo");
    EXPECT_EQ(text(cow_String("hello").Substr(1, 3)), "ell");
    EXPECT_EQ(cow_String("hello").Substr(5).Capacity(), 32u); // its own, empty representation
    EXPECT_EQ(text(cow_String().Insert(0, "abc", 1)), "bc");
}

TEST(StringEdit, GrowingEditsKeepPrefixAndTail) {
    const std::string base(50, 'x');
    cow_String s(base.c_str());
    s.Replace(10, 2, std::string(30, 'y').c_str(), 30);
    EXPECT_EQ(text(s), std::string(10, 'x') + std::string(30, 'y') + std::string(38, 'x'));
    s.Insert(78, "end");
    EXPECT_EQ(text(s).substr(75), "xxxend");
}

TEST(StringEdit, ReverseAndCaseFunctions) {
    EXPECT_EQ(text(cow_String("abc").Reverse()), "cba");
    EXPECT_EQ(text(cow_String("abcd").Reverse()), "dcba");
    EXPECT_EQ(text(cow_String("HeLLo 1!").ToLower()), "hello 1!");
    EXPECT_EQ(text(cow_String("hello").Capitalize()), "Hello");
    EXPECT_EQ(text(cow_String("1hello").Capitalize()), "1hello");
    EXPECT_EQ(text(cow_String("HELLO").Uncapitalize()), "hELLO");
    EXPECT_EQ(text(cow_String("\xc9").ToLower()), "\xc9"); // bytes above ASCII stay
}

TEST(StringSelfReference, AppendAndInsertOfOwnTextSurviveGrowth) {
    const std::string base = std::string(58, 'a') + "bc"; // 60 characters, room for 77
    cow_String s(base.c_str());
    s.Append(s);
    EXPECT_EQ(text(s), base + base);
    cow_String t(base.c_str());
    t.Insert(1, t);
    EXPECT_EQ(text(t), "a" + base + base.substr(1));
    cow_String u(base.c_str());
    u.Insert(58, u.c_str() + 30, 0, 30);
    EXPECT_EQ(text(u), base.substr(0, 58) + base.substr(30) + "bc");
    cow_String v(base.c_str());
    v.Append(v.c_str() + 1);
    EXPECT_EQ(text(v), base + base.substr(1));
    EXPECT_GT(v.Capacity(), 77u);
}

TEST(StringSelfReference, InPlaceInsertReplaceAndAssignOfOwnText) {
    cow_String s("abcdef");
    s.Insert(1, s, 2, 2);
    EXPECT_EQ(text(s), "acdbcdef");
    cow_String r("abcdef");
    r.Replace(0, 1, r.c_str() + 1, 3);
    EXPECT_EQ(text(r), "bcdbcdef");
    cow_String a("abcdef");
    a = a.c_str() + 2;
    EXPECT_EQ(text(a), "cdef");
    cow_String b("xy");
    b.Substitute(cow_String("y"), b, 1);
    EXPECT_EQ(text(b), "xxy");
    cow_String c("ab");
    EXPECT_EQ(text(c + c), "abab");
}

TEST(StringCompare, OrdersByUnsignedBytes) {
    std::vector<cow_String> v{cow_String("b"), cow_String("\xc3"), cow_String("B"),
                              cow_String("a"), cow_String(),       cow_String("ab")};
    std::sort(v.begin(), v.end());
    std::vector<std::string> sorted;
    for (const cow_String& s : v) {
        sorted.push_back(text(s));
    }
    EXPECT_EQ(sorted, (std::vector<std::string>{"", "B", "a", "ab", "b", "\xc3"}));
}

TEST(StringCompare, AllOperatorsAgainstStringsAndText) {
    const cow_String abc("abc");
    EXPECT_TRUE(abc == "abc" && "abc" == abc && abc != "abd" && "abd" != abc);
    EXPECT_TRUE(abc < "abd" && "abb" < abc && abc <= "abc" && abc >= "abc");
    EXPECT_TRUE(abc > cow_String("ab") && !(abc < abc));
}

TEST(StringOutput, ConcatenationAndStreamLeaveOperandsAlone) {
    const cow_String left("ab");
    const cow_String joined = left + "cd" + cow_String("ef");
    EXPECT_EQ(text(joined), "abcdef");
    EXPECT_EQ(text(left), "ab");
    std::ostringstream out;
    out << joined << '|' << cow_String() << '|';
    EXPECT_EQ(out.str(), "abcdef||");
}

TEST(StringStandard, ViewsAndStandardStringsConvertBothWaysWithEveryByte) {
    using namespace std::string_literals;
    const std::string withNul = "a\0b"s;
    const cow_String fromView(std::string_view{withNul});
    const cow_String fromString(withNul);
    EXPECT_EQ(fromView.Length(), 3U);
    EXPECT_EQ(std::string_view(fromString), withNul);
    EXPECT_EQ(std::string(fromView), withNul);
    EXPECT_EQ(std::string_view(cow_String()), "");
    EXPECT_EQ(cow_String(std::string_view()).Length(), 0U);

    const cow_String copy = fromView;
    const std::string_view view = copy; // a view of the shared text, no copy
    EXPECT_EQ(view.data(), fromView.c_str());
    EXPECT_EQ(copy.size(), 3U);
    EXPECT_FALSE(copy.empty());
    EXPECT_TRUE(cow_String().empty());
    EXPECT_EQ(std::string(copy.begin(), copy.end()), withNul);
}

// The text ends at its first NUL in comparisons, as between strings.
TEST(StringStandard, ComparesWithViewsAsWithText) {
    const cow_String abc("abc");
    const std::string abd = "abd";
    EXPECT_TRUE(abc == std::string_view("abc") && std::string_view("abc") == abc);
    EXPECT_TRUE(abc != abd && abc < abd && abd > abc && abc >= std::string("ab"));
    EXPECT_TRUE(cow_String("\xc3") > std::string_view("z")); // unsigned bytes
    const cow_String withNul(std::string_view("ab\0c", 4));
    EXPECT_TRUE(withNul == std::string_view("ab"));
    EXPECT_TRUE(withNul == cow_String("ab"));
}

TEST(StringStandard, KeysUnorderedMapsWithEqualStringsHashingAlike) {
    std::unordered_map<cow_String, int> counts{{cow_String("one"), 1}};
    counts[cow_String("two")] = 2;
    cow_String again("on");
    again.Append('e');
    EXPECT_EQ(counts.at(again), 1);
    EXPECT_EQ(std::hash<cow_String>{}(cow_String(std::string_view("two\0x", 5))),
              std::hash<cow_String>{}(cow_String("two")));
    EXPECT_EQ(counts.size(), 2U);
}

// The stream readers' way into a string's buffer must never write through a shared
// representation, and must leave what a new representation of that length would be.
TEST(StringFill, SharedRepresentationIsLeftToItsOtherHolders) {
    cow_String a("abc");
    cow_String b(a);
    char* buffer = vlt::detail::cow_StringAccess::Fill(b, 3);
    std::memcpy(buffer, "xyz", 3);
    EXPECT_STREQ(a.c_str(), "abc");
    EXPECT_STREQ(b.c_str(), "xyz");
}

TEST(StringFill, SoleOwnerOfTheRightCapacityKeepsItsBufferOthersGetANewOne) {
    cow_String s("abcdef");
    const char* kept = s.c_str();
    std::memcpy(vlt::detail::cow_StringAccess::Fill(s, 2), "hi", 2);
    EXPECT_EQ(s.c_str(), kept);
    EXPECT_STREQ(s.c_str(), "hi");
    EXPECT_EQ(s.Length(), 2u);
    std::memcpy(vlt::detail::cow_StringAccess::Fill(s, 20), "twenty-characters-xy", 20);
    EXPECT_STREQ(s.c_str(), "twenty-characters-xy");
    EXPECT_EQ(s.Capacity(), 64u);
    cow_String empty;
    vlt::detail::cow_StringAccess::Fill(empty, 0);
    EXPECT_EQ(empty.Length(), 0u);
    EXPECT_EQ(empty.Capacity(), 32u);
}

} // namespace
