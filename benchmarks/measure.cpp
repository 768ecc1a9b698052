#include "measure.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <random>
#include <stdexcept>

namespace corveth::bench {

namespace {

struct Series {
    const Operation* operation;
    Pair pair;
    std::vector<double> ours, raw, figures;
};

struct Turn {
    double nanoseconds; ///< for one operation
    std::size_t bytes;
};

double now(Clock clock) {
    constexpr double nanosecondsOfSecond = 1e9;
    std::timespec time{};
    ::clock_gettime(clock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * nanosecondsOfSecond + static_cast<double>(time.tv_nsec);
}

Turn takeTurn(const Side& side, int count, Clock clock) {
    if (side.prepare) side.prepare();
    const double start = now(clock);
    const std::size_t bytes = side.run();
    return {(now(clock) - start) / count, bytes};
}

void addRound(Series& series, bool isOursFirst, Clock clock) {
    const Pair& pair = series.pair;
    Turn ours{}, raw{};
    if (isOursFirst) ours = takeTurn(pair.ours, pair.count, clock);
    raw = takeTurn(pair.raw, pair.count, clock);
    if (!isOursFirst) ours = takeTurn(pair.ours, pair.count, clock);
    if (ours.bytes != raw.bytes) {
        throw std::runtime_error(fmt::format("{}: the two sides did not do the same ({} and {} bytes of text)",
                                             series.operation->name, ours.bytes, raw.bytes));
    }
    series.ours.push_back(ours.nanoseconds);
    series.raw.push_back(raw.nanoseconds);
    series.figures.push_back(series.operation->measure == Measure::ratio ? ours.nanoseconds / raw.nanoseconds
                                                                         : ours.nanoseconds - raw.nanoseconds);
}

Spread spreadOf(std::vector<double> values) {
    std::ranges::sort(values);
    const auto at = [&](double part) {
        const double place = part * static_cast<double>(values.size() - 1);
        const auto low = static_cast<std::size_t>(place);
        const double high = values[std::min(low + 1, values.size() - 1)];
        return values[low] + (high - values[low]) * (place - static_cast<double>(low));
    };
    return {at(0.25), at(0.5), at(0.75)};
}

} // namespace

std::vector<Result> measure(const std::vector<const Operation*>& operations, World& world, int rounds, Clock clock) {
    std::vector<Series> all;
    for (const Operation* operation : operations) {
        all.push_back({operation, operation->make(world), {}, {}, {}});
        // Statements are prepared and memory is taken before anything counts.
        addRound(all.back(), true, clock);
        all.back().ours.clear();
        all.back().raw.clear();
        all.back().figures.clear();
    }

    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same orders in every run
    std::vector<std::size_t> order(all.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    for (int round = 0; round < rounds; ++round) {
        std::ranges::shuffle(order, random);
        for (const std::size_t i : order)
            addRound(all[i], random() % 2 == 0, clock);
    }

    std::vector<Result> results;
    for (const Series& series : all) {
        results.push_back(
            {series.operation, spreadOf(series.ours).median, spreadOf(series.raw).median, spreadOf(series.figures)});
    }
    return results;
}

} // namespace corveth::bench
