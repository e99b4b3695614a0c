#include "platform/Platform.h"

#include <sys/mman.h>

#include <cstdint>

namespace Quarn {
namespace platform {

void adviseLargeBlock(void* block, size_t bytes) {
#if defined(MADV_HUGEPAGE)
    // Transparent huge pages come in 2 MB extents; only the extents wholly inside the block can be
    // advised, and below a few of them the saving is not worth a system call.
    constexpr uintptr_t kExtent = uintptr_t(2) << 20;
    if (bytes < 4 * kExtent) return;
    const uintptr_t start = (reinterpret_cast<uintptr_t>(block) + kExtent - 1) & ~(kExtent - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kExtent - 1);
    if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

} // namespace platform
} // namespace Quarn
