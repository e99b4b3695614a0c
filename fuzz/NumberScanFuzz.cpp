// Numbers and text: scanDouble/scanInteger on arbitrary text in every flag mode, and the text form of
// arbitrary doubles, each checked against an oracle built on the C library.
#include "FuzzSupport.h"

#include <quarn/Variant.h>

#include <cmath>
#include <cstring>

using namespace quarn_fuzz;
using Quarn::String;
using Quarn::Variant;

QUARN_FUZZ_INIT

namespace {

// The text form of a double by the stated rules, with snprintf doing every conversion.
std::string oracleText(double v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
    char buffer[512];
    const double a = std::fabs(v);
    if (a < 1e21 && v == std::floor(v)) {
        if (a >= 1e9)
            std::snprintf(buffer, sizeof buffer, "%.0f", v);
        else
            std::snprintf(buffer, sizeof buffer, "%ld", static_cast<long>(static_cast<int32_t>(v)));
        return buffer;
    }
    if (a >= 1e-6 && a < 1e21) {
        int digits = static_cast<int>(std::log10(a));
        if (digits < 0) digits = 0;
        if (a >= 1) ++digits;
        std::snprintf(buffer, sizeof buffer, "%20.*f", 15 - digits < 15 ? 15 - digits : 15, v);
    } else {
        std::snprintf(buffer, sizeof buffer, "%20.*e", 15, v);
    }
    std::string printed(buffer);
    printed.erase(0, printed.find_first_not_of(' '));
    size_t e = printed.find('e');
    std::string mantissa = printed.substr(0, e),
                exponent = e == std::string::npos ? "" : printed.substr(e + 1);
    if (mantissa.find('.') != std::string::npos) {
        mantissa.erase(mantissa.find_last_not_of('0') + 1);
        if (mantissa.back() == '.') mantissa.pop_back();
    }
    if (!exponent.empty()) {
        size_t first = 1;
        while (first + 1 < exponent.size() && exponent[first] == '0')
            ++first;
        exponent = exponent.substr(0, 1) + exponent.substr(first);
        return mantissa + "e" + exponent;
    }
    return mantissa;
}

std::string ascii(const String& s) {
    std::string out;
    for (int32_t i = 0; i < s.length(); ++i)
        out += static_cast<char>(s.wstr()[i]);
    return out;
}

// Whether text is a plain decimal number that strtod reads the same way: sign, digits, fraction,
// exponent, nothing else.
bool plainDecimal(const std::u16string& text) {
    size_t i = 0, digits = 0;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9')
        ++i, ++digits;
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9')
            ++i, ++digits;
    }
    if (digits == 0) return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
        size_t exponentDigits = 0;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9')
            ++i, ++exponentDigits;
        if (exponentDigits == 0) return false;
    }
    return i == text.size();
}

bool sameDouble(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

void checkText(double v) {
    const String text = Variant(v).getString();
    const std::string expected = oracleText(v);
    FUZZ_CHECK(ascii(text) == expected);
    const double back = Variant::scanDouble(text, Quarn::ScanStrict);
    const double oracleBack = std::isnan(v) ? v : std::isinf(v) ? v : std::strtod(expected.c_str(), nullptr);
    FUZZ_CHECK(sameDouble(back, oracleBack) || (back == 0 && oracleBack == 0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    const uint8_t choice = input.byte();

    if (choice & 1) {
        // A double from raw bits, or from a small decimal that lands on the common paths.
        double v;
        if (choice & 2) {
            uint64_t bits = static_cast<uint64_t>(input.u32()) | static_cast<uint64_t>(input.u32()) << 32;
            std::memcpy(&v, &bits, sizeof v);
        } else {
            v = static_cast<double>(static_cast<int32_t>(input.u32())) / std::pow(10.0, input.byte() % 20);
        }
        checkText(v);
        return 0;
    }

    static const int32_t modes[] = {Quarn::ScanStrict, Quarn::ScanAllowBlank, Quarn::ScanAllowAny, 7};
    const int32_t flags = modes[(choice >> 1) & 3] | ((choice >> 3) & 1 ? Quarn::ScanHexPrefix : 0) |
                          ((choice >> 4) & 1 ? Quarn::ScanOctalPrefix : 0);
    const int32_t start = static_cast<int32_t>(input.byte()) - 2;
    const bool wide = choice & 0x20;
    std::u16string source;
    while (!input.empty())
        source += wide ? static_cast<char16_t>(input.unit()) : static_cast<char16_t>(input.byte());
    const String text = toString(source);

    String rest;
    const double value = Variant::scanDouble(text, flags, &rest);
    const std::u16string left = toModel(rest);
    FUZZ_CHECK(left.size() <= source.size());
    FUZZ_CHECK(source.compare(source.size() - left.size(), left.size(), left) == 0);
    if (plainDecimal(source) && !(flags & Quarn::ScanOctalPrefix)) {
        std::string bytes(source.begin(), source.end());
        FUZZ_CHECK(sameDouble(value, std::strtod(bytes.c_str(), nullptr)));
        FUZZ_CHECK(rest.length() == 0);
    }

    const double integer = Variant::scanInteger(text, start, flags, &rest);
    FUZZ_CHECK(std::isnan(integer) || integer == std::trunc(integer));
    FUZZ_CHECK(rest.length() <= text.length());
    return 0;
}
