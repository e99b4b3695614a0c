// The smallest host: start the library, make a shared object, release it, check nothing is left.
#include <quarn/Quarn.h>
#include <cstdio>

struct Greeting : Quarn::Refcountable {
    const char* text = "hello from a Quarn object";
};

int main() {
    Quarn::InitTerm::init();                  // harmless when the shared library already started
    int32_t before, after, bytes;
    Quarn::Heap::getMemoryStatistics(before, bytes);
    Greeting* greeting = new Greeting;        // allocated through Quarn's pooling allocator
    std::printf("%s (library 0x%X)\n", greeting->text, static_cast<unsigned>(Quarn::getVersion()));
    greeting->release();                      // count 1 -> 0: the object deletes itself
    Quarn::Heap::getMemoryStatistics(after, bytes);
    Quarn::InitTerm::exit();
    return after == before ? 0 : 1;
}
