// Localizer: the one replaceable point through which the library turns keys into user-visible text
// and error codes into messages, and compares or case-converts text for the user. The library makes
// a default instance at start-up; a host derives from Localizer, overrides what it translates and
// installs its instance with set().
#ifndef QUARN_LOCALIZER_H
#define QUARN_LOCALIZER_H

#include <quarn/Root.h>
#include <quarn/String.h>

namespace Quarn {

class Array;

class QUARN_API Localizer : public Root {
public:
    Localizer() {}
    ~Localizer() override;

    // The current localizer and the library's own. Both exist only while the library is started.
    static const Localizer& get();
    static const Localizer& getDefault();
    // Makes localizer current (null: the default again). The caller keeps ownership and must keep
    // the instance alive while it is current.
    static void set(const Localizer* localizer);

    // The translated key with numbered arguments put in: "%N" (N of any number of digits) is
    // replaced by argv[N-1] when 1 <= N <= argc and vanishes otherwise; "%%" gives "%"; a "%"
    // before anything else, or at the very end, stays as it is.
    String localize(const String& key, int argc, const unsigned short* const* argv) const;
    // The same with the arguments' text forms (numbers in radix 10); args is left untouched.
    String localize(const String& key, const Array& args) const;

    // out = the translation of key; the default gives key unchanged.
    virtual void getLocalizedText(const String& key, String& out) const;
    // out = in converted to lower case (toLower true) or upper case; the default uses String's
    // locale-free case mapping.
    virtual void localizedCaseConvert(const String& in, String& out, bool toLower) const;
    // Negative, 0 or positive; the default is the plain code-unit comparison.
    virtual int localizedCompare(const String& a, const String& b) const;
    // out = the message of an error code; the default is the built-in lookup: host definitions,
    // then the library's table, then "Error #N" - the last only when out is empty on entry, so a
    // caller can supply its own fallback.
    virtual void getMessage(int32_t code, String& out) const;

private:
    Localizer(const Localizer&) = delete;
    Localizer& operator=(const Localizer&) = delete;
};

} // namespace Quarn

#endif
