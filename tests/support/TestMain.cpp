// The test suite's main: starts the library, runs the tests with a live-block check around each
// one, and ends the library. A test that leaves Heap blocks behind fails the run.
#include "TestAllocator.h"

#include <quarn/Allocator.h>
#include <quarn/Root.h>

#include <gtest/gtest.h>

#include <cstdio>

#if defined(__SANITIZE_ADDRESS__)
#define QUARN_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUARN_TEST_ASAN 1
#endif
#endif

namespace quarn_test {
namespace {

bool growthAccepted = false;
bool leakFound = false;

class LiveBlockCheck : public ::testing::EmptyTestEventListener {
    int32_t atStart = 0;

    void OnTestStart(const ::testing::TestInfo&) override {
        growthAccepted = false;
        atStart = liveBlocks();
    }
    void OnTestEnd(const ::testing::TestInfo& info) override {
        int32_t atEnd = liveBlocks();
        if (atEnd == atStart || (growthAccepted && atEnd > atStart)) return;
        std::fprintf(stderr, "LEAK: %s.%s ends with %d live Heap blocks (started with %d)\n",
                     info.test_suite_name(), info.name(), static_cast<int>(atEnd), static_cast<int>(atStart));
        leakFound = true;
    }
};

} // namespace

double suitePolicy() {
#ifdef QUARN_TEST_ASAN
    return 0.0;
#else
    return 1.0;
#endif
}

void acceptLiveBlockGrowth() { growthAccepted = true; }

} // namespace quarn_test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    Quarn::InitTerm::init();
    Quarn::Allocator::get()->setPolicy(quarn_test::suitePolicy());
    ::testing::UnitTest::GetInstance()->listeners().Append(new quarn_test::LiveBlockCheck);
    int status = RUN_ALL_TESTS();
    Quarn::InitTerm::exit();
    return quarn_test::leakFound ? 1 : status;
}
