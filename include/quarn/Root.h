// The object bases: Root (allocation through Heap, virtual destructor), Refcountable (an intrusive,
// non-atomic reference count) and Cloneable (a virtual copy that reports failure by code); InitTerm,
// which starts and ends the library's modules in a fixed order; and getVersion.
#ifndef QUARN_ROOT_H
#define QUARN_ROOT_H

#include <quarn/Heap.h>

namespace Quarn {

class QUARN_API Root : public Heap {
public:
    virtual ~Root();
};

// Starts with one reference held by its creator; release() destroys the object when the count drops
// below 1. Only release() may destroy it, hence the protected destructor.
class QUARN_API Refcountable : public Root {
public:
    void addRef() const { ++refCount; }
    void release() const {
        if (--refCount < 1) delete this;
    }
    int32_t getRefCount() const { return refCount; }

protected:
    Refcountable() : refCount(1) {}
    Refcountable(const Refcountable&) : Root(), refCount(1) {}
    Refcountable& operator=(const Refcountable&) { return *this; }
    ~Refcountable() override;

private:
    mutable int32_t refCount;
};

// An object that can copy itself. clone() stores a new copy in *out and returns 0, or returns an
// error code; what 'deep' means belongs to each implementation. The caller owns the copy.
class QUARN_API Cloneable : public Root {
public:
    ~Cloneable() override;
    virtual int16_t clone(Cloneable** out, bool deep) const = 0;
};

// The library's start and end sequence. The shared library runs them itself when it is loaded and
// unloaded; a host of the static library calls them. Each runs at most once per process.
class QUARN_API InitTerm {
public:
    static void init();
    static void exit();

    InitTerm() = delete;
};

// 0x30214: major version in bits 16-23, minor in bits 8-15, release in bits 0-7 (3.2.20).
QUARN_API int32_t getVersion();

} // namespace Quarn

#endif
