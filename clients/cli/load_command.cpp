#include "cli/commands.h"
#include "cli/files.h"
#include "cli/progress.h"
#include "cli/record.h"

#include <fmt/format.h>

#include <set>

namespace corveth::cli {

using client::Failure;

namespace {

struct Line {
    std::string className;
    std::string key;
    std::string label;
    Edit edit;
};

[[noreturn]] void refuse(const std::string& why) {
    throw Failure(5, "corveth", why);
}

/// The words of the parser without its own prefix and line number, which count from the text's beginning.
std::string parserWords(const Json::parse_error& error) {
    const std::string words = error.what();
    const auto column = words.find("column ");
    return column == std::string::npos ? words : words.substr(column);
}

constexpr int deepest = 8; ///< a record within a call's arguments takes five

/// A name that is given twice in one object would lose its first value without a word.
Json parseObject(const std::string& text) {
    std::vector<std::set<std::string>> names;
    const auto watch = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (depth > deepest) refuse(fmt::format("nested more than {} deep", deepest));
        if (event == Json::parse_event_t::object_start) names.emplace_back();
        if (event == Json::parse_event_t::object_end) names.pop_back();
        if (event == Json::parse_event_t::key && !names.back().insert(parsed.get<std::string>()).second) {
            refuse(fmt::format("\"{}\" is given twice", parsed.get<std::string>()));
        }
        return true;
    };
    Json json;
    try {
        json = Json::parse(text, watch);
    } catch (const Json::parse_error& error) {
        refuse("no JSON: " + parserWords(error));
    } catch (const Json::out_of_range& error) {
        const std::string words = error.what(); // which number it was, behind the parser's own prefix
        refuse(words.substr(words.find("] ") + 2));
    }
    if (!json.is_object()) refuse("a line must be a JSON object");
    return json;
}

const std::string& textOf(const Json& value, const char* name) {
    if (!value.is_string()) refuse(fmt::format("\"{}\" must be a text", name));
    return value.get_ref<const std::string&>();
}

Call readCall(const Json& value) {
    if (!value.is_array() || value.empty() || !value.front().is_string()) {
        refuse("each of \"call\" must be a list: a method, then its arguments");
    }
    Call call{value.front().get<std::string>(), {}};
    call.arguments.assign(value.begin() + 1, value.end());
    return call;
}

Line readLine(const std::string& text) {
    Line line;
    const Json json = parseObject(text);
    for (const auto& [name, value] : json.items()) {
        if (name == "class") {
            line.className = textOf(value, "class");
        } else if (name == "key") {
            line.key = textOf(value, "key");
            if (line.key.empty()) refuse("\"key\" must name a row");
        } else if (name == "as") {
            line.label = textOf(value, "as");
            const bool isPlain = !line.label.empty() && line.label[0] != '@' && !line.label.starts_with("file:");
            if (!isPlain) refuse(fmt::format("\"{}\" cannot be a label", line.label));
        } else if (name == "set") {
            if (!value.is_object()) refuse("\"set\" must be an object");
            for (const auto& [property, given] : value.items())
                line.edit.assignments.emplace_back(property, given);
        } else if (name == "call") {
            if (!value.is_array()) refuse("\"call\" must be a list");
            for (const Json& call : value)
                line.edit.calls.push_back(readCall(call));
        } else if (name == "corveth" || name == "table" || name == "row" || name == "rows") {
            refuse("this is of a dump: load it with --keep-keys");
        } else {
            refuse(fmt::format("\"{}\" is none of class, key, as, set and call", name));
        }
    }
    if (line.className.empty()) refuse("\"class\" is missing");
    return line;
}

/// Loads line by line; only the labels stay in memory.
class Loader {
public:
    explicit Loader(const Session& session) : session_(session), reader_(session, labels_) {}

    void load(InputFile& file) {
        Progress progress("load", "records");
        for (std::string text; file.nextLine(text);) {
            progress.show(file.bytesRead(), file.size(), records_);
            if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
            try {
                loadLine(text);
            } catch (const Failure& failure) {
                throw Failure(failure.number, failure.source,
                              fmt::format("line {}: {}", file.lines(), failure.description()));
            }
            ++records_;
        }
    }

    [[nodiscard]] std::size_t records() const noexcept { return records_; }
    [[nodiscard]] const Labels& labels() const noexcept { return labels_; }

private:
    void loadLine(const std::string& text) {
        const Line line = readLine(text);
        if (labels_.contains(line.label)) refuse(fmt::format("the label \"{}\" is given twice", line.label));
        const std::string key =
            saveRecord(session_, reader_, line.className, reader_.withoutLabel(line.key), line.edit);
        session_.requireNoMessageBox();
        if (!line.label.empty()) labels_.emplace(line.label, key);
    }

    const Session& session_;
    Labels labels_;
    ArgumentReader reader_;
    std::size_t records_ = 0;
};

} // namespace

std::string loadFile(const Request& request) {
    if (request.keepsKeys) return loadRows(request);
    InputFile file(request.file);
    Library library;
    const Session session(library, request.database);
    Loader loader(session);
    Transaction transaction(session);
    loader.load(file);
    transaction.commit();

    if (!request.asJson)
        return fmt::format("{} {} loaded\n", loader.records(), loader.records() == 1 ? "record" : "records");
    Json keys = Json::object();
    for (const auto& [label, key] : std::map<std::string, std::string>(loader.labels().begin(), loader.labels().end()))
        keys[label] = key;
    return Json{{"records", loader.records()}, {"keys", std::move(keys)}}.dump(1) + "\n";
}

} // namespace corveth::cli
