#include "AssertRecorder.h"
#include "typ_ArchCompTable.h"
#include "typ_DebugFlags.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

constexpr char tablePath[] = "typ/impl/typ_ArchCompTable";

void* Construct(bio_Ifilter&, void* storage) {
    return storage;
}
void Destroy(void*) {}

const unsigned char pointerMap[] = {1, 0};

// Facility 31: a root class, two children, a grandchild, an unrooted class and an array type.
const typ_Entry exceptionRows[] = {
    {.parent = typ_none},
    {.kind = typ_ClassTT, .length = 16, .parent = typ_none, .name = "root"},
    {.kind = typ_ClassTT, .parent = 0x1f0001, .name = "child", .ctor = Construct, .dtor = Destroy},
    {.kind = typ_ClassTT, .pointers = pointerMap, .parent = 0x1f0001, .name = "sibling"},
    {.kind = typ_ClassTT, .parent = 0x1f0002, .name = "grandchild"},
    {.kind = typ_UnrootedTT, .parent = 0x1f0001, .name = "unrooted"},
    {.kind = typ_ArrayTT,
     .parent = typ_none,
     .name = "array",
     .arrayElemType = 0x1f0002,
     .arrayElemsArePointers = true},
    {.kind = typ_ClassTT, .parent = 0x1f0007, .name = "loop"}, // its own parent: a broken row
};

// Facility 26: one class whose parent is in facility 31.
const typ_Entry containerRows[] = {
    {.parent = typ_none},
    {.kind = typ_ClassTT, .parent = 0x1f0004, .name = "foreign child"},
};

class TypeTable : public testing::Test {
protected:
    void SetUp() override {
        typ_ArchCompTable::initialize(1024);
        typ_DebugFlags::initialize();
        typ_ArchCompTable::InsertEntry(31, typ_ArchCompEntry(exceptionRows, 8));
        typ_ArchCompTable::InsertEntry(26, typ_ArchCompEntry(containerRows, 2));
    }
    void TearDown() override { typ_ArchCompTable::finalize(); }

    // Runs a lookup, and answers what it wrote on standard error.
    template <class Lookup>
    static std::string StderrOf(Lookup lookup) {
        testing::internal::CaptureStderr();
        lookup();
        return testing::internal::GetCapturedStderr();
    }

    AssertRecorder recorder;
};

// ---------------------------------------------------------------------------------------------
// Lookups

TEST(TypeTableNames, PseudoTypesAreNamedWithoutATable) {
    AssertRecorder recorder;
    ASSERT_EQ(typ_ArchCompTable::Size(), 0u);
    EXPECT_STREQ(typ_ArchCompTable::GetName(1), "typ_none");
    EXPECT_STREQ(typ_ArchCompTable::GetName(2), "typ_any");
    EXPECT_STREQ(typ_ArchCompTable::GetName(3), "typ_obj");
    EXPECT_STREQ(typ_ArchCompTable::GetName(4), "typ_ado");
    EXPECT_EQ(typ_ArchCompTable::GetParent(typ_any), typ_any);
    EXPECT_EQ(typ_ArchCompTable::GetParent(typ_obj), typ_any);
    EXPECT_TRUE(recorder.Reports().empty());
}

TEST_F(TypeTable, AccessorsAnswerTheFieldsOfTheRow) {
    EXPECT_STREQ(typ_ArchCompTable::GetName(0x1f0002), "child");
    EXPECT_EQ(typ_ArchCompTable::GetLength(0x1f0001), 16u);
    EXPECT_EQ(typ_ArchCompTable::GetParent(0x1f0004), 0x1f0002u);
    EXPECT_EQ(typ_ArchCompTable::GetCtorFunc(0x1f0002), &Construct);
    EXPECT_EQ(typ_ArchCompTable::GetDtorFunc(0x1f0002), &Destroy);
    EXPECT_EQ(typ_ArchCompTable::GetReadFunc(0x1f0002), nullptr);
    EXPECT_EQ(typ_ArchCompTable::GetPointers(0x1f0003), pointerMap);
    EXPECT_TRUE(typ_ArchCompTable::HasPointers(0x1f0003));
    EXPECT_FALSE(typ_ArchCompTable::HasPointers(0x1f0002));
    EXPECT_EQ(typ_ArchCompTable::GetArrayElemTypeTag(0x1f0006), 0x1f0002u);
    EXPECT_TRUE(typ_ArchCompTable::ArrayElemsArePointers(0x1f0006));
    EXPECT_STREQ(typ_ArchCompTable::GetName(0x1a0001), "foreign child");
    EXPECT_TRUE(recorder.Reports().empty());
}

