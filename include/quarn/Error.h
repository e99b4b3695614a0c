// Error and ErrorInfo: how every fallible call of the library reports what went wrong. An Error is a
// cheap copyable handle on a shared, copy-on-write stack of ErrorInfo entries (newest on top); the
// static members hold the numbered error vocabulary (codes 1 to 55, their script error classes and
// messages) and the registry through which a host adds codes and classes of its own.
#ifndef QUARN_ERROR_H
#define QUARN_ERROR_H

#include <quarn/ErrorCodes.h>
#include <quarn/Root.h>
#include <quarn/String.h>
#include <quarn/Variant.h>

namespace Quarn {

struct ErrorData;

// One entry of an error stack. Only Error makes, copies and destroys entries. The entry owns its
// data object and its error value.
class QUARN_API ErrorInfo {
public:
    // The code with its sign: fatal errors are negative.
    int16_t getCode() const { return code; }
    const String& getText() const { return text; }
    // The script or file in which the error arose, with the position (-1 where unknown).
    const String& getSource() const { return source; }
    int32_t getLine() const { return line; }
    int32_t getOffset() const { return offset; }
    int32_t getColumn() const { return column; }
    unsigned short getLength() const { return length; }
    const Cloneable* getData() const { return data; }
    // The next older entry, or null at the bottom.
    const ErrorInfo* getNext() const { return next; }
    // The value the error is about; an undefined value is made on first request when there is none
    // (which may throw std::bad_alloc).
    const Variant& getErrorData() const;

private:
    // text verbatim, or (localize) the code's message with every "%1" replaced by text.
    ErrorInfo(int16_t code, const String& text, const Cloneable* data, bool localize);
    // The code's message with every "%1" replaced by the value's text; keeps a copy of the value.
    ErrorInfo(int16_t code, const Variant& value, const Cloneable* data);
    // A copy of everything but the link; the data object is cloned deeply.
    ErrorInfo(const ErrorInfo& other);
    ErrorInfo& operator=(const ErrorInfo&) = delete;
    ~ErrorInfo();

    static void* operator new(size_t size) { return Heap::operator new(size); }
    static void operator delete(void* p) noexcept { Heap::operator delete(p); }

    ErrorInfo* next;
    String text;
    String source;
    mutable Variant* errorData;
    const Cloneable* data;
    int32_t line;
    int32_t offset;
    int32_t column;
    unsigned short length;
    int16_t code;

    friend class Error;
    friend struct ErrorInfoAccess;
};

// A handle on an error stack. Copies share the stack; a push onto a shared stack first copies its
// entries. push() never throws: when building an entry runs out of memory the handle turns into the
// out-of-memory error (-28), and any other exception turns it into the uncaught-exception error
// (-29). Both states are sticky: later pushes and setMoreInfo are ignored until erase() or an
// assignment. Every push takes ownership of its data object, and deletes it when no entry is made.
class QUARN_API Error {
public:
    Error();
    Error(int16_t code, const String& text, bool localize = true);
    Error(const Error& other);
    Error& operator=(const Error& other);
    ~Error();

    // Drops this handle's share of the stack; the handle then holds no error.
    void erase();

    // The top entry, or null.
    const ErrorInfo* getError() const;
    // The top entry's code, or 0.
    int16_t getCode() const;
    // The top entry's error value (made on first request), or null when there is no error.
    const Variant* getErrorData() const;

    // localize false: text verbatim. localize true: text is first translated by the current
    // localizer, then put as "%1" into the code's message.
    void push(int16_t code, const String& text, const Cloneable* data = nullptr, bool localize = true);
    void push(int16_t code, const char16_t* text, const Cloneable* data = nullptr, bool localize = true);
    // The code's message with "%1" replaced by nothing.
    void push(int16_t code, const Cloneable* data = nullptr);
    // The code's message with "%1" replaced by the value's text (radix 10); the entry keeps a copy of
    // the value as its error value.
    void push(int16_t code, const Variant& value, const Cloneable* data);
    // A copy of info on top.
    void push(const ErrorInfo& info);
    // Copies of all of other's entries, so that its stack lands on top of this one in its own order.
    void push(const Error& other);

    // Fills in where the top entry's error arose. Nothing happens when there is no error or in the
    // out-of-memory and uncaught-exception states. Entries are shared between copies of a handle, so
    // every copy sees the change.
    void setMoreInfo(const String& source, int32_t line, int32_t offset, int32_t column,
                     unsigned short length);

    // The texts of all entries from the top down, joined by a newline, a hyphen and a blank.
    void getFullText(String& out) const;

    // Host definitions, keyed by the code's absolute value. They take precedence over the library's
    // table. A null or empty class name stands for "Error"; a null text is empty.
    static void defineError(int16_t code, const unsigned short* text, const unsigned short* className);
    static void defineError(int16_t code, const char16_t* text, const char16_t* className) {
        defineError(code, u16(text), u16(className));
    }
    // defineError(code, nullptr, className): the code's message becomes empty as well, even for a
    // code of the library's table.
    static void setErrorClass(int16_t code, const unsigned short* className);
    static void setErrorClass(int16_t code, const char16_t* className) {
        setErrorClass(code, u16(className));
    }
    // Removes the host definition and its class name, even when another definition still uses that
    // name. Unknown codes are ignored.
    static void undefineError(int16_t code);
    // The host definition, or the library's for codes 1 to 54 (true); otherwise both emptied (false).
    static bool getErrorDefinition(int16_t code, String& text, String& className);
    // The host definition's class, or the library's for codes 1 to 54, or "Error".
    static const unsigned short* getErrorClass(int16_t code);
    // A class some host definition introduced, or one of the library's ten (case-sensitive).
    static bool isErrorClass(const String& name);

private:
    static const unsigned short* u16(const char16_t* text) {
        return reinterpret_cast<const unsigned short*>(text);
    }
    bool isFatal() const;
    // Runs build() for the new entry and absorbs whatever it throws.
    template <class Build> void pushWith(const Cloneable* data, Build build);
    void makePrivate();
    void link(ErrorInfo* info);
    void fail(bool outOfMemory) noexcept;

    ErrorData* record;
};

} // namespace Quarn

#endif
