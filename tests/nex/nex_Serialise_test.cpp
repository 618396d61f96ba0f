// Exceptions on binary streams and on the printer: records, round trips that keep the dynamic
// type, the handle's records, refused records and the abstract classes.
#include "AssertRecorder.h"
#include "cio_String.h"
#include "nex_TestSupport.h"
#include "pnt_PrettyPrint.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <typeinfo>

namespace {

using Handle = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using vlt::test::Bytes;
using vlt::test::DynamicType;
using vlt::test::ExceptionCase;
using vlt::test::MeshCommandException;
using vlt::test::Str;

// An exception as it is when caught: with its location filled in.
template <class E>
E raised(const E& e, const char* file, int line) {
    try {
        E(e).Throw(file, line);
    } catch (const E& caught) {
        return caught;
    }
}

std::string printed(const nex_Exception& e, unsigned width = 80) {
    pnt_PrettyPrint pp(width);
    pp << e;
    pp.Flush();
    return Str(pp.Text());
}

class ExceptionRecords : public vlt::test::ExceptionStreamTest {};

TEST_F(ExceptionRecords, ObjectRecordIsTypeZeroMarkerThenFileLineAndText) {
    mem << raised(nex_TextException("ab"), "f", 3);
    EXPECT_EQ(Written(),
              std::vector<uint8_t>(
                  Bytes().Words({0x1f0002, 0}).StringRecord("f").Words({3}).StringRecord("ab")));
}

TEST_F(ExceptionRecords, ExitRecordEndsWithMessageAndSignedCode) {
    const nex_ExitException exit("", -3);
    mem << &exit;
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes()
                                                  .Words({0x1f0006, 1})
                                                  .StringRecord("")
                                                  .Words({0})
                                                  .StringRecord("")
                                                  .Words({0xfffffffd})));
}

TEST_F(ExceptionRecords, EmptyHandleIsASingleZeroAndReadsBackEmpty) {
    mem << Handle(static_cast<nex_Exception*>(nullptr));
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes().Words({0})));
    Handle back(new nex_TextException("old"));
    mem >> back;
    EXPECT_FALSE(back.HasValue());
}

TEST_F(ExceptionRecords, HandleRoundTripReplacesTheHeldException) {
    mem << Handle(raised(nex_ExitException("stop", 2), "g", 9));
    Handle* fresh = nullptr;
    mem >> fresh;
    const std::unique_ptr<Handle> owned(fresh);
    ASSERT_TRUE(fresh != nullptr && fresh->HasValue());
    EXPECT_EQ(DynamicType(**fresh), typeid(nex_ExitException));
    EXPECT_EQ(Str((*fresh)->DeveloperReport()), "Exception: stop in file g at line 9");
}

TEST_F(ExceptionRecords, RecordOfAnotherTypeIsRefusedWithThePublishedTexts) {
    mem << cow_String("x");
    AssertRecorder rec;
    nex_TextException stale("stale");
    nex_Exception* read = &stale;
    testing::internal::CaptureStderr();
    mem >> read;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: obj_InputP0Ptr(): Trying to construct from stream but 'cow_String' with "
              "tag '1a0001'\n       is not derived from 'nex_Exception' with tag '1f0001'. "
              "Aborting...\n");
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(rec.Reports(), (std::vector<AssertReport>{{"typ_ArchCompTable::IsParent(actual, "
                                                         "expected)",
                                                         "obj/impl/obj_p0Interface", 216}}));
}

TEST_F(ExceptionRecords, CommandPointerReaderRefusesOtherExceptions) {
    const nex_TextException text("t");
    mem << &text;
    AssertRecorder rec;
    nex_CommandException* read = nullptr;
    testing::internal::CaptureStderr();
    mem >> read;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(rec.Expressions(),
              std::vector<std::string>{"typ_ArchCompTable::IsParent(actual, expected)"});
}

