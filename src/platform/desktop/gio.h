#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// The desktop's own library, used where it is installed; nothing is needed to build with it.
class CORVETH_API Gio {
public:
    /// Null when the machine has none. Loaded at the first call and kept.
    static const Gio* find();

    /// As `typeInDatabase`.
    [[nodiscard]] Text typeOf(const Text& name, TextView beginning, bool isWhole) const;
    /// The full path of the desktop entry of the program that the user has for a type; empty when there is none.
    [[nodiscard]] Text entryFor(const Text& type) const;

private:
    Gio() = default;

    char* (*guess_)(const char* name, const unsigned char* beginning, std::size_t size, int* isUncertain) = nullptr;
    void* (*defaultProgram_)(const char* type, int isForAddresses) = nullptr;
    const char* (*entryPath_)(void* program) = nullptr;
    void (*freeText_)(void* text) = nullptr;
    void (*release_)(void* object) = nullptr;
};

} // namespace corveth
