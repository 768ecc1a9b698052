#pragma once

#include "platform/data/connection.h"
#include "platform/data/provider.h"

#include <optional>
#include <span>

namespace corveth {

class Fields;

namespace data {
class RowShape;
struct ResultColumn;
struct WritePlan;
} // namespace data

/// Rows of one statement. All are read when it opens, so nothing stays locked between calls; what is written goes
/// by primary key, and only what was assigned. Errors carry the source "ADODB.Recordset": 3704 closed, 3021 without
/// a current row, 3265 for an unknown column, 3251 where it cannot be written.
class CORVETH_API Recordset final : public Described<Recordset> {
public:
    static constexpr const char* className = "Recordset";
    static const ClassInfo description;

    Recordset();
    ~Recordset() override;

    // As late-bound clients call it.
    /// `Source` is a statement or a table's name, `ActiveConnection` a connection or a connection string; what is left
    /// out is taken from the properties. Stays closed when the statement gives no rows.
    void Open(const Value& Source, const Value& ActiveConnection, std::int32_t CursorType, std::int32_t LockType,
              std::int32_t Options);
    /// 3219 while a row is being edited.
    void Close();
    /// Runs the statement again.
    void Requery();
    [[nodiscard]] bool get_EOF() const;
    [[nodiscard]] bool get_BOF() const;
    // Moving away from an edited row saves it first.
    void MoveFirst();
    void MoveLast();
    void MoveNext();
    void MovePrevious();
    void Move(std::int32_t NumRecords);
    /// The first row from here on (after `SkipRecords`) that meets `Criteria`: one column, one of = < > <= >= <> like,
    /// a value. At EOF (BOF when backward) when there is none.
    void Find(const Text& Criteria, std::int32_t SkipRecords, std::int32_t SearchDirection);
    void AddNew();
    /// Writes the new row, with the table's defaults where nothing was assigned, or the changed columns.
    void Update();
    void CancelUpdate();
    void Delete();
    [[nodiscard]] Ref<corveth::Fields> get_Fields() const;
    [[nodiscard]] std::int32_t get_RecordCount() const;
    /// From 1; -2 at BOF, -3 at EOF, -1 in a new row.
    [[nodiscard]] std::int32_t get_AbsolutePosition() const;
    void let_AbsolutePosition(std::int32_t position);
    [[nodiscard]] Value get_Bookmark() const;
    void let_Bookmark(const Value& bookmark);
    [[nodiscard]] std::int32_t get_State() const;
    /// 0 nothing, 1 a row being changed, 2 a new row.
    [[nodiscard]] std::int32_t get_EditMode() const;
    [[nodiscard]] std::int32_t get_CursorType() const;
    void let_CursorType(std::int32_t value);
    [[nodiscard]] std::int32_t get_LockType() const;
    void let_LockType(std::int32_t value);
    [[nodiscard]] std::int32_t get_CursorLocation() const;
    void let_CursorLocation(std::int32_t value);
    [[nodiscard]] Text get_Source() const;
    void let_Source(Text value);
    [[nodiscard]] Ref<Connection> get_ActiveConnection() const;
    void set_ActiveConnection(const Ref<Connection>& connection);

