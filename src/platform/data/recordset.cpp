#include "platform/data/recordset.h"

#include "platform/data/channel.h"
#include "platform/data/column_value.h"
#include "platform/data/field.h"
#include "platform/data/guarded.h"

#include <algorithm>

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Recordset";
constexpr std::int32_t tableOption = 2, tableDirectOption = 512;

} // namespace

bool Recordset::isOpen() const noexcept {
    // A connection that was closed has closed its recordsets.
    return shape_ != nullptr && connection_->generation() == generation_;
}

const data::RowShape& Recordset::opened() const {
    checkThread();
    if (!isOpen()) raise(errors::objectClosed, {}, source);
    return *shape_;
}

struct Recordset::Table {
    static constexpr MemberRow members[] = {
        defaultMember(get<&Recordset::get_Fields>("Fields")),
        method<&Recordset::Open>("Open", optional("Source"), optional("ActiveConnection"), optional("CursorType"),
                                 optional("LockType"), optional("Options")),
        method<&Recordset::Close>("Close"),
        method<&Recordset::Requery>("Requery"),
        get<&Recordset::get_EOF>("EOF"),
        get<&Recordset::get_BOF>("BOF"),
        method<&Recordset::MoveFirst>("MoveFirst"),
        method<&Recordset::MoveLast>("MoveLast"),
        method<&Recordset::MoveNext>("MoveNext"),
        method<&Recordset::MovePrevious>("MovePrevious"),
        method<&Recordset::Move>("Move", "NumRecords"),
        method<&Recordset::Find>("Find", "Criteria", optional("SkipRecords"), optional("SearchDirection")),
        method<&Recordset::AddNew>("AddNew"),
        method<&Recordset::Update>("Update"),
        method<&Recordset::CancelUpdate>("CancelUpdate"),
        method<&Recordset::Delete>("Delete"),
        get<&Recordset::get_RecordCount>("RecordCount"),
        getLet<&Recordset::get_AbsolutePosition, &Recordset::let_AbsolutePosition>("AbsolutePosition"),
        getLet<&Recordset::get_Bookmark, &Recordset::let_Bookmark>("Bookmark"),
        get<&Recordset::get_State>("State"),
        get<&Recordset::get_EditMode>("EditMode"),
        getLet<&Recordset::get_CursorType, &Recordset::let_CursorType>("CursorType"),
        getLet<&Recordset::get_LockType, &Recordset::let_LockType>("LockType"),
        getLet<&Recordset::get_CursorLocation, &Recordset::let_CursorLocation>("CursorLocation"),
        getLet<&Recordset::get_Source, &Recordset::let_Source>("Source"),
        getLet<&Recordset::get_ActiveConnection, &Recordset::set_ActiveConnection>("ActiveConnection"),
    };
};

constinit const ClassInfo Recordset::description = describe<Recordset, Recordset::Table>("ADODB");

Recordset::Recordset() = default;
Recordset::~Recordset() = default;

void Recordset::Open(const Value& Source, const Value& ActiveConnection, std::int32_t CursorType, std::int32_t LockType,
                     std::int32_t Options) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    shape_.reset(); // of a connection that was closed; another one may be as old as that was
    if (const auto* object = ActiveConnection.getIf<Ref<Object>>()) {
        if (*object) requireClass(**object, Connection::description);
        connection_ = Ref<Connection>(static_cast<Connection*>(object->get()));
    } else if (!ActiveConnection.isMissing() && !ActiveConnection.is(ValueType::empty)) {
        auto own = make<Connection>();
        own->open(toText(ActiveConnection));
        connection_ = std::move(own);
    }
    if (!Source.isMissing() && !Source.is(ValueType::empty)) source_ = toText(Source);
    if (CursorType != 0) let_CursorType(CursorType);
    if (LockType != 0) let_LockType(LockType);
    const bool isTable = Options == tableOption || Options == tableDirectOption;
    openSource(isTable ? "Select * From [" + source_ + "]" : source_);
}

void Recordset::open(Text sql, const Ref<Connection>& connection, CursorType cursor, LockType lock) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    shape_.reset();
    connection_ = connection;
    cursorType_ = cursor;
    lockType_ = lock;
    source_ = std::move(sql);
    openSource(source_);
}

void Recordset::openSource(TextView sql) {
    if (!connection_ || !connection_->isOpen()) raise(errors::badConnection, {}, source);
    data::guarded(source, [&] {
        // Of their own until all is read: a failure leaves an open recordset with the rows it had.
        std::vector<Value> cells;
        auto outcome = connection_->channel().run("open", sql, &cells);
        adopt(connection_, std::move(outcome.shape), std::move(cells));
    });
}