TEST_F(TypeTable, FacilityOutOfRangeIsReportedAndAnswersAnEmptyRow) {
    const std::string zero = StderrOf([] { EXPECT_STREQ(typ_ArchCompTable::GetName(5), ""); });
    EXPECT_EQ(zero, "Facility number 0 out of range\n");
    const std::string beyond = StderrOf([] {
        const typ_Entry& row = typ_ArchCompTable::GetEntry(0x4000001);
        EXPECT_EQ(row.kind, 0u);
        EXPECT_EQ(row.ctor, nullptr);
    });
    EXPECT_EQ(beyond, "Facility number 400 out of range\n");
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"0 < fac && fac < tbsize", "0 < fac && fac < tbsize"}));
    EXPECT_EQ(recorder.Reports()[0].path, tablePath);
}

TEST_F(TypeTable, MissingRowsAreReportedByFacilityDebugNameOrClassInHexadecimal) {
    EXPECT_EQ(StderrOf([] { typ_ArchCompTable::GetEntry(0x170001); }),
              "Type Tables not inserted for facility obj\n");
    EXPECT_EQ(StderrOf([] { typ_ArchCompTable::GetEntry(0x1f40001); }),
              "Type Tables not inserted for facility \n");
    EXPECT_EQ(StderrOf([] { EXPECT_EQ(typ_ArchCompTable::GetParent(0x1f000a), typ_none); }),
              "No type a in facility 1f\n");
    EXPECT_EQ(recorder.Expressions(),
              std::vector<std::string>(3, "cls < ace.size && ace.entries != NULL"));
}

TEST_F(TypeTable, ReservedClassBitsAreReportedAfterTheRangeCheck) {
    EXPECT_EQ(StderrOf([] { typ_ArchCompTable::GetEntry(0x1f1000); }),
              "No type 1000 in facility 1f\n");
    EXPECT_EQ(
        recorder.Expressions(),
        (std::vector<std::string>{"cls < ace.size && ace.entries != NULL", "(cls & 0xf000) == 0"}));

    // Within a facility's rows the class is still answered after the report.
    std::vector<typ_Entry> many(0x1001);
    many[0x1000].name = "far";
    typ_ArchCompTable::InsertEntry(40, typ_ArchCompEntry(many.data(), 0x1001));
    recorder.Clear();
    EXPECT_STREQ(typ_ArchCompTable::GetName(0x281000), "far");
    EXPECT_EQ(recorder.Expressions(), (std::vector<std::string>{"(cls & 0xf000) == 0"}));
}

TEST_F(TypeTable, FacilityBeyondTheTableIsNotInserted) {
    typ_ArchCompTable::InsertEntry(1024, typ_ArchCompEntry(exceptionRows, 8));
    EXPECT_EQ(recorder.Reports(), (std::vector<AssertReport>{{"ix < tbsize", tablePath, 146}}));
}

TEST_F(TypeTable, ArrayAccessorsReportAnotherKindAtTheirLines) {
    EXPECT_EQ(typ_ArchCompTable::GetArrayElemTypeTag(0x1f0002), 0u);
    EXPECT_FALSE(typ_ArchCompTable::ArrayElemsArePointers(0x1f0002));
    EXPECT_EQ(recorder.Reports(),
              (std::vector<AssertReport>{{"ent.kind == typ_ArrayTT", tablePath, 166},
                                         {"ent.kind == typ_ArrayTT", tablePath, 156}}));
}

