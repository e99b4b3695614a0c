#include "platform/Platform.h"

namespace Quarn {
namespace platform {

int nativeLineEnd() { return 1; }

} // namespace platform
} // namespace Quarn
