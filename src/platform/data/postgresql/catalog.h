#pragma once

#include "platform/data/postgresql/wire_format.h"

#include <functional>

namespace corveth::data::postgresql {

/// What the database says of its types and tables, remembered.
class Catalog {
public:
    /// Runs one of the catalog's own statements, which take one text, and gives the rows as text.
    using Ask = std::function<Result(const char* statement, const Text& parameter)>;
    explicit Catalog(Ask ask) : ask_(std::move(ask)) {}

    struct Table {
        std::shared_ptr<const TableInfo> info;
        Text name;
        std::vector<std::size_t>
            positions; ///< of the columns in `info`, by the server's number; `none` for one that is gone
        static constexpr std::size_t none = static_cast<std::size_t>(-1);
    };

    [[nodiscard]] WireType type(Oid type);
    /// By name without regard to case; null when there is no such table or view.
    [[nodiscard]] const Table* table(TextView name);
    [[nodiscard]] const Table* table(Oid number);
    /// Whether the schema of this system's own has a sequence `name`.
    [[nodiscard]] bool hasSequence(const Text& name);
    void forgetTables();

private:
    [[nodiscard]] std::shared_ptr<const Table> describe(TextView condition, const Text& parameter);

    Ask ask_;
    std::unordered_map<Oid, WireType> types_;
    std::unordered_map<Text, std::shared_ptr<const Table>> byName_; ///< folded
    std::unordered_map<Oid, std::shared_ptr<const Table>> byNumber_;
};

} // namespace corveth::data::postgresql
