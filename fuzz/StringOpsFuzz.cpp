// String editing against a plain std::u16string model, compared after every step. Copies taken at
// random points must never change afterwards (copy-on-write).
#include "FuzzSupport.h"

#include <quarn/UnicodeUtils.h>

#include <algorithm>
#include <utility>
#include <vector>

using namespace quarn_fuzz;
using Quarn::String;
using Quarn::UnicodeUtils;
using Model = std::u16string;

QUARN_FUZZ_INIT

namespace {

int32_t size(const Model& m) {
    return static_cast<int32_t>(m.size());
}

// The text up to its first 0 unit, as the terminated forms read it.
Model terminated(const Model& m) {
    return m.substr(0, m.find(u'\0'));
}

// Patterns never hold a 0 unit (a 0 ends a terminated pattern anyway).
Model pattern(Input& input, size_t maxLength) {
    Model p = input.text(maxLength);
    for (char16_t& c : p)
        if (c == 0) c = u'a';
    return p;
}

const unsigned short* units(const Model& m) {
    return reinterpret_cast<const unsigned short*>(m.c_str());
}

// The standard search: forward from start, stopping at the first 0 unit of the text.
// Where the library's forward searches stop looking: the first 0 unit at or after start.
size_t visibleEnd(const Model& text, size_t start) {
    size_t zero = text.find(u'\0', start);
    return zero == Model::npos ? text.size() : zero;
}

int32_t findBetween(const Model& text, size_t start, size_t end, const Model& needle) {
    auto found = std::search(text.begin() + static_cast<std::ptrdiff_t>(start),
                             text.begin() + static_cast<std::ptrdiff_t>(end), needle.begin(), needle.end());
    return found == text.begin() + static_cast<std::ptrdiff_t>(end) ? -1
                                                                     : static_cast<int32_t>(found - text.begin());
}

int32_t findForward(const Model& text, int32_t start, const Model& needle) {
    const int32_t m = size(needle);
    if (start > size(text) - m) return -1;
    if (start < 0) start = 0;
    if (m == 0) return start;
    return findBetween(text, static_cast<size_t>(start), visibleEnd(text, static_cast<size_t>(start)), needle);
}

int32_t findReverse(const Model& text, int32_t start, const Model& needle) {
    const int32_t m = size(needle), last = size(text) - m;
    if (start < 0 || start > last) start = last;
    for (int32_t i = start; i >= 0; --i)
        if (text.compare(static_cast<size_t>(i), static_cast<size_t>(m), needle) == 0) return i;
    return -1;
}

int32_t findUnit(const Model& text, char16_t c, int32_t start, bool reverse) {
    const int32_t length = size(text);
    start = start < 0 ? 0 : start > length ? length : start;
    if (reverse) {
        for (int32_t i = start; i >= 0; --i)
            if ((i == length ? u'\0' : text[static_cast<size_t>(i)]) == c) return i;
        return -1;
    }
    for (int32_t i = start; i < length; ++i)
        if (text[static_cast<size_t>(i)] == c) return i;
    return -1;
}

void modelErase(Model& m, int32_t pos, int32_t count) {
    const int32_t length = size(m);
    if (pos < 0) pos = length;
    if (count < 0) count = length;
    if (pos == 0 && count >= length) {
        m.clear();
    } else if (pos < length) {
        m.erase(static_cast<size_t>(pos), static_cast<size_t>(count < length - pos ? count : length - pos));
    }
}

void modelInsert(Model& m, const Model& text, int32_t pos) {
    if (text.empty()) return;
    if (pos >= size(m))
        m += text;
    else
        m.insert(static_cast<size_t>(pos < 0 ? 0 : pos), text);
}

// The leading trim copies up to the first 0 unit in place and keeps the length: kept behaviour.
void modelStrip(Model& m) {
    Model buffer = m + u'\0';
    int32_t length = size(m), skip = 0;
    while (skip < length && buffer[static_cast<size_t>(skip)] <= 32)
        ++skip;
    if (skip > 0) {
        size_t j = 0;
        do {
            buffer[j] = buffer[j + static_cast<size_t>(skip)];
        } while (buffer[j++] != 0);
        length -= skip;
    }
    int32_t end = length;
    while (end > 0 && buffer[static_cast<size_t>(end - 1)] <= 32)
        --end;
    m = buffer.substr(0, static_cast<size_t>(end));
}

Model modelSplit(Model& m, int32_t pos, int32_t separatorLength) {
    Model field;
    if (pos < 0) {
        field = m;
        m.clear();
    } else {
        field = m.substr(0, static_cast<size_t>(pos));
        modelErase(m, 0, pos + separatorLength);
    }
    modelStrip(field);
    return field;
}

int32_t modelReplaceAll(Model& m, const Model& what, const Model& with, int32_t start) {
    if (what.empty()) {
        m.insert(0, with);
        return 1;
    }
    const int32_t w = size(what);
    Model out;
    int32_t count = 0, copied = 0;
    // Matches lie before the first 0 after start, so every later search stops there too.
    const int32_t first = findForward(m, start, what);
    const size_t end = first < 0 ? 0 : visibleEnd(m, static_cast<size_t>(first));
    for (int32_t pos = first; pos >= 0; pos = findBetween(m, static_cast<size_t>(pos + w), end, what)) {
        out += m.substr(static_cast<size_t>(copied), static_cast<size_t>(pos - copied));
        out += with;
        copied = pos + w;
        ++count;
    }
    if (count) m = out + m.substr(static_cast<size_t>(copied));
    return count;
}

int32_t modelConvertLF(Model& m, int kind) {
    int32_t count = 0;
    bool mixed = false;
    int seen = 0;
    for (size_t i = 0; i < m.size(); ++i) {
        int found = 0;
        if (m[i] == u'\r')
            found = i + 1 < m.size() && m[i + 1] == u'\n' ? (++i, 1) : 2;
        else if (m[i] == u'\n')
            found = 3;
        if (!found) continue;
        ++count;
        if (seen && seen != found) mixed = true;
        seen = found;
    }
    if (kind == 0) kind = 3;
    if (count == 0 || (!mixed && seen == kind)) return count;
    const Model end = kind == 1 ? u"\r\n" : kind == 2 ? u"\r" : u"\n";
    Model out;
    for (size_t i = 0; i < m.size(); ++i) {
        if (m[i] != u'\r' && m[i] != u'\n') {
            out += m[i];
            continue;
        }
        if (m[i] == u'\r' && i + 1 < m.size() && m[i + 1] == u'\n') ++i;
        out += end;
    }
    m = out;
    return count;
}

template <unsigned short (*map)(unsigned short)> bool modelMap(Model& m) {
    bool changed = false;
    for (char16_t& c : m) {
        char16_t mapped = static_cast<char16_t>(map(c));
        changed |= mapped != c;
        c = mapped;
    }
    return changed;
}

bool modelMixed(Model& m) {
    bool changed = modelMap<UnicodeUtils::towlower>(m);
    bool capitalise = true;
    for (char16_t& c : m) {
        if (capitalise && UnicodeUtils::towupper(c) != c) {
            c = static_cast<char16_t>(UnicodeUtils::towupper(c));
            changed = true;
        }
        capitalise = c == u' ' || c == u',' || c == u';' || c == u'.';
    }
    return changed;
}

int sign(int v) {
    return v < 0 ? -1 : v > 0 ? 1 : 0;
}

int modelCompare(const Model& a, const Model& b, int32_t limit, bool caseless) {
    const Model x = terminated(a) + u'\0', y = terminated(b) + u'\0';
    for (int32_t i = 0; i < limit; ++i) {
        unsigned short p = x[static_cast<size_t>(i)], q = y[static_cast<size_t>(i)];
        if (caseless) p = UnicodeUtils::towupper(p), q = UnicodeUtils::towupper(q);
        if (p != q) return sign(static_cast<int>(p) - static_cast<int>(q));
        if (p == 0) return 0;
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size_) {
    LeakGuard guard;
    Input input(data, size_);
    String s;
    Model m;
    std::vector<std::pair<String, Model>> copies;

    for (int step = 0; step < 64 && !input.empty(); ++step) {
        const int32_t length = size(m);
        const bool small = length < 4000;
        switch (input.byte() % 24) {
        case 0: {
            Model t = input.text(small ? 40 : 0);
            s += toString(t);
            m += t;
            break;
        }
        case 1: {
            char16_t c = static_cast<char16_t>(input.unit() % 4 == 0 ? 0 : input.byte());
            s += static_cast<unsigned short>(c);
            m += c;
            break;
        }
        case 2: {
            Model t = input.text(small ? 20 : 0);
            int32_t pos = input.position(length);
            if (input.flag()) {
                s.insert(toString(t), pos);
                modelInsert(m, t, pos);
            } else {
                s.insert(units(t), pos);
                modelInsert(m, terminated(t), pos);
            }
            break;
        }
        case 3: {
            char16_t c = static_cast<char16_t>(input.byte());
            int32_t pos = input.position(length);
            s.insert(static_cast<unsigned short>(c), pos);
            if (pos >= length)
                m += c;
            else
                m.insert(static_cast<size_t>(pos < 0 ? 0 : pos), 1, c);
            break;
        }
        case 4: {
            int32_t pos = input.position(length), count = input.position(length);
            s.erase(pos, count);
            modelErase(m, pos, count);
            break;
        }
        case 5: {
            int32_t pos = input.position(length);
            char16_t c = static_cast<char16_t>(input.byte());
            s.set(pos, c);
            if (pos >= 0 && pos < length) m[static_cast<size_t>(pos)] = c;
            break;
        }
        case 6: {
            char16_t c = static_cast<char16_t>(input.byte());
            int32_t count = static_cast<int32_t>(input.byte()) - 3;
            s.setup(c, count);
            m.assign(count > 0 ? static_cast<size_t>(count) : 0, c);
            break;
        }
        case 7:
            if (input.flag())
                s.clear();
            else
                s.erase();
            m.clear();
            break;
        case 8: {
            Model what = pattern(input, 3), with = input.text(small ? 6 : 0);
            int32_t start = input.position(length);
            int32_t pos = what.empty() ? 0 : findForward(m, start, what);
            int32_t got;
            if (input.flag()) {
                got = s.replace(toString(what), toString(with), start);
            } else {
                got = s.replace(units(what), units(with), start);
                with = terminated(with);
            }
            FUZZ_CHECK(got == pos);
            if (pos >= 0) m.replace(static_cast<size_t>(pos), what.size(), with);
            break;
        }
        case 9: {
            // Every match may grow by the replacement: only short texts get one longer than a unit,
            // so that no sequence of steps takes the text far past 4000 units.
            Model what = pattern(input, 3), with = input.text(length <= 600 ? 6 : small ? 1 : 0);
            int32_t start = input.position(length);
            int32_t got;
            if (input.flag()) {
                got = s.replaceAll(toString(what), toString(with), start);
            } else {
                got = s.replaceAll(units(what), units(with), start);
                with = terminated(with);
            }
            FUZZ_CHECK(got == modelReplaceAll(m, what, with, start));
            break;
        }
        case 10: {
            char16_t a = static_cast<char16_t>(input.byte()), b = static_cast<char16_t>(input.byte());
            int32_t start = input.position(length);
            if (input.flag()) {
                int32_t pos = findUnit(m, a, start, false);
                FUZZ_CHECK(s.replace(a, b, start) == pos);
                if (pos >= 0) m[static_cast<size_t>(pos)] = b;
            } else {
                int32_t count = 0;
                for (int32_t pos = findUnit(m, a, start, false); pos >= 0;
                     pos = findUnit(m, a, pos + 1, false))
                    m[static_cast<size_t>(pos)] = b, ++count;
                FUZZ_CHECK(s.replaceAll(a, b, start) == count);
            }
            break;
        }
        case 11: {
            int32_t start = input.position(length), count = input.position(length);
            const String part = s.substr(start, count);
            if (start >= length) {
                FUZZ_CHECK(part.length() == 0);
            } else {
                if (start < 0) start = 0;
                if (count < 0 || count > length - start) count = length - start;
                FUZZ_CHECK(same(part, m.substr(static_cast<size_t>(start), static_cast<size_t>(count))));
            }
            break;
        }
        case 12: {
            char16_t c = static_cast<char16_t>(input.flag() ? 0 : input.byte());
            int32_t start = input.position(length);
            bool reverse = input.flag();
            FUZZ_CHECK(s.find(static_cast<unsigned short>(c), start, reverse) ==
                       findUnit(m, c, start, reverse));
            break;
        }
        case 13: {
            Model needle = pattern(input, 3);
            int32_t start = input.position(length);
            bool reverse = input.flag();
            int32_t expected = reverse ? findReverse(m, start, needle) : findForward(m, start, needle);
            FUZZ_CHECK(s.find(toString(needle), start, reverse) == expected);
            FUZZ_CHECK(s.find(units(needle), start, reverse) == (needle.empty() ? 0 : expected));
            break;
        }
        case 14: {
            Model set = pattern(input, 3);
            int32_t start = input.position(length);
            int32_t expected = -1;
            if (set.empty()) {
                expected = start;
            } else if (start >= 0 && start <= length) {
                for (int32_t i = start;; ++i) {
                    char16_t c = i == length ? u'\0' : m[static_cast<size_t>(i)];
                    if (c == 0 || set.find(c) != Model::npos) {
                        expected = i;
                        break;
                    }
                }
            }
            FUZZ_CHECK(s.findAny(units(set), start) == expected);
            break;
        }
        case 15: {
            int form = input.byte() % 3;
            Model field;
            String got;
            if (form == 0) {
                char16_t sep = static_cast<char16_t>(input.byte());
                field = modelSplit(m, findUnit(m, sep, 0, false), 1);
                got = s.split(static_cast<unsigned short>(sep));
            } else {
                Model sep = pattern(input, 2);
                int32_t pos = findForward(m, 0, sep);
                field = modelSplit(m, form == 1 && sep.empty() ? 0 : pos, size(sep));
                got = form == 1 ? s.split(units(sep)) : s.split(toString(sep));
            }
            FUZZ_CHECK(same(got, field));
            break;
        }
        case 16:
            s = String(s.wstr(), s.length()); // strip only a buffer of its own
            s.strip();
            modelStrip(m);
            break;
        case 17:
            FUZZ_CHECK(s.toUpper() == modelMap<UnicodeUtils::towupper>(m));
            break;
        case 18:
            FUZZ_CHECK(s.toLower() == modelMap<UnicodeUtils::towlower>(m));
            break;
        case 19:
            FUZZ_CHECK(s.toMixed() == modelMixed(m));
            break;
        case 20: {
            int kind = input.byte() % 4;
            FUZZ_CHECK(s.convertLF(static_cast<Quarn::CRLFEncoding>(kind)) == modelConvertLF(m, kind));
            break;
        }
        case 21: {
            Model other = input.text(8);
            const String o = toString(other);
            int32_t n = static_cast<int32_t>(input.byte() % 10) - 1;
            FUZZ_CHECK(sign(s.cmp(o)) == modelCompare(m, other, INT32_MAX, false) || s.wstr() == o.wstr());
            FUZZ_CHECK(sign(s.ncmp(o, n)) == modelCompare(m, other, n, false));
            FUZZ_CHECK(sign(s.ucmp(o)) == modelCompare(m, other, INT32_MAX, true));
            FUZZ_CHECK(sign(s.nucmp(o, n)) == (n < 1 ? 0 : modelCompare(m, other, n, true)));
            FUZZ_CHECK((s == o) == (m == other));
            break;
        }
        case 22: {
            int32_t from = static_cast<int32_t>(input.below(static_cast<uint32_t>(length + 1)));
            s = s.wstr() + from; // text of its own buffer, up to its first 0 unit
            m = terminated(m.substr(static_cast<size_t>(from)));
            break;
        }
        default:
            if (copies.size() < 8) copies.emplace_back(s, m);
            break;
        }
        FUZZ_CHECK(same(s, m));
    }
    // A write that reached a shared buffer shows in a copy and stays there: the copies are never
    // written, so looking at them once at the end finds it.
    for (const auto& copy : copies)
        FUZZ_CHECK(same(copy.first, copy.second));
    return 0;
}
