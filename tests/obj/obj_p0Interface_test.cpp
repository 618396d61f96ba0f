// Object and pointer records: markers, back-references, the null record, type checks with their
// messages, printing with back-references, and deep copies that keep sharing.
#include "../cio/cio_TestStream.h"
#include "AssertRecorder.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cio_String.h"
#include "obj_p0Interface.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"
#include "typ_ArchCompTable.h"
#include "typ_DebugFlags.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using vlt::test::Bytes;

constexpr unsigned short testFacility = 900;
constexpr unsigned leafId = 0x03840001;
constexpr unsigned childId = 0x03840002;
constexpr unsigned pairId = 0x03840003;
constexpr unsigned muteId = 0x03840004;

struct Leaf {
    explicit Leaf(int v = 0) : value(v) {}
    virtual ~Leaf() = default;
    int value;
};

struct Child : Leaf {
    int extra = 0;
};

// Two pointers that may name one leaf.
struct Pair {
    Leaf* a = nullptr;
    Leaf* b = nullptr;
    ~Pair() {
        delete a;
        if (b != a) {
            delete b;
        }
    }
};

template <class X>
void* construct(bio_Ifilter&, void* storage) {
    return storage != nullptr ? new (storage) X : new X;
}
template <class X>
void destroy(void* p) {
    delete static_cast<X*>(p);
}

void readLeaf(bio_Ifilter& in, void* p) {
    in >> static_cast<Leaf*>(p)->value;
}
bio_Ofilter& writeLeaf(bio_Ofilter& out, const void* p) {
    return out << static_cast<const Leaf*>(p)->value;
}
pnt_PrettyPrint& printLeaf(pnt_PrettyPrint& pp, const void* p) {
    return pp << "leaf " << static_cast<const Leaf*>(p)->value;
}
void readChild(bio_Ifilter& in, void* p) {
    readLeaf(in, p);
    in >> static_cast<Child*>(p)->extra;
}
bio_Ofilter& writeChild(bio_Ofilter& out, const void* p) {
    return writeLeaf(out, p) << static_cast<const Child*>(p)->extra;
}
void readPair(bio_Ifilter& in, void* p) {
    auto* pair = static_cast<Pair*>(p);
    obj_InputP0Ptr(in, reinterpret_cast<void**>(&pair->a), leafId);
    obj_InputP0Ptr(in, reinterpret_cast<void**>(&pair->b), leafId);
}
bio_Ofilter& writePair(bio_Ofilter& out, const void* p) {
    const auto* pair = static_cast<const Pair*>(p);
    obj_OutputP0Ptr(out, pair->a, leafId);
    return obj_OutputP0Ptr(out, pair->b, leafId);
}

const typ_Entry rows[] = {
    {.parent = typ_none, .name = ""},
    {.kind = typ_ClassTT,
     .parent = typ_none,
     .name = "Leaf",
     .ctor = &construct<Leaf>,
     .read = &readLeaf,
     .write = &writeLeaf,
     .print = &printLeaf,
     .dtor = &destroy<Leaf>},
    {.kind = typ_ClassTT,
     .parent = leafId,
     .name = "Child",
     .ctor = &construct<Child>,
     .read = &readChild,
     .write = &writeChild,
     .print = &printLeaf,
     .dtor = &destroy<Child>},
    {.kind = typ_ClassTT,
     .parent = typ_none,
     .name = "Pair",
     .ctor = &construct<Pair>,
     .read = &readPair,
     .write = &writePair,
     .dtor = &destroy<Pair>},
    {.kind = typ_ClassTT,
     .parent = typ_none,
     .name = "Mute",
     .ctor = &construct<Leaf>,
     .dtor = &destroy<Leaf>},
};

class Marshalling : public vlt::test::StreamTest {
protected:
    static void SetUpTestSuite() {
        StreamTest::SetUpTestSuite();
        typ_ArchCompTable::InsertEntry(testFacility, typ_ArchCompEntry(rows, 5));
    }

    void* ReadPtr(unsigned expected, unsigned* actual = nullptr) {
        void* p = reinterpret_cast<void*>(1);
        unsigned got = 0;
        obj_InputP0Ptr(mem, &p, expected, got);
        if (actual != nullptr) {
            *actual = got;
        }
        return p;
    }
};

