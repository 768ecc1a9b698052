#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace corveth::bench {

/// One of the two that are compared. `prepare` stands outside the measured time and may be empty. `run` does one turn
/// and returns how many bytes of text it handled, which must be the same on both sides.
struct Side {
    std::function<void()> prepare;
    std::function<std::size_t()> run;
};

/// The same work done twice.
struct Pair {
    int count; ///< operations a turn
    Side ours;
    Side raw;
};

class World;

enum class Measure {
    ratio,     ///< our time divided by the raw time
    difference ///< nanoseconds more for one operation
};

struct Operation {
    const char* name;
    Measure measure;
    double limit;
    Pair (*make)(World&);
};

/// Of all rounds: the lower quartile, the median and the upper quartile.
struct Spread {
    double lower = 0, median = 0, upper = 0;
};

struct Result {
    const Operation* operation;
    double ours = 0, raw = 0;          ///< median nanoseconds for one operation
    double ourTrips = 0, rawTrips = 0; ///< round trips to a server for one operation
    Spread figure;                     ///< the ratio or the difference, taken inside each round
};

enum class Clock {
    wall,
    cpu ///< of this thread: holds on a busy machine, and leaves out what is spent waiting for the disk
};

/// Measures `operations` in `rounds` rounds. Each round takes them in another order and, in each, one or the other side
/// first, so that what the machine does meanwhile spreads over all. Throws when the sides did not do the same.
std::vector<Result> measure(const std::vector<const Operation*>& operations, World& world, int rounds, Clock clock);

/// Keeps the compiler from leaving out what made `value`.
template <class T>
void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

} // namespace corveth::bench
