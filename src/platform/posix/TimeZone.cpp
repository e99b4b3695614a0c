#include "platform/Platform.h"

#include <ctime>

namespace Quarn {
namespace platform {

bool readTimeZoneBias(int32_t& minutes) {
    tzset();
    // POSIX keeps the standard-time offset in seconds west of Greenwich, the same sign as the bias.
    minutes = static_cast<int32_t>(timezone / 60);
    return true;
}

} // namespace platform
} // namespace Quarn
