#include "memory/Modules.h"
#include "platform/Platform.h"
#include "support/TestAllocator.h"

#include <quarn/Root.h>
#include <quarn/Time.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
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
    const Tracked* copy = new Tracked(*object); // a copy starts a count of its own
    EXPECT_EQ(copy->getRefCount(), 1);
    copy->release();
    destroyed = false;
    object->release();
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(object->getRefCount(), 1);
    object->release();
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(liveBlocks(), start);
}

TEST(Library, VersionIsThreeTwoTwenty) {
    EXPECT_EQ(getVersion(), 0x30214);
}

TEST(Library, ModulesStartInTheirFixedOrder) {
    int count = 0;
    const detail::ModuleStep* table = detail::getModuleTable(count);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i)
        names.push_back(table[i].name);
    const std::vector<std::string> expected = {"memory",     "String",       "Localizer",
                                               "encoders",   "errors",       "time",
                                               "Variant",    "live objects", "unit converter table",
                                               "unit values"};
    EXPECT_EQ(names, expected);
}

TEST(Time, LocalOffsetIsTheTimeZoneBiasInMilliseconds) {
    int32_t bias = 0;
    ASSERT_TRUE(platform::readTimeZoneBias(bias));
    EXPECT_EQ(Time::getLocalOffset(), bias * 60000.0);
    // The bias counts minutes west of Greenwich.
    const char* saved = std::getenv("TZ");
    const std::string restore = saved ? saved : "";
    for (auto [zone, minutes] : {std::pair<const char*, int32_t>{"EST5", 300}, {"JST-9", -540}}) {
        setenv("TZ", zone, 1);
        EXPECT_TRUE(platform::readTimeZoneBias(bias) && bias == minutes) << zone << " gave " << bias;
    }
    if (saved)
        setenv("TZ", restore.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

} // namespace
