#include <quarn/Allocator.h>

namespace Quarn {

Allocator::~Allocator() {}

void* Allocator::allocMem(size_t size, const char*, int) { return alloc(size); }

void Allocator::setPolicy(double) {}

void Allocator::flush() {}

} // namespace Quarn
