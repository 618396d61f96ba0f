#include "TestPlatform.h"
#include "utl_Modules.h"
#include "utl_tr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<char>;

constexpr const char* localeVariables[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};

// A dictionary the build compiled with msgfmt, beside the test program.
Bytes Built(const std::string& name) {
    const fs::path path = fs::path(vlt::test::ProgramPath()).parent_path() / "tr_catalogs" / name;
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

uint32_t Word(const Bytes& bytes, std::size_t at) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

void SetWord(Bytes& bytes, std::size_t at, uint32_t value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

// Each test starts with no locale variable, the catalogue directory an empty folder of its own,
// "solver" the default domain and nothing loaded.
class Translation : public testing::Test {
protected:
    void SetUp() override {
        for (const char* variable : localeVariables) {
            vlt::test::SetEnvironment(variable, nullptr);
        }
        vlt::test::SetEnvironment("KES_LOCALE_DIR", root.Path().c_str());
        utl_trReleaseDB();
        utl_trSetDomain("solver");
    }

    void TearDown() override {
        utl_trReleaseDB();
        utl_trSetDomain(nullptr);
        vlt::test::SetEnvironment("KES_LOCALE_DIR", nullptr);
    }

    void Install(const Bytes& bytes, const std::string& locale,
                 const std::string& domain = "solver") {
        const fs::path folder = fs::path(root.Path()) / locale / "LC_MESSAGES";
        fs::create_directories(folder);
        std::ofstream(folder / (domain + ".mo"), std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    vlt::test::TempDirectory root{"vlt_tr"};
};

// --- Which dictionaries: the locale variables, their order and the fallback of a name.

struct LocaleCase {
    const char* language;
    const char* all;
    const char* messages;
    const char* lang;
    const char* open;
    const char* january;
};

class LocaleChoice : public Translation, public testing::WithParamInterface<LocaleCase> {};

TEST_P(LocaleChoice, PicksTheDictionariesTheEnvironmentNames) {
    Install(Built("de.mo"), "de");
    Install(Built("de_AT.mo"), "de_AT");
    Install(Built("pl.mo"), "pl");
    const LocaleCase& given = GetParam();
    const char* values[] = {given.language, given.all, given.messages, given.lang};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        vlt::test::SetEnvironment(localeVariables[i], values[i]);
    }
    EXPECT_STREQ(utl_tr("Open"), given.open);
    EXPECT_STREQ(utl_tr("January"), given.january);
}

INSTANTIATE_TEST_SUITE_P(
    Locales, LocaleChoice,
    testing::Values(LocaleCase{nullptr, nullptr, nullptr, "de", "Öffnen", "Januar"},
                    // de_AT first, then de for what Austrian does not change.
                    LocaleCase{nullptr, nullptr, nullptr, "de_AT.UTF-8", "Öffnen", "Jänner"},
                    LocaleCase{nullptr, nullptr, nullptr, "de_CH.UTF-8@euro", "Öffnen", "Januar"},
                    LocaleCase{nullptr, nullptr, "pl", "de", "Otwórz", "January"},
                    LocaleCase{nullptr, "de_AT", "pl", nullptr, "Öffnen", "Jänner"},
                    LocaleCase{"pl:de_AT", "fr", nullptr, nullptr, "Otwórz", "Jänner"},
                    LocaleCase{"fr_FR.UTF-8:de", nullptr, nullptr, "pl", "Öffnen", "Januar"},
                    LocaleCase{"", "", nullptr, "pl", "Otwórz", "January"},
                    LocaleCase{"C:de", nullptr, nullptr, "de", "Open", "January"},
                    LocaleCase{nullptr, nullptr, nullptr, "fr", "Open", "January"}));

// --- What comes back untranslated is the caller's own pointer.

TEST_F(Translation, UntranslatedAnswersTheCallersText) {
    Install(Built("de.mo"), "de");
    vlt::test::SetEnvironment("LANG", "de");
    const char* missing = "Close";
    const char* empty = "";
    const char* singular = "%d window";
    const char* plural = "%d windows";
    EXPECT_EQ(utl_tr(missing), missing);
    EXPECT_EQ(utl_tr(empty), empty); // not the dictionary's header
    EXPECT_EQ(utl_tr(nullptr), nullptr);
    EXPECT_EQ(utl_trPlural(singular, plural, 1), singular);
    EXPECT_EQ(utl_trPlural(singular, plural, 0), plural);
    EXPECT_EQ(utl_trDomain("viewer", {.text = missing}), missing);

    const char* open = "Open";
    vlt::test::SetEnvironment("KES_LOCALE_DIR", nullptr);
    utl_trReleaseDB();
    EXPECT_EQ(utl_tr(open), open);
    vlt::test::SetEnvironment("KES_LOCALE_DIR", root.Path().c_str());
    utl_trReleaseDB();
    utl_trSetDomain(nullptr);
    EXPECT_EQ(utl_tr(open), open);
    utl_trSetDomain("solver");
    EXPECT_STREQ(utl_tr(open), "Öffnen");
}

// --- The same answers from every layout of one dictionary.

class Layout : public Translation, public testing::WithParamInterface<const char*> {};

TEST_P(Layout, AnswersEveryKindOfMessage) {
    Install(Built(GetParam()), "de");
    vlt::test::SetEnvironment("LANG", "de");
    EXPECT_STREQ(utl_tr("Open"), "Öffnen");
    EXPECT_STREQ(utl_tr("January"), "Januar");
    EXPECT_STREQ(utl_tr("File"), "Feile");
    EXPECT_STREQ(utl_trContext("menu", "File"), "Datei");
    EXPECT_STREQ(utl_trContext("tool", "File"), "File");
    EXPECT_STREQ(utl_trContext("menu", "Open"), "Open");
    EXPECT_STREQ(utl_trPlural("%d element", "%d elements", 1), "%d Element");
    EXPECT_STREQ(utl_trPlural("%d element", "%d elements", 0), "%d Elemente");
    EXPECT_STREQ(utl_tr("%d element"), "%d Element");
    // Keys that share a prefix with a message, or extend one, are other messages.
    EXPECT_STREQ(utl_tr("Ope"), "Ope");
    EXPECT_STREQ(utl_tr("Opened"), "Opened");
    EXPECT_STREQ(utl_trContext("men", "File"), "File");
}

INSTANTIATE_TEST_SUITE_P(Dictionaries, Layout,
                         testing::Values("de.mo", "de-nohash.mo", "de-big.mo"));

TEST(TranslationLayouts, BuiltAsTheirNamesSay) {
    const Bytes hashed = Built("de.mo");
    const Bytes plain = Built("de-nohash.mo");
    const Bytes big = Built("de-big.mo");
    ASSERT_GE(hashed.size(), 28U);
    ASSERT_GE(plain.size(), 28U);
    ASSERT_GE(big.size(), 4U);
    EXPECT_NE(Word(hashed, 20), 0U);
    EXPECT_EQ(Word(plain, 20), 0U);
    EXPECT_EQ(Bytes(big.begin(), big.begin() + 4), (Bytes{'\x95', '\x04', '\x12', '\xde'}));
}

// --- Plural forms: the dictionary's own rule, or n != 1 when it has none that works.

struct RuleCase {
    std::string rule;
    std::vector<std::pair<unsigned long, int>> forms; // n, index of the form
};

const std::vector<std::pair<unsigned long, int>> english{{0, 1}, {1, 0}, {2, 1}, {5, 1}};

class PluralRule : public Translation, public testing::WithParamInterface<RuleCase> {};

// Writes the rule over the "Plural-Forms:" value of rules.mo, which spaces hold room for.
TEST_P(PluralRule, PicksTheForm) {
    Bytes bytes = Built("rules.mo");
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t start = text.find("Plural-Forms:") + std::strlen("Plural-Forms:");
    const std::size_t end = text.find('\n', start);
    ASSERT_LE(GetParam().rule.size(), end - start);
    std::string value = GetParam().rule;
    value.resize(end - start, ' ');
    std::copy(value.begin(), value.end(), bytes.begin() + static_cast<std::ptrdiff_t>(start));
    Install(bytes, "xx");
    vlt::test::SetEnvironment("LANG", "xx");
    for (const auto& [n, form] : GetParam().forms) {
        EXPECT_STREQ(utl_trPlural("%d file", "%d files", n),
                     ("form " + std::to_string(form)).c_str())
            << "n = " << n;
    }
}

std::string Nested(int depth) {
    return "nplurals=3; plural=" + std::string(depth, '(') + "n%3" + std::string(depth, ')') + ";";
}

std::string LongSum(int terms) {
    std::string sum = "nplurals=3; plural=0";
    for (int i = 0; i < terms; ++i) {
        sum += "+n";
    }
    return sum + ";";
}

INSTANTIATE_TEST_SUITE_P(
    Rules, PluralRule,
    testing::Values(
        RuleCase{" nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || "
                 "n%100>=20) ? 1 : 2);",
                 {{1, 0}, {2, 1}, {4, 1}, {5, 2}, {0, 2}, {12, 2}, {22, 1}, {112, 2}, {1000, 2}}},
        RuleCase{" nplurals=1; plural=0;", {{0, 0}, {1, 0}, {2, 0}, {7, 0}}},
        RuleCase{" nplurals=3; plural=n%10==1 && n%100!=11 ? 0 : n%10>=2 && n%10<=4 && "
                 "(n%100<10 || n%100>=20) ? 1 : 2;",
                 {{1, 0}, {21, 0}, {11, 2}, {3, 1}, {13, 2}}},
        RuleCase{" nplurals=2; plural=n>1;", {{0, 0}, {1, 0}, {2, 1}}},
        // Precedence and associativity of C: * before -, - from the left, ! binds tightest.
        RuleCase{" nplurals=3; plural=n-2*1;", {{2, 0}, {3, 1}, {4, 2}}},
        RuleCase{" nplurals=3; plural=n-1-1;", {{3, 1}}},
        RuleCase{" nplurals=3; plural=!(n==1)+(n>=5);", {{1, 0}, {2, 1}, {7, 2}}},
        RuleCase{" nplurals=3; plural=n==1?0:n==2?1:2;", {{1, 0}, {2, 1}, {3, 2}}},
        RuleCase{Nested(10), {{4, 1}, {5, 2}}},
        // A division by zero gives the English form for that count only.
        RuleCase{" nplurals=3; plural=2/(n-3);", {{3, 1}, {4, 2}, {1, 0}}},
        RuleCase{" nplurals=3; plural=n!=0 && 6/n==2 ? 2 : 0;", {{0, 0}, {3, 2}, {2, 0}}},
        // A rule that picks a form the message lacks gets its first form.
        RuleCase{" nplurals=3; plural=n;", {{7, 0}, {2, 2}}},
        RuleCase{" nplurals=3; plural=n +;", english},
        RuleCase{" nplurals=3; plural=exit(1);", english},
        RuleCase{" nplurals=3; plural=n%3 n;", english}, RuleCase{" nplurals=3;", english},
        RuleCase{" plural=n%3;", english}, RuleCase{" nplurals=0; plural=n%3;", english},
        RuleCase{" nplurals=3; plural=99999999999999999999999;", english},
        RuleCase{Nested(60), english}, RuleCase{LongSum(60), english},
        RuleCase{" nplurals=3; plural=" + std::string(80, '!') + "n;", english}));

TEST_F(Translation, PolishDictionaryHasThreeForms) {
    Install(Built("pl.mo"), "pl");
    vlt::test::SetEnvironment("LANGUAGE", "pl");
    const char* expected[] = {"%d elementów", "%d element",  "%d elementy",
                              "%d elementy",  "%d elementy", "%d elementów"};
    for (unsigned long n = 0; n < std::size(expected); ++n) {
        EXPECT_STREQ(utl_trPlural("%d element", "%d elements", n), expected[n]) << n;
    }
}

// --- Domains, and their life until the release.

TEST_F(Translation, DomainsKeepTheirOwnDictionaries) {
    Install(Built("de.mo"), "de");
    Install(Built("pl.mo"), "de", "viewer");
    vlt::test::SetEnvironment("LANG", "de");
    EXPECT_STREQ(utl_tr("Open"), "Öffnen");
    EXPECT_STREQ(utl_trDomain("viewer", {.text = "Open"}), "Otwórz");
    EXPECT_STREQ(utl_trDomain(nullptr, {.text = "Open"}), "Öffnen");
    EXPECT_STREQ(utl_trDomain("viewer", {.text = "%d element", .plural = "%d elements", .n = 5}),
                 "%d elementów");
    EXPECT_STREQ(utl_trDomain("solver", {.context = "menu", .text = "File"}), "Datei");
    utl_trSetDomain("viewer");
    EXPECT_STREQ(utl_tr("Open"), "Otwórz");
}

TEST_F(Translation, LoadsOnceAndReadsAgainAfterTheRelease) {
    Install(Built("de.mo"), "de");
    Install(Built("pl.mo"), "pl");
    vlt::test::SetEnvironment("LANG", "de");
    const char* open = utl_tr("Open");
    EXPECT_STREQ(open, "Öffnen");
    // Neither the environment nor the files are read again while the dictionary is loaded.
    vlt::test::SetEnvironment("LANG", "pl");
    fs::remove_all(fs::path(root.Path()) / "de");
    EXPECT_EQ(utl_tr("Open"), open);
    utl_trReleaseDB();
    EXPECT_STREQ(utl_tr("Open"), "Otwórz");
}

TEST_F(Translation, FinalizeReleasesTheDictionaries) {
    Install(Built("de.mo"), "de");
    Install(Built("pl.mo"), "pl");
    vlt::test::SetEnvironment("LANG", "de");
    int tally = 0;
    utl_initialize(tally);
    EXPECT_STREQ(utl_tr("Open"), "Öffnen");
    vlt::test::SetEnvironment("LANG", "pl");
    utl_finalize(tally);
    EXPECT_STREQ(utl_tr("Open"), "Otwórz");
}

// --- A broken file is ignored as a whole: its sound entries do not translate either.

struct Corruption {
    const char* name;
    std::function<void(Bytes&)> apply;
};

void PrintTo(const Corruption& corruption, std::ostream* out) {
    *out << corruption.name;
}

class CorruptDictionary : public Translation, public testing::WithParamInterface<Corruption> {};

TEST_P(CorruptDictionary, IsIgnored) {
    Bytes bytes = Built("de.mo");
    GetParam().apply(bytes);
    Install(bytes, "de");
    vlt::test::SetEnvironment("LANG", "de");
    const char* open = "Open";
    EXPECT_EQ(utl_tr(open), open);
    EXPECT_STREQ(utl_trPlural("%d element", "%d elements", 3), "%d elements");
}

// Offsets of the header words and of the first message's (length, offset) pair.
constexpr std::size_t countAt = 8, originalsAt = 12, translationsAt = 16, hashSizeAt = 20,
                      hashOffsetAt = 24;

std::size_t FirstMessage(const Bytes& b) {
    return Word(b, originalsAt) + 8; // entry 0 is the header
}

std::size_t HashSlots(const Bytes& b) {
    return Word(b, hashSizeAt);
}

void Truncate(Bytes& b, std::size_t size) {
    b.resize(std::min(size, b.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Files, CorruptDictionary,
    testing::Values(
        Corruption{"Empty", [](Bytes& b) { b.clear(); }},
        Corruption{"HeaderCut", [](Bytes& b) { Truncate(b, 27); }},
        Corruption{"TablesCut", [](Bytes& b) { Truncate(b, Word(b, translationsAt) + 4); }},
        Corruption{"LastNulCut", [](Bytes& b) { b.pop_back(); }},
        Corruption{"BadMagic", [](Bytes& b) { b[0] ^= 1; }},
        Corruption{"FutureRevision", [](Bytes& b) { SetWord(b, 4, 2U << 16); }},
        Corruption{"CountPastEnd", [](Bytes& b) { SetWord(b, countAt, 0xffffffffU); }},
        // 8 times this count wraps to 0 in 32 bits.
        Corruption{"CountWraps", [](Bytes& b) { SetWord(b, countAt, 0x20000000U); }},
        Corruption{"OriginalsPastEnd", [](Bytes& b) { SetWord(b, originalsAt, 0xfffffff0U); }},
        Corruption{"TranslationsAtEnd",
                   [](Bytes& b) { SetWord(b, translationsAt, static_cast<uint32_t>(b.size())); }},
        Corruption{
            "StringOffsetPastEnd",
            [](Bytes& b) { SetWord(b, FirstMessage(b) + 4, static_cast<uint32_t>(b.size())); }},
        Corruption{"StringLengthWraps", [](Bytes& b) { SetWord(b, FirstMessage(b), 0xffffffffU); }},
        Corruption{"StringWithoutNul",
                   [](Bytes& b) {
                       const std::size_t at = FirstMessage(b);
                       b[Word(b, at + 4) + Word(b, at)] = 'x';
                   }},
        Corruption{"HashSizeLies", [](Bytes& b) { SetWord(b, hashSizeAt, 0xffffffffU); }},
        Corruption{"HashSizeTwo", [](Bytes& b) { SetWord(b, hashSizeAt, 2); }},
        Corruption{"HashPastEnd",
                   [](Bytes& b) { SetWord(b, hashOffsetAt, static_cast<uint32_t>(b.size() - 4)); }},
        Corruption{"SlotPastMessages",
                   [](Bytes& b) { SetWord(b, Word(b, hashOffsetAt), Word(b, countAt) + 1); }},
        // With no empty slot a missing message would be probed for ever; the messages stay
        // where they are.
        Corruption{"NoEmptySlot",
                   [](Bytes& b) {
                       for (std::size_t i = 0; i < HashSlots(b); ++i) {
                           const std::size_t slot = Word(b, hashOffsetAt) + 4 * i;
                           SetWord(b, slot, std::max(Word(b, slot), uint32_t{1}));
                       }
                   }},
        // Without a hash table the originals must be in order to be searched.
        Corruption{"UnsortedWithoutHash",
                   [](Bytes& b) {
                       SetWord(b, hashSizeAt, 0);
                       const std::size_t first = FirstMessage(b);
                       std::swap_ranges(b.begin() + static_cast<std::ptrdiff_t>(first),
                                        b.begin() + static_cast<std::ptrdiff_t>(first + 8),
                                        b.begin() + static_cast<std::ptrdiff_t>(first + 8));
                   }}),
    [](const testing::TestParamInfo<Corruption>& info) { return std::string(info.param.name); });

} // namespace
