#pragma once

#include "platform/automation/text.h"

#include <vector>

namespace corveth::data {

/// Types of columns as a definition writes them; each engine has its own for them.
enum class ColumnType : unsigned char {
    shortText, ///< `char(n)`: a key, a link or a code; compares without regard to ASCII case
    text,
    smallInteger,
    integer,
    byte,
    real,
    currency,
    date,
    boolean,
    blob,
};

struct ColumnDefinition {
    Text name;
    ColumnType type = ColumnType::text;
    Text declaredType; ///< as written, in small letters: `char(10)`
    bool notNull = false;
};

struct CORVETH_API TableDefinition {
    Text name;
    std::vector<ColumnDefinition> columns;
    std::vector<Text> key; ///< names of the columns; empty when the table has none

    /// By name without regard to case; null when there is none.
    [[nodiscard]] const ColumnDefinition* findColumn(TextView columnName) const noexcept;
};

struct CORVETH_API IndexDefinition {
    Text table;
    std::vector<Text> columns;

    /// The table and the columns, joined by underscores.
    [[nodiscard]] Text name() const;
};

/// A view of one row a row of `first`, with the row of `second` that has the same key, if there is one. It can be
/// written to like a table; what is written goes to both.
struct JoinedViewDefinition {
    Text name;
    Text first;
    Text second;
    Text key;           ///< the key column of both tables
    Text secondKeyName; ///< what the view calls the key of `second`
};

/// A view of one row a row of `first`, with some columns of the row of `second` that it names. It can only be read.
struct LookupViewDefinition {
    Text name;
    Text first;
    Text second;
    std::vector<Text> columns; ///< of `second`; texts among them are empty where it has no row, others Null
    Text key;                  ///< the key of `second`, and what the column of `first` is called
};

/// A row that a new database comes with.
struct RowDefinition {
    Text table;
    std::vector<Text> values; ///< one a column, as literals: `'Ann'`, `8`, `null`
};

/// What a database is made of, in no engine's language.
struct CORVETH_API Definition {
    std::vector<TableDefinition> tables;
    std::vector<IndexDefinition> indexes;
    std::vector<JoinedViewDefinition> views;
    std::vector<LookupViewDefinition> lookups;
    std::vector<RowDefinition> rows;

    /// Adds what `text` defines. Throws 5 with `sourceName`, the line and what is wrong there.
    void read(TextView sourceName, TextView text);
    /// By name without regard to case; null when there is none.
    [[nodiscard]] const TableDefinition* findTable(TextView name) const noexcept;
};

} // namespace corveth::data
