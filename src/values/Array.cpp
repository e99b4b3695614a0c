// Array: a shared record whose storage takes one of three forms. Every writer detaches first (a
// deep copy of the values when the record is shared); forms only move static -> dense -> sparse.
#include <quarn/Array.h>
#include <quarn/SimpleArray.h>
#include <quarn/SparseArray.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Quarn {

ArrayData Array::emptyRecord = {1, Array::FormDense, nullptr, 0};

namespace {

constexpr uint32_t kLastIndex = 4294967295u;

// The host's vector in the static form, with its size (reads beyond it are holes).
struct StaticStore : Heap {
    const Variant** vector;
    uint32_t count;
};
struct DenseStore : Heap {
    TSimpleArray<Variant> slots;
};
struct SparseStore : Heap {
    SparseArray map;
};

inline StaticStore* staticStore(const ArrayData* r) {
    return static_cast<StaticStore*>(r->storage);
}
inline DenseStore* denseStore(const ArrayData* r) {
    return static_cast<DenseStore*>(r->storage);
}
inline SparseStore* sparseStore(const ArrayData* r) {
    return static_cast<SparseStore*>(r->storage);
}

inline Variant* sparseValue(const SparseArray& map, uint32_t key) {
    return reinterpret_cast<Variant*>(map.find(static_cast<int32_t>(key)));
}

ArrayData* newRecord() {
    return new (Heap::operator new(sizeof(ArrayData))) ArrayData{1, Array::FormDense, nullptr, 0};
}

void deleteValuesOf(DenseStore* store) {
    for (int32_t i = 0; i < store->slots.length(); ++i)
        delete store->slots[i];
}

bool deleteSparseValue(int32_t, intptr_t* value, intptr_t) {
    delete reinterpret_cast<Variant*>(*value);
    *value = 0;
    return true;
}

// The keys of a sparse map in ascending (unsigned) order.
class SortedKeys {
public:
    explicit SortedKeys(const SparseArray& map) {
        SimpleArray raw;
        map.getKeys(raw);
        count = raw.length();
        keys =
            count
                ? static_cast<uint32_t*>(Heap::operator new[](sizeof(uint32_t) * static_cast<size_t>(count)))
                : nullptr;
        for (int32_t i = 0; i < count; ++i)
            keys[i] = static_cast<uint32_t>(raw[i]);
        std::sort(keys, keys + count);
    }
    ~SortedKeys() { Heap::operator delete[](keys); }
    SortedKeys(const SortedKeys&) = delete;
    SortedKeys& operator=(const SortedKeys&) = delete;

    uint32_t* keys;
    int32_t count;
};

inline uint32_t saturatedEnd(uint32_t pos, uint32_t count) {
    return count > kLastIndex - pos ? kLastIndex : pos + count;
}

// The records being turned into text, innermost last: an element that holds one of them prints as
// "[this]" instead of recursing for ever.
constexpr int kMaxTextDepth = 64;
const ArrayData* recordsInText[kMaxTextDepth];
int textDepth = 0;

} // namespace

// ---------------------------------------------------------------------------------------------
// Handles and records

Array::Array() : record(&emptyRecord) {
    ++emptyRecord.refCount;
}

Array::Array(const Array& other) : record(other.record) {
    ++record->refCount;
}

Array::Array(const Variant** data, int32_t count) : Array() {
    setStaticData(data, count);
}

Array::~Array() {
    releaseRecord();
}

Array& Array::operator=(const Array& other) {
    if (record != other.record) {
        ++other.record->refCount;
        releaseRecord();
        record = other.record;
    }
    return *this;
}

void Array::releaseRecord() {
    if (--record->refCount > 0) return;
    freeStorage();
    Heap::operator delete(record);
}

void Array::freeStorage() {
    void* storage = record->storage;
    if (!storage) return;
    record->storage = nullptr;
    switch (record->form) {
    case FormStatic: {
        // The array took the host's vector over; the values stay the host's.
        StaticStore* store = static_cast<StaticStore*>(storage);
        delete[] store->vector;
        delete store;
        break;
    }
    case FormDense: {
        DenseStore* store = static_cast<DenseStore*>(storage);
        deleteValuesOf(store);
        delete store;
        break;
    }
    default: {
        SparseStore* store = static_cast<SparseStore*>(storage);
        store->map.forEach(deleteSparseValue, 0);
        delete store;
        break;
    }
    }
}

