#include "typ_DebugFlags.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

class DebugFlags : public testing::Test {
protected:
    void SetUp() override {
        typ_DebugFlags::initialize();
        for (const char* name : {"obj", "cio", "nex"}) {
            typ_DebugFlags::SetDebugFlags(name, 0);
        }
    }
};

TEST_F(DebugFlags, LibraryFacilitiesAreNamed) {
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(23), "obj");
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(26), "cio");
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(31), "nex");
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(24), "");
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(5000), "");
}

TEST_F(DebugFlags, LevelsAreSetAndReadByNameOrNumber) {
    EXPECT_TRUE(typ_DebugFlags::SetDebugFlags("cio", -3));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(26u), -3);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags("cio"), -3);
    EXPECT_FALSE(typ_DebugFlags::SetDebugFlags("CIO", 1)); // names are case-sensitive
    EXPECT_FALSE(typ_DebugFlags::SetDebugFlags("", 1));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags("zzz"), 0);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(1024u), 0);
}

TEST_F(DebugFlags, ClientRegistersFurtherFacilityNames) {
    const typ_FacNameNumber suite[] = {{"sol", 101}, {"far", 2000}, {nullptr, 0}};
    EXPECT_FALSE(typ_DebugFlags::RegisterFacilityNames(suite)); // 2000 has no slot
    EXPECT_TRUE(typ_DebugFlags::ParseDebugFlags("sol=4"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(101u), 4);
    EXPECT_FALSE(typ_DebugFlags::SetDebugFlags("far", 1));
}

TEST_F(DebugFlags, ParseSetsEveryItem) {
    EXPECT_TRUE(typ_DebugFlags::ParseDebugFlags("obj=2,nex=1"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 2);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(31u), 1);
}

TEST_F(DebugFlags, ParseStopsAtOnceAtAnItemWithoutEquals) {
    EXPECT_FALSE(typ_DebugFlags::ParseDebugFlags("obj:2"));
    EXPECT_FALSE(typ_DebugFlags::ParseDebugFlags("nex=1,obj,cio=3"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 0);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(31u), 1);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(26u), 0);
}

TEST_F(DebugFlags, ParseStopsBeforeSettingAnItemWithTrailingCharacters) {
    EXPECT_FALSE(typ_DebugFlags::ParseDebugFlags("obj=2x,nex=1"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 0);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(31u), 0);
}

TEST_F(DebugFlags, ParseSkipsUnknownNamesButAnswersFalse) {
    EXPECT_FALSE(typ_DebugFlags::ParseDebugFlags("obj=2,zzz=1,nex=5"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 2);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(31u), 5);
}

TEST_F(DebugFlags, ParseReadsMissingDigitsAsZeroAndHoldsHugeOnes) {
    typ_DebugFlags::SetDebugFlags("obj", 7);
    EXPECT_TRUE(typ_DebugFlags::ParseDebugFlags("obj=,nex=99999999999,"));
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 0);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(31u), INT_MAX);
    EXPECT_TRUE(typ_DebugFlags::ParseDebugFlags(""));
}

} // namespace
