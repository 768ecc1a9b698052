// What a recordset writes: new rows, changed rows, deleted rows.

#include "platform/automation/convert.h"
#include "platform/data/channel.h"
#include "platform/data/column_value.h"
#include "platform/data/guarded.h"
#include "platform/data/recordset.h"
#include "platform/data/row_shape.h"

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Recordset";

/// The platform's own codes for rows that cannot be found again.
constexpr std::int32_t rowGone = static_cast<std::int32_t>(0x80040E38);
constexpr std::int32_t noKey = static_cast<std::int32_t>(0x80040E21);

/// So many keys a new row tries when others take them first.
constexpr int mostKeys = 20;

[[noreturn]] void failWithoutKey(const Text& table) {
    throw Error(noKey, source,
                "Insufficient key column information for updating or refreshing: the statement does "
                "not yield the key of " +
                    table + ".");
}

bool sameValue(const Value& a, const Value& b) {
    if (a.type() != b.type()) return false;
    switch (a.type()) {
    case ValueType::null:
    case ValueType::empty:
        return true;
    case ValueType::text:
        return *a.getIf<Text>() == *b.getIf<Text>();
    case ValueType::bytes:
        return *a.getIf<Bytes>() == *b.getIf<Bytes>();
    case ValueType::currency:
        return *a.getIf<Currency>() == *b.getIf<Currency>();
    default:
        return toDouble(a) == toDouble(b);
    }
}

void appendName(Text& statement, TextView name) {
    statement += '[';
    statement += name;
    statement += ']';
}

} // namespace

const data::WritePlan& Recordset::writePlan() const {
    const data::RowShape& shape = opened();
    const bool isReadOnly = lockType_ == LockType::readOnly || lockType_ == LockType::unspecified;
    const auto* plan = isReadOnly ? nullptr : shape.plan(connection_->channel().session());
    if (plan == nullptr) raise(errors::notSupported, {}, source);
    return *plan;
}

void Recordset::AddNew() {
    leaveRow();
    writePlan();
    beginEdit(Edit::adding);
}

void Recordset::beginEdit(Edit edit) {
    pending_.resize(columnCount_);
    assigned_.assign(columnCount_, false);
    edit_ = edit;
}

void Recordset::set(std::size_t column, Value value) {
    requireRow();
    const data::WritePlan& plan = writePlan();
    const data::ResultColumn& info = columnAt(column);
    if (!plan.isWritable(column)) {
        raise(errors::notSupported, "The column " + info.name + " is computed.", source);
    }
    const bool fits = info.kind == data::ColumnKind::text && value.is(ValueType::text); // as most do
    if (!fits) {
        value = data::guarded(source, [&] { return data::toColumnValue(info.kind, std::move(value), info.name); });
    }
    if (edit_ == Edit::none) {
        if (staleRow_ == row_) refresh();
        beginEdit(Edit::changing);
    }
    pending_[column] = std::move(value);
    assigned_[column] = true;
    if (column == newKey_) keyMaker_ = nullptr;
}

void Recordset::set(TextView column, Value value) {
    set(requireColumn(column), std::move(value));
}

void Recordset::setNewKey(TextView column, std::function<Text()> maker) {
    newKey_ = requireColumn(column);
    set(newKey_, maker());
    keyMaker_ = std::move(maker);
}

void Recordset::Update() {
    requireRow();
    saveEdit();
}

void Recordset::CancelUpdate() {
    opened();
    dropEdit();
}

void Recordset::dropEdit() noexcept {
    edit_ = Edit::none;
    pending_.clear();
    assigned_.clear();
    keyMaker_ = nullptr;
}

void Recordset::saveEdit() {
    if (edit_ == Edit::none) return;
    data::guarded(source, [this] { edit_ == Edit::adding ? insertRow() : updateRow(); });
}

std::optional<std::size_t> Recordset::keyToAskFor() const {
    const data::WritePlan& plan = writePlan();
    // Without it the row could never be found again.
    if (plan.table->isView || plan.keys.size() != 1) return std::nullopt;
    const std::size_t column = plan.keys.front().column;
    return column == data::WritePlan::none || assigned_[column] ? std::nullopt : std::optional(column);
}

Text Recordset::insertStatement() const {
    const data::WritePlan& plan = writePlan();
    Text names, marks;
    for (std::size_t i = 0; i < columnCount_; ++i) {
        if (!assigned_[i]) continue;
        if (!names.empty()) {
            names += ", ";
            marks += ", ";
        }
        appendName(names, plan.nameInTable(i));
        marks += '?';
    }
    Text statement = "Insert Into ";
    appendName(statement, shape_->target());
    statement += names.empty() ? Text(" Default Values") : " (" + names + ") Values (" + marks + ")";
    if (const auto key = keyToAskFor()) {
        statement += " Returning ";
        appendName(statement, plan.nameInTable(*key));
    }
    return statement;
}

void Recordset::insertRow() {
    const data::WritePlan& plan = writePlan();
    if (plan.inserted.statement.empty() || plan.inserted.columns != assigned_) {
        plan.inserted = {assigned_, insertStatement()};
    }
    std::vector<data::Parameter> parameters;
    parameters.reserve(columnCount_);
    std::vector<Value> returned;
    for (int attempt = 1;; ++attempt) {
        parameters.clear();
        for (std::size_t i = 0; i < columnCount_; ++i) {
            if (assigned_[i]) parameters.push_back(data::toParameter(pending_[i]));
        }
        try {
            connection_->channel().write(plan.inserted.statement, parameters, &returned);
            break;
        } catch (const Error&) {
            if (attempt == mostKeys || !isNewKeyTaken()) throw;
        }
        pending_[newKey_] = keyMaker_();
    }

    const auto key = keyToAskFor();
    const bool isWhole = parameters.size() == columnCount_ && !plan.table->isView;
    for (std::size_t i = 0; i < columnCount_; ++i)
        cells_.push_back(assigned_[i] ? std::move(pending_[i]) : Value(Null{}));
    row_ = rowCount_++;
    isBof_ = false;
    if (key && !returned.empty()) stored(*key) = std::move(returned.front());
    staleRow_ = isWhole ? -1 : row_;
    dropEdit();
}

