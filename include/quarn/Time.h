// Time: the local time-zone offset, read once when the library starts.
#ifndef QUARN_TIME_H
#define QUARN_TIME_H

#include <quarn/Config.h>

namespace Quarn {

class QUARN_API Time {
public:
    // UTC minus local standard time in milliseconds (positive west of Greenwich); 0 when the
    // platform could not tell or the library has not started.
    static double getLocalOffset();

    Time() = delete;
};

} // namespace Quarn

#endif
