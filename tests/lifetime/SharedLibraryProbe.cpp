// Links the shared library and never calls InitTerm: loading the library must have started it.
#include <quarn/Allocator.h>
#include <quarn/Root.h>

#include <cstdio>

int main() {
    if (!Quarn::Allocator::get()) {
        std::fprintf(stderr, "the shared library did not start itself\n");
        return 1;
    }
    struct Probe : Quarn::Refcountable {};
    (new Probe)->release();
    std::printf("started by the loader\n");
    return 0;
}
