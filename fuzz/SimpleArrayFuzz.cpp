// SimpleArray against std::vector<intptr_t>, compared after every step; copies taken along the way
// must keep their contents (copy-on-write).
#include "FuzzSupport.h"

#include <quarn/SimpleArray.h>

#include <algorithm>
#include <utility>
#include <vector>

using namespace quarn_fuzz;
using Quarn::SimpleArray;
using Model = std::vector<intptr_t>;

QUARN_FUZZ_INIT

namespace {

bool same(const SimpleArray& a, const Model& m) {
    if (a.length() != static_cast<int32_t>(m.size())) return false;
    for (size_t i = 0; i < m.size(); ++i)
        if (a[static_cast<int32_t>(i)] != m[i]) return false;
    return true;
}

int32_t clampPosition(int32_t pos, int32_t length) {
    return pos < 0 ? 0 : pos > length ? length : pos;
}

intptr_t forEachSum = 0;
void addSlot(int32_t, intptr_t* slot, intptr_t) {
    forEachSum += *slot;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    SimpleArray a;
    Model m;
    std::vector<std::pair<SimpleArray, Model>> copies;

    for (int step = 0; step < 96 && !input.empty(); ++step) {
        const int32_t length = static_cast<int32_t>(m.size());
        const intptr_t value = static_cast<intptr_t>(input.byte() % 8); // small values: repeats and zeros
        switch (input.byte() % 16) {
        case 0:
            if (input.flag())
                a.append(value);
            else
                a += value;
            m.push_back(value);
            break;
        case 1: {
            int32_t pos = input.position(length);
            a.insert(value, pos);
            m.insert(m.begin() + clampPosition(pos, length), value);
            break;
        }
        case 2: {
            int32_t pos = input.position(length), count = static_cast<int32_t>(input.byte() % 12) - 2;
            a.insertGap(pos, count);
            if (count > 0) m.insert(m.begin() + clampPosition(pos, length), static_cast<size_t>(count), 0);
            break;
        }
        case 3: {
            int32_t pos = input.position(length);
            intptr_t got = a.removeAt(pos);
            if (length == 0) {
                FUZZ_CHECK(got == 0);
            } else {
                int32_t at = clampPosition(pos, length - 1);
                FUZZ_CHECK(got == m[static_cast<size_t>(at)]);
                m.erase(m.begin() + at);
            }
            break;
        }
        case 4: {
            int32_t pos = input.position(length), count = static_cast<int32_t>(input.byte() % 12) - 2;
            a.removeGap(pos, count);
            int32_t at = clampPosition(pos, length);
            if (count > length - at) count = length - at;
            if (count > 0) m.erase(m.begin() + at, m.begin() + at + count);
            break;
        }
        case 5: {
            if (input.flag())
                a.remove(value);
            else
                a -= value;
            auto found = std::find(m.begin(), m.end(), value);
            if (found != m.end()) m.erase(found);
            break;
        }
        case 6: {
            auto found = std::find(m.begin(), m.end(), value);
            FUZZ_CHECK(a.indexOf(value) == (found == m.end() ? -1 : static_cast<int32_t>(found - m.begin())));
            break;
        }
        case 7: {
            int32_t start = input.position(length), count = static_cast<int32_t>(input.byte() % 12) - 2;
            SimpleArray part = a.copy(start, count);
            int32_t from = clampPosition(start, length);
            if (count < 0 || count > length - from) count = length - from;
            FUZZ_CHECK(same(part, count > 0 ? Model(m.begin() + from, m.begin() + from + count) : Model()));
            break;
        }
        case 8: {
            int32_t n = static_cast<int32_t>(input.byte() % 40) - 3;
            a.setSize(n);
            m.resize(n > 0 ? static_cast<size_t>(n) : 0, 0);
            break;
        }
        case 9:
            if (input.flag())
                a.clear();
            else
                a.erase();
            m.clear();
            break;
        case 10:
            if (length > 0) {
                int32_t pos = static_cast<int32_t>(input.below(static_cast<uint32_t>(length)));
                a[pos] = value;
                m[static_cast<size_t>(pos)] = value;
            }
            break;
        case 11:
            a.setIncrement(static_cast<int32_t>(input.byte() % 20) - 3);
            FUZZ_CHECK(a.getIncrement() >= 1);
            break;
        case 12: {
            SimpleArray other =
                copies.empty() ? a : copies[input.below(static_cast<uint32_t>(copies.size()))].first;
            Model otherModel(other.getData(), other.getData() + other.length());
            if (m.size() + otherModel.size() < 2000) {
                a += other;
                m.insert(m.end(), otherModel.begin(), otherModel.end());
            }
            break;
        }
        case 13: {
            forEachSum = 0;
            a.forEach(addSlot, 0);
            intptr_t expected = 0;
            for (intptr_t v : m)
                expected += v;
            FUZZ_CHECK(forEachSum == expected);
            break;
        }
        case 14: {
            SimpleArray other(a);
            FUZZ_CHECK(other == a && !(other != a));
            FUZZ_CHECK(other.getIncrement() == 8);
            if (!copies.empty()) {
                const auto& copy = copies[input.below(static_cast<uint32_t>(copies.size()))];
                FUZZ_CHECK((copy.first == a) == (copy.second == m));
                a = copy.first;
                m = copy.second;
            }
            break;
        }
        default:
            if (copies.size() < 6) copies.emplace_back(a, m);
            break;
        }
        FUZZ_CHECK(same(a, m));
        for (const auto& copy : copies)
            FUZZ_CHECK(same(copy.first, copy.second));
    }
    return 0;
}
