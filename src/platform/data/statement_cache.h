#pragma once

#include "platform/data/result_items.h"
#include "platform/data/row_shape.h"

#include <list>
#include <unordered_map>

namespace corveth::data {

/// A statement ready to run.
struct CachedStatement {
    /// The column that a parameter is stored into or compared with; kind undeclared where it is neither.
    struct Target {
        ColumnKind kind = ColumnKind::undeclared;
        Text column;
        bool isStored = false;
    };

    std::unique_ptr<Prepared> prepared;
    std::shared_ptr<const RowShape> shape; ///< null for a statement without rows
    std::vector<ResultItem> items;         ///< what the text calls them
    std::vector<Target> targets;           ///< one for each parameter, or none at all
};

/// The statements used last, by their text with the values taken out.
class StatementCache {
public:
    explicit StatementCache(std::size_t capacity) : capacity_(capacity) {}

    /// Null when it is not there.
    [[nodiscard]] CachedStatement* find(TextView text) {
        const auto found = byText_.find(text);
        if (found == byText_.end()) return nullptr;
        if (found->second != entries_.begin()) entries_.splice(entries_.begin(), entries_, found->second);
        return &found->second->statement;
    }

    /// Drops the one that was not used for longest when it is full.
    CachedStatement& add(TextView text, CachedStatement statement) {
        entries_.push_front({Text(text), std::move(statement)});
        byText_.emplace(entries_.front().text, entries_.begin());
        if (entries_.size() > capacity_) {
            byText_.erase(entries_.back().text);
            entries_.pop_back();
        }
        return entries_.front().statement;
    }

    void remove(TextView text) {
        const auto found = byText_.find(text);
        if (found == byText_.end()) return;
        const auto entry = found->second;
        byText_.erase(found);
        entries_.erase(entry);
    }

    void clear() {
        byText_.clear();
        entries_.clear();
    }
    [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }

private:
    struct Entry {
        Text text;
        CachedStatement statement;
    };
    std::size_t capacity_;
    std::list<Entry> entries_; ///< last used first
    std::unordered_map<TextView, std::list<Entry>::iterator> byText_;
};

} // namespace corveth::data
