#pragma once

#include "measure.h"
#include "world.h"

namespace corveth::bench {

// Notes.
Pair loadCold(World& world);
Pair loadHot(World& world);
Pair saveNew(World& world);
Pair saveNewInTransaction(World& world);
Pair saveExisting(World& world);
Pair saveExistingInTransaction(World& world);
Pair listOfLink(World& world);

// Contacts.
Pair contactList(World& world);
Pair loadContact(World& world);
Pair saveContact(World& world);
Pair saveContactInTransaction(World& world);
Pair replacePicture(World& world);

/// Bytes of memory that a list of contacts holds for each of them, by its company's object too.
struct ContactMemory {
    std::size_t ours, raw;
};
ContactMemory memoryOfContact(World& world);

// Attachments.
Pair storeNewFile(World& world);
Pair storeFileAgain(World& world);
Pair readFile(World& world);

/// Memory that a file takes at the height of an operation, in files.
struct FileMemory {
    struct Sides {
        double ours, raw;
    };
    Sides storeNew, storeAgain, read;
};
FileMemory memoryOfFile(World& world);

// The working calendar.
Pair hoursOfTenYears(World& world);
Pair addManyHours(World& world);

// Tasks of a project.
Pair saveTask(World& world);
Pair saveTasksInTransaction(World& world);

// Calls through the binary interface, against the direct call.
Pair propertyGet(World& world);
Pair propertyLet(World& world);
Pair methodCall(World& world);
Pair methodCallWithText(World& world);

} // namespace corveth::bench
