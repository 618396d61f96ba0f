#include "TestPlatform.h"
#include "omn_Interrupt.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cfloat>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <float.h>
#include <windows.h>
#endif
#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace {

constexpr char patternVariable[] = "KSR_PATTERN";

// The trap controls as the platform reports them: on Linux the exceptions that trap, on Windows
// the runtime's control word, whose exception bits are masks (a set bit keeps its exception
// from trapping).
#if defined(_WIN32)
constexpr unsigned noTraps = _MCW_EM;
constexpr unsigned traps = _EM_DENORMAL | _EM_UNDERFLOW | _EM_INEXACT; // 0x80003

unsigned TrapControls() {
    return _controlfp(0, 0) & _MCW_EM;
}

void ClearTraps() {
    _controlfp(_MCW_EM, _MCW_EM);
}

void TrapUnderflow() {
    _controlfp(_MCW_EM & ~_EM_UNDERFLOW, _MCW_EM);
}
#else
constexpr unsigned noTraps = 0;
constexpr unsigned traps = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

unsigned TrapControls() {
    return static_cast<unsigned>(fegetexcept());
}

void ClearTraps() {
    fedisableexcept(FE_ALL_EXCEPT);
}

void TrapUnderflow() {
    feenableexcept(FE_UNDERFLOW);
}
#endif

bool FlushesToZero() {
#if defined(__SSE__)
    return (_mm_getcsr() & _MM_FLUSH_ZERO_MASK) == _MM_FLUSH_ZERO_ON;
#else
    return false;
#endif
}

// Every case starts from no traps and no flushing, and leaves the environment and the
// floating-point state as it found them.
class FloatingPointSwitch : public testing::Test {
protected:
    void SetUp() override {
        fegetenv(&savedEnvironment);
        if (const char* value = std::getenv(patternVariable)) {
            savedPattern = value;
        }
        ClearTraps();
#if defined(__SSE__)
        savedControl = _mm_getcsr();
        _mm_setcsr(savedControl & ~_MM_FLUSH_ZERO_MASK);
#endif
    }

    void TearDown() override {
        fesetenv(&savedEnvironment);
#if defined(__SSE__)
        _mm_setcsr(savedControl);
#endif
        vlt::test::SetEnvironment(patternVariable, savedPattern ? savedPattern->c_str() : nullptr);
    }

    static void SetPattern(const char* value) {
        vlt::test::SetEnvironment(patternVariable, value);
    }

    static void ExpectUnchanged() {
        EXPECT_EQ(TrapControls(), noTraps);
        EXPECT_FALSE(FlushesToZero());
    }

private:
    fenv_t savedEnvironment{};
    std::optional<std::string> savedPattern;
    unsigned savedControl = 0;
};

class FloatingPointSwitchOn : public FloatingPointSwitch,
                              public testing::WithParamInterface<const char*> {};

TEST_P(FloatingPointSwitchOn, TrapsTheThreeExceptionsAndFlushesDenormals) {
    SetPattern(GetParam());
    omn_enableFPE();
    EXPECT_EQ(TrapControls(), traps);
#if defined(__SSE__)
    EXPECT_TRUE(FlushesToZero());
    volatile double smallest = DBL_MIN;
    EXPECT_EQ(smallest / 2, 0.0);
#endif
}

INSTANTIATE_TEST_SUITE_P(AcceptedValues, FloatingPointSwitchOn,
                         testing::Values("PATTERN", "FPE", "pattern"));

class FloatingPointSwitchOff : public FloatingPointSwitch,
                               public testing::WithParamInterface<const char*> {};

TEST_P(FloatingPointSwitchOff, ChangesNothing) {
    SetPattern(GetParam());
    omn_enableFPE();
    ExpectUnchanged();
    volatile double smallest = DBL_MIN;
    EXPECT_GT(smallest / 2, 0.0);
}

INSTANTIATE_TEST_SUITE_P(OtherValues, FloatingPointSwitchOff,
                         testing::Values("fpe", "Fpe", "Pattern", "FPE ", " FPE", "PATTERNS",
                                         "FPEPATTERN", ""));

TEST_F(FloatingPointSwitch, AbsentVariableChangesNothing) {
    vlt::test::SetEnvironment(patternVariable, nullptr);
    omn_enableFPE();
    ExpectUnchanged();
}

TEST_F(FloatingPointSwitch, UnderflowAndInexactStayMasked) {
    SetPattern("FPE");
    TrapUnderflow();
    omn_enableFPE();
    EXPECT_EQ(TrapControls(), traps);
}

TEST_F(FloatingPointSwitch, FirstOmniInitialisationSwitchesTrapsOn) {
    SetPattern("FPE");
    EXPECT_EXIT(
        {
            int tally = 0;
            omni_initialize(tally);
            std::_Exit(tally == 1 && TrapControls() == traps ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

struct TrappingOperation {
    const char* name;
    double (*compute)();
    uint32_t exceptionCode; // how the trap ends a process on Windows
};

// Leaves a trap to end the process: by SIGFPE, or on Windows with the exception's code as the
// exit code. There no filter may pass the exception on, for Wine then starts its debugger first.
void EndProcessAtTraps() {
#if defined(_WIN32)
    SetUnhandledExceptionFilter(
        [](EXCEPTION_POINTERS*) -> LONG { return EXCEPTION_EXECUTE_HANDLER; });
#else
    std::signal(SIGFPE, SIG_DFL);
#endif
}

// A trap ends the process by SIGFPE; on Windows, with the exception's code as its exit code.
#if defined(_WIN32)
testing::ExitedWithCode EndedByTrap(uint32_t exceptionCode) {
    return testing::ExitedWithCode(static_cast<int>(exceptionCode));
}
#else
testing::KilledBySignal EndedByTrap(uint32_t) {
    return testing::KilledBySignal(SIGFPE);
}
#endif

volatile double zero = 0.0;
volatile double largest = DBL_MAX;

class FloatingPointTrap : public FloatingPointSwitch,
                          public testing::WithParamInterface<TrappingOperation> {};

// The switch is thrown in the child only, which the trap then ends.
TEST_P(FloatingPointTrap, EndsTheProcess) {
    SetPattern("FPE");
    EXPECT_EXIT(
        {
            EndProcessAtTraps();
            omn_enableFPE();
            volatile double result = GetParam().compute();
            static_cast<void>(result);
            std::_Exit(0);
        },
        EndedByTrap(GetParam().exceptionCode), "");
}

INSTANTIATE_TEST_SUITE_P(
    Operations, FloatingPointTrap,
    testing::Values(TrappingOperation{"DivisionByZero", [] { return 1.0 / zero; }, 0xC000008E},
                    TrappingOperation{"Invalid", [] { return zero / zero; }, 0xC0000090},
                    TrappingOperation{"Overflow", [] { return largest * 2.0; }, 0xC0000091}),
    [](const testing::TestParamInfo<TrappingOperation>& info) { return info.param.name; });

} // namespace
