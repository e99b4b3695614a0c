#include "platform/Platform.h"

#include <time.h>
#include <windows.h>

namespace Quarn {
namespace platform {

bool readTimeZoneBias(int32_t& minutes) {
    _tzset();
    TIME_ZONE_INFORMATION info;
    if (GetTimeZoneInformation(&info) == TIME_ZONE_ID_INVALID) return false;
    minutes = static_cast<int32_t>(info.Bias);
    return true;
}

} // namespace platform
} // namespace Quarn
