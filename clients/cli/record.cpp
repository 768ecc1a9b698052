#include "cli/record.h"

#include <fmt/format.h>

#include <algorithm>

namespace corveth::cli {

using client::ClassDescription;
using client::Failure;
using client::LateObject;
using client::MemberDescription;
using client::MemberKind;
using client::Variant;

namespace {

/// A place that a key is looked up in: `Notes.NoteId`, or `Participants.ContactId+LinkId` where a row has a key of two
/// parts. The second column is called as the property for it; the parts of such a key are parted by a blank.
struct KeyPlace {
    explicit KeyPlace(std::string_view text) {
        const auto dot = text.find('.');
        table = text.substr(0, dot);
        text.remove_prefix(dot + 1);
        const auto plus = text.find('+');
        column = text.substr(0, plus);
        if (plus != std::string_view::npos) second = text.substr(plus + 1);
    }

    std::string table, column, second;
};

std::pair<std::string, std::string> keyParts(const std::string& key) {
    const auto blank = key.find(' ');
    if (blank == std::string::npos) return {key, {}};
    return {key.substr(0, blank), key.substr(blank + 1)};
}

/// The property for the second part of a key; empty when keys of the class have one part.
std::string secondKeyProperty(const ClassModel::Member& key) {
    return KeyPlace(key.argument).second;
}

const ClassModel::Member& keyOf(const ClassModel& model) {
    if (const auto* key = model.withRole("key")) return *key;
    throw Failure(438, model.name, model.name + " has no key; it names no single record");
}

/// Fails unless a row has the key, in one of the tables that it may name. A class whose key tells no table cannot be
/// asked.
void requireRow(const Session& session, const ClassModel& model, const std::string& key) {
    if (keyOf(model).argument.empty() && !key.empty()) return;
    if (!storedKey(session, model, key).empty()) return;
    throw Failure(3021, model.name, fmt::format("there is no {} with the key \"{}\"", model.name, key));
}

/// Gives the object its key and has it read its row.
void load(const LateObject& object, const ClassModel& model, const std::string& key) {
    const auto& keyMember = keyOf(model);
    const std::string second = secondKeyProperty(keyMember);
    const auto [firstPart, secondPart] = second.empty() ? std::pair(key, std::string()) : keyParts(key);
    object.let(keyMember.name, firstPart);
    if (!secondPart.empty()) object.let(second, secondPart);
    if (keyMember.has("loads")) return;
    for (const auto& member : model.members) {
        if (!member.has("loads")) continue;
        const auto* method = object.description().find(member.name, MemberKind::method);
        if (method != nullptr && method->params.empty()) object.call(member.name);
    }
}

std::string keyText(const LateObject& object, const ClassModel& model) {
    const auto& key = keyOf(model);
    if (object.description().find(key.name, MemberKind::get) == nullptr) return {};
    std::string text = plainText(object.get(key.name));
    const std::string second = secondKeyProperty(key);
    return text.empty() || second.empty() ? text : text + " " + plainText(object.get(second));
}

/// The row that a new record got: some objects take its key over, for the others the data service remembers it.
std::string insertedKey(const Session& session, const std::string& before, const std::string& after,
                        const std::string& lastBefore) {
    if (!after.empty() && after != before) return after;
    std::string last = session.lastId();
    return last != lastBefore ? last : after;
}

LateObject newRecord(const Session& session, const ArgumentReader& reader, const ClassModel& model,
                     const std::vector<Assignment>& assignments) {
    LateObject object = session.library().create(model.progId);
    const auto& key = keyOf(model);
    bool hasKey = false;
    for (const auto& assignment : assignments) {
        if (!model.memberHas(assignment.first, "preset")) continue;
        assign(object, reader, assignment);
        if (model.memberHas(assignment.first, "key")) hasKey = true;
    }
    load(object, model, hasKey ? plainText(object.get(key.name)) : std::string());
    return object;
}

Reading readProperty(const LateObject& object, const MemberDescription& member) {
    Reading reading{.name = member.name, .kind = Reading::Kind::value, .value = {}, .text = {}, .json = {}};
    if (isObjectType(member.type)) {
        const auto colon = member.type.find(':');
        const std::string className = colon == std::string::npos ? member.type : member.type.substr(colon + 1);
        reading.kind = Reading::Kind::object;
        reading.text = "(" + className + ")";
        reading.json = {{"object", className}};
        return reading;
    }
    try {
        reading.value = object.get(member.name);
        reading.text = plainText(reading.value);
        reading.json = jsonValue(reading.value);
    } catch (const Failure& failure) {
        reading.kind = Reading::Kind::failure;
        reading.text = "(" + failureText(failure) + ")";
        reading.json = {{"error", failureJson(failure)}};
    }
    return reading;
}

struct Place {
    LateObject owner;
    std::string member;
};

/// Where a dotted name leads, through object properties.
Place ownerOf(const LateObject& object, const std::string& path) {
    Place place{object, path};
    for (auto dot = path.find('.'); dot != std::string::npos; dot = place.member.find('.')) {
        const std::string part = place.member.substr(0, dot);
        const ClassDescription& description = place.owner.description();
        memberNamed(description, part);
        Variant next = place.owner.get(part);
        auto* held = std::get_if<LateObject>(&next);
        if (held == nullptr) {
            throw Failure(424, description.name, fmt::format("{}.{} is no object", description.name, part));
        }
        if (!*held) throw Failure(91, description.name, part + " holds no object");
        place.member.erase(0, dot + 1);
        place.owner = std::move(*held);
    }
    return place;
}

} // namespace

std::string textLiteral(const std::string& text) {
    std::string literal = "'";
    for (const char c : text) {
        literal += c;
        if (c == '\'') literal += c;
    }
    return literal + "'";
}

std::string storedKey(const Session& session, const ClassModel& model, const std::string& key) {
    const auto* member = model.withRole("key");
    std::string_view columns = member == nullptr ? std::string_view() : member->argument;
    for (; !key.empty() && !columns.empty();) {
        const auto column = columns.substr(0, columns.find(','));
        const KeyPlace place(column);
        std::string statement;
        if (place.second.empty()) {
            statement = fmt::format("Select {0} From {1} Where {0}={2}", place.column, place.table, textLiteral(key));
        } else {
            const auto [first, second] = keyParts(key);
            statement = fmt::format("Select {0} & ' ' & {1} From {2} Where {0}={3} And {1}={4}", place.column,
                                    place.second, place.table, textLiteral(first), textLiteral(second));
        }
        const auto rows = std::get<LateObject>(session.connection().call("Execute", {statement}));
        if (!std::get<bool>(rows.get("EOF"))) {
            const auto field = std::get<LateObject>(std::get<LateObject>(rows.get("Fields")).get("Item", {0}));
            return plainText(field.get("Value"));
        }
        columns.remove_prefix(std::min(columns.size(), column.size() + 1));
    }
    return {};
}

LateObject existingRecord(const Session& session, const ClassModel& model, const std::string& key) {
    LateObject object = session.library().create(model.progId);
    requireRow(session, model, key);
    load(object, model, key);
    return object;
}

void assign(const LateObject& object, const ArgumentReader& reader, const Assignment& assignment) {
    const auto& [path, given] = assignment;
    const auto [owner, name] = ownerOf(object, path);
    const ClassDescription& description = owner.description();
    const auto* slot = slotOf(description, name, MemberKind::let, MemberKind::set);
    if (slot == nullptr) {
        throw Failure(438, description.name, fmt::format("{}.{} cannot be set", description.name, name));
    }
    owner.let(name, reader.read(given, slot->type, description));
}

void refuseRemovalWithoutKey(const LateObject& object, const ClassModel& model, const std::string& member) {
    if (!model.memberHas(member, "removes") || !keyText(object, model).empty()) return;
    throw Failure(3021, model.name, fmt::format("{} needs the key of a row; this {} has none", member, model.name));
}

Variant callMember(const LateObject& object, const ArgumentReader& reader, const Call& call) {
    const ClassDescription& description = object.description();
    const auto* slot = slotOf(description, call.method, MemberKind::method, MemberKind::get);
    if (slot == nullptr) {
        throw Failure(438, description.name, fmt::format("{}.{} cannot be called", description.name, call.method));
    }
    client::Arguments arguments;
    for (std::size_t i = 0; i < call.arguments.size(); ++i) {
        const std::string type = i < slot->params.size() ? slot->params[i].type : "Variant";
        arguments.push_back(reader.read(call.arguments[i], type, description));
    }
    return object.call(call.method, arguments);
}

std::string saveRecord(const Session& session, const ArgumentReader& reader, const std::string& className,
                       const std::string& key, const Edit& edit) {
    const ClassModel& model = session.library().model(className);
    const auto* save = model.withRole("saves");
    if (save == nullptr) throw Failure(438, model.name, model.name + " has no member that saves it");

    const LateObject object =
        key.empty() ? newRecord(session, reader, model, edit.assignments) : existingRecord(session, model, key);
    for (const auto& assignment : edit.assignments)
        assign(object, reader, assignment);
    for (const auto& call : edit.calls) {
        const auto [owner, method] = ownerOf(object, call.method);
        refuseRemovalWithoutKey(owner, session.library().model(owner.description().progId), method);
        callMember(owner, reader, {method, call.arguments});
    }

    const std::string before = keyText(object, model);
    const std::string lastBefore = session.lastId();
    Call saving{save->name, {}};
    if (save->argument.starts_with('=')) {
        saving.arguments.emplace_back(plainText(object.get(save->argument.substr(1))));
    } else if (!save->argument.empty()) {
        saving.arguments.emplace_back(save->argument);
    }
    callMember(object, reader, saving);
    const std::string after = keyText(object, model);
    return key.empty() ? insertedKey(session, before, after, lastBefore) : after;
}

std::vector<Reading> readProperties(const LateObject& object) {
    std::vector<Reading> readings;
    for (const auto& member : object.description().members) {
        if (member.kind != MemberKind::get || !member.params.empty() || member.isHidden) continue;
        readings.push_back(readProperty(object, member));
    }
    return readings;
}

} // namespace corveth::cli
