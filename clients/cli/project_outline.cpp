#include "cli/project_outline.h"

#include "cli/names.h"
#include "common/late_bound.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <ranges>
#include <tuple>

namespace corveth::cli {

namespace {

constexpr std::size_t deepest = 1000;

class Outline {
public:
    explicit Outline(const std::vector<PlanItem>& items) {
        for (const PlanItem& item : items)
            ordered_.push_back(&item);
        std::ranges::sort(ordered_, {}, [](const PlanItem* item) {
            return std::tuple(item->plannedStart.value_or(std::numeric_limits<double>::infinity()), foldCase(item->id));
        });
        for (const PlanItem* item : ordered_) {
            byId_.emplace(foldCase(item->id), Entry{item});
            children_[foldCase(item->parentId)].push_back(item);
        }
    }

    std::vector<OutlineRow> rows(const std::string& top) {
        Entry& first = byId_.at(foldCase(top));
        const bool isRoot = equalNoCase(first.item->parentId, first.item->id);
        addBelow(first, isRoot ? std::string() : circleOf(*first.item));
        for (const PlanItem* item : ordered_) {
            if (!byId_.contains(foldCase(item->parentId))) addApart(*item, missingParentOf(*item));
        }
        // What is left is in a circle, or below one.
        for (const PlanItem* item : ordered_)
            addApart(*item, circleOf(*item));
        return std::move(rows_);
    }

private:
    struct Entry {
        const PlanItem* item;
        bool isPlaced = false;
    };
    struct Waiting {
        const PlanItem* item;
        std::size_t depth;
        std::string before; ///< the lines of the levels above
        bool isLast;
    };

    [[nodiscard]] static std::string missingParentOf(const PlanItem& item) {
        if (item.parentId.empty()) return "has no parent";
        return fmt::format("its parent {} is not there", item.parentId);
    }

    /// In words, when the item is above itself; else empty.
    [[nodiscard]] std::string circleOf(const PlanItem& item) const {
        std::string path = item.id;
        const PlanItem* above = &item;
        for (std::size_t steps = 0; steps < byId_.size(); ++steps) {
            const auto found = byId_.find(foldCase(above->parentId));
            if (found == byId_.end()) return {};
            above = found->second.item;
            constexpr std::size_t named = 8;
            if (steps < named) path += fmt::format(", {}", above->id);
            if (steps == named) path += ", ...";
            if (above == &item) return steps == 0 ? "is its own parent" : "its parents go in a circle: " + path;
        }
        return {}; // it is below a circle
    }

    void addApart(const PlanItem& item, const std::string& remark) {
        if (!remark.empty()) addBelow(byId_.at(foldCase(item.id)), remark);
    }

    /// The entry's item, unless it has its place already, and all below it that have none.
    void addBelow(Entry& entry, const std::string& remark) {
        if (entry.isPlaced) return;
        entry.isPlaced = true;
        const std::size_t head = rows_.size();
        std::vector<Waiting> waiting{{entry.item, 0, {}, true}};
        while (!waiting.empty()) {
            const Waiting next = std::move(waiting.back());
            waiting.pop_back();
            if (next.depth > deepest) {
                throw client::Failure(5, "corveth",
                                      fmt::format("the tree has more than {} levels: {}", deepest, next.item->id));
            }
            OutlineRow row{.item = next.item, .depth = next.depth, .lines = next.before, .remark = {}};
            if (next.depth > 0) row.lines += next.isLast ? "└─ " : "├─ ";
            rows_.push_back(std::move(row));
            addChildren(next, waiting);
        }
        rows_[head].remark = remark;
    }

    /// The last first, as what waits longest is taken last.
    void addChildren(const Waiting& parent, std::vector<Waiting>& waiting) {
        const auto found = children_.find(foldCase(parent.item->id));
        if (found == children_.end()) return;
        std::string before = parent.before;
        if (parent.depth > 0) before += parent.isLast ? "   " : "│  ";
        bool isLast = true;
        for (const PlanItem* child : std::views::reverse(found->second)) {
            Entry& entry = byId_.at(foldCase(child->id));
            if (entry.isPlaced) continue;
            entry.isPlaced = true;
            waiting.push_back({child, parent.depth + 1, before, isLast});
            isLast = false;
        }
    }

    std::vector<const PlanItem*> ordered_;
    std::map<std::string, Entry> byId_;
    std::map<std::string, std::vector<const PlanItem*>> children_;
    std::vector<OutlineRow> rows_;
};

} // namespace

std::vector<OutlineRow> outline(const std::vector<PlanItem>& items, const std::string& top) {
    return Outline(items).rows(top);
}

} // namespace corveth::cli