bool Recordset::isNewKeyTaken() const {
    if (!keyMaker_) return false;
    Text statement = "Select 1 From ";
    appendName(statement, shape_->target());
    statement += " Where ";
    appendName(statement, writePlan().nameInTable(newKey_));
    statement += " = ?";
    const data::Parameter key = data::toParameter(pending_[newKey_]);
    std::vector<Value> taken;
    try {
        connection_->channel().read(statement, {&key, 1}, taken);
    } catch (const Error&) {
        return false; // what kept the row from being saved says more
    }
    return !taken.empty();
}

void Recordset::updateRow() {
    const data::WritePlan& plan = writePlan();
    if (!plan.hasKeys()) failWithoutKey(shape_->target());
    std::vector<data::Parameter> parameters;
    std::vector<bool> changed(columnCount_);
    for (std::size_t i = 0; i < columnCount_; ++i) {
        if (!assigned_[i] || sameValue(pending_[i], stored(i))) continue;
        changed[i] = true;
        parameters.push_back(data::toParameter(pending_[i]));
    }
    if (!parameters.empty()) {
        Text statement = updateStatement(changed);
        appendKeyCondition(statement, parameters);
        if (connection_->channel().write(statement, parameters) == 0) failRowGone("updating");
        for (std::size_t i = 0; i < columnCount_; ++i) {
            if (changed[i]) stored(i) = std::move(pending_[i]);
        }
        if (plan.table->isView) staleRow_ = row_;
    }
    dropEdit();
}

const Text& Recordset::updateStatement(const std::vector<bool>& changed) const {
    const data::WritePlan& plan = writePlan();
    if (!plan.updated.statement.empty() && plan.updated.columns == changed) return plan.updated.statement;
    Text statement = "Update ";
    appendName(statement, shape_->target());
    const char* joint = " Set ";
    for (std::size_t i = 0; i < columnCount_; ++i) {
        if (!changed[i]) continue;
        statement += joint;
        appendName(statement, plan.nameInTable(i));
        statement += " = ?";
        joint = ", ";
    }
    plan.updated = {changed, std::move(statement)};
    return plan.updated.statement;
}

void Recordset::appendKeyCondition(Text& statement, std::vector<data::Parameter>& parameters) const {
    const data::WritePlan& plan = *shape_->plan(connection_->channel().session());
    const char* joint = " Where ";
    for (const auto& key : plan.keys) {
        const Value& value = stored(key.column);
        statement += joint;
        appendName(statement, plan.table->columns[key.tableColumn].name);
        if (value.isNull()) {
            statement += " Is Null";
        } else {
            statement += " = ?";
            parameters.push_back(data::toParameter(value));
        }
        joint = " And ";
    }
}

void Recordset::failRowGone(const char* doing) const {
    throw Error(rowGone, source,
                "Row cannot be located for " + Text(doing) +
                    ". Some values may have been changed since it was last read. (" + shape_->target() + ")");
}

void Recordset::Delete() {
    requireRow();
    if (edit_ == Edit::adding) {
        dropEdit();
        return;
    }
    dropEdit();
    data::guarded(source, [this] {
        const data::WritePlan& plan = writePlan();
        if (!plan.hasKeys()) failWithoutKey(shape_->target());
        Text statement = "Delete From ";
        appendName(statement, shape_->target());
        std::vector<data::Parameter> parameters;
        appendKeyCondition(statement, parameters);
        if (connection_->channel().write(statement, parameters) == 0) failRowGone("deleting");
    });
    deleted_.resize(static_cast<std::size_t>(rowCount_));
    deleted_[static_cast<std::size_t>(row_)] = true;
}

/// Reads the row that was written last again, with what the table's defaults and triggers made of it. A row that is
/// gone again (its transaction was rolled back, say) keeps what was assigned.
void Recordset::refresh() const {
    if (shape_->plan(connection_->channel().session())->hasKeys()) static_cast<void>(readAgain());
    staleRow_ = -1;
}

void Recordset::resync() {
    requireRow();
    if (edit_ != Edit::none) raise(errors::notAllowedHere, "A row is being edited.", source);
    if (!writePlan().hasKeys()) failWithoutKey(shape_->target());
    if (!readAgain()) failRowGone("refreshing");
    staleRow_ = -1;
}

/// Whether the row is still there.
bool Recordset::readAgain() const {
    const data::WritePlan& plan = *shape_->plan(connection_->channel().session());
    Text statement = "Select ";
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < columnCount_; ++i) {
        if (!plan.isWritable(i)) continue;
        if (!columns.empty()) statement += ", ";
        appendName(statement, plan.nameInTable(i));
        columns.push_back(i);
    }
    statement += " From ";
    appendName(statement, shape_->target());
    std::vector<data::Parameter> parameters;
    appendKeyCondition(statement, parameters);
    std::vector<Value> row;
    data::guarded(source, [&] { connection_->channel().read(statement, parameters, row); });
    if (row.size() < columns.size()) return false;
    for (std::size_t i = 0; i < columns.size(); ++i)
        stored(columns[i]) = std::move(row[i]);
    return true;
}

} // namespace corveth
