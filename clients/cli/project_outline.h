#pragma once

#include <optional>
#include <string>
#include <vector>

namespace corveth::cli {

/// A project, a group of tasks or a task, as its row has it. Dates are day numbers, durations and work are hours.
struct PlanItem {
    enum Type { project = 0, group = 1, task = 2 };

    std::string id, parentId, name;
    int type = task;
    std::optional<double> plannedStart, plannedFinish, actualStart, actualFinish;
    double duration = 0, work = 0, worked = 0, remainingWork = 0, overrun = 0;
    double resources = 0; ///< full-time ones
    double percentage = 0;
    bool isFinished = false;
};

/// An item in its place among the others.
struct OutlineRow {
    const PlanItem* item;
    std::size_t depth = 0;
    std::string lines;  ///< what a tree's picture has before the name
    std::string remark; ///< why the row stands apart from the tree; empty for one in it
};

/// The item with the key `top`, which must be among them, and what is below it: children under their parents, in order
/// of planned start, then key; who has no start comes last. Then, apart from the tree, what does not hang together with
/// it: whose parent is not among the items, and whose parents go in a circle. Every item comes once. 5 for a tree of
/// more than a thousand levels. The rows point into `items`.
std::vector<OutlineRow> outline(const std::vector<PlanItem>& items, const std::string& top);

} // namespace corveth::cli
