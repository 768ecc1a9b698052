#pragma once

#include "cli/argument.h"
#include "cli/session.h"

#include <string>
#include <utility>
#include <vector>

namespace corveth::cli {

/// A property, its name dotted when it goes through an object property, and what it is given.
using Assignment = std::pair<std::string, Json>;
struct Call {
    std::string method; ///< dotted like a property where an edit calls it
    std::vector<Json> arguments;
};

/// The object of the class whose row has the key; fails when no row has it, or the class has no key.
client::LateObject existingRecord(const Session& session, const ClassModel& model, const std::string& key);

/// `text` as a literal of a statement.
std::string textLiteral(const std::string& text);

/// The key of the row that `key` names, as it is stored; empty when there is none, or the class's key tells no table.
std::string storedKey(const Session& session, const ClassModel& model, const std::string& key);

/// What is done to one record, new or existing.
struct Edit {
    std::vector<Assignment> assignments;
    std::vector<Call> calls;
};

/// Applies the edit and saves. An empty `key` makes a new record, which takes its class's defaults first. Returns the
/// key of its row.
std::string saveRecord(const Session& session, const ArgumentReader& reader, const std::string& className,
                       const std::string& key, const Edit& edit);

/// Fails when `member` deletes the object's row and the object has no key: what an empty key stands for in a class's
/// statements may be the rows of others.
void refuseRemovalWithoutKey(const client::LateObject& object, const ClassModel& model, const std::string& member);

/// Calls a method, or reads a property that takes arguments; they are converted to its parameters.
client::Variant callMember(const client::LateObject& object, const ArgumentReader& reader, const Call& call);

/// Assigns one property.
void assign(const client::LateObject& object, const ArgumentReader& reader, const Assignment& assignment);

/// A readable property without parameters, and what it yielded; a member that hands out an object is named, not read.
struct Reading {
    enum class Kind { value, object, failure };

    std::string name;
    Kind kind = Kind::value;
    client::Variant value;
    std::string text; ///< for a person
    Json json;
};
std::vector<Reading> readProperties(const client::LateObject& object);

} // namespace corveth::cli
