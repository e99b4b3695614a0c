// Array: the ordered list of Variant values with the semantics of a script array. Any index below
// the length may be a hole; reading a hole or an index past the end gives the undefined value, and
// writing past the end extends the length. A copy-on-write handle that keeps its values in one of
// three forms: a vector borrowed from the host (static), a dense vector (indices below 100) or a
// sparse map; forms only ever move static -> dense -> sparse.
#ifndef QUARN_ARRAY_H
#define QUARN_ARRAY_H

#include <quarn/Variant.h>

namespace Quarn {

// The shared record behind Array handles. storage depends on form: the host's vector of
// const Variant* (static), a TSimpleArray<Variant> of owned values (dense) or a SparseArray from index
// to owned Variant* (sparse); it is null while nothing has been stored.
struct ArrayData {
    int32_t refCount;
    int32_t form;
    void* storage;
    uint32_t length;
};

class QUARN_API Array {
public:
    enum Form { FormStatic = 0, FormDense = 1, FormSparse = 2 };
    // Indices below this can live in the dense form.
    static constexpr uint32_t kDenseLimit = 100;

    Array();
    Array(const Array& other);
    // Refers to the host's vector of count values without copying them. The vector must come from
    // the global operator new[]: the array frees it (with delete[]) when it first writes and turns
    // dense, and the host must not use it afterwards.
    Array(const Variant** data, int32_t count);
    ~Array();
    Array& operator=(const Array& other);

    void setStaticData(const Variant** data, int32_t count);

    uint32_t length() const { return record->length; }
    // Shrinking destroys the values beyond the new length (see Array.cpp for the sparse form's
    // kept rule); growing makes the last element undefined rather than a hole. 0 releases storage.
    void setLength(uint32_t n);
    void erase() { setLength(0); }

    // The element, or the shared undefined value for holes and indices past the end.
    const Variant& operator[](uint32_t i) const;
    // The writable element, made (undefined) when missing; extends the length.
    Variant& operator[](uint32_t i);
    bool isDefined(uint32_t i) const;

    // Each appends one element at index length().
    Array& operator+=(bool v) { return append(Variant(v)); }
    Array& operator+=(int v) { return append(Variant(v)); }
    Array& operator+=(double v) { return append(Variant(v)); }
    Array& operator+=(const unsigned short* v) { return append(Variant(v)); }
    Array& operator+=(const char16_t* v) { return append(Variant(v)); }
    Array& operator+=(const String& v) { return append(Variant(v)); }
    Array& operator+=(const Array& v) { return append(Variant(v)); }
    Array& operator+=(const Rect& v) { return append(Variant(v)); }
    Array& operator+=(const Point& v) { return append(Variant(v)); }
    Array& operator+=(const Variant& v) { return append(v); }
    // Also an append, not a replacement of the contents: kept as the library always had it.
    Array& operator=(int v) { return append(Variant(v)); }

    // Opens count holes at pos, shifting later elements up (the static form is not shifted).
    void insertAt(uint32_t pos, uint32_t count);
    // Removes count elements at pos, shifting later elements down.
    void removeAt(uint32_t pos, uint32_t count);
    // Makes pos a hole; the length stays.
    void deleteAt(uint32_t pos);

    // Same record, or same length and form with equal elements and holes in the same places.
    bool operator==(const Array& other) const;
    bool operator!=(const Array& other) const { return !(*this == other); }

    // The script text: elements joined by ",", undefined elements and holes empty, this very array
    // as "[this]", more than 1000 elements as "[too many elements]".
    void toString(String& out) const;
    // Appends the values of a comma-separated literal list; false when a value is malformed or the
    // text is empty.
    bool parse(const String& text, int32_t flags = 0);

    // The storage form, for diagnostics and tests.
    Form getForm() const { return static_cast<Form>(record->form); }

private:
    Array& append(const Variant& v);
    void detach();
    void releaseRecord();
    void freeStorage();
    void makeDenseFromStatic();
    void makeSparse();
    template <class Place> void rekeySparse(Place place);

    ArrayData* record;

    static ArrayData emptyRecord;
};

} // namespace Quarn

#endif
