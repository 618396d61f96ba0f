// Reports, rethrowing with the dynamic type, and cloning, for every class of the family.
#include "ChildProcess.h"
#include "TestPlatform.h"
#include "nex_TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <typeinfo>

namespace {

using Handle = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
using vlt::test::DynamicType;
using vlt::test::ExceptionCase;
using vlt::test::MeshCommandException;
using vlt::test::Str;

// What a rethrow delivers to a handler for nex_Exception&: its class and its report.
struct Arrival {
    const std::type_info* type = nullptr;
    std::string developerReport;
};

template <class Raise>
Arrival caught(Raise raise) {
    try {
        raise();
    } catch (const nex_Exception& e) {
        return {&typeid(e), Str(e.DeveloperReport())};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

std::vector<ExceptionCase> allCases() {
    std::vector<ExceptionCase> cases = vlt::test::LibraryCases();
    cases.push_back({"Command", [] { return new MeshCommandException; }, "Mesh: no nodes", 0x1f0003,
                     &typeid(MeshCommandException), ""});
    return cases;
}

class EveryException : public testing::TestWithParam<ExceptionCase> {
protected:
    std::unique_ptr<nex_Exception> held{GetParam().make()};
};

TEST_P(EveryException, ReportsItsTextAndTypeId) {
    EXPECT_EQ(Str(held->AsString()), GetParam().asString);
    EXPECT_EQ(Str(held->UserReport()), GetParam().asString);
    EXPECT_EQ(held->DynTypeId(), GetParam().typeId);
}

// The empty file name leaves two blanks side by side.
TEST_P(EveryException, NeverThrownDeveloperReportHasNoFileAndLineZero) {
    EXPECT_EQ(Str(held->DeveloperReport()),
              "Exception: " + GetParam().asString + " in file  at line 0");
}

TEST_P(EveryException, ThrowArrivesAsTheMostDerivedClassWithItsLocation) {
    const Arrival arrival = caught([&] { held->Throw("utl/impl/utl_File", -42); });
    EXPECT_EQ(*arrival.type, DynamicType(*held));
    EXPECT_EQ(arrival.developerReport,
              "Exception: " + GetParam().asString + " in file utl/impl/utl_File at line -42");
}

TEST_P(EveryException, PropagateThroughAHandleRethrowsTheMostDerivedCopy) {
    const Handle handle(*held);
    ASSERT_NE(handle.ConstPtr(), held.get());
    const Arrival arrival = caught([&] { handle->Propagate(); });
    EXPECT_EQ(*arrival.type, DynamicType(*held));
    EXPECT_EQ(arrival.developerReport, Str(held->DeveloperReport()));
}

TEST_P(EveryException, CopyIsTheMostDerivedClassWithTheSameLocationAndText) {
    try {
        held->Throw("here", 7);
    } catch (const nex_Exception& e) {
        const std::unique_ptr<nex_Exception> copy(e.Copy());
        EXPECT_EQ(DynamicType(*copy), DynamicType(*held));
        EXPECT_EQ(Str(copy->DeveloperReport()), Str(e.DeveloperReport()));
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, EveryException, testing::ValuesIn(allCases()),
                         vlt::test::CaseName);

TEST(nex_ExceptionHandle, UnsharingClonesTheMostDerivedClassAndLeavesTheOtherHolder) {
    const Handle original(utl_CmdLineArgFormatException("steps", "integer"));
    Handle copy = original;
    nex_Exception& own = copy.Get();
    ASSERT_NE(&own, original.ConstPtr());
    EXPECT_EQ(original.References(), 1);
    const Arrival arrival = caught([&] { copy->Propagate(); });
    EXPECT_EQ(*arrival.type, typeid(utl_CmdLineArgFormatException));
    EXPECT_EQ(arrival.developerReport, "Exception: Command line argument steps must have type "
                                       "integer. in file  at line 0");
}

TEST(nex_ExitException, MessageWinsWhateverTheCode) {
    EXPECT_EQ(Str(nex_ExitException("", 0).AsString()), "Exit code: 0");
    EXPECT_EQ(Str(nex_ExitException("bye", 0).AsString()), "bye");
    EXPECT_EQ(nex_ExitException("bye", -3).ExitCode(), -3);
}

constexpr char uncaughtFileVariable[] = "VLT_TEST_UNCAUGHT_FILE";

// The runtime ends the process at once when an exception leaves a function that may not throw.
void RaiseWhereNothingMayLeave() noexcept {
    nex_TextException("Solver diverged").Throw("nex/impl/nex_Solver", 7);
}

// The report comes first: the runtime's own words and the crash report follow it.
TEST(nex_Uncaught, EndsTheProcessWithTheReportOnStandardError) {
    std::optional<vlt::test::TempDirectory> directory;
    if (!vlt::test::InRerunChild()) {
        directory.emplace("vlt_uncaught");
        vlt::test::SetEnvironment(uncaughtFileVariable, directory->PathOf("stderr.txt").c_str());
    }
    const int exitCode = vlt::test::RunInChild([] {
        if (std::freopen(std::getenv(uncaughtFileVariable), "w", stderr) == nullptr) {
            return 1;
        }
        RaiseWhereNothingMayLeave();
        return 0;
    });
    vlt::test::SetEnvironment(uncaughtFileVariable, nullptr);
    EXPECT_GT(exitCode, 1);
    std::ostringstream text;
    text << std::ifstream(directory->PathOf("stderr.txt")).rdbuf();
    EXPECT_EQ(
        text.str().rfind("Exception: Solver diverged in file nex/impl/nex_Solver at line 7\n", 0),
        0U)
        << text.str();
}

TEST(utl_CmdLineArgExceptions, KeepTheArgumentNameAsTheirText) {
    EXPECT_EQ(Str(utl_MissingCmdLineArgException("n").Text()), "n");
    const utl_CmdLineArgFormatException format("steps", "integer");
    EXPECT_EQ(Str(format.Text()), "steps");
    EXPECT_EQ(Str(format.TypeName()), "integer");
}

} // namespace
