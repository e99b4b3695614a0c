#include "memory/Modules.h"
#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Error.h>
#include <quarn/Localizer.h>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

using namespace Quarn;
using quarn_test::liveBlocks;

namespace {

String fullText(const Error& error) {
    String out(u"stale");
    error.getFullText(out);
    return out;
}

String messageOf(int16_t code, const char16_t* initial = u"") {
    String out(initial);
    Localizer::get().getMessage(code, out);
    return out;
}

String classOf(int16_t code) {
    return String(Error::getErrorClass(code));
}

String topText(const Error& error) {
    return error.getError() ? error.getError()->getText() : String(u"<none>");
}

// "source@line:offset:column:length"
std::string where(const ErrorInfo* info) {
    std::string source;
    for (int32_t i = 0; i < info->getSource().length(); ++i)
        source += static_cast<char>(info->getSource().wstr()[i]);
    return source + "@" + std::to_string(info->getLine()) + ":" + std::to_string(info->getOffset()) + ":" +
           std::to_string(info->getColumn()) + ":" + std::to_string(info->getLength());
}

// "text|class", or "none" when there is no definition (and then both must have been emptied).
std::u16string definitionOf(int16_t code) {
    String text(u"stale"), className(u"stale");
    if (Error::getErrorDefinition(code, text, className))
        return quarn_test::u16(text) + u"|" + quarn_test::u16(className);
    return text.length() == 0 && className.length() == 0 ? u"none" : u"not emptied";
}

// A host data object that counts its instances and clones, and can refuse to be copied.
class Payload : public Cloneable {
public:
    enum Clone { Copies, Throws, Fails };
    explicit Payload(int value, Clone mode = Copies) : value(value), mode(mode) { ++alive; }
    ~Payload() override { --alive; }
    int16_t clone(Cloneable** out, bool deep) const override {
        ++clones;
        lastDeep = deep;
        if (mode == Throws) throw std::runtime_error("cannot copy");
        if (mode == Fails) return ErrCannotConvert;
        *out = new Payload(value);
        return 0;
    }

