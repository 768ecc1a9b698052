#include "platform/data/field.h"

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Fields";

class FieldEnumerator final : public Enumerator {
public:
    explicit FieldEnumerator(Ref<Recordset> recordset, std::size_t next = 0)
        : recordset_(std::move(recordset)), next_(next) {}

    bool next(Value& member) override {
        if (next_ >= recordset_->columnCount()) return false;
        member = make<Field>(recordset_, next_++);
        return true;
    }
    void reset() override { next_ = 0; }
    [[nodiscard]] Ref<Enumerator> clone() const override { return make<FieldEnumerator>(recordset_, next_); }

private:
    Ref<Recordset> recordset_;
    std::size_t next_;
};

} // namespace

struct Field::Table {
    static constexpr MemberRow members[] = {
        defaultMember(getLet<&Field::get_Value, &Field::let_Value>("Value")),
        get<&Field::get_OriginalValue>("OriginalValue"),
        get<&Field::get_Name>("Name"),
        get<&Field::get_Type>("Type"),
        get<&Field::get_ActualSize>("ActualSize"),
    };
};

constinit const ClassInfo Field::description = describe<Field, Field::Table>("ADODB", false);

Field::Field(Ref<Recordset> recordset, std::size_t column) : recordset_(std::move(recordset)), column_(column) {}

Value Field::get_Value() const {
    return recordset_->value(column_);
}

void Field::let_Value(const corveth::Value& value) {
    recordset_->set(column_, value);
}

Value Field::get_OriginalValue() const {
    return recordset_->originalValue(column_);
}

Text Field::get_Name() const {
    return recordset_->columnName(column_);
}

std::int32_t Field::get_Type() const {
    return recordset_->columnType(column_);
}

std::int32_t Field::get_ActualSize() const {
    const auto& value = recordset_->value(column_);
    switch (value.type()) {
    case ValueType::text:
        return static_cast<std::int32_t>(unitCount(*value.getIf<Text>()) * sizeof(char16_t));
    case ValueType::bytes:
        return static_cast<std::int32_t>(value.getIf<Bytes>()->size());
    case ValueType::byte:
        return sizeof(std::uint8_t);
    case ValueType::integer:
    case ValueType::boolean:
        return sizeof(std::int16_t);
    case ValueType::longInteger:
    case ValueType::single:
        return sizeof(std::int32_t);
    case ValueType::doubleFloat:
    case ValueType::currency:
    case ValueType::date:
        return sizeof(double);
    default:
        return 0;
    }
}

struct Fields::Table {
    static constexpr MemberRow members[] = {
        get<&Fields::get_Count>("Count"),
        enumeratorMember(get<&Fields::get_NewEnum>("_NewEnum")),
        defaultMember(get<&Fields::get_Item>("Item", "Index")),
    };
};

constinit const ClassInfo Fields::description = describe<Fields, Fields::Table>("ADODB", false);

Fields::Fields(Ref<Recordset> recordset) : recordset_(std::move(recordset)) {}

Ref<Field> Fields::get_Item(const Value& Index) const {
    if (const auto* name = Index.getIf<Text>()) {
        const auto column = recordset_->columnPosition(*name);
        if (!column) raise(errors::noSuchItem, "\"" + *name + "\"", source);
        return make<Field>(recordset_, *column);
    }
    const std::int32_t position = toLong(Index);
    if (position < 0 || std::cmp_greater_equal(position, recordset_->columnCount())) {
        raise(errors::noSuchItem, std::to_string(position), source);
    }
    return make<Field>(recordset_, static_cast<std::size_t>(position));
}

std::int32_t Fields::get_Count() const {
    return static_cast<std::int32_t>(recordset_->columnCount());
}

Ref<Enumerator> Fields::get_NewEnum() const {
    return make<FieldEnumerator>(recordset_);
}

} // namespace corveth
