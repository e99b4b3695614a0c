// Variant: the dynamic value that crosses every boundary between the library, the script engine and
// the host. It holds one value of a fixed set of kinds, converts between them with the script
// language's rules, and caches its text form and the class of its number so that repeated
// conversions cost nothing.
//
// Conversions (where the rules of the script language decide):
// - to boolean: undefined, null, 0, -0, NaN and "" are false; every object is true.
// - to number: undefined gives NaN, null 0, booleans 0 and 1, a string is scanned as a whole with
//   white space allowed around it ("" and blanks give 0, "0x1F" gives 31, anything else malformed
//   NaN); an Array goes through its text ("[]" gives 0, "[5]" 5), every other object gives NaN.
// - to 32-bit integers: as the script language's ToInt32/ToUint32 (NaN and infinities give 0,
//   everything else is truncated and wrapped modulo 2^32).
// - equality (operator==) is strict: the kinds must match; numbers compare by value (NaN is
//   unequal to itself, 0 equals -0), strings by their units, Points, Rects and Arrays by content,
//   objects by identifier and data object.
// - order (compare): two strings compare by their units, everything else by number; a NaN on either
//   side compares as equal.
#ifndef QUARN_VARIANT_H
#define QUARN_VARIANT_H

#include <quarn/Geometry.h>
#include <quarn/Heap.h>
#include <quarn/Root.h>
#include <quarn/String.h>

namespace Quarn {

class Array;
class Encoder;

enum VariantType : uint8_t {
    TypeUndefined = 0,
    TypeNull = 1,
    TypeBool = 2,
    TypeNumber = 3,
    TypeString = 4,
    TypeObject = 5, // an object by identifier, class name and data object
    TypeLiveObject = 6,
    TypePoint = 7,
    TypeRect = 8,
    TypeArray = 9,
    TypeFileSpec = 10,
    TypeRegExp = 11,
    TypeUnitValue = 12,
};

// Trailing-text modes of scanDouble/scanInteger (the low bits of flags) and the prefix switches.
enum ScanFlags : int32_t {
    ScanStrict = 0,          // nothing may follow the number
    ScanAllowBlank = 1,      // what follows must begin with white space
    ScanAllowAny = 2,        // anything may follow
    ScanHexPrefix = 0x100,   // "0x"/"0X" introduces hexadecimal digits
    ScanOctalPrefix = 0x200, // a leading "0" introduces octal digits
};

class QUARN_API Variant : public Heap {
public:
    Variant() : kind(TypeUndefined), flags(0), data(nullptr) { value.number = 0; }
    Variant(bool b);
    Variant(int v);
    Variant(uint32_t v);
    Variant(double v);
    Variant(const String& s);
    Variant(const unsigned short* s);
    Variant(const char16_t* s);
    // Bytes decoded with enc (the default encoder when null).
    Variant(const char* bytes, Encoder* enc = nullptr) : Variant() { setString(String(bytes, enc)); }
    Variant(int32_t id, const String& className, Root* data);
    Variant(const Point& p);
    Variant(const Rect& r);
    Variant(const Array& a);
    Variant(const Variant& other);
    Variant(const Variant* other);
    Variant(Variant&& other) noexcept;
    ~Variant();

    Variant& operator=(const Variant& other);
    Variant& operator=(Variant&& other) noexcept;
    Variant& operator=(bool b) { return setBool(b), *this; }
    Variant& operator=(int v) { return setInteger(static_cast<int32_t>(v)), *this; }
    Variant& operator=(uint32_t v) { return setInteger(v), *this; }
    Variant& operator=(double v) { return setDouble(v), *this; }
    Variant& operator=(const String& s) { return setString(s), *this; }
    Variant& operator=(const unsigned short* s) { return setString(s), *this; }
    Variant& operator=(const char16_t* s) { return setString(s), *this; }
    Variant& operator=(const char* bytes) { return setString(bytes, nullptr), *this; }
    Variant& operator=(const Point& p) { return setPoint(p), *this; }
    Variant& operator=(const Rect& r) { return setRect(r), *this; }
    Variant& operator=(const Array& a) { return setArray(a), *this; }

    // Setters release the old payload and clear both caches first.
    void erase(); // back to undefined
    void setNull();
    void setBool(bool b);
    void setInteger(int32_t v);
    void setInteger(uint32_t v);
    void setDouble(double v);
    void setMinus0();
    void setNaN();
    void setPosInfinity();
    void setNegInfinity();
    void setString(const String& s);
    void setString(const unsigned short* s, int32_t len = -1);
    void setString(const char16_t* s, int32_t len = -1) {
        setString(reinterpret_cast<const unsigned short*>(s), len);
    }
    void setString(const char* bytes, Encoder* enc) { setString(String(bytes, enc)); }
    void setPoint(const Point& p);
    void setRect(const Rect& r);
    void setArray(const Array& a);
    // An object by identifier: the identifier, its class name and a data object the Variant does
    // not own.
    void setObject(int32_t id, const String& className, Root* data = nullptr);
    void setObjectID(int32_t id);
    void setObjectData(Root* data);