    int value;
    Clone mode;
    static inline int alive = 0;
    static inline int clones = 0;
    static inline bool lastDeep = false;
};

int payloadValue(const ErrorInfo* info) {
    const Payload* payload = dynamic_cast<const Payload*>(info ? info->getData() : nullptr);
    return payload ? payload->value : -1;
}

// Restores the default localizer even when an expectation fails.
struct Installed {
    explicit Installed(const Localizer& localizer) { Localizer::set(&localizer); }
    ~Installed() { Localizer::set(nullptr); }
};

TEST(Error, BuiltinMessagesAndClasses) {
    EXPECT_EQ(messageOf(1), u"%1");
    EXPECT_EQ(classOf(27), u"InternalError");
    EXPECT_EQ(messageOf(ErrTimeout), u"Timeout while waiting for the engine");
    EXPECT_EQ(classOf(52), u"IOError");
    // Fatal codes are looked up by their absolute value, like every other code.
    for (int16_t code : {2, 28, 29, 33, 55}) {
        EXPECT_EQ(messageOf(code), messageOf(static_cast<int16_t>(-code))) << code;
        EXPECT_EQ(classOf(code), classOf(static_cast<int16_t>(-code))) << code;
    }
    EXPECT_EQ(messageOf(28), u"Out of memory");
    EXPECT_EQ(classOf(-33), u"InternalError");

    // Outside the table: a numbered message, but only into an empty destination, and class "Error".
    EXPECT_EQ(messageOf(-99), u"Error #99");
    EXPECT_EQ(messageOf(56, u"kept"), u"kept");
    EXPECT_EQ(messageOf(5, u"replaced"), u"Unterminated comment");
    EXPECT_EQ(classOf(56), u"Error");
    EXPECT_EQ(messageOf(0), u"Error #0") << "0 means no error and has no entry";
    EXPECT_EQ(classOf(0), u"Error");
    EXPECT_EQ(messageOf(-32768), u"Error #-32768") << "16-bit negation keeps -32768 negative";

    // 55 has a message but, deliberately, no definition.
    EXPECT_EQ(definitionOf(54), u"Uncaught JavaScript exception: %1|Error");
    EXPECT_EQ(definitionOf(-29), u"Uncaught exception %1|FatalError");
    EXPECT_EQ(messageOf(55), u"Object does not support the property or method '%1'");
    EXPECT_EQ(classOf(55), u"Error");
    EXPECT_EQ(definitionOf(55), u"none");
    EXPECT_EQ(definitionOf(56), u"none");
    EXPECT_EQ(definitionOf(0), u"none");
}

TEST(Error, BuiltinClassNames) {
    for (const char16_t* name : {u"Error", u"TypeError", u"SyntaxError", u"ReferenceError", u"InternalError",
                                 u"FatalError", u"RangeError", u"EvalError", u"URIError", u"IOError"})
        EXPECT_TRUE(Error::isErrorClass(name));
    EXPECT_FALSE(Error::isErrorClass(u"error")) << "case-sensitive";
    EXPECT_FALSE(Error::isErrorClass(u"Errors"));
    EXPECT_FALSE(Error::isErrorClass(String()));
    const unsigned short embedded[] = {'E', 'r', 'r', 'o', 'r', 0, 'x'};
    EXPECT_FALSE(Error::isErrorClass(String(embedded, 7))) << "the whole name must match";
}

// Every test that defines errors withdraws them again: the registry is freed when it empties, so
// the live-block check holds without exceptions.
TEST(Error, HostDefinitionsTakePrecedence) {
    const int32_t start = liveBlocks();
    Error::defineError(300, u"Widget %1 broke", u"WidgetError");
    EXPECT_EQ(definitionOf(-300), u"Widget %1 broke|WidgetError") << "keyed by the absolute code";
    EXPECT_EQ(classOf(-300), u"WidgetError");
    EXPECT_TRUE(Error::isErrorClass(u"WidgetError"));
    EXPECT_EQ(fullText(Error(300, u"W1")), u"Widget W1 broke");

    // Redefinition replaces both; null and empty class names stand for "Error"; a null text is empty.
    Error::defineError(-300, u"Other", nullptr);
    EXPECT_EQ(definitionOf(300), u"Other|Error");
    Error::defineError(301, nullptr, u"");
    EXPECT_EQ(messageOf(301, u"fallback"), u"") << "an empty host text is still the text";
    EXPECT_EQ(classOf(301), u"Error");
    EXPECT_TRUE(Error::isErrorClass(u"WidgetError")) << "only undefineError forgets a class";

    // A built-in code: setErrorClass also empties the message, and undefineError brings the table back.
    Error::setErrorClass(5, u"MyError");
    EXPECT_EQ(definitionOf(5), u"|MyError");
    EXPECT_EQ(messageOf(5), u"");
    EXPECT_EQ(classOf(5), u"MyError");
    EXPECT_TRUE(Error::isErrorClass(u"MyError"));
    Error::undefineError(-5);
    EXPECT_EQ(messageOf(5), u"Unterminated comment");
    EXPECT_EQ(classOf(5), u"SyntaxError");
    EXPECT_FALSE(Error::isErrorClass(u"MyError"));
    Error::defineError(55, u"Fifty-five", u"HostError");
    EXPECT_EQ(definitionOf(55), u"Fifty-five|HostError");

    Error::undefineError(999); // unknown: ignored
    for (int16_t code : {55, 300, 301})
        Error::undefineError(code);
    // The orphaned class of the first definition of 300 goes with a definition that names it.
    Error::defineError(302, u"", u"WidgetError");
    Error::undefineError(302);
    EXPECT_FALSE(Error::isErrorClass(u"WidgetError"));
    EXPECT_EQ(messageOf(300), u"Error #300");
    EXPECT_EQ(liveBlocks(), start) << "an empty registry is freed";
}

TEST(Error, UndefineRemovesAClassStillInUse) {
    Error::defineError(400, u"a", u"SharedClass");
    Error::defineError(401, u"b", u"SharedClass");
    Error::undefineError(400);
    EXPECT_FALSE(Error::isErrorClass(u"SharedClass"));
    EXPECT_EQ(classOf(401), u"SharedClass") << "the other definition keeps its class name";
    Error::setErrorClass(402, u"SyntaxError");
    Error::undefineError(402);
    EXPECT_TRUE(Error::isErrorClass(u"SyntaxError")) << "built-in names are not in the host table";
    Error::undefineError(401);
}

TEST(Error, DefinitionUnderExhaustionChangesNothing) {
    // Removals reallocate the containers' buckets too, so one allocator outlives the whole test.
    quarn_test::TestAllocator allocator;
    for (bool first : {true, false}) {
        if (!first) Error::defineError(500, u"old", u"OldClass");
        for (long n = 1;; ++n) {
            const int32_t start = liveBlocks();
            bool failed = false;
            {
                quarn_test::ScopedAllocator scope(allocator);
                allocator.failAt(n);
                try {
                    Error::defineError(501, u"new", u"NewClass");
                } catch (const std::bad_alloc&) {
                    failed = true;
                }
                EXPECT_EQ(failed, allocator.hasFailed());
                allocator.failAt(0);
            }
            if (!failed) break;
            EXPECT_EQ(liveBlocks(), start) << "allocation " << n << (first ? ", first definition" : "");
            EXPECT_EQ(messageOf(501), u"Error #501");
            EXPECT_FALSE(Error::isErrorClass(u"NewClass"));
        }
        EXPECT_EQ(messageOf(501), u"new");
        Error::undefineError(501);
        Error::undefineError(500);
    }
}

TEST(Error, EntriesAndTheirTexts) {
    Error none;
    EXPECT_EQ(none.getCode(), 0);
    EXPECT_EQ(none.getErrorData(), nullptr);
    EXPECT_EQ(fullText(none), u"");
    none.setMoreInfo(u"file.js", 1, 2, 3, 4);
    EXPECT_EQ(none.getError(), nullptr);

    Error boom(1, u"Boom", false);
    const ErrorInfo* info = boom.getError();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->getCode(), 1);
    EXPECT_EQ(info->getText(), u"Boom");
    EXPECT_EQ(where(info), "@-1:-1:-1:0");
    EXPECT_EQ(info->getData(), nullptr);
    EXPECT_EQ(info->getNext(), nullptr);
    const Variant* value = boom.getErrorData();
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->getType(), TypeUndefined);
    EXPECT_EQ(boom.getErrorData(), value) << "made once and kept";

    Error error;
    error.push(2, u"x");
    EXPECT_EQ(topText(error), u"x is undefined");
    error.push(2, u"%1");
    EXPECT_EQ(topText(error), u"%1 is undefined") << "the argument is not scanned again";
    error.push(ErrUndefined);
    EXPECT_EQ(topText(error), u" is undefined");
    error.push(ErrInternal, u"ignored");
    EXPECT_EQ(error.getCode(), -33) << "the sign is kept";
    EXPECT_EQ(topText(error), u"Internal error");
    error.push(999, u"arg");
    EXPECT_EQ(topText(error), u"Error #999");
    error.push(ErrOutOfRange, Variant(1.5), nullptr);
    EXPECT_EQ(topText(error), u"1.5 is out of range");
    EXPECT_EQ(error.getErrorData()->getDouble(), 1.5);
    error.push(ErrBadArgument, Variant(u"'q'"), new Payload(7));
    EXPECT_EQ(topText(error), u"Bad argument 'q'");
    EXPECT_EQ(payloadValue(error.getError()), 7);

    error.setMoreInfo(u"script.js", 10, 200, 5, 3);
    EXPECT_EQ(where(error.getError()), "script.js@10:200:5:3");
    EXPECT_EQ(where(error.getError()->getNext()), "@-1:-1:-1:0") << "only the top entry";

    Error stacked;
    stacked.push(1, u"A", nullptr, false);
    stacked.push(1, u"B", nullptr, false);
    EXPECT_EQ(fullText(stacked), u"B\n- A");
}

