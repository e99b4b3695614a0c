// A fixture for tests that change the encoder registry (bind names, register encoders, move the
// designations): the registry is made over again when the test ends, so that every test finds the
// one the library made at start-up, and the heap as it was.
#ifndef QUARN_TESTS_ENCODERS_FRESHREGISTRY_H
#define QUARN_TESTS_ENCODERS_FRESHREGISTRY_H

#include "memory/Modules.h"

#include <gtest/gtest.h>

namespace quarn_test {

class FreshRegistry : public ::testing::Test {
protected:
    void TearDown() override { restartRegistry(); }

public:
    static void restartRegistry() {
        Quarn::detail::encodersModule(false);
        Quarn::detail::encodersModule(true);
    }
};

} // namespace quarn_test

#endif
