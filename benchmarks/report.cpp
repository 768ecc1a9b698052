#include "report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corveth::bench {

namespace {

std::string shownTime(double nanoseconds) {
    constexpr double thousand = 1000;
    if (nanoseconds < thousand) return fmt::format("{:.1f} ns", nanoseconds);
    if (nanoseconds < thousand * thousand) return fmt::format("{:.2f} us", nanoseconds / thousand);
    return fmt::format("{:.2f} ms", nanoseconds / thousand / thousand);
}

std::string shownFigure(Measure measure, double figure) {
    return measure == Measure::ratio ? fmt::format("{:.2f}", figure) : fmt::format("{:+.0f} ns", figure);
}

bool isWithin(const Result& result) {
    return result.figure.median <= result.operation->limit;
}

constexpr const char* row = "{:<46} {:>10} {:>10} {:>8} {:>18} {:>8}";

std::string tableOf(const std::vector<Result>& results, bool hasTrips) {
    std::string table = fmt::format(row, "operation", "ours", "raw", "figure", "middle half", "at most");
    table += hasTrips ? "    asked" : "";
    for (const Result& result : results) {
        const Measure measure = result.operation->measure;
        const auto shown = [&](double figure) { return shownFigure(measure, figure); };
        table += '\n' + fmt::format(row, result.operation->name, shownTime(result.ours), shownTime(result.raw),
                                    shown(result.figure.median),
                                    shown(result.figure.lower) + " .. " + shown(result.figure.upper),
                                    shown(result.operation->limit));
        if (hasTrips) table += fmt::format(" {:>8}", fmt::format("{:.4g} / {:.4g}", result.ourTrips, result.rawTrips));
        if (!isWithin(result)) table += "  over";
    }
    return table + '\n';
}

nlohmann::ordered_json jsonOf(const Result& result, bool hasTrips) {
    const bool isRatio = result.operation->measure == Measure::ratio;
    nlohmann::ordered_json json = {{"name", result.operation->name},
                                   {"measure", isRatio ? "ratio" : "nanoseconds more"},
                                   {"ours_ns", result.ours},
                                   {"raw_ns", result.raw},
                                   {"median", result.figure.median},
                                   {"lower_quartile", result.figure.lower},
                                   {"upper_quartile", result.figure.upper},
                                   {"limit", result.operation->limit},
                                   {"within", isWithin(result)}};
    if (hasTrips) {
        json["our_round_trips"] = result.ourTrips;
        json["raw_round_trips"] = result.rawTrips;
    }
    return json;
}

constexpr double mostFiles = 3;

/// To one decimal, as it is shown.
bool isWithin(const FileMemory::Sides& sides) {
    constexpr double halfDecimal = 0.05;
    return sides.ours < mostFiles + halfDecimal;
}

std::string tableOf(const FileMemory& memory) {
    std::string table;
    const auto add = [&](const char* name, const FileMemory::Sides& sides) {
        table += fmt::format("memory at the height of {}: {:.1f} files, raw {:.1f}, at most {:.0f}{}\n", name,
                             sides.ours, sides.raw, mostFiles, isWithin(sides) ? "" : "  over");
    };
    add("storing a new file", memory.storeNew);
    add("storing it again", memory.storeAgain);
    add("reading it", memory.read);
    return table;
}

nlohmann::ordered_json jsonOf(const FileMemory& memory) {
    const auto sides = [](const FileMemory::Sides& both) {
        return nlohmann::ordered_json{{"ours", both.ours}, {"raw", both.raw}, {"within", isWithin(both)}};
    };
    return {
        {"store_new", sides(memory.storeNew)}, {"store_again", sides(memory.storeAgain)}, {"read", sides(memory.read)}};
}

} // namespace

std::string asTable(const Report& report) {
    std::string text;
    if (!report.sqlite.empty()) text += "SQLite\n" + tableOf(report.sqlite, false);
    if (report.memory) {
        text += fmt::format("memory per contact with its company: {} bytes, raw {} bytes\n", report.memory->ours,
                            report.memory->raw);
    }
    if (report.sqliteFiles) text += tableOf(*report.sqliteFiles);
    if (!report.server.empty()) text += report.serverDescription + '\n' + tableOf(report.server, true);
    if (report.serverFiles) text += tableOf(*report.serverFiles);
    return text;
}

std::string asJson(const Report& report) {
    nlohmann::ordered_json json;
    json["operations"] = nlohmann::json::array();
    for (const Result& result : report.sqlite)
        json["operations"].push_back(jsonOf(result, false));
    if (report.memory) json["bytes_per_contact"] = {{"ours", report.memory->ours}, {"raw", report.memory->raw}};
    if (report.sqliteFiles) json["files_of_memory"] = jsonOf(*report.sqliteFiles);
    if (report.serverFiles) json["server_files_of_memory"] = jsonOf(*report.serverFiles);
    if (!report.server.empty()) {
        json["server"] = report.serverDescription;
        json["server_operations"] = nlohmann::json::array();
        for (const Result& result : report.server)
            json["server_operations"].push_back(jsonOf(result, true));
    }
    return json.dump(2) + "\n";
}

} // namespace corveth::bench
