#pragma once

#include "platform/automation/class_info.h"
#include "platform/automation/object.h"

namespace corveth {

/// Steps through a collection. Live: members appended while looping are visited, removal does no harm.
class CORVETH_API Enumerator : public Object {
public:
    static constexpr const char* className = "Enumerator";
    static constexpr TypeKind typeKind = TypeKind::enumerator;
    static const ClassInfo description;

    [[nodiscard]] const ClassInfo& classInfo() const noexcept final { return description; }

    /// False at the end.
    virtual bool next(Value& member) = 0;
    virtual void reset() = 0;
    [[nodiscard]] virtual Ref<Enumerator> clone() const = 0;
    /// False when the end came first.
    bool skip(std::size_t count);
};

} // namespace corveth
