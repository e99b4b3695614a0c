// The encoder registry: the alias table (normalised name -> encoder), the list of encoders it owns
// in registration order, and the four designations. Binding a name releases the encoder it named
// before, which is destroyed once no name is left to it; its designations pass to the encoder that
// took its last name.
#include "encoders/Registry.h"

#include "encoders/SingleByteEncoders.h"
#include "encoders/UnicodeEncoders.h"
#include "encoders/UniversalEncoder.h"
#include "memory/Modules.h"
#include "platform/Platform.h"

#include <quarn/HashTable.h>
#include <quarn/SimpleArray.h>

#include <cstring>
#include <new>

namespace Quarn {
namespace {

struct Registry : Heap {
    HashTable aliases;
    TSimpleArray<Encoder> encoders;
    Encoder* ascii = nullptr;
    Encoder* binary = nullptr;
    Encoder* system = nullptr;
    Encoder* defaultEncoder = nullptr;
};

Registry* registry = nullptr;

// What the getters hand out while there is no registry: plain ASCII and BINARY, never registered.
AsciiEncoder standInAscii;
BinaryEncoder standInBinary;

bool holds(const Encoder* encoder) {
    return registry->encoders.indexOf(const_cast<Encoder*>(encoder)) >= 0;
}

Encoder* lookup(const String& key) {
    return reinterpret_cast<Encoder*>(registry->aliases.find(key));
}

// The last resort of get(): a registered name that differs from key only by its dashes, so that
// "latin_1" (read as LATIN-1) still finds the encoder named LATIN1, and "UTF_16LE" or "ISO88591" the
// encoders whose names are spelt with other dashes. Nothing is bound: the registry's
// own names, and what displacing them does, stay exactly as registered.
Encoder* lookupIgnoringDashes(const String& key) {
    String bare(key);
    bare.replaceAll(u"-", u"");
    TSimpleArray<const String> names;
    registry->aliases.getKeys(names);
    for (int32_t i = 0; i < names.length(); ++i) {
        String name(*names[i]);
        name.replaceAll(u"-", u"");
        if (name == bare) return lookup(*names[i]);
    }
    return nullptr;
}

// An encoder that just lost a name: destroyed when it has no other, after its designations went to
// the encoder that displaced it.
void releaseDisplaced(Encoder* old, Encoder* by) {
    if (!old || old == by) return;
    if (registry->aliases.findKey(reinterpret_cast<intptr_t>(old))) return;
    registry->encoders.remove(old);
    Encoder** designations[] = {&registry->ascii, &registry->binary, &registry->system,
                                &registry->defaultEncoder};
    for (Encoder** designation : designations)
        if (*designation == old) *designation = by;
    delete old;
}

void bind(const String& key, Encoder* encoder) {
    Encoder* old = lookup(key);
    registry->aliases.set(key, reinterpret_cast<intptr_t>(encoder));
    releaseDisplaced(old, encoder);
}

// Registers an encoder nobody owns yet: if registering fails before the registry took it over, it
// is destroyed here.
Encoder* adopt(Encoder* encoder) {
    try {
        Encoder::add(*encoder);
    } catch (...) {
        if (!registry || !holds(encoder)) delete encoder;
        throw;
    }
    return encoder;
}

// The factory's encoder for a name, registered; the default encoder for an empty name, as it is.
Encoder* makeAndRegister(const String& name) {
    Encoder* made = UniversalEncoder::make(name);
    if (!made || name.length() == 0) return made;
    return adopt(made);
}

void endRegistry() {
    Registry* ending = registry;
    if (!ending) return;
    for (int32_t i = 0; i < ending->encoders.length(); ++i)
        delete ending->encoders[i];
    registry = nullptr;
    delete ending;
}

void startRegistry() {
    registry = new Registry;
    Encoder* ascii = nullptr;
    Encoder* binary = nullptr;
    try {
        ascii = new AsciiEncoder;
        registry->ascii = registry->system = registry->defaultEncoder = ascii;
        binary = new BinaryEncoder;
        registry->binary = binary;
        Encoder::add(*ascii);
        Encoder::add(*binary);
    } catch (...) {
        if (ascii && !holds(ascii)) delete ascii;
        if (binary && !holds(binary)) delete binary;
        throw;
    }
    adopt(new CP1252Encoder);
    adopt(new ISO88591Encoder);
    adopt(new UCS2Encoder);
    adopt(new UCS2beEncoder);
    adopt(new UCS2leEncoder);
    adopt(new UCS4Encoder);
    adopt(new UCS4beEncoder);
    adopt(new UCS4leEncoder);
    adopt(new UTF8Encoder);
    adopt(new MacRomanEncoder);

    char setting[512];
    if (platform::readSystemEncodingSetting(setting, sizeof setting)) {
        if (Encoder* system = encoders::findSystemEncoder(encoders::systemEncodingName(setting)))
            registry->system = system;
    }
    registry->defaultEncoder = registry->system;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The public face

Encoder& Encoder::getAscii() {
    return registry && registry->ascii ? *registry->ascii : standInAscii;
}

Encoder& Encoder::getBinary() {
    return registry && registry->binary ? *registry->binary : standInBinary;
}

Encoder& Encoder::getSystem() {
    return registry && registry->system ? *registry->system : standInAscii;
}

Encoder& Encoder::getDefault() {
    return registry && registry->defaultEncoder ? *registry->defaultEncoder : standInAscii;
}

void Encoder::setDefault(Encoder& encoder) {
    if (registry) registry->defaultEncoder = &encoder;
}

void Encoder::add(Encoder& encoder) {
    if (!registry) return;
    if (!holds(&encoder)) registry->encoders.append(&encoder);
    String names = encoders::normaliseName(String(encoder.getNames()));
    while (names.length() > 0) {
        // A list with an empty entry ("A,,B") names nothing there.
        String alias = names.split(',');
        if (alias.length() > 0) bind(alias, &encoder);
    }
}

bool Encoder::addAlias(Encoder& encoder, const unsigned short* alias) {
    if (!alias || !*alias || !registry) return false;
    if (!holds(&encoder)) add(encoder);
    bind(encoders::normaliseName(String(alias)), &encoder);
    return true;
}

bool Encoder::addAlias(const unsigned short* existingName, const unsigned short* alias) {
    if (!alias || !*alias) return false;
    Encoder* encoder = get(existingName);
    return encoder && addAlias(*encoder, alias);
}

Encoder* Encoder::get(const unsigned short* name) {
    if (!registry) return nullptr;
    const String given(name);
    const String key = encoders::normaliseName(given);
    if (Encoder* found = lookup(key)) return found;
    if (Encoder* made = makeAndRegister(given)) return made;
    for (int32_t i = 0; i < registry->encoders.length(); ++i) {
        Encoder* offered = registry->encoders[i]->find(key);
        if (!offered) continue;
        if (!holds(offered)) adopt(offered);
        bind(key, offered);
        return offered;
    }
    return lookupIgnoringDashes(key);
}

// ---------------------------------------------------------------------------------------------
// The inside

namespace encoders {

String normaliseName(const String& name) {
    String normal(name);
    normal.toUpper();
    normal.replaceAll('_', '-');
    return normal;
}

String systemEncodingName(const char* answer) {
    if (!answer) return String();
    const char* set = std::strchr(answer, '.');
    if (set) {
        ++set;
    } else if (*answer >= '0' && *answer <= '9') {
        set = answer;
    } else {
        return String(); // "C", "POSIX", "en_US": no code set
    }
    size_t length = std::strcspn(set, "@");
    if (length > 126) length = 126;
    if (length == 0) return String();
    char name[2 + 126 + 1];
    size_t used = 0;
    if (*set >= '0' && *set <= '9') {
        name[used++] = 'C';
        name[used++] = 'P';
    }
    std::memcpy(name + used, set, length);
    name[used + length] = 0;
    String result(name, &Encoder::getAscii());
    result.toUpper();
    return result;
}

Encoder* findSystemEncoder(const String& name) {
    if (!registry || name.length() == 0) return nullptr;
    if (Encoder* found = lookup(name)) return found;
    if (Encoder* made = makeAndRegister(name)) return made;

    // The platform's own spelling of code sets; the name is plain ASCII by then or nothing is known.
    char bytes[2 + 126 + 1];
    if (name.length() >= static_cast<int32_t>(sizeof bytes)) return nullptr;
    for (int32_t i = 0; i <= name.length(); ++i) {
        unsigned short unit = name.wstr()[i];
        if (unit >= 0x80) return nullptr;
        bytes[i] = static_cast<char>(unit);
    }
    uint32_t codePage = 0;
    const char* charset = nullptr;
    if (!platform::codePageOfCodeSet(bytes, codePage, charset)) return nullptr;
    if (Encoder* found = lookup(normaliseName(String(charset, &Encoder::getAscii())))) return found;
    String numbered;
    numbered.print(u"CP%lu", codePage);
    return makeAndRegister(numbered);
}

int32_t RegistryAccess::count() {
    return registry ? registry->encoders.length() : 0;
}

Encoder* RegistryAccess::at(int32_t index) {
    if (!registry || index < 0 || index >= registry->encoders.length()) return nullptr;
    return registry->encoders[index];
}

bool RegistryAccess::holds(const Encoder* encoder) {
    return registry && Quarn::holds(encoder);
}

} // namespace encoders

namespace detail {

// A start cut short by exhaustion leaves no registry: the getters then hand out the stand-ins.
void encodersModule(bool start) {
    if (!start) {
        endRegistry();
        return;
    }
    if (registry) return;
    try {
        startRegistry();
    } catch (const std::bad_alloc&) {
        endRegistry();
    }
}

} // namespace detail
} // namespace Quarn
