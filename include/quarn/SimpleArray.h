// SimpleArray: the library's growable vector of machine words, each slot an integer or a pointer.
// Copies share one counted storage block until one of them writes; the array never constructs,
// destroys or frees what a slot points to. TSimpleArray<T> is the same array seen as a vector of T*.
#ifndef QUARN_SIMPLEARRAY_H
#define QUARN_SIMPLEARRAY_H

#include <quarn/Heap.h>

namespace Quarn {

// The shared storage block: this header, then `capacity` slots. The header is padded to the slot
// alignment so that the slots follow it directly (12 bytes on 32-bit builds, 16 on 64-bit ones).
struct alignas(alignof(intptr_t)) SimpleArrayData {
    int32_t refCount;
    int32_t length;
    int32_t capacity;

    intptr_t* slots() { return reinterpret_cast<intptr_t*>(this + 1); }
    const intptr_t* slots() const { return reinterpret_cast<const intptr_t*>(this + 1); }
};

class QUARN_API SimpleArray {
public:
    SimpleArray() : data(&emptyBlock), increment(8) { ++data->refCount; }
    // Shares the other's block. The growth step is not copied: a copy starts with 8.
    SimpleArray(const SimpleArray& other) : data(other.data), increment(8) { ++data->refCount; }
    ~SimpleArray() {
        if (--data->refCount == 0) freeBlock(data);
    }
    // Shares the other's block; this handle keeps its own growth step.
    SimpleArray& operator=(const SimpleArray& other);

    // Same length and the same slot contents, compared as raw words.
    bool operator==(const SimpleArray& other) const;
    bool operator!=(const SimpleArray& other) const { return !(*this == other); }

    int32_t length() const { return data->length; }
    // The slots, read-only; valid until the next change of this array.
    const intptr_t* getData() const { return data->slots(); }
    // Unchecked.
    intptr_t operator[](int32_t pos) const { return data->slots()[pos]; }
    // Unchecked; makes the block private first, so the reference is valid until the next change.
    intptr_t& operator[](int32_t pos) {
        if (data->refCount > 1) unique();
        return data->slots()[pos];
    }

    // Growth is in steps of the increment, not geometric: raise it before appending many elements.
    int32_t getIncrement() const { return increment; }
    void setIncrement(int32_t step) { increment = step < 1 ? 1 : step; }

    // Resizes to n slots (n < 1: back to the shared empty block). The capacity becomes n rounded up
    // to a multiple of the increment, so shrinking gives memory back; new slots are 0.
    void setSize(int32_t n);
    // Back to the shared empty block.
    void erase() { setSize(0); }
    // Length 0, keeping the storage (all of it zeroed).
    void clear();

    void append(intptr_t value) {
        if (data->length < data->capacity && data->refCount == 1)
            data->slots()[data->length++] = value;
        else
            appendSlow(value);
    }
    SimpleArray& operator+=(intptr_t value) {
        append(value);
        return *this;
    }
    void append(const SimpleArray& other);
    SimpleArray& operator+=(const SimpleArray& other) {
        append(other);
        return *this;
    }
    // Inserts before pos, clamped to 0..length.
    void insert(intptr_t value, int32_t pos);
    // Inserts count zero slots before pos, clamped to 0..length; count < 1 does nothing.
    void insertGap(int32_t pos, int32_t count);
    // Removes the element at pos and returns it; a pos at or past the end removes (and returns) the
    // last element, a negative one the first. An empty array returns 0.
    intptr_t removeAt(int32_t pos);
    // Removes up to count elements from pos (clamped to 0..length); may shrink or release storage.
    void removeGap(int32_t pos, int32_t count);
    // Removes the first element equal to value, if any.
    void remove(intptr_t value);
    SimpleArray& operator-=(intptr_t value) {
        remove(value);
        return *this;
    }
    // First position holding value, or -1.
    int32_t indexOf(intptr_t value) const;
    // A new array of count elements from start (both clamped to the array); count < 0: the rest.
    SimpleArray copy(int32_t start, int32_t count) const;

