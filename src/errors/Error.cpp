#include "errors/ErrorRegistry.h"
#include "memory/Modules.h"

#include <quarn/Error.h>
#include <quarn/Localizer.h>

#include <initializer_list>
#include <new>

namespace Quarn {

// The shared record behind Error handles. A plain aggregate, so that the three static records below
// are constant-initialised and usable by Errors made during any static initialisation.
struct ErrorData {
    ErrorInfo* top;
    int32_t refCount;
};

// Builds and destroys entries for the pushes and the errors module (the preset entries).
struct ErrorInfoAccess {
    static ErrorInfo* makeLocalized(int16_t code, const String& argument) {
        return new ErrorInfo(code, argument, nullptr, true);
    }
    static ErrorInfo* makeFromText(int16_t code, const String& text, const Cloneable* data, bool localize) {
        if (!localize) return new ErrorInfo(code, text, data, false);
        // The argument may itself be a key for the localizer.
        String argument;
        Localizer::get().getLocalizedText(text, argument);
        return new ErrorInfo(code, argument, data, true);
    }
    static void destroy(ErrorInfo* info) { delete info; }
};

namespace {

// Each count starts at 1, a reference nobody gives back: holders come and go, but the count never
// reaches 0 and the records are never freed.
ErrorData emptyRecord = {nullptr, 1};
ErrorData outOfMemoryRecord = {nullptr, 1};
ErrorData uncaughtRecord = {nullptr, 1};

const unsigned short kArgumentMark[] = {'%', '1', 0};
const unsigned short kSeparator[] = {'\n', '-', ' ', 0};

int32_t absoluteCode(int16_t code) {
    return code < 0 ? -static_cast<int32_t>(code) : code;
}

ErrorData* newRecord() {
    ErrorData* record = static_cast<ErrorData*>(Heap::operator new(sizeof(ErrorData)));
    record->top = nullptr;
    record->refCount = 1;
    return record;
}

void releaseRecord(ErrorData* record) noexcept {
    if (--record->refCount > 0) return;
    for (ErrorInfo* info = record->top; info;) {
        ErrorInfo* next = const_cast<ErrorInfo*>(info->getNext());
        ErrorInfoAccess::destroy(info);
        info = next;
    }
    Heap::operator delete(record);
}

// A deep copy of the host's data object; none when it cannot copy itself. Exceptions from clone()
// pass through to the push, which absorbs them.
const Cloneable* cloneData(const Cloneable* data) {
    if (!data) return nullptr;
    Cloneable* copy = nullptr;
    if (data->clone(&copy, true) != 0) return nullptr; // the copy is only ours on success
    return copy;
}

} // namespace

// ---- ErrorInfo

ErrorInfo::ErrorInfo(int16_t code, const String& argument, const Cloneable* data, bool localize)
    : next(nullptr), errorData(nullptr), data(nullptr), line(-1), offset(-1), column(-1), length(0),
      code(code) {
    if (localize) {
        Localizer::get().getMessage(absoluteCode(code), text);
        text.replaceAll(kArgumentMark, argument);
    } else {
        text = argument;
    }
    // Taken only now: if building fails, the push still owns the data object.
    this->data = data;
}

ErrorInfo::ErrorInfo(int16_t code, const Variant& value, const Cloneable* data)
    : next(nullptr), errorData(new Variant(value)), data(nullptr), line(-1), offset(-1), column(-1),
      length(0), code(code) {
    try {
        Localizer::get().getMessage(absoluteCode(code), text);
        // The copy's text form, so the caller's value is not even touched by the conversion.
        text.replaceAll(kArgumentMark, errorData->getString());
    } catch (...) {
        delete errorData;
        throw;
    }
    this->data = data;
}

ErrorInfo::ErrorInfo(const ErrorInfo& other)
    : next(nullptr), text(other.text), source(other.source), errorData(nullptr), data(nullptr),
      line(other.line), offset(other.offset), column(other.column), length(other.length), code(other.code) {
    Variant* value = other.errorData ? new Variant(*other.errorData) : nullptr;
    try {
        data = cloneData(other.data);
    } catch (...) {
        delete value;
        throw;
    }
    errorData = value;
}

ErrorInfo::~ErrorInfo() {
    delete errorData;
    delete data;
}

const Variant& ErrorInfo::getErrorData() const {
    if (!errorData) errorData = new Variant;
    return *errorData;
}

// ---- Error

Error::Error() : record(&emptyRecord) {
    ++record->refCount;
}

Error::Error(int16_t code, const String& text, bool localize) : Error() {
    push(code, text, nullptr, localize);
}

Error::Error(const Error& other) : record(other.record) {
    ++record->refCount;
}

Error& Error::operator=(const Error& other) {
    if (record == other.record) return *this;
    ErrorData* shared = other.record;
    ++shared->refCount;
    releaseRecord(record);
    record = shared;
    return *this;
}

Error::~Error() {
    releaseRecord(record);
}

void Error::erase() {
    releaseRecord(record);
    record = &emptyRecord;
    ++record->refCount;
}

const ErrorInfo* Error::getError() const {
    return record->top;
}

int16_t Error::getCode() const {
    return record->top ? record->top->code : 0;
}

const Variant* Error::getErrorData() const {
    return record->top ? &record->top->getErrorData() : nullptr;
}

bool Error::isFatal() const {
    return record == &outOfMemoryRecord || record == &uncaughtRecord;
}

void Error::makePrivate() {
    // The static empty record always counts its own reference, so it is never written to either.
    if (record->refCount == 1) return;
    ErrorData* copy = newRecord();
    try {
        ErrorInfo** tail = &copy->top;
        for (const ErrorInfo* info = record->top; info; info = info->next) {
            *tail = new ErrorInfo(*info);
            tail = &(*tail)->next;
        }
    } catch (...) {
        releaseRecord(copy);
        throw;
    }
    releaseRecord(record);
    record = copy;
}

void Error::link(ErrorInfo* info) {
    info->next = record->top;
    record->top = info;
}

void Error::fail(bool outOfMemory) noexcept {
    releaseRecord(record);
    record = outOfMemory ? &outOfMemoryRecord : &uncaughtRecord;
    ++record->refCount;
}

template <class Build> void Error::pushWith(const Cloneable* data, Build build) {
    if (isFatal()) {
        delete data;
        return;
    }
    try {
        makePrivate();
        link(build());
    } catch (const std::bad_alloc&) {
        delete data;
        fail(true);
    } catch (...) {
        delete data;
        fail(false);
    }
}

void Error::push(int16_t code, const String& text, const Cloneable* data, bool localize) {
    pushWith(data, [&] { return ErrorInfoAccess::makeFromText(code, text, data, localize); });
}

void Error::push(int16_t code, const char16_t* text, const Cloneable* data, bool localize) {
    // The text becomes a String inside the push, where running out of memory is absorbed too.
    pushWith(data, [&] { return ErrorInfoAccess::makeFromText(code, String(text), data, localize); });
}

void Error::push(int16_t code, const Cloneable* data) {
    pushWith(data, [&] { return new ErrorInfo(code, String(), data, true); });
}

void Error::push(int16_t code, const Variant& value, const Cloneable* data) {
    pushWith(data, [&] { return new ErrorInfo(code, value, data); });
}

void Error::push(const ErrorInfo& info) {
    pushWith(nullptr, [&] { return new ErrorInfo(info); });
}

void Error::push(const Error& other) {
    // Our own handle on other's stack: should it be ours as well, the first push copies this stack
    // and the walk below goes on over the untouched original.
    const Error source(other);
    const ErrorInfo* top = source.record->top;
    const ErrorInfo* pushed = nullptr;
    while (pushed != top && !isFatal()) {
        // From the bottom up: the entry just below the one pushed last.
        const ErrorInfo* info = top;
        while (info->next != pushed)
            info = info->next;
        push(*info);
        pushed = info;
    }
}

void Error::setMoreInfo(const String& source, int32_t line, int32_t offset, int32_t column,
                        unsigned short length) {
    ErrorInfo* top = record->top;
    // The preset entries are shared by every Error in a fatal state; they are never written to.
    if (!top || isFatal()) return;
    top->source = source;
    top->line = line;
    top->offset = offset;
    top->column = column;
    top->length = length;
}

void Error::getFullText(String& out) const {
    String text;
    for (const ErrorInfo* info = record->top; info; info = info->next) {
        if (info != record->top) text += kSeparator;
        text += info->text;
    }
    out = text;
}

namespace detail {

void errorsModule(bool start) {
    if (start) {
        if (outOfMemoryRecord.top) return;
        // Built now, because when they are needed there may be no memory to build them. A failure
        // here leaves a preset missing: an Error in that state then simply reports no entry.
        try {
            String message;
            Localizer::get().getMessage(ErrOutOfMemory, message);
            outOfMemoryRecord.top = ErrorInfoAccess::makeLocalized(ErrOutOfMemory, message);
            // The message goes in as its own argument, so "%1" of the -29 message becomes the
            // message itself: "Uncaught exception Uncaught exception %1".
            Localizer::get().getMessage(ErrUncaughtException, message);
            uncaughtRecord.top = ErrorInfoAccess::makeLocalized(ErrUncaughtException, message);
        } catch (...) {
        }
        return;
    }
    destroyErrorRegistry();
    for (ErrorData* record : {&outOfMemoryRecord, &uncaughtRecord}) {
        if (record->top) ErrorInfoAccess::destroy(record->top);
        record->top = nullptr;
    }
}

} // namespace detail
} // namespace Quarn