TEST(Error, PushTranslatesTheArgumentThroughTheLocalizer) {
    class Host : public Localizer {
    public:
        void getLocalizedText(const String& key, String& out) const override {
            out = key == u"$name" ? String(u"translated") : key;
        }
        void getMessage(int32_t code, String& out) const override {
            Localizer::getMessage(code, out);
            out += u" [host]";
        }
    } host;
    Installed installed(host);
    Error error;
    error.push(2, u"$name");
    EXPECT_EQ(topText(error), u"translated is undefined [host]");
    error.push(2, u"$name", nullptr, false);
    EXPECT_EQ(topText(error), u"$name");
    error.push(41, Variant(3), nullptr);
    EXPECT_EQ(topText(error), u"3 is out of range [host]");
}

TEST(Error, CopiesShareUntilAPush) {
    const int aliveBefore = Payload::alive;
    Error original;
    original.push(1, u"bottom", new Payload(1), false);
    original.push(41, Variant(2.5), new Payload(2));
    const ErrorInfo* top = original.getError();

    Error copy(original);
    EXPECT_EQ(copy.getError(), top) << "copying a handle copies no entry";
    copy.setMoreInfo(u"both", 1, 1, 1, 1);
    EXPECT_EQ(where(original.getError()), "both@1:1:1:1") << "entries stay shared until a push";

    Payload::clones = 0;
    copy.push(1, u"new", nullptr, false);
    EXPECT_EQ(original.getError(), top);
    EXPECT_EQ(fullText(original), u"2.5 is out of range\n- bottom");
    EXPECT_EQ(fullText(copy), u"new\n- 2.5 is out of range\n- bottom");
    const ErrorInfo* copied = copy.getError()->getNext();
    EXPECT_NE(copied, top);
    EXPECT_EQ(copied->getCode(), 41);
    EXPECT_EQ(where(copied), "both@1:1:1:1");
    EXPECT_EQ(copied->getErrorData().getDouble(), 2.5);
    EXPECT_NE(&copied->getErrorData(), &top->getErrorData());
    EXPECT_NE(copied->getData(), top->getData());
    EXPECT_EQ(payloadValue(copied), 2);
    EXPECT_EQ(payloadValue(copied->getNext()), 1);
    EXPECT_EQ(Payload::clones, 2);
    EXPECT_TRUE(Payload::lastDeep) << "data objects are cloned deeply";

    // Now private: further pushes copy nothing.
    copy.push(1, u"newer", nullptr, false);
    EXPECT_EQ(copy.getError()->getNext()->getNext(), copied);
    EXPECT_EQ(Payload::clones, 2);

    // A data object that cannot copy itself leaves the copy without one.
    Error refusing;
    refusing.push(1, u"r", new Payload(3, Payload::Fails), false);
    Error refusingCopy(refusing);
    refusingCopy.push(1, u"s", nullptr, false);
    EXPECT_EQ(refusingCopy.getError()->getNext()->getData(), nullptr);
    EXPECT_EQ(payloadValue(refusing.getError()), 3);

    // Assignment shares (assigning the same stack again changes nothing); erase leaves no error.
    Error assigned(1, u"replaced", false);
    assigned = original;
    EXPECT_EQ(assigned.getError(), top);
    assigned = copy;
    assigned = assigned;
    EXPECT_EQ(assigned.getError(), copy.getError());
    assigned.erase();
    EXPECT_EQ(assigned.getCode(), 0);
    EXPECT_EQ(copy.getCode(), 1);

    original.erase();
    copy.erase();
    refusing.erase();
    refusingCopy.erase();
    EXPECT_EQ(Payload::alive, aliveBefore);
}

