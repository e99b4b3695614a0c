#include "platform/Platform.h"

namespace Quarn {
namespace platform {

int nativeLineEnd() { return 3; }

} // namespace platform
} // namespace Quarn
