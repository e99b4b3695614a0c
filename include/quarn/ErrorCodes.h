// The library's numbered error codes. 0 is success; fatal errors are raised with their code negated.
// The messages and script error classes of each code belong to Error.
#ifndef QUARN_ERRORCODES_H
#define QUARN_ERRORCODES_H

#include <quarn/Config.h>

namespace Quarn {

enum ErrorCode : int16_t {
    ErrNone = 0,
    ErrGeneral = 1,                  // "%1"
    ErrUndefined = 2,                // "%1 is undefined"
    ErrCannotAssign = 3,
    ErrUnterminatedString = 4,
    ErrUnterminatedComment = 5,
    ErrBadDigit = 6,
    ErrUnsupportedFeature = 7,
    ErrSyntax = 8,
    ErrReservedWord = 9,
    ErrBreakOutsideLoop = 10,
    ErrLabelNotFound = 11,
    ErrNotConstant = 12,
    ErrTooManyClosingBraces = 13,
    ErrNoClosingBrace = 14,
    ErrTryWithoutCatch = 15,
    ErrCatchWithoutTry = 16,
    ErrVariableNameExpected = 17,
    ErrValueExpected = 18,
    ErrBadArgument = 19,
    ErrBadArgumentList = 20,
    ErrNotAnObject = 21,
    ErrNoConstructor = 22,
    ErrNoValue = 23,
    ErrNotAFunction = 24,
    ErrExpected = 25,
    ErrWrongClass = 26,
    ErrStackOverrun = 27,
    ErrOutOfMemory = -28,
    ErrUncaughtException = -29,
    ErrReturnOutsideFunction = 30,
    ErrBadURI = 31,
    ErrCannotExecute = 32,
    ErrInternal = -33,
    ErrHalted = -34,
    ErrTimeout = -35,
    ErrNotImplemented = -36,
    ErrConversion = 37,        // "Character conversion error"
    ErrPartialMultibyte = 38,  // "Partial multibyte character found"
    ErrDuplicateDefault = 39,
    ErrRedeclared = 40,
    ErrOutOfRange = 41,        // "%1 is out of range"
    ErrCatchAfterUnconditional = 42,
    ErrEval = 43,
    ErrCannotConvert = 44,     // "Cannot convert"
    ErrInvalidObject = 45,
    ErrReadOnly = 46,
    ErrTypeMismatch = 47,      // "Data type mismatch"
    ErrFileNotFound = 48,
    ErrFileExists = 49,
    ErrFileNotOpen = 50,
    ErrReadPastEOF = 51,
    ErrIO = 52,
    ErrPermissionDenied = 53,
    ErrUncaughtScriptException = 54,
    ErrNoSuchMember = 55,
};

} // namespace Quarn

#endif
