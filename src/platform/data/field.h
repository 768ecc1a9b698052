#pragma once

#include "platform/automation/enumerator.h"
#include "platform/data/recordset.h"

namespace corveth {

/// One column of a recordset; reads and writes the row that is current at the time.
class CORVETH_API Field final : public Described<Field> {
public:
    static constexpr const char* className = "Field";
    static const ClassInfo description;

    Field(Ref<Recordset> recordset, std::size_t column);

    [[nodiscard]] Value get_Value() const;
    void let_Value(const corveth::Value& value);
    [[nodiscard]] Value get_OriginalValue() const;
    [[nodiscard]] Text get_Name() const;
    [[nodiscard]] std::int32_t get_Type() const;
    /// Of the current value: UTF-16 bytes of a text, bytes of an array, else what the type takes; 0 for Null.
    [[nodiscard]] std::int32_t get_ActualSize() const;

private:
    struct Table;
    Ref<Recordset> recordset_;
    std::size_t column_;
};

/// The columns of a recordset, in the order of the statement.
class CORVETH_API Fields final : public Described<Fields> {
public:
    static constexpr const char* className = "Fields";
    static const ClassInfo description;

    explicit Fields(Ref<Recordset> recordset);

    /// By name without regard to case, or by position from 0; 3265 when there is none.
    [[nodiscard]] Ref<Field> get_Item(const Value& Index) const;
    [[nodiscard]] std::int32_t get_Count() const;
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const;

private:
    struct Table;
    Ref<Recordset> recordset_;
};

} // namespace corveth
