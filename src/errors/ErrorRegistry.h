// The library's error vocabulary and the host's additions to it, as the rest of the errors
// subsystem needs them.
#ifndef QUARN_ERRORS_ERRORREGISTRY_H
#define QUARN_ERRORS_ERRORREGISTRY_H

#include <quarn/String.h>

namespace Quarn {
namespace detail {

// The built-in message lookup behind Localizer::getMessage: the host definition's text (possibly
// empty), else the table's message for codes 1 to 55, else "Error #N" - but only into an empty out.
void lookupMessage(int16_t code, String& out);

// Destroys every host definition and the containers that hold them (the library is ending).
void destroyErrorRegistry();

} // namespace detail
} // namespace Quarn

#endif
