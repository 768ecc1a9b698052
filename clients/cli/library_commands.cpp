#include "cli/commands.h"
#include "cli/session.h"
#include "cli/text_table.h"
#include "cli/value_text.h"

#include <fmt/format.h>

namespace corveth::cli {

namespace {

std::string parametersText(const Json& params) {
    std::string text;
    for (const Json& param : params) {
        if (!text.empty()) text += ", ";
        text += fmt::format("{}: {}", param.at("name").get<std::string>(), param.at("type").get<std::string>());
        if (param.at("byref").get<bool>()) text += " by reference";
        if (param.at("optional").get<bool>()) text += " optional";
    }
    return text;
}

std::string kindText(const Json& member) {
    std::string text = member.at("kind").get<std::string>();
    if (member.at("default").get<bool>()) text += " default";
    if (member.at("enumerator").get<bool>()) text += " enumerator";
    if (member.at("hidden").get<bool>()) text += " hidden";
    return text;
}

} // namespace

std::string initDatabase(const Request& request) {
    Library().create("Corveth.Schema").call("Create", {connectionString(request.database)});
    return "database created\n";
}

std::string registerServer(const Request& /*request*/) {
    const Library library;
    library.server().registerServer();
    return fmt::format("registered {}\n", library.server().path().string());
}

std::string unregisterServer(const Request& /*request*/) {
    const Library library;
    library.server().unregisterServer();
    return fmt::format("unregistered {}\n", library.server().path().string());
}

std::string listClasses(const Request& request) {
    std::string names = Library().typeText("ClassNames", {true});
    if (!request.asJson) return names;
    Json list = Json::array();
    for (std::size_t begin = 0; begin < names.size();) {
        const std::size_t end = names.find('\n', begin);
        list.push_back(names.substr(begin, end - begin));
        begin = end + 1;
    }
    return list.dump(1) + "\n";
}

std::string introspect(const Request& request) {
    const std::string text = Library().typeText("Json", {request.className});
    if (request.asJson) return text + "\n";
    const Json description = Json::parse(text);
    TextTable table({"Slot", "Name", "Kind", "Type", "Parameters"});
    for (const Json& member : description.at("members")) {
        table.addRow({{member.at("slot").dump(), true},
                      {member.at("name").get<std::string>()},
                      {kindText(member)},
                      {member.at("type").get<std::string>()},
                      {parametersText(member.at("params"))}});
    }
    return table.text();
}

std::string showTypeLibrary(const Request& request) {
    const Library library;
    return request.asJson ? library.typeText("Json") + "\n" : library.typeText("InterfaceText");
}

} // namespace corveth::cli