TEST(Error, PushingEntriesAndWholeStacks) {
    Error other;
    other.push(1, u"A", new Payload(1), false);
    other.push(1, u"B", nullptr, false);

    Error error;
    error.push(1, u"X", nullptr, false);
    error.push(other);
    EXPECT_EQ(fullText(error), u"B\n- A\n- X") << "the other stack lands on top in its own order";
    EXPECT_EQ(payloadValue(error.getError()->getNext()), 1);
    EXPECT_NE(error.getError()->getNext()->getData(), other.getError()->getNext()->getData());
    EXPECT_EQ(fullText(other), u"B\n- A");

    error.push(error);
    EXPECT_EQ(fullText(error), u"B\n- A\n- X\n- B\n- A\n- X") << "pushing onto itself doubles the stack";
    error.push(Error());
    EXPECT_EQ(topText(error), u"B");

    error.push(*other.getError()->getNext());
    error.push(*error.getError()); // an entry of this very stack
    EXPECT_EQ(topText(error), u"A");
    EXPECT_EQ(error.getError()->getNext()->getText(), u"A");
    EXPECT_EQ(error.getError()->getNext()->getNext()->getText(), u"B");
}

// Puts the handle into the out-of-memory state.
void runOutOfMemory(Error& error) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    allocator.failAt(1);
    error.push(1, u"lost", nullptr, false);
}

