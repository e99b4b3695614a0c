#include "platform/Platform.h"

namespace Quarn {
namespace platform {

// Large pages on Windows need a privilege that hosts rarely hold: the default pages are kept.
void adviseLargeBlock(void*, size_t) {}

} // namespace platform
} // namespace Quarn
