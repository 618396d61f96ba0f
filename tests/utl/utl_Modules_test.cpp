#include "AssertRecorder.h"
#include "utl_Modules.h"
#include "utl_Version.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

// typ, omni, cow, bio, pnt, obj, cio, nex, utl itself, and thr.
constexpr int kModulesStartedByUtl = 10;

TEST(ModuleStartUp, NestedInitialiseActsOnlyOnFirstAndLastCalls) {
    int tally = 0;
    utl_initialize(tally);
    EXPECT_EQ(tally, kModulesStartedByUtl);
    utl_initialize(tally);
    EXPECT_EQ(tally, kModulesStartedByUtl);
    utl_finalize(tally);
    EXPECT_EQ(tally, kModulesStartedByUtl);
    utl_finalize(tally);
    EXPECT_EQ(tally, 0);
}

TEST(ModuleStartUp, ModuleStartedEarlierIsNotCountedAgain) {
    int tally = 0;
    cow_initialize(tally);
    EXPECT_EQ(tally, 1);
    utl_initialize(tally);
    EXPECT_EQ(tally, kModulesStartedByUtl); // cow was already up: one less
    utl_finalize(tally);
    EXPECT_EQ(tally, 1); // cow stays until its own count returns to 0
    cow_finalize(tally);
    EXPECT_EQ(tally, 0);
}

TEST(ModuleStartUp, FinaliseWithoutInitialiseWrapsAndDelaysTheNextStart) {
    int tally = 0;
    bio_finalize(tally); // 0 wraps to the largest value; nothing else happens
    EXPECT_EQ(tally, 0);
    bio_initialize(tally); // only brings the count back to 0
    EXPECT_EQ(tally, 0);
    bio_initialize(tally); // now it acts
    EXPECT_EQ(tally, 1);
    bio_finalize(tally);
    EXPECT_EQ(tally, 0);
}

// Only the first initialisation acts (and counts); only the last finalisation counts back.
void ExpectNestedPairBalances(void (*initialize)(int&), void (*finalize)(int&)) {
    int tally = 5;
    initialize(tally);
    initialize(tally);
    EXPECT_EQ(tally, 6);
    finalize(tally);
    EXPECT_EQ(tally, 6);
    finalize(tally);
    EXPECT_EQ(tally, 5);
}

TEST(ModuleStartUp, EveryModulePairFollowsTheSameRule) {
    ExpectNestedPairBalances(typ_initialize, typ_finalize);
    // The others register their types, which needs a live type table.
    int typTally = 0;
    typ_initialize(typTally);
    using Pair = std::pair<void (*)(int&), void (*)(int&)>;
    const Pair pairs[] = {{omni_initialize, omni_finalize}, {cow_initialize, cow_finalize},
                          {bio_initialize, bio_finalize},   {pnt_initialize, pnt_finalize},
                          {obj_initialize, obj_finalize},   {cio_initialize, cio_finalize},
                          {nex_initialize, nex_finalize},   {thr_initialize, thr_finalize}};
    for (const Pair& pair : pairs) {
        ExpectNestedPairBalances(pair.first, pair.second);
    }
    typ_finalize(typTally);
}

TEST(VersionSingleton, SameObjectUntilFinaliseThenANewOne) {
    int tally = 0;
    utl_initialize(tally);
    utl_Version* first = &omi_Singleton<utl_Version>::Instance();
    EXPECT_EQ(&omi_Singleton<utl_Version>::Instance(), first);
    EXPECT_EQ(omi_SingletonBase<utl_Version>::Instance(), first);
    utl_finalize(tally);
    EXPECT_EQ(omi_SingletonBase<utl_Version>::Instance(), nullptr);

    utl_initialize(tally);
    EXPECT_EQ(omi_SingletonBase<utl_Version>::Instance(), nullptr);
    utl_Version& second = omi_Singleton<utl_Version>::Instance();
    EXPECT_EQ(omi_SingletonBase<utl_Version>::Instance(), &second);
    utl_finalize(tally);
}

TEST(VersionSingleton, TextMatchesTheNumbers) {
    utl_Version& version = omi_Singleton<utl_Version>::Instance();
    char expected[40];
    std::snprintf(expected, sizeof expected, "%d.%d.%d", version.Major(), version.Minor(),
                  version.Patch());
    EXPECT_STREQ(version.Text(), expected);
    EXPECT_TRUE(version.IsAtLeast(version.Major(), version.Minor(), version.Patch()));
    EXPECT_TRUE(version.IsAtLeast(version.Major() - 1, 99, 99));
    EXPECT_FALSE(version.IsAtLeast(version.Major(), version.Minor(), version.Patch() + 1));
    EXPECT_FALSE(version.IsAtLeast(version.Major() + 1, 0, 0));
    omi_SingletonBase<utl_Version>::Finalize();
}

TEST(VersionSingleton, ConstructingASecondObjectDirectlyIsReported) {
    vlt::test::AssertRecorder recorder;
    utl_Version& registered = omi_Singleton<utl_Version>::Instance();
    {
        utl_Version second;
        ASSERT_EQ(recorder.Reports().size(), 1u);
        EXPECT_EQ(recorder.Reports()[0].expression, "instance == 0");
        EXPECT_EQ(recorder.Reports()[0].path, "include/omi_SingletonBase");
    }
    // The second object took the registration and gave it up when it went.
    EXPECT_EQ(omi_SingletonBase<utl_Version>::Instance(), nullptr);
    delete &registered;
}

} // namespace
