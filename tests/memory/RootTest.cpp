#include "memory/Modules.h"
#include "platform/Platform.h"
#include "support/TestAllocator.h"

#include <quarn/Allocator.h>
#include <quarn/Root.h>
#include <quarn/Time.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

using namespace Quarn;
using quarn_test::liveBlocks;

namespace {

struct Tracked : Refcountable {
    explicit Tracked(bool* destroyed) : destroyed(destroyed) {}
    ~Tracked() override { *destroyed = true; }
    bool* destroyed;
};

TEST(Refcountable, CreatorHoldsTheFirstReferenceAndTheLastReleaseDestroys) {
    int32_t start = liveBlocks();
    bool destroyed = false;
    const Tracked* object = new Tracked(&destroyed);
    EXPECT_EQ(object->getRefCount(), 1);
    EXPECT_EQ(liveBlocks(), start + 1); // made through Heap
    object->addRef();                   // const holders may share
    EXPECT_EQ(object->getRefCount(), 2);
    object->release();
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(object->getRefCount(), 1);
    object->release();
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(liveBlocks(), start);
}

TEST(Refcountable, ACopyStartsItsOwnCount) {
    struct Plain : Refcountable {
        Plain() = default;
        Plain(const Plain& other) = default;
    };
    Plain* a = new Plain;
    a->addRef();
    Plain* b = new Plain(*a);
    EXPECT_EQ(b->getRefCount(), 1);
    a->release();
    a->release();
    b->release();
}

struct Shape : Cloneable {
    explicit Shape(int sides) : sides(sides) {}
    int16_t clone(Cloneable** out, bool) const override {
        *out = new Shape(sides);
        return 0;
    }
    int sides;
};

TEST(Cloneable, CloneHandsTheCallerAnIndependentCopy) {
    int32_t start = liveBlocks();
    Shape square(4);
    Cloneable* copy = nullptr;
    EXPECT_EQ(square.clone(&copy, true), 0);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<Shape*>(copy)->sides, 4);
    EXPECT_EQ(liveBlocks(), start + 1);
    delete copy; // Root's virtual destructor, memory back through Heap
    EXPECT_EQ(liveBlocks(), start);
}

TEST(Library, VersionIsThreeTwoTwenty) {
    EXPECT_EQ(getVersion(), 0x30214);
    EXPECT_EQ(getVersion(), 197140);
}

TEST(Library, ModulesStartInTheirFixedOrder) {
    int count = 0;
    const detail::ModuleStep* table = detail::getModuleTable(count);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.push_back(table[i].name);
    const std::vector<std::string> expected = {"memory", "String",  "Localizer",    "encoders",
                                               "errors", "time",    "Variant",      "live objects",
                                               "unit converter table", "unit values"};
    EXPECT_EQ(names, expected);
    ASSERT_NE(table[0].step, nullptr);
    EXPECT_EQ(table[0].step, &detail::memoryModule);
}

TEST(Library, StartingTwiceChangesNothing) {
    Allocator* current = Allocator::get();
    InitTerm::init();
    EXPECT_EQ(Allocator::get(), current);
}

TEST(Time, LocalOffsetIsTheTimeZoneBiasInMilliseconds) {
    int32_t bias = 0;
    ASSERT_TRUE(platform::readTimeZoneBias(bias));
    EXPECT_EQ(Time::getLocalOffset(), bias * 60000.0);

    const char* saved = std::getenv("TZ");
    std::string restore = saved ? saved : "";
    setenv("TZ", "EST5", 1);
    ASSERT_TRUE(platform::readTimeZoneBias(bias));
    EXPECT_EQ(bias, 300); // five hours west of Greenwich
    setenv("TZ", "JST-9", 1);
    ASSERT_TRUE(platform::readTimeZoneBias(bias));
    EXPECT_EQ(bias, -540);
    if (saved)
        setenv("TZ", restore.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

} // namespace
