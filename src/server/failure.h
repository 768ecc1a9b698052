#pragma once

#include "platform/automation/error.h"
#include "server/binary/memory.h"

namespace corveth::server {

/// A small error number leaves as 0x800A0000 + number, a whole code as it is.
constexpr binary::HResult toResult(std::int32_t number) noexcept {
    const bool isSmall = number > 0 && number <= 0xFFFF;
    return isSmall ? binary::results::code(0x800A0000U + static_cast<std::uint32_t>(number)) : number;
}

/// Runs `body`, which returns a result; no exception leaves.
template <class Body>
binary::HResult guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const Error& error) {
        return toResult(error.number);
    } catch (const std::bad_alloc&) {
        return binary::results::outOfMemory;
    } catch (...) {
        return binary::results::failed;
    }
}

/// Words for a client. What a name of a file or a user's own data put into them that is no text is shown as `?`.
inline binary::Bstr toWords(Text text) noexcept {
    if (binary::Bstr words = binary::toBstr(text)) return words;
    for (char& c : text) {
        if (static_cast<unsigned char>(c) > 0x7F) c = '?';
    }
    return binary::toBstr(text);
}

/// Fills the record of what is being thrown right now; call in a handler only.
inline binary::HResult reportException(binary::ExcepInfo* exception) noexcept {
    if (exception == nullptr) return binary::results::exception;
    try {
        const Error error = currentError();
        exception->scode = toResult(error.number);
        exception->bstrSource = toWords(error.source);
        exception->bstrDescription = toWords(error.description);
    } catch (...) {
        exception->scode = toResult(errors::outOfMemory);
    }
    return binary::results::exception;
}

} // namespace corveth::server
