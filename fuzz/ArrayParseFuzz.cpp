// Array::parse on arbitrary text: no crash, no leak, and what it read survives a copy and its text.
#include "FuzzSupport.h"

#include <quarn/Array.h>

using namespace quarn_fuzz;

QUARN_FUZZ_INIT

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    // Mostly printable ASCII so that the literal grammar is reached; a flag lets any unit in.
    const bool anyUnits = input.flag();
    std::u16string text;
    while (!input.empty())
        text += anyUnits ? static_cast<char16_t>(input.unit()) : static_cast<char16_t>(input.byte());
    Quarn::Array array;
    array += 1;
    const bool ok = array.parse(toString(text));
    FUZZ_CHECK(array.length() >= 1);
    FUZZ_CHECK(array[0].getDouble() == 1);
    if (text.find_first_not_of(u" \t\r\n") == std::u16string::npos) FUZZ_CHECK(!ok);
    Quarn::Array copy = array;
    FUZZ_CHECK(copy == array);
    Quarn::String shown;
    copy.toString(shown);
    FUZZ_CHECK(shown.length() >= 1);
    return 0;
}
