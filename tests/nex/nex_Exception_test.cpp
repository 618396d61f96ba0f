#include "cow_CountedHld.h"
#include "nex_TextException.h"
#include "utl_CmdLineArgExceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

using Handle = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;

std::string str(const cow_String& s) {
    return std::string(s.c_str(), s.Length());
}

// Rethrows e through its base and answers what arrived: its DynTypeId and AsString, or a
// failure when the most-derived class was lost.
template <class Expected>
Expected catchPropagated(const nex_Exception& e) {
    try {
        e.Propagate();
    } catch (const Expected& caught) {
        return caught;
    } catch (const nex_Exception& other) {
        ADD_FAILURE() << "arrived as a different class: " << str(other.AsString());
    }
    throw std::logic_error("Propagate returned");
}

TEST(nex_ExceptionReport, NeverThrownDeveloperReportLeavesTwoBlanksAndLineZero) {
    const nex_TextException e("disk full");
    EXPECT_EQ(str(e.DeveloperReport()), "Exception: disk full in file  at line 0");
    EXPECT_EQ(str(e.UserReport()), "disk full");
}

TEST(nex_ExceptionReport, ThrowRecordsFileAndLineInTheCaughtCopy) {
    nex_TextException e("open: No such file or directory");
    try {
        e.Throw("utl/impl/utl_File", -42);
        FAIL() << "Throw returned";
    } catch (const nex_Exception& caught) {
        EXPECT_EQ(caught.DynTypeId(), 0x1f0002u);
        EXPECT_EQ(str(caught.DeveloperReport()),
                  "Exception: open: No such file or directory in file utl/impl/utl_File at "
                  "line -42");
    }
}

TEST(nex_ExceptionPropagate, BasePointerRethrowsTheMostDerivedClass) {
    const std::unique_ptr<nex_Exception> held(new utl_MissingCmdLineArgException("n"));
    const utl_MissingCmdLineArgException caught =
        catchPropagated<utl_MissingCmdLineArgException>(*held);
    EXPECT_EQ(str(caught.AsString()), "Command line argument n is required.");
}

TEST(nex_ExceptionPropagate, HandleCopiesAndRethrowsTheMostDerivedClass) {
    const Handle handle(utl_CmdLineArgFormatException("steps", "integer"));
    Handle shared = handle;
    shared.Get(); // un-shares through the virtual clone
    ASSERT_NE(shared.ConstPtr(), handle.ConstPtr());
    const utl_CmdLineArgFormatException caught =
        catchPropagated<utl_CmdLineArgFormatException>(*shared);
    EXPECT_EQ(str(caught.TypeName()), "integer");
    EXPECT_EQ(str(caught.AsString()), "Command line argument steps must have type integer.");
}

TEST(nex_ExceptionCopy, CopyKeepsLocationAndText) {
    nex_TextException e("x");
    try {
        e.Throw("here", 7);
    } catch (const nex_Exception& caught) {
        const std::unique_ptr<nex_Exception> copy(caught.Copy());
        EXPECT_EQ(str(copy->FileName()), "here");
        EXPECT_EQ(copy->Line(), 7);
        EXPECT_EQ(str(copy->AsString()), "x");
    }
}

TEST(utl_CmdLineArgExceptions, ReportTheTextExceptionTypeId) {
    EXPECT_EQ(utl_MissingCmdLineArgException("a").DynTypeId(), 0x1f0002u);
    EXPECT_EQ(utl_CmdLineArgFormatException("a", "integer").DynTypeId(), 0x1f0002u);
    EXPECT_EQ(str(utl_CmdLineArgFormatException("a", "integer").Text()), "a");
}

} // namespace