void Array::detach() {
    if (record->refCount <= 1) return;
    // The copy is built in a handle of its own, so that exhaustion part way frees what was made.
    Array copy;
    copy.record = newRecord();
    --emptyRecord.refCount;
    const ArrayData* old = record;
    if (old->storage) {
        if (old->form == FormStatic) {
            const StaticStore* store = staticStore(old);
            for (uint32_t i = 0; i < store->count; ++i)
                if (store->vector[i]) copy[i] = *store->vector[i];
        } else if (old->form == FormDense) {
            const TSimpleArray<Variant>& slots = denseStore(old)->slots;
            DenseStore* store = new DenseStore;
            copy.record->storage = store;
            store->slots.setSize(slots.length());
            for (int32_t i = 0; i < slots.length(); ++i)
                if (slots[i]) store->slots[i] = new Variant(*slots[i]);
        } else {
            const SparseArray& map = sparseStore(old)->map;
            SparseStore* store = new SparseStore;
            copy.record->form = FormSparse;
            copy.record->storage = store;
            SimpleArray keys;
            map.getKeys(keys);
            for (int32_t i = 0; i < keys.length(); ++i) {
                int32_t key = static_cast<int32_t>(keys[i]);
                Variant* value = new Variant(*sparseValue(map, static_cast<uint32_t>(key)));
                try {
                    store->map.set(key, reinterpret_cast<intptr_t>(value));
                } catch (...) {
                    delete value;
                    throw;
                }
            }
        }
    }
    copy.record->length = old->length;
    std::swap(record, copy.record);
}

void Array::setStaticData(const Variant** data, int32_t count) {
    StaticStore* store = new StaticStore;
    store->vector = data;
    store->count = count > 0 ? static_cast<uint32_t>(count) : 0;
    if (record->refCount > 1) {
        --record->refCount;
        record = nullptr;
        try {
            record = newRecord();
        } catch (...) {
            record = &emptyRecord;
            ++emptyRecord.refCount;
            delete store;
            throw;
        }
    } else {
        freeStorage();
    }
    record->form = FormStatic;
    record->storage = store;
    record->length = store->count;
}

void Array::makeDenseFromStatic() {
    StaticStore* old = staticStore(record);
    DenseStore* store = new DenseStore;
    try {
        store->slots.setSize(static_cast<int32_t>(old->count));
        for (uint32_t i = 0; i < old->count; ++i)
            if (old->vector[i]) store->slots[static_cast<int32_t>(i)] = new Variant(*old->vector[i]);
    } catch (...) {
        deleteValuesOf(store);
        delete store;
        throw;
    }
    delete[] old->vector;
    delete old;
    record->storage = store;
    record->form = FormDense;
}

void Array::makeSparse() {
    DenseStore* old = denseStore(record);
    SparseStore* store = new SparseStore;
    try {
        for (int32_t i = 0; i < old->slots.length(); ++i)
            if (old->slots[i])
                store->map.set(i, reinterpret_cast<intptr_t>(static_cast<Variant*>(old->slots[i])));
    } catch (...) {
        delete store; // the values still belong to the dense store
        throw;
    }
    delete old; // its values moved
    record->storage = store;
    record->form = FormSparse;
}

// ---------------------------------------------------------------------------------------------
// Elements

const Variant& Array::operator[](uint32_t i) const {
    const ArrayData* r = record;
    if (i >= r->length || !r->storage) return Variant::undefinedValue();
    const Variant* found = nullptr;
    if (r->form == FormStatic) {
        const StaticStore* store = staticStore(r);
        if (i < store->count) found = store->vector[i];
    } else if (r->form == FormDense) {
        const TSimpleArray<Variant>& slots = denseStore(r)->slots;
        if (i < static_cast<uint32_t>(slots.length())) found = slots[static_cast<int32_t>(i)];
    } else {
        found = sparseValue(sparseStore(r)->map, i);
    }
    return found ? *found : Variant::undefinedValue();
}

bool Array::isDefined(uint32_t i) const {
    return i < record->length && &(*this)[i] != &Variant::undefinedValue();
}

