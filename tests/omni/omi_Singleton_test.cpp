#include "AssertRecorder.h"
#include "omi_Singleton.h"
#include "omi_SingletonExplicit.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

struct Lazy : omi_SingletonBase<Lazy> {
    static inline int constructed = 0;
    static inline int destroyed = 0;
    Lazy() { ++constructed; }
    ~Lazy() { ++destroyed; }
};

struct Explicit : omi_SingletonBase<Explicit> {
    int value = 17;
};

// Its constructor makes and drops a rival object, which takes and then clears the
// registration: the creator then finds a different registered instance.
struct SelfDisplacing : omi_SingletonBase<SelfDisplacing> {
    explicit SelfDisplacing(bool makeRival = true) {
        if (makeRival) {
            SelfDisplacing rival(false);
        }
    }
};

TEST(Singleton, CreatedOnFirstUseAndRecreatedAfterFinalize) {
    Lazy::constructed = Lazy::destroyed = 0;
    Lazy& first = omi_Singleton<Lazy>::Instance();
    EXPECT_EQ(&omi_Singleton<Lazy>::Instance(), &first);
    EXPECT_EQ(Lazy::constructed, 1);

    omi_SingletonBase<Lazy>::Finalize();
    EXPECT_EQ(Lazy::destroyed, 1);
    omi_SingletonBase<Lazy>::Finalize(); // harmless
    EXPECT_EQ(Lazy::destroyed, 1);
    EXPECT_EQ(omi_SingletonBase<Lazy>::Instance(), nullptr);

    omi_Singleton<Lazy>::Instance();
    EXPECT_EQ(Lazy::constructed, 2);
    omi_SingletonBase<Lazy>::Finalize();
}

TEST(Singleton, SecondDirectConstructionIsReported) {
    AssertRecorder recorder;
    Lazy& original = omi_Singleton<Lazy>::Instance();
    {
        Lazy second;
        EXPECT_EQ(recorder.Reports(),
                  (std::vector<AssertReport>{{"instance == 0", "include/omi_SingletonBase",
                                              recorder.Reports().at(0).line}}));
    }
    // The second object took the registration and cleared it when it went.
    EXPECT_EQ(omi_SingletonBase<Lazy>::Instance(), nullptr);
    delete &original;
}

TEST(Singleton, InstanceMismatchAfterCreationIsReported) {
    AssertRecorder recorder;
    SelfDisplacing& created = omi_Singleton<SelfDisplacing>::Instance();
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"instance == 0",
                                        "instance == omi_SingletonBase<Class>::Instance()"}));
    EXPECT_EQ(recorder.Reports().at(1).path, "include/omi_Singleton");
    delete &created;
}

TEST(SingletonExplicit, FindsTheExplicitlyConstructedObject) {
    auto* made = new Explicit;
    EXPECT_EQ(&omi_SingletonExplicit<Explicit>::Instance(), made);
    EXPECT_EQ(omi_SingletonExplicit<Explicit>::Instance().value, 17);
    omi_SingletonBase<Explicit>::Finalize();
}

TEST(SingletonExplicit, UseBeforeConstructionIsReportedAndThrows) {
    AssertRecorder recorder;
    EXPECT_THROW(omi_SingletonExplicit<Explicit>::Instance(), std::logic_error);
    ASSERT_EQ(recorder.Reports().size(), 1u);
    EXPECT_EQ(recorder.Reports()[0].expression, "instance != 0");
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_SingletonExplicit");
}

} // namespace
