#include "memory/Modules.h"
#include "support/ExhaustionSweep.h"
#include "support/StringPrinting.h"

#include <quarn/Error.h>
#include <quarn/Localizer.h>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

using namespace Quarn;
using quarn_test::liveBlocks;
using quarn_test::u16;

// Entries, records and data objects all live in the library heap: the live-block check around every
// test is the leak check.
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

// "source@line:offset:column:length"
std::string where(const ErrorInfo* info) {
    const std::u16string source = u16(info->getSource());
    return std::string(source.begin(), source.end()) + "@" + std::to_string(info->getLine()) + ":" +
           std::to_string(info->getOffset()) + ":" + std::to_string(info->getColumn()) + ":" +
           std::to_string(info->getLength());
}

// "text|class" from getErrorDefinition, or "none" when it has none and emptied both strings; then
// "/" and getErrorClass's answer.
std::u16string definitionOf(int16_t code) {
    String text(u"stale"), className(u"stale");
    const std::u16string definition = Error::getErrorDefinition(code, text, className)
                                          ? u16(text) + u"|" + u16(className)
                                          : (text.length() + className.length() ? u"not emptied" : u"none");
    return definition + u"/" + u16(String(Error::getErrorClass(code)));
}

// A host data object. Its shallow copies read -2, so that only a deep copy keeps the value; it can
// also refuse to be copied by throwing.
class Payload : public Cloneable {
public:
    explicit Payload(int value, bool throws = false) : value(value), throws(throws) {}
    int16_t clone(Cloneable** out, bool deep) const override {
        if (throws) throw std::runtime_error("cannot copy");
        *out = new Payload(deep ? value : -2);
        return 0;
    }
    int value;
    bool throws;
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

TEST(Error, BuiltinLookupsTakeTheAbsoluteCodeAndStopAtDifferentBounds) {
    const struct {
        int16_t code;
        const char16_t* message;
        const char16_t* definition;
    } cases[] = {
        {1, u"%1", u"%1|Error/Error"},
        {-2, u"%1 is undefined", u"%1 is undefined|ReferenceError/ReferenceError"},
        {28, u"Out of memory", u"Out of memory|FatalError/FatalError"},
        {-33, u"Internal error", u"Internal error|InternalError/InternalError"},
        {54, u"Uncaught JavaScript exception: %1", u"Uncaught JavaScript exception: %1|Error/Error"},
        // 55 has a built-in message but, deliberately, no built-in definition.
        {55, u"Object does not support the property or method '%1'", u"none/Error"},
        {-99, u"Error #99", u"none/Error"},
        {0, u"Error #0", u"none/Error"},           // 0 means no error and has no entry
        {-32768, u"Error #-32768", u"none/Error"}, // 16-bit negation keeps it negative
    };
    for (const auto& c : cases) {
        EXPECT_EQ(messageOf(c.code), c.message) << c.code;
        EXPECT_EQ(definitionOf(c.code), c.definition) << c.code;
    }
    // The numbered fallback only fills an empty destination, so a caller can bring its own.
    EXPECT_EQ(messageOf(56, u"kept"), u"kept");
    EXPECT_EQ(messageOf(5, u"replaced"), u"Unterminated comment");

    for (const char16_t* name : {u"Error", u"TypeError", u"SyntaxError", u"ReferenceError", u"InternalError",
                                 u"FatalError", u"RangeError", u"EvalError", u"URIError", u"IOError"})
        EXPECT_TRUE(Error::isErrorClass(name)) << String(name);
    EXPECT_FALSE(Error::isErrorClass(u"error")) << "case-sensitive";
}

// Every test that defines errors withdraws them again: the registry is freed when it empties, so
// the live-block check holds without exceptions.
TEST(Error, HostDefinitionsTakePrecedence) {
    Error::defineError(300, u"Widget %1 broke", u"WidgetError");
    EXPECT_EQ(definitionOf(-300), u"Widget %1 broke|WidgetError/WidgetError") << "by the absolute code";
    EXPECT_EQ(fullText(Error(300, u"W1")), u"Widget W1 broke");
    // Null and empty class names stand for "Error"; setErrorClass empties the text, and an empty
    // host text is still the text.
    Error::defineError(-300, u"Other", nullptr);
    EXPECT_EQ(definitionOf(300), u"Other|Error/Error");
    Error::setErrorClass(300, u"");
    EXPECT_EQ(messageOf(300, u"fallback"), u"");
    EXPECT_TRUE(Error::isErrorClass(u"WidgetError")) << "only undefineError forgets a class";

    // Host entries take precedence over built-in ones; undefineError brings the table back.
    Error::setErrorClass(5, u"MyError");
    EXPECT_EQ(messageOf(5), u"");
    EXPECT_EQ(definitionOf(5), u"|MyError/MyError");
    EXPECT_TRUE(Error::isErrorClass(u"MyError"));
    Error::undefineError(-5);
    EXPECT_EQ(definitionOf(5), u"Unterminated comment|SyntaxError/SyntaxError");
    EXPECT_FALSE(Error::isErrorClass(u"MyError"));
    Error::defineError(55, u"Fifty-five", u"HostError");
    EXPECT_EQ(definitionOf(55), u"Fifty-five|HostError/HostError");

    // Withdrawing one definition forgets its class name even while another one still uses it.
    Error::defineError(302, u"b", u"HostError");
    Error::undefineError(55);
    EXPECT_FALSE(Error::isErrorClass(u"HostError"));
    EXPECT_EQ(definitionOf(302), u"b|HostError/HostError");

    Error::undefineError(999); // unknown: ignored
    // The orphaned class of the first definition of 300 goes with a definition that names it.
    Error::defineError(304, u"", u"WidgetError");
    for (int16_t code : {300, 302, 304})
        Error::undefineError(code);
    EXPECT_FALSE(Error::isErrorClass(u"WidgetError"));
    EXPECT_EQ(messageOf(300), u"Error #300");
}

TEST(Error, AFailedDefinitionThrowsAndChangesNothing) {
    quarn_test::TestAllocator allocator; // undefining reallocates too: it outlives the whole test
    for (long n = 1, failed = 1; failed; ++n) {
        bool threw = false;
        {
            quarn_test::ScopedAllocator scope(allocator);
            allocator.failAt(n);
            try {
                Error::defineError(501, u"new", u"NewClass");
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            failed = allocator.hasFailed();
            allocator.failAt(0);
        }
        EXPECT_EQ(threw, failed) << n;
        EXPECT_EQ(definitionOf(501), failed ? u"none/Error" : u"new|NewClass/NewClass") << n;
        EXPECT_EQ(Error::isErrorClass(u"NewClass"), !failed) << n;
    }
    Error::undefineError(501);
}

TEST(Error, EntriesAndTheirTexts) {
    Error error;
    error.setMoreInfo(u"file.js", 1, 2, 3, 4);
    EXPECT_EQ(error.getError(), nullptr);
    EXPECT_EQ(error.getErrorData(), nullptr);
    EXPECT_EQ(fullText(error), u"");

    error.push(1, u"Boom", nullptr, false);
    EXPECT_EQ(where(error.getError()), "@-1:-1:-1:0");
    const Variant* value = error.getErrorData();
    EXPECT_EQ(value->getType(), TypeUndefined);
    EXPECT_EQ(error.getErrorData(), value) << "made once and kept";

    error.push(2, u"%1"); // the argument is not scanned again
    error.push(ErrUndefined);
    error.push(ErrInternal, u"ignored");
    EXPECT_EQ(error.getCode(), -33) << "the sign is kept";
    error.push(ErrOutOfRange, Variant(1.5), nullptr);
    EXPECT_EQ(error.getErrorData()->getDouble(), 1.5);
    error.push(ErrBadArgument, Variant(u"'q'"), new Payload(7));
    EXPECT_EQ(payloadValue(error.getError()), 7);
    EXPECT_EQ(fullText(error),
              u"Bad argument 'q'\n- 1.5 is out of range\n- Internal error\n-  is undefined\n- "
              u"%1 is undefined\n- Boom");
    error.setMoreInfo(u"script.js", 10, 200, 5, 3);
    EXPECT_EQ(where(error.getError()), "script.js@10:200:5:3");
    EXPECT_EQ(where(error.getError()->getNext()), "@-1:-1:-1:0") << "only the top entry";
}

TEST(Error, PushAsksTheCurrentLocalizer) {
    class Host : public Localizer {
    public:
        void getLocalizedText(const String& key, String& out) const override {
            out = key == u"$name" ? String(u"translated") : key;
        }
        void getMessage(int32_t code, String& out) const override {
            if (code == 3) throw 42;
            Localizer::getMessage(code, out);
            out += u" [host]";
        }
    } host;
    Installed installed(host);
    Error error;
    error.push(2, u"$name");
    error.push(2, u"$name", nullptr, false);
    error.push(41, Variant(3), nullptr);
    error.push(3, u"x", nullptr, false); // a verbatim push asks the localizer nothing
    EXPECT_EQ(fullText(error), u"x\n- 3 is out of range [host]\n- $name\n- translated is undefined [host]");
    error.push(3, u"x");
    EXPECT_EQ(error.getCode(), ErrUncaughtException) << "any other exception is absorbed too";
}

TEST(Error, CopiesShareUntilAPush) {
    Error original;
    original.push(1, u"bottom", new Payload(1), false);
    original.push(41, Variant(2.5), new Payload(2));
    const ErrorInfo* top = original.getError();

    Error copy(original);
    copy.setMoreInfo(u"both", 1, 1, 1, 1);
    EXPECT_EQ(where(top), "both@1:1:1:1") << "copying a handle copies no entry";
    copy.push(1, u"new", nullptr, false);
    EXPECT_EQ(fullText(original), u"2.5 is out of range\n- bottom");
    EXPECT_EQ(fullText(copy), u"new\n- 2.5 is out of range\n- bottom");
    const ErrorInfo* copied = copy.getError()->getNext();
    EXPECT_EQ(where(copied), "both@1:1:1:1");
    EXPECT_EQ(copied->getErrorData().getDouble(), 2.5);
    EXPECT_NE(&copied->getErrorData(), &top->getErrorData());
    EXPECT_EQ(payloadValue(copied), 2) << "data objects are cloned deeply";
    copy.push(1, u"newer", nullptr, false);
    EXPECT_EQ(copy.getError()->getNext()->getNext(), copied) << "once private, nothing is copied again";

    // Assignment shares (assigning the same stack again changes nothing); erase leaves no error.
    Error assigned(1, u"replaced", false);
    assigned = copy;
    assigned = assigned;
    EXPECT_EQ(assigned.getError(), copy.getError());
    assigned.erase();
    EXPECT_EQ(assigned.getCode(), 0);
    EXPECT_EQ(copy.getCode(), 1);
}

TEST(Error, PushingEntriesAndWholeStacks) {
    Error other;
    other.push(1, u"A", new Payload(1), false);
    other.push(1, u"B", nullptr, false);
    Error error;
    error.push(1, u"X", nullptr, false);
    error.push(other);
    EXPECT_EQ(fullText(error), u"B\n- A\n- X") << "the other stack lands on top in its own order";
    EXPECT_NE(error.getError()->getNext()->getData(), other.getError()->getNext()->getData());
    error.push(error);   // onto itself: the stack doubles
    error.push(Error()); // nothing to add
    error.push(*other.getError()->getNext());
    error.push(*error.getError()); // an entry of this very stack
    EXPECT_EQ(fullText(error), u"A\n- A\n- B\n- A\n- X\n- B\n- A\n- X");
}

// Puts the handle into the out-of-memory state.
void runOutOfMemory(Error& error) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    allocator.failAt(1);
    error.push(1, u"lost", nullptr, false);
}

TEST(Error, FatalStatesAreStickyUntilEraseOrAssignment) {
    Error error;
    error.push(1, u"before", nullptr, false);
    runOutOfMemory(error);
    ASSERT_EQ(error.getCode(), ErrOutOfMemory);
    const ErrorInfo* preset = error.getError();
    EXPECT_EQ(fullText(error), u"Out of memory") << "the stack before the failure is gone";
    error.push(2, u"x", new Payload(1));
    error.setMoreInfo(u"file", 1, 2, 3, 4);
    EXPECT_EQ(error.getError(), preset) << "ignored until erase";
    EXPECT_EQ(where(preset), "@-1:-1:-1:0");
    Error second;
    runOutOfMemory(second);
    EXPECT_EQ(second.getError(), preset) << "one preset entry for every handle";

    // A data object whose copy throws turns a push onto a shared stack into the other fatal state.
    Error original;
    original.push(1, u"keeps", new Payload(1, true), false);
    Error uncaught(original);
    uncaught.push(1, u"needs a copy of the stack", new Payload(2), false);
    uncaught.push(2, u"ignored");
    EXPECT_EQ(fullText(uncaught), u"Uncaught exception Uncaught exception %1")
        << "the preset's message is its own argument";
    EXPECT_EQ(fullText(original), u"keeps");

    // Pushing a fatal handle onto another copies its entry; the receiver is not fatal.
    Error receiver;
    receiver.push(second);
    EXPECT_EQ(receiver.getCode(), ErrOutOfMemory);
    receiver.push(1, u"still recording", nullptr, false);
    EXPECT_EQ(receiver.getCode(), 1);

    error.erase();
    uncaught = error;
    EXPECT_EQ(uncaught.getError(), nullptr) << "erase and assignment leave the fatal states";
}

// Fails the 1st, 2nd, 3rd ... allocation inside a push of each form until a run gets through, on a
// handle that shares a stack (whose entries carry data objects and values to copy first). Every failed run
// must leave the out-of-memory state, leave the shared stack alone, leak nothing, and the handle must record
// errors again after erase().
TEST(Error, EveryPushSurvivesExhaustion) {
    Error other, prepared;
    other.push(1, u"A", new Payload(1), false);
    other.push(ErrBadArgument, Variant(u"B"), nullptr);
    prepared.push(1, u"bottom", new Payload(1), false);
    prepared.push(ErrOutOfRange, Variant(2.5), new Payload(2));
    const String preparedText = fullText(prepared);

    const struct {
        const char* name;
        int16_t code;
        std::function<void(Error&, const Cloneable*)> push;
    } forms[] = {
        {"localized text", 2, [](Error& e, const Cloneable* d) { e.push(2, u"name", d, true); }},
        {"verbatim text", 1, [](Error& e, const Cloneable* d) { e.push(1, u"text", d, false); }},
        {"code only", 2, [](Error& e, const Cloneable* d) { e.push(2, d); }},
        {"value", 41, [](Error& e, const Cloneable* d) { e.push(41, Variant(1234.5), d); }},
        {"entry", 19, [&](Error& e, const Cloneable* d) { delete d, e.push(*other.getError()); }},
        {"error", 19, [&](Error& e, const Cloneable* d) { delete d, e.push(other); }},
    };
    for (const auto& form : forms) {
        auto scenario = [&] {
            Error error(prepared);
            const Cloneable* data;
            try {
                data = new Payload(9);
            } catch (const std::bad_alloc&) {
                return true; // the data object itself was what failed
            }
            form.push(error, data);
            if (error.getCode() != ErrOutOfMemory) {
                EXPECT_EQ(error.getCode(), form.code) << form.name;
                return false;
            }
            EXPECT_EQ(fullText(prepared), preparedText) << form.name;
            error.erase();
            error.push(1, u"works again", nullptr, false);
            EXPECT_EQ(error.getCode(), 1) << form.name;
            return true;
        };
        EXPECT_GT(quarn_test::sweepAllocations(form.name, scenario, quarn_test::Exhaustion::Absorbed), 5);
    }
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