void Recordset::adopt(Ref<Connection> connection, std::shared_ptr<const data::RowShape> shape,
                      std::vector<Value> cells) {
    dropEdit();
    connection_ = std::move(connection);
    generation_ = connection_->generation();
    shape_ = std::move(shape);
    cells_ = std::move(cells);
    deleted_.clear();
    columnCount_ = shape_ == nullptr ? 0 : shape_->size();
    rowCount_ = columnCount_ == 0 ? 0 : static_cast<std::ptrdiff_t>(cells_.size() / columnCount_);
    row_ = 0;
    isBof_ = rowCount_ == 0;
    staleRow_ = -1;
}

void Recordset::Close() {
    opened();
    if (edit_ != Edit::none) raise(errors::notAllowedHere, "A row is being edited.", source);
    shape_.reset();
    cells_ = {};
    deleted_.clear();
}

void Recordset::Requery() {
    opened();
    dropEdit();
    openSource(source_);
}

// --- moving

bool Recordset::isDeleted(std::ptrdiff_t row) const noexcept {
    const auto at = static_cast<std::size_t>(row);
    return at < deleted_.size() && deleted_[at];
}

std::ptrdiff_t Recordset::step(std::ptrdiff_t from, std::ptrdiff_t direction) const noexcept {
    do {
        from += direction;
    } while (from >= 0 && from < rowCount_ && isDeleted(from));
    return std::clamp<std::ptrdiff_t>(from, -1, rowCount_);
}

void Recordset::moveTo(std::ptrdiff_t row) noexcept {
    isBof_ = row < 0;
    // At BOF as at EOF there is no current row; with no rows at all it is both.
    row_ = row;
    if (liveRows() == 0) {
        row_ = rowCount_;
        isBof_ = true;
    }
}

std::ptrdiff_t Recordset::liveRows() const noexcept {
    return rowCount_ - std::ranges::count(deleted_, true);
}

bool Recordset::get_EOF() const {
    opened();
    return edit_ != Edit::adding && row_ >= rowCount_;
}

bool Recordset::get_BOF() const {
    opened();
    return edit_ != Edit::adding && isBof_;
}

bool Recordset::isEmpty() const {
    return get_EOF() && get_BOF();
}

void Recordset::leaveRow() {
    opened();
    saveEdit();
}

void Recordset::MoveFirst() {
    leaveRow();
    if (liveRows() == 0) raise(errors::noCurrentRecord, {}, source);
    moveTo(step(-1, 1));
}

void Recordset::MoveLast() {
    leaveRow();
    if (liveRows() == 0) raise(errors::noCurrentRecord, {}, source);
    moveTo(step(rowCount_, -1));
}

void Recordset::MoveNext() {
    leaveRow();
    if (row_ >= rowCount_) raise(errors::noCurrentRecord, {}, source);
    moveTo(step(row_, 1));
}

void Recordset::MovePrevious() {
    leaveRow();
    if (isBof_) raise(errors::noCurrentRecord, {}, source);
    moveTo(step(row_, -1));
}

void Recordset::Move(std::int32_t NumRecords) {
    leaveRow();
    for (; NumRecords > 0; --NumRecords) {
        MoveNext();
        if (row_ >= rowCount_) return;
    }
    for (; NumRecords < 0; ++NumRecords) {
        MovePrevious();
        if (isBof_) return;
    }
}

std::int32_t Recordset::get_RecordCount() const {
    opened();
    return static_cast<std::int32_t>(liveRows());
}

std::int32_t Recordset::get_AbsolutePosition() const {
    constexpr std::int32_t unknown = -1, atBof = -2, atEof = -3;
    opened();
    if (edit_ == Edit::adding) return unknown;
    if (isBof_) return atBof;
    if (row_ >= rowCount_) return atEof;
    std::int32_t position = 1;
    for (std::ptrdiff_t row = 0; row < row_; ++row)
        position += isDeleted(row) ? 0 : 1;
    return position;
}

void Recordset::let_AbsolutePosition(std::int32_t position) {
    leaveRow();
    if (position < 1 || position > liveRows()) {
        raise(errors::badArguments, "AbsolutePosition " + std::to_string(position), source);
    }
    std::ptrdiff_t row = -1;
    for (; position > 0; --position)
        row = step(row, 1);
    moveTo(row);
}