TEST(Error, FatalStatesAreSticky) {
    const int aliveBefore = Payload::alive;
    Error error;
    error.push(1, u"before", nullptr, false);
    runOutOfMemory(error);
    ASSERT_EQ(error.getCode(), ErrOutOfMemory);
    const ErrorInfo* preset = error.getError();
    EXPECT_EQ(preset->getText(), u"Out of memory");
    EXPECT_EQ(preset->getNext(), nullptr) << "the stack before the failure is gone";
    EXPECT_EQ(fullText(error), u"Out of memory");

    error.push(2, u"x", new Payload(1));
    error.push(Error(1, u"y", false));
    error.push(ErrOutOfRange, Variant(1), nullptr);
    error.setMoreInfo(u"file", 1, 2, 3, 4);
    EXPECT_EQ(error.getError(), preset) << "ignored until erase";
    EXPECT_EQ(where(preset), "@-1:-1:-1:0");
    EXPECT_EQ(Payload::alive, aliveBefore) << "an ignored push still disposes of its data object";

    Error second;
    runOutOfMemory(second);
    EXPECT_EQ(second.getError(), preset) << "one preset entry for every handle";
    Error copy(error);
    copy.push(1, u"z", nullptr, false);
    EXPECT_EQ(copy.getCode(), ErrOutOfMemory);

    // Pushing a fatal handle onto another copies its entry; the receiver is not fatal.
    Error receiver;
    receiver.push(second);
    EXPECT_EQ(receiver.getCode(), ErrOutOfMemory);
    EXPECT_NE(receiver.getError(), preset);
    receiver.push(1, u"still recording", nullptr, false);
    EXPECT_EQ(receiver.getCode(), 1);

    error.erase();
    error.push(1, u"again", nullptr, false);
    EXPECT_EQ(fullText(error), u"again");
    second = error;
    EXPECT_EQ(second.getCode(), 1) << "assignment also leaves the fatal state";
}

TEST(Error, OtherExceptionsBecomeUncaughtException) {
    const int aliveBefore = Payload::alive;
    Error original;
    original.push(1, u"keeps", new Payload(1, Payload::Throws), false);
    Error copy(original);
    copy.push(1, u"needs a copy of the stack", new Payload(2), false);
    ASSERT_EQ(copy.getCode(), ErrUncaughtException);
    const ErrorInfo* preset = copy.getError();
    EXPECT_EQ(preset->getText(), u"Uncaught exception Uncaught exception %1")
        << "the preset's message is its own argument";
    EXPECT_EQ(fullText(original), u"keeps");
    EXPECT_EQ(payloadValue(original.getError()), 1);
    copy.push(ErrOutOfMemory);
    copy.setMoreInfo(u"file", 1, 1, 1, 1);
    EXPECT_EQ(copy.getError(), preset);
    EXPECT_EQ(preset->getLine(), -1);

    class Throwing : public Localizer {
    public:
        void getMessage(int32_t, String&) const override { throw 42; }
    } host;
    {
        Installed installed(host);
        Error error;
        error.push(2, u"x");
        EXPECT_EQ(error.getCode(), ErrUncaughtException);
        error.erase();
        error.push(2, u"x", nullptr, false);
        EXPECT_EQ(error.getCode(), 2) << "a verbatim push asks the localizer nothing";
    }
    original.erase();
    copy.erase();
    EXPECT_EQ(Payload::alive, aliveBefore);
}

