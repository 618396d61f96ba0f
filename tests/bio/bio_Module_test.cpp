// Start-up and shut-down of the module's default devices.
#include "bio_IOmemFilter.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

namespace {

TEST(BioModule, OnlyTheOutermostPairActs) {
    int tally = 0;
    bio_initialize(tally);
    bio_initialize(tally);
    EXPECT_EQ(tally, 1);
    bio_finalize(tally);
    EXPECT_EQ(tally, 1);
    bio_finalize(tally);
    EXPECT_EQ(tally, 0);
}

TEST(BioModule, MemoryFilterWorksWithAndWithoutTheModule) {
    int tally = 0;
    bio_initialize(tally);
    {
        bio_IOmemFilter mem(4);
        mem << 1.5 << "text";
        double d = 0;
        mem >> d;
        EXPECT_EQ(d, 1.5);
    }
    bio_finalize(tally);
    bio_IOmemFilter orphan(4); // without the module its bases get no devices at all
    orphan << 3;
    int v = 0;
    orphan >> v;
    EXPECT_EQ(v, 3);
}

} // namespace
