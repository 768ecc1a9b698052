#pragma once

#include "contacts/contact.h"
#include "platform/data/connection.h"
#include "platform/data/recordset.h"
#include "session/note.h"

#include <map>

namespace corveth::test {

/// An open connection, which becomes the thread's shared one.
Ref<Connection> share(const Text& connectionString);
/// Closes the thread's shared connection and forgets it.
void closeShared();

/// A note or contact by name, all of whose columns are made from `version`; it is long enough for pages of its own.
/// The ID that it was given.
Text saveNote(const Text& name, const Text& version, const Text& id = {});
Text saveContact(const Text& name, const Text& version, const Text& id = {});

/// The ID that the data service made last.
Text lastId();

/// The version of every stored note and contact by name; what is stored in parts only has the version "half".
std::map<Text, Text> storedVersions(const Ref<Connection>& connection);

/// What the engine and the system find wrong with the whole database; "ok" when it is sound.
Text soundness(const Ref<Connection>& connection);

/// The first column of the first row as text.
Text firstValue(const Ref<Connection>& connection, const Text& sql);

} // namespace corveth::test