TEST_F(ExceptionRecords, AbstractClassesCannotBeConstructedFromAStream) {
    AssertRecorder rec;
    EXPECT_EQ(nex_Exception::CtorFunc(mem, nullptr), nullptr);
    // A command exception travels with the abstract class's id, so reading it is refused too.
    const MeshCommandException command;
    mem << static_cast<const nex_CommandException*>(&command);
    nex_CommandException* read = nullptr;
    mem >> read;
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{
                  {"! \"nex_Exception::CtorFunc(): Illegal call to abstract class constructor.\"",
                   "nex/impl/nex_Exception", 121},
                  {"! \"nex_CommandException::CtorFunc(): Illegal call to abstract class "
                   "constructor.\"",
                   "nex/impl/nex_CommandException", 91}}));
}

class EveryRecord : public vlt::test::ExceptionStreamTest,
                    public testing::WithParamInterface<ExceptionCase> {};

TEST_P(EveryRecord, RoundTripRecreatesTheDynamicTypeWithItsLocationAndRethrowsIt) {
    const std::unique_ptr<nex_Exception> original(GetParam().make());
    try {
        original->Throw("nex/origin", 31);
    } catch (const nex_Exception& e) {
        mem << &e << e; // a pointer record, then an object record
    }
    nex_Exception* first = nullptr;
    nex_Exception* second = nullptr;
    mem >> first >> second;
    const std::unique_ptr<nex_Exception> owned[] = {std::unique_ptr<nex_Exception>(first),
                                                    std::unique_ptr<nex_Exception>(second)};
    for (const auto& read : owned) {
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(DynamicType(*read), *GetParam().readType);
        EXPECT_EQ(Str(read->DeveloperReport()),
                  "Exception: " + GetParam().readAsString + " in file nex/origin at line 31");
        try {
            read->Propagate();
        } catch (const nex_Exception& e) {
            EXPECT_EQ(typeid(e), *GetParam().readType);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, EveryRecord, testing::ValuesIn(vlt::test::LibraryCases()),
                         vlt::test::CaseName);

class ExceptionPrint : public vlt::test::ExceptionStreamTest {};

// The sibling classes print "(NAME", deliberately, then the root's part and AsString().
TEST_F(ExceptionPrint, ConcreteClassesPrintNameTheRootAndTheirReport) {
    EXPECT_EQ(printed(raised(nex_ExitException("", -3), "f", 3)),
              "(NAME (nex_Exception f 3) Exit code: -3 )");
    EXPECT_EQ(printed(utl_MissingCmdLineArgException("n")),
              "(NAME (nex_Exception  0) Command line argument n is required. )");
}

TEST_F(ExceptionPrint, CommandExceptionPrintsOnlyTheRootsPart) {
    EXPECT_EQ(printed(raised(MeshCommandException(), "m", 4)),
              "(nex_CommandException (nex_Exception m 4) )");
}

// The published form has a blank before the closing parenthesis, which then cannot share the
// full line of the text.
TEST_F(ExceptionPrint, NarrowLinesBreakWhereTheNextItemPassesTheWidth) {
    EXPECT_EQ(printed(raised(nex_TextException("disk full"), "file", 12), 12),
              "(NAME\n  (nex_Exception\n    file 12)\n  disk full\n  )");
}

TEST_F(ExceptionPrint, StandardStreamsGetThePrintedForm) {
    std::ostringstream out;
    out << raised(nex_TextException("disk full"), "f", 2) << ' '
        << Handle(static_cast<nex_Exception*>(nullptr));
    EXPECT_EQ(out.str(), "(NAME (nex_Exception f 2) disk full ) (NULL)");
}

TEST_F(ExceptionPrint, PointersPrintOnceThenAsBackReferencesAndEmptyHandlesAsNull) {
    const nex_TextException e("t");
    pnt_PrettyPrint pp;
    pp << &e << " " << &e << " " << Handle(static_cast<nex_Exception*>(nullptr));
    pp.Flush();
    EXPECT_EQ(Str(pp.Text()), "#1=(NAME (nex_Exception  0) t ) #1# (NULL)");
}

} // namespace
