#pragma once

#include "platform/automation/text.h"

#include <cstdint>
#include <exception>

namespace corveth {

/// Error numbers as the server holds them: small numbers of the run time and of data access, and the
/// application's own whole code.
namespace errors {
inline constexpr std::int32_t invalidCall = 5;
inline constexpr std::int32_t overflow = 6;
inline constexpr std::int32_t outOfMemory = 7;
inline constexpr std::int32_t subscriptOutOfRange = 9;
inline constexpr std::int32_t divisionByZero = 11;
inline constexpr std::int32_t typeMismatch = 13;
inline constexpr std::int32_t fileExists = 58;
inline constexpr std::int32_t objectNotSet = 91;
inline constexpr std::int32_t invalidNull = 94;
inline constexpr std::int32_t cannotCreate = 429;
inline constexpr std::int32_t noSuchMember = 438;
inline constexpr std::int32_t notAvailable = 445;
inline constexpr std::int32_t namedArgument = 448;
inline constexpr std::int32_t argumentRequired = 449;
inline constexpr std::int32_t argumentCount = 450;
inline constexpr std::int32_t duplicateKey = 457;
inline constexpr std::int32_t invalidPicture = 481;
inline constexpr std::int32_t badArguments = 3001;
inline constexpr std::int32_t cannotOpenFile = 3002;
inline constexpr std::int32_t cannotWriteFile = 3004;
inline constexpr std::int32_t noCurrentRecord = 3021;
inline constexpr std::int32_t charactersAfterStatement = 3142;
inline constexpr std::int32_t notAllowedHere = 3219;
inline constexpr std::int32_t closeInTransaction = 3246;
inline constexpr std::int32_t notSupported = 3251;
inline constexpr std::int32_t noSuchItem = 3265;
inline constexpr std::int32_t valueCount = 3346;
inline constexpr std::int32_t dataTypeMismatch = 3464;
inline constexpr std::int32_t objectClosed = 3704;
inline constexpr std::int32_t objectOpen = 3705;
inline constexpr std::int32_t badConnection = 3709;
inline constexpr std::int32_t application = static_cast<std::int32_t>(0x80040001);
inline constexpr std::int32_t engine = static_cast<std::int32_t>(0x80004005); ///< the engine's own words follow
inline constexpr std::int32_t noTransaction = static_cast<std::int32_t>(0x8004D00E);
inline constexpr std::int32_t noCommandText = static_cast<std::int32_t>(0x80040E0C);
inline constexpr std::int32_t wrongThread = static_cast<std::int32_t>(0x8001010E);
} // namespace errors

/// The one exception of the library. `number` is small for run-time and data-access errors and a whole
/// code otherwise; `source` names the class or component that raised it.
struct CORVETH_API Error : std::exception {
    Error(std::int32_t number, Text source, Text description);

    [[nodiscard]] const char* what() const noexcept override { return description.c_str(); }

    std::int32_t number;
    Text source;
    Text description;
};

/// The source word of errors that no class claims.
inline constexpr const char* defaultSource = "prjCorveth";

/// The platform's own text of an error number; empty when it has none.
CORVETH_API TextView errorText(std::int32_t number) noexcept;

/// Throws the platform error `number`; `detail` names what was wrong and follows the platform's text.
[[noreturn]] CORVETH_API void raise(std::int32_t number, TextView detail = {}, TextView source = defaultSource);

/// What is being thrown right now as an Error: an exception of the standard library becomes 7 or 5. Call in a handler
/// only.
CORVETH_API Error currentError();

} // namespace corveth
