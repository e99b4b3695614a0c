// The operating-system layer: the only code that includes platform headers. posix/ or win32/
// implements these; the rest of the library takes the platform facts it needs from here.
#ifndef QUARN_PLATFORM_PLATFORM_H
#define QUARN_PLATFORM_PLATFORM_H

#include <quarn/Config.h>

namespace Quarn {
namespace platform {

// The local time zone's bias, UTC minus local standard time, in minutes (positive west of
// Greenwich). False when the platform cannot tell.
bool readTimeZoneBias(int32_t& minutes);

// The platform's own line end as a String line-end kind: 3 (LF) on POSIX, 1 (CR LF) on Windows.
int nativeLineEnd();

} // namespace platform
} // namespace Quarn

#endif
