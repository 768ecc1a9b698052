#include "cli/commands.h"
#include "cli/names.h"
#include "cli/record.h"
#include "cli/text_table.h"

#include <fmt/format.h>

#include <algorithm>

namespace corveth::cli {

using client::ClassDescription;
using client::Failure;
using client::LateObject;
using client::MemberKind;
using client::Variant;

namespace {

const Labels noLabels;

Json recordJson(const std::vector<Reading>& readings) {
    Json record = Json::object();
    for (const Reading& reading : readings)
        record[reading.name] = reading.json;
    return record;
}

/// One property a line; further lines of a text stand under its first.
std::string recordText(const std::vector<Reading>& readings) {
    std::size_t width = 0;
    for (const Reading& reading : readings)
        width = std::max(width, reading.name.size());
    std::string text;
    for (const Reading& reading : readings) {
        text += fmt::format("{:{}}", reading.name, reading.text.empty() ? 0 : width + 2);
        std::size_t begin = 0;
        for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
            end = reading.text.find('\n', begin);
            std::string line = reading.text.substr(begin, end == std::string::npos ? end : end - begin);
            if (end != std::string::npos && line.ends_with('\r')) line.pop_back();
            if (begin > 0) text += std::string(line.empty() ? 0 : width + 2, ' ');
            text += onOneLine(line) + "\n";
        }
    }
    return text;
}

std::string objectText(const LateObject& object, bool asJson) {
    const auto readings = readProperties(object);
    return asJson ? recordJson(readings).dump(1) + "\n" : recordText(readings);
}

/// `NAME=VALUE`, or a name alone.
std::pair<std::string, std::optional<std::string>> splitAssignment(const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos) return {text, std::nullopt};
    return {text.substr(0, equals), text.substr(equals + 1)};
}

/// At commas, into no more pieces than there are parameters: the last keeps its commas.
std::vector<Json> splitArguments(std::string_view text, std::size_t count) {
    std::vector<Json> pieces;
    for (std::size_t comma = text.find(','); pieces.size() + 1 < count && comma != std::string_view::npos;
         comma = text.find(',')) {
        pieces.emplace_back(text.substr(0, comma));
        text.remove_prefix(comma + 1);
    }
    pieces.emplace_back(text);
    return pieces;
}

void applyFilter(const LateObject& list, const ArgumentReader& reader, const std::string& filter) {
    const auto [name, value] = splitAssignment(filter);
    const ClassDescription& description = list.description();
    memberNamed(description, name);
    const auto* method = description.find(name, MemberKind::method);
    if (method == nullptr) {
        assign(list, reader, {name, value.value_or("")});
        return;
    }
    Call call{name, {}};
    const bool isGiven = value.has_value() && !(value->empty() && method->params.empty());
    if (isGiven) call.arguments = splitArguments(*value, std::max<std::size_t>(method->params.size(), 1));
    callMember(list, reader, call);
}

/// Runs the filters, and what loads the list unless one of them did.
void fill(const LateObject& list, const ClassModel& model, const ArgumentReader& reader,
          const std::vector<std::string>& filters) {
    bool isLoaded = false;
    for (const std::string& filter : filters) {
        applyFilter(list, reader, filter);
        if (model.memberHas(splitAssignment(filter).first, "loads")) isLoaded = true;
    }
    if (isLoaded) return;
    for (const auto& member : model.members) {
        const auto* method = list.description().find(member.name, MemberKind::method);
        if (!member.has("loads") || method == nullptr || !method->params.empty()) continue;
        list.call(member.name);
        return;
    }
}

std::vector<Variant> membersOf(const LateObject& list) {
    const auto& members = list.description().members;
    const auto isNamed = [](std::string_view name) {
        return [name](const auto& member) { return equalNoCase(member.name, name); };
    };
    if (std::ranges::any_of(members, [](const auto& member) { return member.isEnumerator; })) return list.enumerate();
    const auto item = std::ranges::find_if(members, isNamed("Item"));
    if (item == members.end() || !item->isDefault || std::ranges::none_of(members, isNamed("Count"))) {
        throw Failure(438, list.description().name, list.description().name + " is no list");
    }
    std::vector<Variant> found;
    const Variant count = list.get("Count");
    const std::int32_t last =
        std::holds_alternative<std::int16_t>(count) ? std::get<std::int16_t>(count) : std::get<std::int32_t>(count);
    for (std::int32_t position = 1; position <= last; ++position)
        found.push_back(list.call("Item", {position}));
    return found;
}

