// decodeURI on arbitrary units (false leaves the text alone), and encodeURI then decodeURI gives
// the text back.
#include "FuzzSupport.h"

using namespace quarn_fuzz;
using Quarn::String;

namespace {

// Text the UTF-8 encoder can carry: no lone surrogates, nothing from U+40000 on.
std::u16string encodableText(Input& input) {
    std::u16string units;
    while (!input.empty()) {
        char16_t c = static_cast<char16_t>(input.flag() ? input.byte() : input.unit());
        if (c >= 0xD800 && c <= 0xDFFF) {
            units += static_cast<char16_t>(0xD800 + (c & 0xBF));
            units += static_cast<char16_t>(0xDC00 + (c >> 8 & 0x3FF));
        } else {
            units += c;
        }
    }
    return units;
}

void warmUp() {
    String(u"x").encode();
}

} // namespace

QUARN_FUZZ_INIT_WITH(warmUp)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    if (input.flag()) {
        std::u16string original;
        while (!input.empty())
            original += static_cast<char16_t>(input.flag() ? u"%4Fa9zG%"[input.byte() % 8] : input.unit());
        String text = toString(original);
        if (!text.decodeURI()) FUZZ_CHECK(same(text, original));
        return 0;
    }
    static const char16_t* keeps[] = {u"", u"-_.!~*'();/?:@&=+$,#", u"%", u"\u00e9"};
    const char16_t* keep = keeps[input.byte() % 4];
    const std::u16string original = encodableText(input);
    String text = toString(original);
    FUZZ_CHECK(text.encodeURI(keep));
    // Bytes are compared with the keep set as units: a non-ASCII keep passes UTF-8 bytes through
    // as they are, and a kept "%" makes the encoded text ambiguous. Neither comes back.
    if (keep[0] == u'%' || keep[0] > 0x7F) return 0;
    for (int32_t i = 0; i < text.length(); ++i)
        FUZZ_CHECK(text.wstr()[i] < 0x80);
    FUZZ_CHECK(text.decodeURI());
    FUZZ_CHECK(same(text, original));
    return 0;
}
