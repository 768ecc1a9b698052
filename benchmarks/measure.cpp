#include "measure.h"

#include "world.h"

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
    double ourTrips = 0, rawTrips = 0; ///< of the last round, for one operation
};

struct Turn {
    double nanoseconds; ///< for one operation
    double roundTrips;  ///< the same
    std::size_t bytes;
};

double now(Clock clock) {
    constexpr double nanosecondsOfSecond = 1e9;
    std::timespec time{};
    ::clock_gettime(clock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * nanosecondsOfSecond + static_cast<double>(time.tv_nsec);
}

Turn takeTurn(const Pair& pair, Who who, const World& world, Clock clock) {
    const Side& side = who == Who::ours ? pair.ours : pair.raw;
    if (side.prepare) side.prepare();
    const std::uint64_t trips = world.roundTrips(who);
    const double start = now(clock);
    const std::size_t bytes = side.run();
    const double taken = now(clock) - start;
    return {taken / pair.count, static_cast<double>(world.roundTrips(who) - trips) / pair.count, bytes};
}

void addRound(Series& series, bool isOursFirst, const World& world, Clock clock) {
    Turn ours{}, raw{};
    if (isOursFirst) ours = takeTurn(series.pair, Who::ours, world, clock);
    raw = takeTurn(series.pair, Who::raw, world, clock);
    if (!isOursFirst) ours = takeTurn(series.pair, Who::ours, world, clock);
    if (ours.bytes != raw.bytes) {
        throw std::runtime_error(fmt::format("{}: the two sides did not do the same ({} and {} bytes of text)",
                                             series.operation->name, ours.bytes, raw.bytes));
    }
    series.ourTrips = ours.roundTrips;
    series.rawTrips = raw.roundTrips;
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
        all.push_back({operation, operation->make(world), {}, {}, {}, 0, 0});
        // Statements are prepared and memory is taken before anything counts.
        addRound(all.back(), true, world, clock);
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
            addRound(all[i], random() % 2 == 0, world, clock);
    }

    std::vector<Result> results;
    for (const Series& series : all) {
        results.push_back({series.operation, spreadOf(series.ours).median, spreadOf(series.raw).median, series.ourTrips,
                           series.rawTrips, spreadOf(series.figures)});
    }
    return results;
}

} // namespace corveth::bench
