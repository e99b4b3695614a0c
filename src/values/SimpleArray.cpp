#include <quarn/SimpleArray.h>

#include <cstring>
#include <new>

namespace Quarn {

SimpleArrayData SimpleArray::emptyBlock = {1, 0, 0};

namespace {

inline void moveSlots(intptr_t* to, const intptr_t* from, int32_t count) {
    if (count > 0) std::memmove(to, from, static_cast<size_t>(count) * sizeof(intptr_t));
}

inline void zeroSlots(intptr_t* from, int32_t count) {
    if (count > 0) std::memset(from, 0, static_cast<size_t>(count) * sizeof(intptr_t));
}

inline int32_t clampPos(int32_t pos, int32_t length) {
    return pos < 0 ? 0 : (pos > length ? length : pos);
}

// Lengths are 32-bit; growing past that is treated like running out of memory.
inline int32_t grownLength(int32_t length, int32_t by) {
    if (by > INT32_MAX - length) throw std::bad_alloc();
    return length + by;
}

size_t blockBytes(int64_t capacity) {
    if (capacity > static_cast<int64_t>((SIZE_MAX - sizeof(SimpleArrayData)) / sizeof(intptr_t)))
        throw std::bad_alloc();
    return sizeof(SimpleArrayData) + static_cast<size_t>(capacity) * sizeof(intptr_t);
}

} // namespace

SimpleArrayData* SimpleArray::newBlock(int32_t capacity) {
    SimpleArrayData* block = static_cast<SimpleArrayData*>(Heap::operator new[](blockBytes(capacity)));
    block->refCount = 1;
    block->length = 0;
    block->capacity = capacity;
    return block;
}

void SimpleArray::freeBlock(SimpleArrayData* block) {
    Heap::operator delete[](block);
}

SimpleArray& SimpleArray::operator=(const SimpleArray& other) {
    if (data == other.data) return *this;
    ++other.data->refCount;
    if (--data->refCount == 0) freeBlock(data);
    data = other.data;
    return *this;
}

bool SimpleArray::operator==(const SimpleArray& other) const {
    if (data->length != other.data->length) return false;
    if (data == other.data || data->length == 0) return true;
    return std::memcmp(data->slots(), other.data->slots(),
                       static_cast<size_t>(data->length) * sizeof(intptr_t)) == 0;
}

void SimpleArray::unique() {
    // The empty block has no slots to write, so it never needs a private copy.
    if (data->refCount <= 1 || data == &emptyBlock) return;
    SimpleArrayData* block = newBlock(data->capacity);
    moveSlots(block->slots(), data->slots(), data->length);
    block->length = data->length;
    --data->refCount;
    data = block;
}

void SimpleArray::setSize(int32_t n) {
    if (n < 1) {
        ++emptyBlock.refCount;
        if (--data->refCount == 0) freeBlock(data);
        data = &emptyBlock;
        return;
    }
    int32_t oldLength = data->length;
    if (n == oldLength) return;
    int64_t capacity = (static_cast<int64_t>(n) + increment - 1) / increment * increment;
    if (capacity > INT32_MAX) throw std::bad_alloc();
    if (capacity != data->capacity) {
        if (data->refCount <= 1 && data != &emptyBlock) {
            try {
                data = static_cast<SimpleArrayData*>(Heap::reAlloc(data, blockBytes(capacity)));
            } catch (const std::bad_alloc&) {
                // Shrinking only gives memory back: when the smaller block cannot be had, the larger
                // one stays. Callers that shift slots first (removeGap) rely on this not failing.
                if (capacity > data->capacity) throw;
                capacity = data->capacity;
            }
        } else {
            SimpleArrayData* block = newBlock(static_cast<int32_t>(capacity));
            moveSlots(block->slots(), data->slots(), oldLength < n ? oldLength : n);
            --data->refCount;
            data = block;
        }
        data->capacity = static_cast<int32_t>(capacity);
    } else {
        unique();
    }
    if (n > oldLength) zeroSlots(data->slots() + oldLength, n - oldLength);
    data->length = n;
}

void SimpleArray::growTo(int32_t n) {
    if (n <= data->capacity) {
        unique();
        data->length = n;
    } else {
        setSize(n);
    }
}

void SimpleArray::clear() {
    if (data->length == 0) return;
    unique();
    data->length = 0;
    zeroSlots(data->slots(), data->capacity);
}

void SimpleArray::appendSlow(intptr_t value) {
    int32_t end = data->length;
    growTo(grownLength(end, 1));
    data->slots()[end] = value;
}

void SimpleArray::append(const SimpleArray& other) {
    int32_t count = other.data->length;
    if (count == 0) return;
    int32_t end = data->length;
    setSize(grownLength(end, count));
    // Read other.data only now: when other is this very handle, setSize may have moved the block.
    moveSlots(data->slots() + end, other.data->slots(), count);
}

void SimpleArray::insert(intptr_t value, int32_t pos) {
    int32_t end = data->length;
    pos = clampPos(pos, end);
    growTo(grownLength(end, 1));
    intptr_t* slots = data->slots();
    moveSlots(slots + pos + 1, slots + pos, end - pos);
    slots[pos] = value;
}

void SimpleArray::insertGap(int32_t pos, int32_t count) {
    if (count < 1) return;
    int32_t end = data->length;
    pos = clampPos(pos, end);
    growTo(grownLength(end, count));
    intptr_t* slots = data->slots();
    moveSlots(slots + pos + count, slots + pos, end - pos);
    zeroSlots(slots + pos, count);
}

intptr_t SimpleArray::removeAt(int32_t pos) {
    int32_t end = data->length;
    if (end == 0) return 0;
    pos = clampPos(pos, end - 1);
    unique();
    intptr_t* slots = data->slots();
    intptr_t value = slots[pos];
    moveSlots(slots + pos, slots + pos + 1, end - pos - 1);
    data->length = end - 1;
    if (end == 1) setSize(0);
    return value;
}

void SimpleArray::removeGap(int32_t pos, int32_t count) {
    int32_t end = data->length;
    pos = clampPos(pos, end);
    if (count > end - pos) count = end - pos;
    if (count <= 0) return;
    unique();
    intptr_t* slots = data->slots();
    moveSlots(slots + pos, slots + pos + count, end - pos - count);
    setSize(end - count);
}

void SimpleArray::remove(intptr_t value) {
    int32_t pos = indexOf(value);
    if (pos >= 0) removeAt(pos);
}

int32_t SimpleArray::indexOf(intptr_t value) const {
    const intptr_t* slots = data->slots();
    for (int32_t i = 0, end = data->length; i < end; ++i)
        if (slots[i] == value) return i;
    return -1;
}

SimpleArray SimpleArray::copy(int32_t start, int32_t count) const {
    int32_t end = data->length;
    int32_t from = clampPos(start, end);
    if (count < 0 || count > end - from) count = end - from;
    SimpleArray result;
    if (count <= 0) return result;
    result.setSize(count);
    moveSlots(result.data->slots(), data->slots() + from, count);
    return result;
}

void SimpleArray::forEach(void (*fn)(int32_t index, intptr_t* slot, intptr_t data), intptr_t userData) const {
    // data is re-read every round: the callback may shorten the array or make it private.
    for (int32_t i = 0; i < data->length; ++i) {
        intptr_t* slot = data->slots() + i;
        if (*slot != 0) fn(i, slot, userData);
    }
}

} // namespace Quarn
