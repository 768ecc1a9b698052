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

constexpr const char* row = "{:<46} {:>10} {:>10} {:>8} {:>18} {:>8}{}\n";

} // namespace

std::string asTable(const std::vector<Result>& results, const std::optional<ContactMemory>& memory) {
    std::string table = fmt::format(row, "operation", "ours", "raw", "figure", "middle half", "at most", "");
    for (const Result& result : results) {
        const Measure measure = result.operation->measure;
        const auto shown = [&](double figure) { return shownFigure(measure, figure); };
        table +=
            fmt::format(row, result.operation->name, shownTime(result.ours), shownTime(result.raw),
                        shown(result.figure.median), shown(result.figure.lower) + " .. " + shown(result.figure.upper),
                        shown(result.operation->limit), isWithin(result) ? "" : "  over");
    }
    if (memory) {
        table +=
            fmt::format("memory per contact with its company: {} bytes, raw {} bytes\n", memory->ours, memory->raw);
    }
    return table;
}

std::string asJson(const std::vector<Result>& results, const std::optional<ContactMemory>& memory) {
    nlohmann::ordered_json json;
    json["operations"] = nlohmann::json::array();
    for (const Result& result : results) {
        const bool isRatio = result.operation->measure == Measure::ratio;
        json["operations"].push_back({{"name", result.operation->name},
                                      {"measure", isRatio ? "ratio" : "nanoseconds more"},
                                      {"ours_ns", result.ours},
                                      {"raw_ns", result.raw},
                                      {"median", result.figure.median},
                                      {"lower_quartile", result.figure.lower},
                                      {"upper_quartile", result.figure.upper},
                                      {"limit", result.operation->limit},
                                      {"within", isWithin(result)}});
    }
    if (memory) json["bytes_per_contact"] = {{"ours", memory->ours}, {"raw", memory->raw}};
    return json.dump(2) + "\n";
}

} // namespace corveth::bench