// Fails the 1st, 2nd, 3rd ... allocation inside one push until a run gets through, on a fresh handle
// and on one that shares a stack (whose entries carry data objects and values to copy). Every failed
// run must leave the out-of-memory state, and nothing may leak once the handle is erased.
void exhaust(const char* what, int16_t expectedCode,
             const std::function<void(Error&, const Cloneable* data)>& push) {
    Error prepared;
    prepared.push(1, u"bottom", new Payload(1), false);
    prepared.push(ErrOutOfRange, Variant(2.5), new Payload(2));
    const String preparedText = fullText(prepared);

    for (bool shared : {false, true}) {
        for (long n = 1;; ++n) {
            SCOPED_TRACE(testing::Message()
                         << what << (shared ? ", shared" : ", fresh") << ", allocation " << n);
            const int32_t start = liveBlocks();
            const int aliveBefore = Payload::alive;
            quarn_test::TestAllocator allocator; // outlives every block it makes
            bool failed;
            {
                Error error;
                if (shared) error = prepared;
                const Cloneable* data = new Payload(9);
                {
                    quarn_test::ScopedAllocator scope(allocator);
                    allocator.failAt(n);
                    push(error, data);
                    failed = allocator.hasFailed();
                    allocator.failAt(0);
                }
                if (failed) {
                    EXPECT_EQ(error.getCode(), ErrOutOfMemory);
                    error.push(1, u"ignored", nullptr, false);
                    EXPECT_EQ(error.getCode(), ErrOutOfMemory);
                } else {
                    EXPECT_EQ(error.getCode(), expectedCode);
                }
                EXPECT_EQ(fullText(prepared), preparedText);
                error.erase();
                EXPECT_EQ(liveBlocks(), start);
                EXPECT_EQ(Payload::alive, aliveBefore);
                EXPECT_EQ(allocator.outstanding, 0);
                error.push(1, u"works again", nullptr, false);
                EXPECT_EQ(error.getCode(), 1);
            }
            EXPECT_EQ(liveBlocks(), start);
            if (!failed) break;
            ASSERT_LT(n, 100) << "a push that never gets through";
        }
    }
}

TEST(Error, EveryPushSurvivesExhaustion) {
    Error other;
    other.push(1, u"A", new Payload(1), false);
    other.push(ErrBadArgument, Variant(u"B"), nullptr);

    exhaust("localized text", ErrUndefined,
            [](Error& e, const Cloneable* data) { e.push(ErrUndefined, u"name", data, true); });
    exhaust("verbatim text", 1, [](Error& e, const Cloneable* data) { e.push(1, u"text", data, false); });
    exhaust("code only", ErrUndefined, [](Error& e, const Cloneable* data) { e.push(ErrUndefined, data); });
    exhaust("value", ErrOutOfRange,
            [](Error& e, const Cloneable* data) { e.push(ErrOutOfRange, Variant(1234.5), data); });
    exhaust("entry", ErrBadArgument, [&](Error& e, const Cloneable* data) {
        delete data;
        e.push(*other.getError());
    });
    exhaust("error", ErrBadArgument, [&](Error& e, const Cloneable* data) {
        delete data;
        e.push(other);
    });
}

TEST(Error, LibraryEndDestroysDefinitionsAndPresets) {
    const int32_t start = liveBlocks();
    Error::defineError(600, u"host", u"EndingClass");
    detail::errorsModule(false);
    EXPECT_FALSE(Error::isErrorClass(u"EndingClass"));
    EXPECT_EQ(messageOf(600), u"Error #600");
    EXPECT_LT(liveBlocks(), start) << "the presets are gone too";

    detail::errorsModule(true);
    EXPECT_EQ(liveBlocks(), start);
    Error error;
    runOutOfMemory(error);
    EXPECT_EQ(fullText(error), u"Out of memory");
}

} // namespace