TEST_F(TypeTable, UnsupportedAndUnimplementedCallsReport) {
    EXPECT_EQ(typ_ArchCompTable::GetHandleCtor(0x1f0002), nullptr);
    std::ostringstream out;
    out << typ_ArchCompEntry(exceptionRows, 8);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(recorder.Reports(),
              (std::vector<AssertReport>{
                  {"! \"GetHandleCtor is not supported\"", tablePath, 206},
                  {"\"TYPE TABLE PRINT NOT YET IMPLEMENTED\" == 0", tablePath, 373}}));
}

TEST_F(TypeTable, FinalizeEmptiesTheTable) {
    typ_ArchCompTable::finalize();
    EXPECT_EQ(typ_ArchCompTable::Size(), 0u);
    EXPECT_EQ(StderrOf([] { typ_ArchCompTable::GetEntry(0x1f0001); }),
              "Facility number 1f out of range\n");
}

// ---------------------------------------------------------------------------------------------
// Descent

struct Descent {
    unsigned child;
    unsigned ancestor;
    bool expected;
};

class TypeTableDescent : public TypeTable, public testing::WithParamInterface<Descent> {};

TEST_P(TypeTableDescent, FollowsThePublishedOrder) {
    const Descent d = GetParam();
    EXPECT_EQ(typ_ArchCompTable::IsParent(d.child, d.ancestor), d.expected)
        << std::hex << d.child << " of " << d.ancestor;
    EXPECT_TRUE(recorder.Reports().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TypeTableDescent,
    testing::Values(Descent{0x1f0002, 0x1f0001, true},    // child of its parent
                    Descent{0x1f0004, 0x1f0001, true},    // grandchild
                    Descent{0x1f0003, 0x1f0002, false},   // sibling
                    Descent{0x1a0001, 0x1f0001, true},    // across facilities
                    Descent{0x990001, 0x990001, true},    // equal ids, even unregistered
                    Descent{typ_any, typ_obj, true},      // the roots descend from each other
                    Descent{typ_obj, 0x1f0001, false},    // and from nothing else
                    Descent{0x1f0002, typ_any, true},     // every class descends from the roots
                    Descent{0x1f0005, typ_any, false},    // unless unrooted, for typ_any
                    Descent{0x1f0005, typ_obj, true},     //
                    Descent{0x1f0005, 0x1f0001, true},    // an unrooted class has parents
                    Descent{0x1f0001, typ_none, true},    // typ_none, named as a parent
                    Descent{0x1f0001, 0x1f0003, false})); // the walk stops at typ_none

TEST_F(TypeTable, ParentChainInACircleIsReportedNotFollowedForever) {
    EXPECT_FALSE(typ_ArchCompTable::IsParent(0x1f0007, 0x1f0001));
    EXPECT_EQ(recorder.Expressions(), (std::vector<std::string>{"! \"parent chain ends\""}));
}

// ---------------------------------------------------------------------------------------------
// Module start-up

TEST(TypeModule, FirstInitializeMakesTheTableAndNamesAndLastFinalizeDropsTheTable) {
    typ_DebugFlags::SetDebugFlags("obj", 0);
    int tally = 0;
    typ_initialize(tally);
    typ_initialize(tally);
    EXPECT_EQ(tally, 1);
    EXPECT_EQ(typ_ArchCompTable::Size(), 1024u);
    EXPECT_STREQ(typ_DebugFlags::GetFacilityName(31), "nex");
    EXPECT_TRUE(typ_DebugFlags::SetDebugFlags("obj", 2));

    typ_finalize(tally);
    EXPECT_EQ(typ_ArchCompTable::Size(), 1024u);
    typ_finalize(tally);
    EXPECT_EQ(tally, 0);
    EXPECT_EQ(typ_ArchCompTable::Size(), 0u);
    EXPECT_EQ(typ_DebugFlags::GetDebugFlags(23u), 2); // settings outlive the table
    typ_DebugFlags::SetDebugFlags("obj", 0);
}

} // namespace