std::string membersJson(const std::vector<Variant>& members) {
    Json list = Json::array();
    for (const Variant& member : members) {
        const auto* object = std::get_if<LateObject>(&member);
        list.push_back(object != nullptr && *object ? recordJson(readProperties(*object)) : jsonValue(member));
    }
    return list.dump(1) + "\n";
}

/// Objects of one class under the names of their properties, the key first; other members under `Value`.
std::string membersTable(const std::vector<Variant>& members, Library& library) {
    if (members.empty()) return {};
    const auto* first = std::get_if<LateObject>(&members.front());
    if (first == nullptr || !*first) {
        TextTable table({"Value"});
        for (const Variant& member : members)
            table.addRow({{plainText(member), isNumber(member)}});
        return table.text();
    }

    const ClassDescription& description = first->description();
    const auto* key = library.model(description.progId).withRole("key");
    std::vector<std::string> headings;
    for (const auto& member : description.members) {
        if (member.kind != MemberKind::get || !member.params.empty() || member.isHidden) continue;
        if (isObjectType(member.type)) continue;
        headings.push_back(member.name);
    }
    if (key != nullptr) {
        const auto found =
            std::ranges::find_if(headings, [&](const auto& name) { return equalNoCase(name, key->name); });
        if (found != headings.end()) std::rotate(headings.begin(), found, found + 1);
    }
    TextTable table(headings);
    for (const Variant& member : members) {
        const auto* object = std::get_if<LateObject>(&member);
        std::vector<TextTable::Cell> cells(headings.size());
        if (object != nullptr && *object) {
            for (const Reading& reading : readProperties(*object)) {
                const auto column = std::ranges::find(headings, reading.name);
                if (column == headings.end()) continue;
                cells[static_cast<std::size_t>(column - headings.begin())] = {reading.text, isNumber(reading.value)};
            }
        }
        table.addRow(std::move(cells));
    }
    table.dropEmptyColumns(1);
    return table.text();
}

std::string resultText(const Variant& result, bool asJson) {
    if (const auto* object = std::get_if<LateObject>(&result); object != nullptr && *object) {
        return objectText(*object, asJson);
    }
    if (asJson) return jsonValue(result).dump(1) + "\n";
    const std::string text = plainText(result);
    return text.empty() ? text : text + "\n";
}

} // namespace

std::string showRecord(const Request& request) {
    Library library;
    const Session session(library, request.database);
    const ClassModel& model = library.model(request.className);
    if (request.key.empty() && model.withRole("key") == nullptr) {
        return objectText(library.create(model.progId), request.asJson);
    }
    std::string text = objectText(existingRecord(session, model, request.key), request.asJson);
    session.requireNoMessageBox();
    return text;
}

std::string setRecord(const Request& request) {
    Edit edit;
    for (const std::string& argument : request.arguments) {
        const auto [name, value] = splitAssignment(argument);
        if (!value || name.empty()) throw WrongUse("\"" + argument + "\" is not of the form NAME=VALUE");
        edit.assignments.emplace_back(name, *value);
    }
    Library library;
    const Session session(library, request.database);
    Transaction transaction(session);
    const std::string key =
        saveRecord(session, ArgumentReader(session, noLabels), request.className, request.key, edit);
    transaction.commit();
    return key + "\n";
}

std::string listMembers(const Request& request) {
    Library library;
    const Session session(library, request.database);
    const ClassModel& model = library.model(request.className);
    const LateObject list = library.create(model.progId);
    fill(list, model, ArgumentReader(session, noLabels), request.arguments);
    const auto members = membersOf(list);
    std::string text = request.asJson ? membersJson(members) : membersTable(members, library);
    session.requireNoMessageBox();
    return text;
}

std::string callMethod(const Request& request) {
    Call call{request.method, {}};
    for (const std::string& argument : request.arguments)
        call.arguments.emplace_back(argument);
    Library library;
    const Session session(library, request.database);
    const ClassModel& model = library.model(request.className);
    Transaction transaction(session);
    const LateObject object =
        request.key.empty() ? library.create(model.progId) : existingRecord(session, model, request.key);
    refuseRemovalWithoutKey(object, model, request.method);
    const Variant result = callMember(object, ArgumentReader(session, noLabels), call);
    std::string text = resultText(result, request.asJson);
    transaction.commit();
    return text;
}

} // namespace corveth::cli
