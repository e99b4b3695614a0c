#include "errors/ErrorRegistry.h"
#include "memory/Modules.h"

#include <quarn/Array.h>
#include <quarn/Localizer.h>

#include <climits>

namespace Quarn {
namespace {

Localizer* defaultLocalizer = nullptr;
const Localizer* currentLocalizer = nullptr;

// The arguments' texts, owned here: Variant copies of the elements, so that converting them to text
// never touches the caller's array.
class ArgumentTexts {
public:
    explicit ArgumentTexts(const Array& args) : count(static_cast<int32_t>(args.length())) {
        if (count <= 0) return;
        try {
            values = new Variant[static_cast<size_t>(count)];
            pointers = static_cast<const unsigned short**>(
                Heap::operator new[](static_cast<size_t>(count) * sizeof(const unsigned short*)));
            for (int32_t i = 0; i < count; ++i) {
                values[i] = args[static_cast<uint32_t>(i)];
                pointers[i] = values[i].getString().wstr();
            }
        } catch (...) {
            free();
            throw;
        }
    }
    ~ArgumentTexts() { free(); }
    ArgumentTexts(const ArgumentTexts&) = delete;
    ArgumentTexts& operator=(const ArgumentTexts&) = delete;

    void free() {
        delete[] values;
        Heap::operator delete[](pointers);
    }

    int32_t count;
    Variant* values = nullptr;
    const unsigned short** pointers = nullptr;
};

} // namespace

Localizer::~Localizer() {}

const Localizer& Localizer::get() {
    return *currentLocalizer;
}

const Localizer& Localizer::getDefault() {
    return *defaultLocalizer;
}

void Localizer::set(const Localizer* localizer) {
    currentLocalizer = localizer ? localizer : defaultLocalizer;
}

String Localizer::localize(const String& key, int argc, const unsigned short* const* argv) const {
    String pattern;
    getLocalizedText(key, pattern);
    const unsigned short* p = pattern.wstr();
    const int32_t n = pattern.length();
    String result;
    int32_t i = 0;
    while (i < n) {
        const unsigned short c = p[i++];
        // A "%" at the very end stays as it is.
        if (c != '%' || i == n) {
            result += c;
            continue;
        }
        const unsigned short next = p[i];
        if (next >= '0' && next <= '9') {
            // Any number of digits; a number too large for any argument count saturates.
            int64_t number = 0;
            for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i)
                if (number <= INT_MAX) number = number * 10 + (p[i] - '0');
            if (number >= 1 && number <= argc && argv[number - 1]) result += argv[number - 1];
            continue;
        }
        // "%%" gives one "%"; "%" before anything else keeps both units.
        result += c;
        if (next != '%') result += next;
        ++i;
    }
    return result;
}

String Localizer::localize(const String& key, const Array& args) const {
    ArgumentTexts texts(args);
    return localize(key, texts.count, texts.pointers);
}

void Localizer::getLocalizedText(const String& key, String& out) const {
    out = key;
}

void Localizer::localizedCaseConvert(const String& in, String& out, bool toLower) const {
    out = in;
    if (toLower)
        out.toLower();
    else
        out.toUpper();
}

int Localizer::localizedCompare(const String& a, const String& b) const {
    return a.cmp(b);
}

void Localizer::getMessage(int32_t code, String& out) const {
    detail::lookupMessage(static_cast<int16_t>(code), out);
}

namespace detail {

void localizerModule(bool start) {
    if (start) {
        if (defaultLocalizer) return;
        try {
            defaultLocalizer = new Localizer;
        } catch (...) {
        }
        currentLocalizer = defaultLocalizer;
        return;
    }
    delete defaultLocalizer;
    defaultLocalizer = nullptr;
    currentLocalizer = nullptr;
}

} // namespace detail
} // namespace Quarn
