// The registry's inside, for the start step and the tests: how the system encoder is chosen from
// the platform's answer, and a view of the encoder list.
#ifndef QUARN_ENCODERS_REGISTRY_H
#define QUARN_ENCODERS_REGISTRY_H

#include <quarn/Encoder.h>
#include <quarn/String.h>

namespace Quarn {
namespace encoders {

// A name as the registry compares it: upper case, "_" turned into "-".
String normaliseName(const String& name);

// The encoding name of the platform's answer, in upper case ("_" kept): the code set of a POSIX
// locale ("de_DE.ISO-8859-15@euro" gives "ISO-8859-15"), "CP" and the number for a bare number
// (the Windows answer "1252", or a locale "xx.1251"); empty for "C", "POSIX", a locale without a
// code set and a null answer. At most 126 characters of the answer are kept.
String systemEncodingName(const char* answer);

// The encoder of a system encoding name, registered, or null when none can be had: the alias
// table by the name as it is, then the code-page factory, then the code page the platform knows
// for a well-known code-set name (its charset name in the alias table, then "CP" and the number
// through the factory). That last step is how "KOI8-R", which the factory's table spells
// "KOI-8R", still finds code page 20866.
Encoder* findSystemEncoder(const String& name);

// The registered encoders in registration order.
struct RegistryAccess {
    static int32_t count();
    static Encoder* at(int32_t index);
    static bool holds(const Encoder* encoder);
};

} // namespace encoders
} // namespace Quarn

#endif
