#include "omn_Interrupt.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cfloat>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace {

constexpr char patternVariable[] = "KSR_PATTERN";
constexpr int traps = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

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
        fedisableexcept(FE_ALL_EXCEPT);
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
        if (savedPattern) {
            setenv(patternVariable, savedPattern->c_str(), 1);
        } else {
            unsetenv(patternVariable);
        }
    }

    static void SetPattern(const char* value) {
        setenv(patternVariable, value, 1);
    }

    static void ExpectUnchanged() {
        EXPECT_EQ(fegetexcept(), 0);
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
    EXPECT_EQ(fegetexcept(), traps);
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
    unsetenv(patternVariable);
    omn_enableFPE();
    ExpectUnchanged();
}

TEST_F(FloatingPointSwitch, UnderflowAndInexactStayMasked) {
    SetPattern("FPE");
    feenableexcept(FE_UNDERFLOW);
    omn_enableFPE();
    EXPECT_EQ(fegetexcept(), traps);
}

TEST_F(FloatingPointSwitch, FirstOmniInitialisationSwitchesTrapsOn) {
    SetPattern("FPE");
    EXPECT_EXIT(
        {
            int tally = 0;
            omni_initialize(tally);
            std::_Exit(tally == 1 && fegetexcept() == traps ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

struct TrappingOperation {
    const char* name;
    double (*compute)();
};

volatile double zero = 0.0;
volatile double largest = DBL_MAX;

class FloatingPointTrap : public FloatingPointSwitch,
                          public testing::WithParamInterface<TrappingOperation> {};

// The switch is thrown in the child only, which the trap then ends.
TEST_P(FloatingPointTrap, EndsTheProcessWithSigfpe) {
    SetPattern("FPE");
    EXPECT_EXIT(
        {
            std::signal(SIGFPE, SIG_DFL);
            omn_enableFPE();
            volatile double result = GetParam().compute();
            static_cast<void>(result);
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGFPE), "");
}

INSTANTIATE_TEST_SUITE_P(
    Operations, FloatingPointTrap,
    testing::Values(TrappingOperation{"DivisionByZero", [] { return 1.0 / zero; }},
                    TrappingOperation{"Invalid", [] { return zero / zero; }},
                    TrappingOperation{"Overflow", [] { return largest * 2.0; }}),
    [](const testing::TestParamInfo<TrappingOperation>& info) { return info.param.name; });

} // namespace
