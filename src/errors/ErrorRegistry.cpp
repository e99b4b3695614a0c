#include "errors/ErrorRegistry.h"

#include <quarn/Error.h>
#include <quarn/HashTable.h>
#include <quarn/SparseArray.h>

namespace Quarn {
namespace {

struct BuiltinError {
    int16_t code; // fatal errors are stored negated
    const char16_t* className;
    const char* message; // ASCII
};

// Codes 1 to 55, indexed by the absolute code minus 1.
const BuiltinError kBuiltinErrors[] = {
    {1, u"Error", "%1"},
    {2, u"ReferenceError", "%1 is undefined"},
    {3, u"ReferenceError", "Cannot assign value"},
    {4, u"SyntaxError", "Unterminated string constant"},
    {5, u"SyntaxError", "Unterminated comment"},
    {6, u"SyntaxError", "Bad digit in number"},
    {7, u"SyntaxError", "Language feature '%1' is not supported"},
    {8, u"SyntaxError", "Syntax error"},
    {9, u"SyntaxError", "Illegal use of reserved word '%1'"},
    {10, u"SyntaxError", "Illegal break or continue outside a loop"},
    {11, u"SyntaxError", "Label not found"},
    {12, u"SyntaxError", "Expression is not constant"},
    {13, u"SyntaxError", "Too many closing braces"},
    {14, u"SyntaxError", "No matching closing brace found"},
    {15, u"SyntaxError", "Try without catch or finally"},
    {16, u"SyntaxError", "catch/finally without try"},
    {17, u"TypeError", "Variable name expected"},
    {18, u"TypeError", "Variable or value expected"},
    {19, u"TypeError", "Bad argument %1"},
    {20, u"TypeError", "Bad argument list"},
    {21, u"TypeError", "%1 is not an object"},
    {22, u"ReferenceError", "%1 does not have a constructor"},
    {23, u"ReferenceError", "%1 does not have a value"},
    {24, u"ReferenceError", "%1 is not a function"},
    {25, u"SyntaxError", "Expected: %1"},
    {26, u"Error", "%1 cannot work with instances of this class"},
    {27, u"InternalError", "Stack overrun"},
    {-28, u"FatalError", "Out of memory"},
    {-29, u"FatalError", "Uncaught exception %1"},
    {30, u"SyntaxError", "Illegal 'return' outside of a function body"},
    {31, u"URIError", "Bad or invalid URI: %1"},
    {32, u"Error", "Cannot execute"},
    {-33, u"InternalError", "Internal error"},
    {-34, u"FatalError", "Execution halted"},
    {-35, u"FatalError", "Timeout while waiting for the engine"},
    {-36, u"FatalError", "Not implemented"},
    {37, u"SyntaxError", "Character conversion error"},
    {38, u"SyntaxError", "Partial multibyte character found"},
    {39, u"SyntaxError", "More than one switch default"},
    {40, u"TypeError", "%1 redeclared"},
    {41, u"RangeError", "%1 is out of range"},
    {42, u"SyntaxError", "Catch after unconditional catch"},
    {43, u"EvalError", "Evaluation error"},
    {44, u"TypeError", "Cannot convert"},
    {45, u"ReferenceError", "Object is invalid"},
    {46, u"ReferenceError", "%1 is read only"},
    {47, u"TypeError", "Data type mismatch"},
    {48, u"IOError", "File or folder does not exist"},
    {49, u"IOError", "File or folder already exists"},
    {50, u"IOError", "File is not open"},
    {51, u"IOError", "Read past EOF"},
    {52, u"IOError", "I/O error"},
    {53, u"ReferenceError", "Permission denied"},
    {54, u"Error", "Uncaught JavaScript exception: %1"},
    {55, u"Error", "Object does not support the property or method '%1'"},
};
constexpr int16_t kBuiltinCount = sizeof(kBuiltinErrors) / sizeof(kBuiltinErrors[0]);
static_assert(kBuiltinCount == 55, "the table covers codes 1 to 55");

// Searched in this order by isErrorClass.
const char16_t* const kBuiltinClasses[] = {
    u"Error",      u"TypeError", u"SyntaxError", u"ReferenceError", u"InternalError", u"FatalError",
    u"RangeError", u"EvalError", u"URIError",    u"IOError",        nullptr,
};

const unsigned short* u16(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

const unsigned short* const kDefaultClass = u16(u"Error");

// 16-bit negation, so -32768 stays -32768 (and so has no table entry).
int16_t absoluteCode(int16_t code) {
    return code < 0 ? static_cast<int16_t>(static_cast<uint16_t>(0u - static_cast<uint16_t>(code))) : code;
}

// Code 0 means "no error" and has no entry either.
const BuiltinError* builtinEntry(int16_t absCode) {
    return absCode >= 1 && absCode <= kBuiltinCount ? &kBuiltinErrors[absCode - 1] : nullptr;
}

void assignAscii(String& out, const char* text) {
    unsigned short units[64];
    int32_t n = 0;
    while (text[n]) {
        units[n] = static_cast<unsigned char>(text[n]);
        ++n;
    }
    out = String(units, n);
}

bool sameText(const String& a, const unsigned short* b) {
    int32_t i = 0;
    for (; i < a.length(); ++i)
        if (a.wstr()[i] != b[i] || !b[i]) return false;
    return b[i] == 0;
}

// A host definition.
struct UserError : public Root {
    ~UserError() override;

    String text;
    String className;
};
UserError::~UserError() = default;

// The host's definitions by absolute code, and the class names they introduced. Made on the first
// definition; besides at library end it is also freed whenever it becomes empty again, which nobody
// can tell from keeping it (an empty registry answers every question like no registry), and which
// gives the memory back to the heap's accounting once a host has withdrawn all its definitions.
struct ErrorRegistry : public Heap {
    SparseArray entries;  // absolute code -> UserError*
    HashTable classNames; // class name -> 1
};

ErrorRegistry* registry = nullptr;

const UserError* findUserError(int16_t absCode) {
    return registry ? reinterpret_cast<const UserError*>(registry->entries.find(absCode)) : nullptr;
}

bool hasClass(const String& name) {
    return registry && registry->classNames.hasKey(name);
}

void freeRegistry() {
    if (!registry) return;
    registry->entries.forEach(
        [](int32_t, intptr_t* value, intptr_t) {
            delete reinterpret_cast<UserError*>(*value);
            *value = 0;
            return true;
        },
        0);
    delete registry;
    registry = nullptr;
}

void freeRegistryIfEmpty() {
    if (registry && registry->entries.length() == 0 && registry->classNames.length() == 0) freeRegistry();
}

} // namespace

namespace detail {

void lookupMessage(int16_t code, String& out) {
    const int16_t absCode = absoluteCode(code);
    if (const UserError* user = findUserError(absCode)) {
        out = user->text;
    } else if (const BuiltinError* entry = builtinEntry(absCode)) {
        assignAscii(out, entry->message);
    } else if (out.length() == 0) {
        out.print(u"Error #%ld", static_cast<int32_t>(absCode));
    }
}

void destroyErrorRegistry() {
    freeRegistry();
}

} // namespace detail

void Error::defineError(int16_t code, const unsigned short* text, const unsigned short* className) {
    const int16_t absCode = absoluteCode(code);
    // Everything that may run out of memory comes first, so a failed definition changes nothing.
    String newText(text);
    String newClass(className && *className ? className : kDefaultClass);
    if (!registry) registry = new ErrorRegistry;
    const bool classWasKnown = hasClass(newClass);
    UserError* user = reinterpret_cast<UserError*>(registry->entries.find(absCode));
    UserError* made = nullptr;
    try {
        if (!classWasKnown) registry->classNames.set(newClass, 1);
        if (!user) {
            user = made = new UserError;
            registry->entries.set(absCode, reinterpret_cast<intptr_t>(made));
        }
    } catch (...) {
        delete made;
        if (!classWasKnown) registry->classNames.remove(newClass);
        freeRegistryIfEmpty();
        throw;
    }
    user->text = newText;
    user->className = newClass;
}

void Error::setErrorClass(int16_t code, const unsigned short* className) {
    defineError(code, nullptr, className);
}

void Error::undefineError(int16_t code) {
    const int16_t absCode = absoluteCode(code);
    if (!registry || !registry->entries.hasKey(absCode)) return;
    UserError* user = reinterpret_cast<UserError*>(registry->entries.remove(absCode));
    registry->classNames.remove(user->className);
    delete user;
    freeRegistryIfEmpty();
}

bool Error::getErrorDefinition(int16_t code, String& text, String& className) {
    const int16_t absCode = absoluteCode(code);
    if (const UserError* user = findUserError(absCode)) {
        text = user->text;
        className = user->className;
        return true;
    }
    // 55 has a message in the table but no definition: only 1 to 54 are defined.
    const BuiltinError* entry = absCode < kBuiltinCount ? builtinEntry(absCode) : nullptr;
    if (!entry) {
        text.erase();
        className.erase();
        return false;
    }
    assignAscii(text, entry->message);
    className = entry->className;
    return true;
}

const unsigned short* Error::getErrorClass(int16_t code) {
    const int16_t absCode = absoluteCode(code);
    if (const UserError* user = findUserError(absCode)) return user->className.wstr();
    const BuiltinError* entry = absCode < kBuiltinCount ? builtinEntry(absCode) : nullptr;
    return entry ? u16(entry->className) : kDefaultClass;
}

bool Error::isErrorClass(const String& name) {
    if (hasClass(name)) return true;
    for (const char16_t* const* builtin = kBuiltinClasses; *builtin; ++builtin)
        if (sameText(name, u16(*builtin))) return true;
    return false;
}

} // namespace Quarn
