#pragma once

#include "platform/automation/text.h"

#include <vector>

namespace corveth {

/// Something that a look through the rows of a database found.
struct Finding {
    const char* check;     ///< what was looked for: "link", "orphan", "duplicate", "counter", "integrity"
    Text table;            ///< empty for the database as a whole
    Text key;              ///< of the row, the parts of a key of two columns parted by a blank
    Text what;             ///< a sentence
    bool isProblem = true; ///< false for what the system puts right by itself
};

/// Looks for rows whose link names nothing, dependants without their owner, pairs that are there twice, key counters
/// left behind, and for what the engine itself finds wrong; by check and table. Reads only. Throws what keeps the
/// database from being opened, and a sentence when it has not the tables of this build.
CORVETH_API std::vector<Finding> checkRows(TextView connectionString);

} // namespace corveth