    // Calls fn(index, slot address, data) for every non-zero slot, re-reading the length after each
    // call so the callback may shorten the array. The callback may store through the address; no
    // copy is made first, so every array sharing the block sees the change.
    void forEach(void (*fn)(int32_t index, intptr_t* slot, intptr_t data), intptr_t data) const;

private:
    // Makes the block private before a write.
    void unique();
    void appendSlow(intptr_t value);
    // Sets the length to n, growing through setSize only when the capacity is too small.
    void growTo(int32_t n);
    static SimpleArrayData* newBlock(int32_t capacity);
    static void freeBlock(SimpleArrayData* block);

    SimpleArrayData* data;
    int32_t increment;

    // Shared by every empty array; its count starts at 1, so it is never freed.
    static SimpleArrayData emptyBlock;

    friend struct SimpleArrayAccess;
};

// A SimpleArray whose slots hold T*. It adds no behaviour and owns nothing its slots point to.
template <class T> class TSimpleArray : public SimpleArray {
public:
    // The writable element: reads and assigns T* while the slot itself stays a machine word.
    class Slot {
    public:
        explicit Slot(intptr_t& slot) : slot(slot) {}
        Slot& operator=(T* value) {
            slot = reinterpret_cast<intptr_t>(value);
            return *this;
        }
        Slot& operator=(const Slot& other) {
            slot = other.slot;
            return *this;
        }
        operator T*() const { return reinterpret_cast<T*>(slot); }
        T* operator->() const { return reinterpret_cast<T*>(slot); }

    private:
        intptr_t& slot;
    };

    TSimpleArray() {}

    T* operator[](int32_t pos) const { return reinterpret_cast<T*>(SimpleArray::operator[](pos)); }
    Slot operator[](int32_t pos) { return Slot(SimpleArray::operator[](pos)); }

    void append(T* value) { SimpleArray::append(reinterpret_cast<intptr_t>(value)); }
    TSimpleArray& operator+=(T* value) {
        append(value);
        return *this;
    }
    void append(const TSimpleArray& other) { SimpleArray::append(other); }
    TSimpleArray& operator+=(const TSimpleArray& other) {
        SimpleArray::append(other);
        return *this;
    }
    void insert(T* value, int32_t pos) { SimpleArray::insert(reinterpret_cast<intptr_t>(value), pos); }
    T* removeAt(int32_t pos) { return reinterpret_cast<T*>(SimpleArray::removeAt(pos)); }
    void remove(T* value) { SimpleArray::remove(reinterpret_cast<intptr_t>(value)); }
    TSimpleArray& operator-=(T* value) {
        remove(value);
        return *this;
    }
    int32_t indexOf(T* value) const { return SimpleArray::indexOf(reinterpret_cast<intptr_t>(value)); }
    TSimpleArray copy(int32_t start, int32_t count) const {
        TSimpleArray result;
        result.SimpleArray::operator=(SimpleArray::copy(start, count));
        return result;
    }

    // As SimpleArray::forEach, with the slot seen as a T*.
    void forEach(void (*fn)(int32_t index, T** slot, intptr_t data), intptr_t data) const {
        Call call{fn, data};
        SimpleArray::forEach(&trampoline, reinterpret_cast<intptr_t>(&call));
    }

private:
    struct Call {
        void (*fn)(int32_t, T**, intptr_t);
        intptr_t data;
    };
    static void trampoline(int32_t index, intptr_t* slot, intptr_t data) {
        const Call* call = reinterpret_cast<const Call*>(data);
        T* const before = reinterpret_cast<T*>(*slot);
        T* value = before;
        call->fn(index, &value, call->data);
        // Written back only when changed: a callback that shortened the array may have moved it.
        if (value != before) *slot = reinterpret_cast<intptr_t>(value);
    }
};

} // namespace Quarn

#endif