TEST_F(Marshalling, NullPointerIsOneZeroWordAndReadsBackNull) {
    obj_OutputP0Ptr(mem, nullptr, leafId);
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes().Words({0})));
    mem << 77;
    unsigned actual = 5;
    EXPECT_EQ(ReadPtr(leafId, &actual), nullptr);
    EXPECT_EQ(actual, 0u);
    int next = 0;
    mem >> next;
    EXPECT_EQ(next, 77); // nothing but the zero was consumed
}

TEST_F(Marshalling, PointersAreDataWithMarkersInFirstOccurrenceOrderThenBackReferences) {
    Leaf x(1);
    Leaf y(42);
    obj_OutputP0Ptr(mem, &y, leafId);
    obj_OutputP0Ptr(mem, &x, leafId);
    obj_OutputP0Ptr(mem, &y, leafId);
    EXPECT_EQ(Written(),
              std::vector<uint8_t>(Bytes().Words({leafId, 1, 42, leafId, 2, 1, leafId, 1})));
    auto* first = static_cast<Leaf*>(ReadPtr(leafId));
    auto* second = static_cast<Leaf*>(ReadPtr(leafId));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(ReadPtr(leafId), first);
    EXPECT_EQ(first->value, 42);
    delete first;
    delete second;
}

TEST_F(Marshalling, ObjectRecordHasMarkerZeroAndIsNotLogged) {
    Leaf leaf(9);
    obj_OutputP0Obj(mem, &leaf, leafId);
    obj_OutputP0Ptr(mem, &leaf, leafId); // written in full again
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes().Words({leafId, 0, 9, leafId, 1, 9})));
    auto* fromObject = static_cast<Leaf*>(ReadPtr(leafId));
    void* logged = nullptr;
    EXPECT_FALSE(mem.FindMarker(0, logged));
    auto* fromPointer = static_cast<Leaf*>(ReadPtr(leafId));
    EXPECT_NE(fromObject, fromPointer);
    EXPECT_EQ(fromObject->value, 9);
    delete fromObject;
    delete fromPointer;
}

TEST_F(Marshalling, ChildRecordIsAcceptedForParentAndCreatesTheChild) {
    Child child;
    child.value = 3;
    child.extra = 4;
    obj_OutputP0Ptr(mem, &child, childId);
    unsigned actual = 0;
    auto* read = static_cast<Leaf*>(ReadPtr(leafId, &actual));
    EXPECT_EQ(actual, childId);
    auto* asChild = dynamic_cast<Child*>(read);
    ASSERT_NE(asChild, nullptr);
    EXPECT_EQ(asChild->extra, 4);
    delete read;
}

TEST_F(Marshalling, ParentRecordIsRefusedForChildWithMessageAndReport) {
    Leaf leaf(5);
    obj_OutputP0Ptr(mem, &leaf, leafId);
    AssertRecorder rec;
    ::testing::internal::CaptureStderr();
    void* read = ReadPtr(childId);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(err, "Error: obj_InputP0Ptr(): Trying to construct from stream but 'Leaf' with tag "
                   "'3840001'\n       is not derived from 'Child' with tag '3840002'. "
                   "Aborting...\n");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"typ_ArchCompTable::IsParent(actual, expected)",
                                          "obj/impl/obj_p0Interface", 216}}));
    EXPECT_EQ(mem.Read(), 4u); // left after the type id: the marker is not read
}

TEST_F(Marshalling, BackReferenceToObjectOfAnotherTypeIsRefused) {
    Leaf leaf(5);
    obj_OutputP0Ptr(mem, &leaf, leafId);
    mem << pairId << 1u;
    auto* read = static_cast<Leaf*>(ReadPtr(leafId));
    AssertRecorder rec;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(ReadPtr(pairId), nullptr);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(rec.Expressions(),
              std::vector<std::string>{"typ_ArchCompTable::IsParent(actual, expected)"});
    delete read;
}

TEST_F(Marshalling, ObjectOfOtherTypeIsRefusedAndLeavesAnEmptyObject) {
    Child child;
    obj_OutputP0Obj(mem, &child, childId);
    AssertRecorder rec;
    ::testing::internal::CaptureStderr();
    Leaf* target = static_cast<Leaf*>(::operator new(sizeof(Leaf)));
    obj_InputP0Obj(mem, target, leafId);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Error: obj_InputP0Obj(): Trying to construct from stream. Expecting type "
                   "'Leaf' with tag '3840001'.\n       Received type 'Child' with tag '3840002'. "
                   "Aborting...\n");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"actual == expected", "obj/impl/obj_p0Interface", 292}}));
    EXPECT_EQ(target->value, 0);
    EXPECT_EQ(mem.Read(), 8u);
    target->~Leaf();
    ::operator delete(target);
}

