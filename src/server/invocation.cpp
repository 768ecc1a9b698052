#include "server/invocation.h"

#include "platform/automation/dispatch.h"
#include "platform/fixed_list.h"
#include "server/variants.h"

namespace corveth::server {

namespace {

using binary::Variant;

/// The arguments of one call. The client's array begins with the named ones; the rest stands behind them, last first.
class Arguments {
public:
    Arguments(const ClassInfo& info, const MemberRow* row, const binary::DispParams& params)
        : info_(info), row_(row), params_(params) {
        if (params.cNamedArgs > params.cArgs || (params.cArgs != 0 && params.rgvarg == nullptr) ||
            (params.cNamedArgs != 0 && params.rgdispidNamedArgs == nullptr)) {
            raise(errors::invalidCall, path() + " was called with an argument list that is not in order");
        }
        for (std::uint32_t i = 0; i < params.cNamedArgs; ++i)
            addNamed(params.rgdispidNamedArgs[i], params.rgvarg[i]);
        const std::uint32_t count = params.cArgs - params.cNamedArgs;
        if (count > maxParams) tooMany(count);
        for (std::uint32_t i = 0; i < count; ++i)
            positional_.emplace_back(convert(positionalAt(i), static_cast<int>(i)));
    }

    [[nodiscard]] std::span<Value> positional() noexcept { return positional_.all(); }
    [[nodiscard]] std::span<NamedArgument> named() noexcept { return named_.all(); }
    [[nodiscard]] Value* assigned() noexcept { return hasAssigned_ ? &assigned_ : nullptr; }

    /// What the callee left in arguments that it may replace.
    void writeBack() {
        if (row_ == nullptr) return;
        for (std::uint32_t i = 0; i < positional_.size() && i < row_->paramCount; ++i) {
            if (row_->params[i].writesBack) writeBackTo(positionalAt(i), positional_[i], static_cast<int>(i));
        }
        for (std::size_t i = 0; i < named_.size(); ++i) {
            const auto position = static_cast<std::size_t>(named_[i].position);
            // They may have been those of the default member of what this one yields.
            if (position >= row_->paramCount || !row_->params[position].writesBack) continue;
            writeBackTo(params_.rgvarg[namedAt_[i]], named_[i].value, named_[i].position);
        }
    }

private:
    static constexpr int assignedValue = -1;

    [[nodiscard]] Text path() const { return row_ != nullptr ? memberPath(info_, row_->name) : info_.progId(); }

    [[noreturn]] void tooMany(std::uint32_t count) const {
        raise(errors::argumentCount, path() + ", " + std::to_string(count) + " arguments were given");
    }

    [[nodiscard]] Variant& positionalAt(std::uint32_t position) const noexcept {
        return params_.rgvarg[params_.cArgs - 1 - position];
    }

    void addNamed(binary::DispId id, const Variant& variant) {
        if (id == binary::dispIds::propertyPut) {
            assigned_ = convert(variant, assignedValue);
            hasAssigned_ = true;
            return;
        }
        if (named_.size() == maxParams) tooMany(params_.cArgs);
        namedAt_.emplace_back(static_cast<std::uint32_t>(&variant - params_.rgvarg));
        named_.emplace_back(id, convert(variant, id));
    }

    /// `Text of Note.Find`, for messages.
    [[nodiscard]] Text nameOf(int position) const {
        if (position == assignedValue) return path();
        const auto i = static_cast<std::size_t>(position);
        const bool isKnown = row_ != nullptr && position >= 0 && i < row_->paramCount;
        return (isKnown ? Text(row_->params[i].name) : "argument " + std::to_string(position + 1)) + " of " + path();
    }

    [[nodiscard]] Value convert(const Variant& variant, int position) const {
        try {
            return fromVariant(variant);
        } catch (Error& error) {
            error.description += " (" + nameOf(position) + ")";
            throw;
        }
    }

    void writeBackTo(Variant& argument, const Value& value, int position) const {
        try {
            server::writeBack(value, argument);
        } catch (Error& error) {
            error.description += " (" + nameOf(position) + ")";
            throw;
        }
    }

    const ClassInfo& info_;
    const MemberRow* row_;
    const binary::DispParams& params_;
    FixedList<Value, maxParams> positional_;
    FixedList<NamedArgument, maxParams> named_;
    FixedList<std::uint32_t, maxParams> namedAt_; ///< where in the client's array
    Value assigned_;
    bool hasAssigned_ = false;
};

bool isPlainPut(const binary::DispParams& params) noexcept {
    return params.cArgs == 1 && params.cNamedArgs == 1 && params.rgvarg != nullptr &&
           params.rgdispidNamedArgs != nullptr && params.rgdispidNamedArgs[0] == binary::dispIds::propertyPut;
}

/// An assignment without further arguments is what most calls are.
void putValue(Object& self, binary::DispId id, std::uint16_t flags, const Variant& variant) {
    Value assigned;
    try {
        assigned = fromVariant(variant);
    } catch (Error& error) {
        const ClassInfo& info = self.classInfo();
        const MemberRow* row = info.index().member(id);
        error.description += " (" + (row != nullptr ? memberPath(info, row->name) : info.progId()) + ")";
        throw;
    }
    invoke(self, id, flags, {}, {}, &assigned);
}

} // namespace

void invokeForClient(Object& self, binary::DispId id, std::uint16_t flags, const binary::DispParams* params,
                     binary::Variant* result) {
    Value value;
    if (params == nullptr || params->cArgs == 0) {
        value = invoke(self, id, flags, {});
    } else if (isPlainPut(*params)) {
        putValue(self, id, flags, params->rgvarg[0]);
    } else {
        const ClassInfo& info = self.classInfo();
        Arguments arguments(info, info.index().member(id), *params);
        value = invoke(self, id, flags, arguments.positional(), arguments.named(), arguments.assigned());
        arguments.writeBack();
    }
    if (result != nullptr) toVariant(value, *result);
}

} // namespace corveth::server
