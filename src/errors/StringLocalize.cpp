// String::localize lives with the localizer it needs.
#include <quarn/Localizer.h>

namespace Quarn {

void String::localize(int count, const unsigned short* const* args) {
    *this = Localizer::get().localize(*this, count, args);
}

void String::localize(const Array& args) {
    *this = Localizer::get().localize(*this, args);
}

} // namespace Quarn