TEST_F(Marshalling, MissingFunctionsAreReportedAtTheirLines) {
    Leaf leaf;
    AssertRecorder rec;
    obj_OutputP0Ptr(mem, &leaf, muteId);
    obj_OutputP0Obj(mem, &leaf, muteId);
    EXPECT_EQ(ReadPtr(muteId), nullptr);
    pnt_PrettyPrint pp;
    obj_PrintP0Ptr(pp, &leaf, muteId);
    obj_PrintP0Obj(pp, &leaf, muteId);
    obj_PrintP0Obj(pp, nullptr, leafId);
    const char* path = "obj/impl/obj_p0Interface";
    EXPECT_EQ(rec.Reports(), (std::vector<AssertReport>{{"marshall != 0", path, 76},
                                                        {"marshall != 0", path, 91},
                                                        {"readData != 0", path, 220},
                                                        {"print != 0", path, 136},
                                                        {"print != 0", path, 154},
                                                        {"objPtr != 0", path, 150}}));
}

TEST_F(Marshalling, PrintingTwiceGivesMarkerThenBackReference) {
    Leaf leaf(8);
    pnt_PrettyPrint pp;
    obj_PrintP0Ptr(pp, &leaf, leafId);
    pp << " ";
    obj_PrintP0Ptr(pp, &leaf, leafId);
    pp << " ";
    obj_PrintP0Ptr(pp, nullptr, leafId);
    pp << " ";
    obj_PrintP0Obj(pp, &leaf, leafId);
    pp.Flush();
    EXPECT_STREQ(pp.Text().c_str(), "#1=leaf 8 #1# (NULL) leaf 8");
}

TEST_F(Marshalling, DeepCopyKeepsSharingInsideTheGraph) {
    Pair pair;
    pair.a = new Leaf(6);
    pair.b = pair.a;
    auto* copy = static_cast<Pair*>(obj_DeepCopyP0Ptr(&pair, pairId));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->a, pair.a);
    EXPECT_EQ(copy->a, copy->b);
    EXPECT_EQ(copy->a->value, 6);
    delete copy;
    EXPECT_EQ(obj_DeepCopyP0Ptr(nullptr, pairId), nullptr);
}

TEST_F(Marshalling, InputTracesAtDebugLevelOne) {
    Leaf leaf(1);
    obj_OutputP0Ptr(mem, &leaf, leafId);
    obj_OutputP0Ptr(mem, nullptr, leafId);
    ASSERT_TRUE(typ_DebugFlags::SetDebugFlags("obj", 1));
    ::testing::internal::CaptureStderr();
    void* read = ReadPtr(leafId);
    ReadPtr(leafId);
    const std::string err = ::testing::internal::GetCapturedStderr();
    typ_DebugFlags::SetDebugFlags("obj", 0);
    delete static_cast<Leaf*>(read);
    EXPECT_EQ(err, "Reading Ptr. Leaf (actual=3840001, expected=3840001)\n"
                   "Read a NULL pointer to a Leaf\n");
}

// A client that forgot utl_initialize: one report that names the call, and every record it
// writes or reads fails instead of leaving an empty stream. In a child process, whose type table
// this test may empty.
TEST(NotStarted, RecordsBeforeStartAreOneReportAndFailedStreams) {
    EXPECT_EXIT(
        {
            while (typ_ArchCompTable::Size() != 0) {
                int tally = 0;
                typ_finalize(tally);
            }
            AssertRecorder rec;
            bio_IOmemFilter mem(64);
            int failures = 0;
            for (int i = 0; i < 3; ++i) {
                try {
                    mem << cow_String("abc");
                } catch (const omi_FatalError& error) {
                    failures += std::string(error.Message()) == omi_NotStartedMessage ? 1 : 0;
                }
            }
            mem << 0x1a0001 << 0;
            cow_String back;
            try {
                mem >> back;
            } catch (const omi_FatalError&) {
                ++failures;
            }
            const bool once = rec.Reports().size() == 1 &&
                              rec.Reports()[0].expression.find("utl_initialize()") == 0;
            std::exit(failures == 4 && once ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
