#include "memory/Modules.h"
#include "platform/Platform.h"

#include <quarn/Time.h>

namespace Quarn {
namespace {
double localOffset = 0.0;
}

double Time::getLocalOffset() { return localOffset; }

namespace detail {

void timeModule(bool start) {
    if (!start) return;
    int32_t biasMinutes = 0;
    if (platform::readTimeZoneBias(biasMinutes)) localOffset = biasMinutes * 60000.0;
}

} // namespace detail
} // namespace Quarn