Variant& Array::operator[](uint32_t i) {
    detach();
    if (!record->storage) {
        if (i < kDenseLimit) {
            DenseStore* store = new DenseStore;
            record->storage = store;
            record->form = FormDense;
        } else {
            record->storage = new SparseStore;
            record->form = FormSparse;
        }
    }
    if (record->form == FormStatic) makeDenseFromStatic();
    if (record->form == FormDense && i >= kDenseLimit) makeSparse();

    Variant* element;
    if (record->form == FormDense) {
        TSimpleArray<Variant>& slots = denseStore(record)->slots;
        const int32_t index = static_cast<int32_t>(i);
        if (index >= slots.length()) slots.setSize(index + 1);
        element = slots[index];
        if (!element) slots[index] = element = new Variant;
    } else {
        SparseArray& map = sparseStore(record)->map;
        element = sparseValue(map, i);
        if (!element) {
            element = new Variant;
            try {
                map.set(static_cast<int32_t>(i), reinterpret_cast<intptr_t>(element));
            } catch (...) {
                delete element;
                throw;
            }
        }
    }
    // The largest index is a valid slot but never changes the length.
    if (i >= record->length && i != kLastIndex) record->length = i + 1;
    return *element;
}

Array& Array::append(const Variant& v) {
    Variant copy(v); // v may be an element of this array
    (*this)[length()] = std::move(copy);
    return *this;
}

void Array::setLength(uint32_t n) {
    if (n == record->length) return;
    if (n == 0) {
        releaseRecord();
        record = &emptyRecord;
        ++emptyRecord.refCount;
        return;
    }
    detach();
    const uint32_t old = record->length;
    record->length = n;
    if (n < old) {
        if (!record->storage) return;
        if (record->form == FormDense) {
            TSimpleArray<Variant>& slots = denseStore(record)->slots;
            if (static_cast<uint32_t>(slots.length()) > n) {
                for (int32_t i = static_cast<int32_t>(n); i < slots.length(); ++i)
                    delete slots[i];
                slots.setSize(static_cast<int32_t>(n));
            }
        } else if (record->form == FormSparse) {
            // Entries above n go; an entry exactly at n survives beyond the new length, as the
            // library has always done.
            SparseArray& map = sparseStore(record)->map;
            SortedKeys sorted(map);
            for (int32_t k = sorted.count - 1; k >= 0 && sorted.keys[k] > n; --k)
                delete reinterpret_cast<Variant*>(map.remove(static_cast<int32_t>(sorted.keys[k])));
        }
        return;
    }
    (*this)[n - 1] = Variant::undefinedValue();
}

// Moves every entry of the sparse map to a new key (or drops it when place returns false). The new map
// is built first, so exhaustion part way leaves the array exactly as it was.
template <class Place> void Array::rekeySparse(Place place) {
    SparseStore* old = sparseStore(record);
    SimpleArray keys;
    old->map.getKeys(keys);
    SparseStore* store = new SparseStore;
    try {
        for (int32_t k = 0; k < keys.length(); ++k) {
            uint32_t moved = 0;
            const uint32_t key = static_cast<uint32_t>(keys[k]);
            if (place(key, moved))
                store->map.set(static_cast<int32_t>(moved), old->map.find(static_cast<int32_t>(key)));
        }
    } catch (...) {
        delete store; // the values still belong to the old map
        throw;
    }
    for (int32_t k = 0; k < keys.length(); ++k) {
        uint32_t moved = 0;
        const uint32_t key = static_cast<uint32_t>(keys[k]);
        if (!place(key, moved)) delete sparseValue(old->map, key);
    }
    delete old; // its remaining values moved
    record->storage = store;
}

void Array::insertAt(uint32_t pos, uint32_t count) {
    if (!record->storage) return;
    detach();
    const uint32_t end = saturatedEnd(pos, count);
    if (record->form == FormSparse) {
        // Entries at pos and above move up by count; those pushed past the largest index go.
        rekeySparse([pos, count](uint32_t key, uint32_t& moved) {
            if (key < pos) return (moved = key), true;
            if (count > kLastIndex - key) return false;
            return (moved = key + count), true;
        });
    } else if (record->form == FormDense) {
        TSimpleArray<Variant>& slots = denseStore(record)->slots;
        if (end > kDenseLimit) {
            SparseStore* store = new SparseStore;
            try {
                for (int32_t i = 0; i < slots.length(); ++i) {
                    Variant* value = slots[i];
                    if (!value) continue;
                    const uint32_t index = static_cast<uint32_t>(i);
                    if (index < pos)
                        store->map.set(i, reinterpret_cast<intptr_t>(value));
                    else if (count <= kLastIndex - index)
                        store->map.set(static_cast<int32_t>(index + count),
                                       reinterpret_cast<intptr_t>(value));
                }
            } catch (...) {
                delete store;
                throw;
            }
            // Values shifted past the largest index are dropped.
            for (int32_t i = 0; i < slots.length(); ++i)
                if (slots[i] && static_cast<uint32_t>(i) >= pos &&
                    count > kLastIndex - static_cast<uint32_t>(i))
                    delete slots[i];
            delete denseStore(record);
            record->storage = store;
            record->form = FormSparse;
        } else {
            slots.insertGap(static_cast<int32_t>(pos), static_cast<int32_t>(count));
        }
    }
    record->length = saturatedEnd(record->length, count);
}

