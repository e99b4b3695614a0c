// The start and end sequence, each scenario in a fresh child process: nothing here starts the
// library in the test process itself.
#include "memory/Modules.h"

#include <quarn/Allocator.h>
#include <quarn/Heap.h>
#include <quarn/Root.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

using namespace Quarn;

namespace {

std::vector<std::string> steps;

void recordStep(const char* name, bool start) {
    steps.push_back(std::string(start ? "+" : "-") + name);
}

// The steps the table says should run, in start or end order.
std::vector<std::string> expectedSteps(bool start) {
    int count = 0;
    const detail::ModuleStep* table = detail::getModuleTable(count);
    std::vector<std::string> expected;
    for (int i = 0; i < count; ++i) {
        const detail::ModuleStep& module = table[start ? i : count - 1 - i];
        if (module.step) expected.push_back(std::string(start ? "+" : "-") + module.name);
    }
    return expected;
}

bool check(bool condition, const char* what) {
    if (!condition) std::fprintf(stderr, "failed: %s\n", what);
    return condition;
}

int32_t liveBlocks() {
    int32_t blocks = 0, bytes = 0;
    Heap::getMemoryStatistics(blocks, bytes);
    return blocks;
}

// Runs a scenario in a child process; _Exit skips the leak checker, since a scenario may keep a
// block alive past the end of the library on purpose.
#define RUN_IN_CHILD(scenario) EXPECT_EXIT(std::_Exit((scenario)() ? 0 : 1), ::testing::ExitedWithCode(0), "")

bool startAndEndRunEachStepOnceInMirroredOrder() {
    detail::setModuleTrace(recordStep);
    InitTerm::init();
    InitTerm::init();
    bool ok = check(steps == expectedSteps(true), "start steps");
    ok &= check(Allocator::get() != nullptr, "an allocator after start");
    steps.clear();
    InitTerm::exit();
    InitTerm::exit();
    ok &= check(steps == expectedSteps(false), "end steps");
    // Every module releases its blocks in its own end step, and a zero count stays zero.
    ok &= check(liveBlocks() == 0, "no blocks left after the end");
    return ok;
}

TEST(Lifetime, StartAndEndRunEachStepOnceInMirroredOrder) {
    RUN_IN_CHILD(startAndEndRunEachStepOnceInMirroredOrder);
}

bool endingWithoutStartingRunsTheEndSteps() {
    detail::setModuleTrace(recordStep);
    InitTerm::exit();
    bool ok = check(steps == expectedSteps(false), "end steps without start");
    // No allocator: allocation fails cleanly instead of crashing.
    try {
        (void)Heap::operator new(8);
        ok = check(false, "allocation without an allocator throws");
    } catch (const std::bad_alloc&) {
    }
    return ok;
}

TEST(Lifetime, EndingWithoutStartingRunsTheEndSteps) {
    RUN_IN_CHILD(endingWithoutStartingRunsTheEndSteps);
}

bool objectsOutlivingTheLibraryAreCountedButNotFreed() {
    InitTerm::init();
    struct Survivor : Refcountable {};
    Survivor* survivor = new Survivor;
    void* buffer = Heap::operator new[](64);
    InitTerm::exit();
    // Every module released its own blocks; the memory end step then adds one to a count that is
    // not zero (a kept quirk).
    bool ok = check(liveBlocks() == 3, "count after the end");
    ok &= check(Heap::reAlloc(buffer, 4096) == buffer, "reAlloc after the end returns its argument");
    survivor->release(); // must neither crash nor free
    Heap::operator delete[](buffer);
    ok &= check(liveBlocks() == 1, "deletes keep counting");
    return ok;
}

TEST(Lifetime, ObjectsOutlivingTheLibraryAreCountedButNotFreed) {
    RUN_IN_CHILD(objectsOutlivingTheLibraryAreCountedButNotFreed);
}

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::GTEST_FLAG(death_test_style) = "fast";
    return RUN_ALL_TESTS();
}