    // For callers in C++.
    /// 3709 when the connection is empty or closed. Traced as `open`.
    void open(Text sql, const Ref<Connection>& connection, CursorType cursor, LockType lock);
    [[nodiscard]] bool isOpen() const noexcept;
    /// Neither before nor behind any row: EOF and BOF.
    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] std::size_t columnCount() const;
    [[nodiscard]] const Text& columnName(std::size_t column) const;
    [[nodiscard]] std::int32_t columnType(std::size_t column) const; ///< the data type's number, as Field.Type
    [[nodiscard]] std::optional<std::size_t> columnPosition(TextView name) const;
    /// Where each of `names` stands, -1 where there is none; found once a statement and then remembered under the
    /// address `table`.
    [[nodiscard]] std::span<const int> positions(const void* table, std::span<const char* const> names) const;
    /// Of the current row; the reference is good until the next operation that moves, adds, writes or closes.
    [[nodiscard]] const Value& value(std::size_t column) const;
    [[nodiscard]] const Value& value(TextView column) const;
    /// The current row's value before it was edited.
    [[nodiscard]] const Value& originalValue(std::size_t column) const;
    /// All cells of the current row, for a caller that moves values out of them (a long text, a picture: a copy costs);
    /// such a field then reads as what was left in it. 3219 while the row is being edited. Good for as long as `value`.
    [[nodiscard]] std::span<Value> cells();
    /// Converts to the column's type: 3464 for text that is not one (empty text in a number), 6, 13 for an object.
    void set(std::size_t column, Value value);
    void set(TextView column, Value value);
    /// The key of a new row, from `maker`; when somebody else has put in a row of that key before this one is saved,
    /// the maker is asked for another. A key that is then assigned by `set` stays as it is.
    void setNewKey(TextView column, std::function<Text()> maker);
    /// The current row as the database has it now; 0x80040E38 when it is gone. Not while it is edited.
    void resync();

private:
    friend class Connection;
    struct Table;
    enum class Edit : std::uint8_t { none, changing, adding };

    void openSource(TextView sql);
    void adopt(Ref<Connection> connection, std::shared_ptr<const data::RowShape> shape, std::vector<Value> cells);
    /// The shape of the rows; 3704.
    const data::RowShape& opened() const;
    void requireRow() const;
    [[nodiscard]] std::size_t requireColumn(TextView name) const;
    [[nodiscard]] const data::ResultColumn& columnAt(std::size_t column) const;
    /// In the current row, as it was read or saved.
    [[nodiscard]] Value& stored(std::size_t column) const noexcept {
        return cells_[static_cast<std::size_t>(row_) * columnCount_ + column];
    }

    void leaveRow();
    void moveTo(std::ptrdiff_t row) noexcept;
    [[nodiscard]] bool isDeleted(std::ptrdiff_t row) const noexcept;
    [[nodiscard]] std::ptrdiff_t liveRows() const noexcept;
    /// The next row in `direction` that is not deleted, -1 or the row count where there is none.
    [[nodiscard]] std::ptrdiff_t step(std::ptrdiff_t from, std::ptrdiff_t direction) const noexcept;

    /// 3251 when the rows cannot be written.
    const data::WritePlan& writePlan() const;
    void beginEdit(Edit edit);
    void saveEdit();
    void dropEdit() noexcept;
    /// The key column that the engine fills in, in a new row.
    [[nodiscard]] std::optional<std::size_t> keyToAskFor() const;
    [[nodiscard]] Text insertStatement() const;
    [[nodiscard]] const Text& updateStatement(const std::vector<bool>& changed) const;
    void insertRow();
    /// The key that was made for this row is another row's by now.
    [[nodiscard]] bool isNewKeyTaken() const;
    void updateRow();
    void appendKeyCondition(Text& statement, std::vector<data::Parameter>& parameters) const;
    [[noreturn]] void failRowGone(const char* doing) const;
    void refresh() const;
    [[nodiscard]] bool readAgain() const;

    Ref<Connection> connection_;
    unsigned generation_ = 0;                     ///< of the connection when this opened
    std::shared_ptr<const data::RowShape> shape_; ///< set while open
    std::size_t columnCount_ = 0;
    mutable std::vector<Value> cells_; ///< row by row
    std::vector<bool> deleted_;        ///< grows with the first deletion
    std::ptrdiff_t rowCount_ = 0;
    std::ptrdiff_t row_ = 0; ///< -1 before the first, rowCount_ behind the last
    bool isBof_ = true;
    /// Just written: read again before anything of it is handed out, for what defaults and triggers made of it.
    mutable std::ptrdiff_t staleRow_ = -1;
    Edit edit_ = Edit::none;
    std::vector<Value> pending_;
    std::vector<bool> assigned_;
    std::size_t newKey_ = 0;         ///< the column that `keyMaker_` is for
    std::function<Text()> keyMaker_; ///< in a row being added
    Text source_;
    CursorType cursorType_ = CursorType::forwardOnly;
    LockType lockType_ = LockType::readOnly;
    std::int32_t cursorLocation_ = 2;
};

} // namespace corveth
