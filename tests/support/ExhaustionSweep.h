// The memory-exhaustion sweep: a scenario is run again and again with the 1st, 2nd, 3rd, ...
// allocation failing, until a run completes without reaching the failure. Every failing run must let
// std::bad_alloc out, leave its objects destructible and give back every block it made. Two ways out
// besides the exception: an operation that only gives memory back (a shrink) keeps what it has and
// completes, which a scenario shows by checking its results and returning true; and the error
// machinery turns exhaustion into a code of its own (Exhaustion::Absorbed).
#ifndef QUARN_TESTS_SUPPORT_EXHAUSTIONSWEEP_H
#define QUARN_TESTS_SUPPORT_EXHAUSTIONSWEEP_H

#include "support/TestAllocator.h"

#include <gtest/gtest.h>

#include <new>
#include <type_traits>

namespace quarn_test {

template <class Scenario> bool runScenario(Scenario& scenario) {
    if constexpr (std::is_void_v<decltype(scenario())>) {
        scenario();
        return false;
    } else {
        return scenario();
    }
}

enum class Exhaustion {
    Throws,   // a failed allocation comes out as std::bad_alloc, or the scenario completes correctly
    Absorbed, // the scenario turns it into a result of its own (its return value says so)
};

// scenario() builds and destroys its own objects. With Exhaustion::Throws it may return true to say
// it completed with every result as it should be (the failed allocation was a shrink it could do
// without), or return nothing; with Exhaustion::Absorbed it returns true when it saw the failure
// reported (e.g. an error code -28) and must not throw. Returns the number of runs.
template <class Scenario>
long sweepAllocations(const char* name, Scenario scenario, Exhaustion mode = Exhaustion::Throws) {
    TestAllocator failing;
    ScopedAllocator scope(failing);
    for (long n = 1; n < 100000; ++n) {
        const int32_t before = liveBlocks();
        failing.failAt(n);
        bool threw = false, reported = false;
        try {
            reported = runScenario(scenario);
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        const bool failed = failing.hasFailed();
        failing.failAt(0);
        EXPECT_EQ(liveBlocks(), before) << name << ": blocks left behind when allocation " << n << " failed";
        if (!failed) {
            EXPECT_FALSE(threw) << name << ": threw without a failed allocation";
            EXPECT_EQ(failing.outstanding, 0) << name;
            return n;
        }
        if (mode == Exhaustion::Throws)
            EXPECT_TRUE(threw || reported)
                << name << ": allocation " << n
                << " failed but neither std::bad_alloc came out nor did it complete";
        else
            EXPECT_TRUE(reported && !threw) << name << ": allocation " << n << " failed but was not reported";
        if (::testing::Test::HasFailure()) return n;
    }
    ADD_FAILURE() << name << ": never completed";
    return 0;
}

} // namespace quarn_test

#endif
