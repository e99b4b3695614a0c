// String::parse on arbitrary units: it either fails and leaves the text alone, or removes a prefix.
#include "FuzzSupport.h"

using namespace quarn_fuzz;

QUARN_FUZZ_INIT

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    const std::u16string original = input.rest();
    Quarn::String text = toString(original);
    Quarn::String out(u"previous");
    const bool ok = text.parse(out);
    const std::u16string left = toModel(text);
    if (!ok) {
        FUZZ_CHECK(left == original);
    } else {
        FUZZ_CHECK(left.size() <= original.size());
        FUZZ_CHECK(original.compare(original.size() - left.size(), left.size(), left) == 0);
    }
    FUZZ_CHECK(out.length() <= static_cast<int32_t>(original.size()) + 1);
    FUZZ_CHECK(out.wstr()[out.length()] == 0);
    return 0;
}