    // Kind and classes. The number classes read a cache filled on first use; other kinds are
    // converted to a number first.
    VariantType getType() const { return static_cast<VariantType>(kind); }
    VariantType getDataType() const;
    bool isDefined() const { return kind != TypeUndefined; }
    bool isNull() const { return kind == TypeNull; }
    bool isInteger() const;  // integral and within the signed 32-bit range
    bool isUInteger() const; // integral and within the unsigned 32-bit range
    bool isFinite() const;
    bool isNaN() const;
    bool isMinus0() const;
    // An object by identifier that has no data object yet.
    bool hasUnassignedObjectData() const { return kind == TypeObject && !data; }

    // Readers convert; readers of objects return null when the value is not of that kind.
    bool getBool() const;
    int32_t getInteger() const;
    // The integer clamped to [min, max].
    int32_t getInteger(int32_t min, int32_t max) const;
    uint32_t getUInteger() const;
    double getDouble() const;
    // The text form, cached.
    const String& getString() const;
    // A number in another radix (2 to 36; 10 is the cached form); other kinds ignore the radix.
    String getString(int radix) const;
    // As above with precision significant places instead of 15 (not cached).
    String getString(int radix, int precision) const;
    // The text form into out; for values whose text is never cached (arrays, objects) this leaves the
    // Variant's own storage untouched.
    void toString(String& out) const;
    const Point* getPoint() const { return kind == TypePoint ? value.point : nullptr; }
    const Rect* getRect() const { return kind == TypeRect ? value.rect : nullptr; }
    const Array* getArray() const;
    Array* getArray();
    Root* getObjectData() const { return kind == TypeObject ? data : nullptr; }
    int32_t getObjectID() const { return kind == TypeObject ? value.object.id : 0; }
    // The class name of an object by identifier (empty for every other kind).
    const String& getObjectClass() const;

    bool operator==(const Variant& other) const;
    bool operator!=(const Variant& other) const { return !(*this == other); }
    // Negative, 0 or positive.
    int32_t compare(const Variant& other) const;

    // Converts in place to undefined, null, boolean, number or string; 0 on success, otherwise
    // ErrTypeMismatch and the value is left as it was.
    int16_t convert(VariantType type);
    // 0 when the value is of the kind, otherwise ErrTypeMismatch.
    int16_t validate(VariantType type) const;
    // 0 when the value is a number within the range; ErrTypeMismatch when it is not a number (or,
    // for the integer ranges, not integral); ErrOutOfRange when it is outside.
    int16_t validate(double min, double max) const;
    int16_t validate(int32_t min, int32_t max) const;
    int16_t validate(uint32_t min, uint32_t max) const;

    // Reads a number from text: white space, a sign, "Infinity", "NaN", or digits (with the
    // prefixes that flags allow) and a decimal fraction and exponent. flags' low bits choose what may
    // follow the number (ScanStrict, ScanAllowBlank, anything else: ScanAllowAny). rest, when given,
    // receives the unread remainder. An empty text gives 0; a text without a number gives NaN.
    static double scanDouble(const String& text, int32_t flags, String* rest = nullptr);
    // Reads an integer (as a double, so that large values survive) from text at start: white space,
    // a sign, the prefixes that flags allow, digits. Trailing text as for scanDouble.
    static double scanInteger(const String& text, int32_t start, int32_t flags, String* rest = nullptr);

    // The number-to-text rules behind getString: mode 0 the shortest form (the text form), 1 fixed
    // notation with precision places, anything else exponential notation with precision places.
    static String numberToString(double v, int radix, int precision, int mode);

    // The library's shared undefined value (made when the library starts).
    static const Variant& undefinedValue();

private:
    void release();
    void copyFrom(const Variant& other);
    void setNumberUnchecked(double v);
    double doGetDouble() const;
    bool doGetBool() const;
    void doToString(String& out, int radix, int precision) const;
    uint16_t numberClass() const;

    // Handles (an Array, the class name of an object) live in place in the payload: both are a
    // single pointer.
    union Payload {
        bool boolean;
        double number;
        Point* point;
        Rect* rect;
        void* array;
        struct {
            void* className;
            int32_t id;
        } object;
    };

    uint8_t kind;
    mutable uint16_t flags; // number-class cache and the text-cached flag
    Root* data;             // the data object of an object by identifier
    Payload value;
    mutable String text; // the value of a string; the cached text form of every other kind
};

} // namespace Quarn

#endif