Value Recordset::get_Bookmark() const {
    requireRow();
    if (edit_ == Edit::adding) raise(errors::noCurrentRecord, {}, source);
    return static_cast<std::int32_t>(row_);
}

void Recordset::let_Bookmark(const Value& bookmark) {
    leaveRow();
    const std::int32_t row = toLong(bookmark);
    if (row < 0 || row >= rowCount_) raise(errors::badArguments, "Bookmark " + std::to_string(row), source);
    moveTo(row);
}

// --- reading

void Recordset::requireRow() const {
    opened();
    if (edit_ == Edit::adding) return;
    if (isBof_ || row_ >= rowCount_ || isDeleted(row_)) raise(errors::noCurrentRecord, {}, source);
}

std::size_t Recordset::requireColumn(TextView name) const {
    const auto column = opened().position(name);
    if (!column) raise(errors::noSuchItem, "\"" + Text(name) + "\"", source);
    return *column;
}

std::size_t Recordset::columnCount() const {
    return opened().size();
}

const data::ResultColumn& Recordset::columnAt(std::size_t column) const {
    const data::RowShape& shape = opened();
    if (column >= shape.size()) raise(errors::noSuchItem, std::to_string(column), source);
    return shape[column];
}

const Text& Recordset::columnName(std::size_t column) const {
    return columnAt(column).name;
}

std::int32_t Recordset::columnType(std::size_t column) const {
    return data::dataTypeNumber(columnAt(column).kind);
}

std::optional<std::size_t> Recordset::columnPosition(TextView name) const {
    return opened().position(name);
}

std::span<const int> Recordset::positions(const void* table, std::span<const char* const> names) const {
    return opened().positions(table, names);
}

const Value& Recordset::value(std::size_t column) const {
    static const Value unset = Null{};
    requireRow();
    if (column >= columnCount_) raise(errors::noSuchItem, std::to_string(column), source);
    if (edit_ != Edit::none) {
        if (assigned_[column]) return pending_[column];
        if (edit_ == Edit::adding) return unset;
    }
    if (staleRow_ == row_) refresh();
    return stored(column);
}

const Value& Recordset::value(TextView column) const {
    return value(requireColumn(column));
}

const Value& Recordset::originalValue(std::size_t column) const {
    static const Value unset = Null{};
    requireRow();
    if (column >= columnCount_) raise(errors::noSuchItem, std::to_string(column), source);
    if (edit_ == Edit::adding) return unset;
    if (staleRow_ == row_) refresh();
    return stored(column);
}

std::span<Value> Recordset::cells() {
    requireRow();
    if (edit_ != Edit::none) raise(errors::notAllowedHere, "A row is being edited.", source);
    if (staleRow_ == row_) refresh();
    return {&stored(0), columnCount_};
}

Ref<corveth::Fields> Recordset::get_Fields() const {
    opened();
    return make<corveth::Fields>(Ref<Recordset>(const_cast<Recordset*>(this)));
}

// --- properties

std::int32_t Recordset::get_State() const {
    checkThread();
    return isOpen() ? 1 : 0;
}

std::int32_t Recordset::get_EditMode() const {
    opened();
    return static_cast<std::int32_t>(edit_);
}

std::int32_t Recordset::get_CursorType() const {
    checkThread();
    return static_cast<std::int32_t>(cursorType_);
}

void Recordset::let_CursorType(std::int32_t value) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    if (value == -1) value = 0;
    if (value < 0 || value > 3) raise(errors::badArguments, "CursorType " + std::to_string(value), source);
    cursorType_ = static_cast<CursorType>(value);
}

std::int32_t Recordset::get_LockType() const {
    checkThread();
    return static_cast<std::int32_t>(lockType_);
}

void Recordset::let_LockType(std::int32_t value) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    if (value != -1 && (value < 1 || value > 4)) {
        raise(errors::badArguments, "LockType " + std::to_string(value), source);
    }
    lockType_ = static_cast<LockType>(value);
}

std::int32_t Recordset::get_CursorLocation() const {
    checkThread();
    return cursorLocation_;
}

void Recordset::let_CursorLocation(std::int32_t value) {
    checkThread();
    cursorLocation_ = value;
}

Text Recordset::get_Source() const {
    checkThread();
    return source_;
}

void Recordset::let_Source(Text value) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    source_ = std::move(value);
}

Ref<Connection> Recordset::get_ActiveConnection() const {
    checkThread();
    return connection_;
}

void Recordset::set_ActiveConnection(const Ref<Connection>& connection) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    shape_.reset();
    connection_ = connection;
}

} // namespace corveth