void Array::removeAt(uint32_t pos, uint32_t count) {
    if (!record->storage) return;
    detach();
    if (record->form == FormStatic) makeDenseFromStatic();
    const uint32_t end = saturatedEnd(pos, count);
    if (record->form == FormDense) {
        TSimpleArray<Variant>& slots = denseStore(record)->slots;
        const uint32_t stored = static_cast<uint32_t>(slots.length());
        for (uint32_t i = pos; i < end && i < stored; ++i) {
            delete slots[static_cast<int32_t>(i)];
            slots[static_cast<int32_t>(i)] = nullptr;
        }
        if (pos < stored)
            slots.removeGap(static_cast<int32_t>(pos), static_cast<int32_t>(std::min(end, stored) - pos));
        // The length follows the store, so trailing holes beyond it are lost (a kept rule).
        record->length = static_cast<uint32_t>(slots.length());
        return;
    }
    // Keys below pos stay, keys in [pos, pos + count) go, later keys move down by count. The length
    // becomes the number of keys below pos, or the last moved key + 1 when any moved: the rule it always
    // had. A range that runs past the largest index takes every key from pos on (so nothing can move
    // onto a key that stays).
    const bool toTheEnd = count > kLastIndex - pos;
    uint32_t newLength = 0, highestMoved = 0;
    bool anyMoved = false;
    SimpleArray keys;
    sparseStore(record)->map.getKeys(keys);
    for (int32_t k = 0; k < keys.length(); ++k) {
        const uint32_t key = static_cast<uint32_t>(keys[k]);
        if (key < pos) {
            ++newLength;
        } else if (!toTheEnd && key >= end && (!anyMoved || key - count > highestMoved)) {
            highestMoved = key - count;
            anyMoved = true;
        }
    }
    rekeySparse([pos, end, count, toTheEnd](uint32_t key, uint32_t& moved) {
        if (key < pos) return (moved = key), true;
        if (toTheEnd || key < end) return false;
        return (moved = key - count), true;
    });
    record->length = anyMoved ? highestMoved + 1 : newLength;
}

void Array::deleteAt(uint32_t pos) {
    if (!record->storage) return;
    detach();
    if (record->form == FormStatic) makeDenseFromStatic();
    if (record->form == FormDense) {
        TSimpleArray<Variant>& slots = denseStore(record)->slots;
        if (pos < static_cast<uint32_t>(slots.length())) {
            delete slots[static_cast<int32_t>(pos)];
            slots[static_cast<int32_t>(pos)] = nullptr;
        }
    } else {
        delete reinterpret_cast<Variant*>(sparseStore(record)->map.remove(static_cast<int32_t>(pos)));
    }
}

// ---------------------------------------------------------------------------------------------
// Comparison and text

bool Array::operator==(const Array& other) const {
    if (record == other.record) return true;
    if (record->length != other.record->length || record->form != other.record->form) return false;
    const Variant& undefined = Variant::undefinedValue();
    for (uint32_t i = 0; i < record->length; ++i) {
        const Variant& a = (*this)[i];
        const Variant& b = other[i];
        const bool holeA = &a == &undefined, holeB = &b == &undefined;
        if (holeA != holeB) return false;
        if (!holeA && !(a == b)) return false;
        if (i == kLastIndex) break;
    }
    return true;
}

void Array::toString(String& out) const {
    out.erase();
    if (record->length > 1000) {
        out = u"[too many elements]";
        return;
    }
    if (textDepth >= kMaxTextDepth) return;
    recordsInText[textDepth++] = record;
    try {
        for (uint32_t i = 0; i < record->length; ++i) {
            if (i > 0) out += static_cast<unsigned short>(',');
            const Variant& element = (*this)[i];
            const Array* inner = element.getArray();
            bool self = false;
            for (int d = 0; inner && d < textDepth; ++d)
                self |= inner->record == recordsInText[d];
            if (self) {
                out += u"[this]";
            } else if (element.isDefined()) {
                String piece;
                element.toString(piece);
                out += piece;
            }
        }
    } catch (...) {
        // Text is best effort: anything that fails part way (exhaustion included) gives "".
        out.erase();
    }
    --textDepth;
}

} // namespace Quarn
