// Checked casts through the type table, and the text and location of a refused one.
#include "AssertRecorder.h"
#include "nex_BadCastException.h"
#include "nex_TestSupport.h"
#include "typ_ArchCompTable.h"

#include <gtest/gtest.h>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::Str;

class DynamicCast : public vlt::test::ExceptionStreamTest {};

TEST_F(DynamicCast, ADescendantCastsToItsAncestorButNotTheOtherWay) {
    EXPECT_TRUE(nex_canDynamicCastPtr(0x1f0001, 0x1f0005));
    EXPECT_FALSE(nex_canDynamicCastPtr(0x1f0005, 0x1f0001));
    EXPECT_FALSE(nex_canDynamicCastPtr(0x1f0002, 0x1f0004)); // siblings
}

TEST_F(DynamicCast, EqualIdsCastWithoutATableLookupEvenUnregistered) {
    AssertRecorder rec;
    EXPECT_TRUE(nex_canDynamicCastPtr(0x3e70009, 0x3e70009));
    EXPECT_TRUE(nex_canDynamicCastRef(0x3e70009, 0x3e70009, "f", 1));
    EXPECT_TRUE(rec.Reports().empty());
}

TEST_F(DynamicCast, BadCastTextNamesTheSourceFirstWithItsPublishedQuotes) {
    EXPECT_EQ(Str(nex_makeBadCastVal(0x1f0002, 0x1a0001)),
              "Bad Cast: From `nex_TextException' To 'cow_String'.");
}

TEST_F(DynamicCast, RefusedReferenceCastThrowsBadCastRaisedAtTheCallersLocation) {
    EXPECT_TRUE(nex_canDynamicCastRef(0x1f0001, 0x1f0006, "a", 1));
    try {
        nex_canDynamicCastRef(0x1f0005, 0x1f0001, "nex/caller", 77);
        FAIL() << "no exception";
    } catch (const nex_BadCastException& e) {
        EXPECT_EQ(Str(e.AsString()), "Bad Cast: From `nex_Exception' To 'nex_BadCastException'.");
        EXPECT_EQ(Str(e.FileName()), "nex/caller");
        EXPECT_EQ(e.Line(), 77);
    }
}

TEST_F(DynamicCast, TheModuleRegistersEveryClassUnderTheRoot) {
    const typ_ArchCompEntry entry = nex_ArchEntry();
    ASSERT_EQ(entry.size, 8u);
    EXPECT_EQ(entry.entries[0].kind, 0u);
    EXPECT_EQ(entry.entries[0].parent, 1u);
    const char* names[] = {"nex_Exception",          "nex_TextException",    "nex_CommandException",
                           "nex_AssertException",    "nex_BadCastException", "nex_ExitException",
                           "nex_InvalidObjException"};
    for (unsigned cls = 1; cls < 8; ++cls) {
        const unsigned id = 0x1f0000 + cls;
        EXPECT_STREQ(typ_ArchCompTable::GetName(id), names[cls - 1]);
        EXPECT_EQ(typ_ArchCompTable::GetParent(id), cls == 1 ? 1u : 0x1f0001u);
        EXPECT_EQ(entry.entries[cls].kind, 4u);
    }
}

} // namespace
