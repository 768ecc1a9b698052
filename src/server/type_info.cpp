#include "server/binary/memory.h"
#include "server/counted.h"
#include "server/failure.h"
#include "server/record_layout.h"
#include "server/type_model.h"
#include "server/variants.h"

#include <algorithm>
#include <vector>

namespace corveth::server {

namespace {

namespace results = binary::results;
using binary::HResult;

/// What clients see of a model. The structures that it hands out are the model's own: releasing them does nothing.
class TypeInfo final : public Counted<binary::ITypeInfo> {
public:
    explicit TypeInfo(const TypeModel& model) noexcept : model_(model) {}

    HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        if (object != nullptr && iid == binary::ids::recordInfo && model_.record != nullptr) {
            *object = nullptr;
            return guarded([&] {
                *object = makeRecordInfo(*model_.record);
                return results::ok;
            });
        }
        return queryFor(iid, binary::ids::typeInfo, object);
    }

    HResult GetTypeAttr(binary::TypeAttr** attributes) noexcept override {
        if (attributes == nullptr) return results::badPointer;
        *attributes = const_cast<binary::TypeAttr*>(&model_.attributes);
        return results::ok;
    }
    void ReleaseTypeAttr(binary::TypeAttr* /*attributes*/) noexcept override {}

    HResult GetFuncDesc(std::uint32_t index, binary::FuncDesc** function) noexcept override {
        if (function == nullptr) return results::badPointer;
        *function = nullptr;
        if (index >= model_.functions.size()) return results::elementNotFound;
        *function = const_cast<binary::FuncDesc*>(&model_.functions[index].description);
        return results::ok;
    }
    void ReleaseFuncDesc(binary::FuncDesc* /*function*/) noexcept override {}

    HResult GetVarDesc(std::uint32_t index, binary::VarDesc** variable) noexcept override {
        if (variable == nullptr) return results::badPointer;
        *variable = nullptr;
        if (index >= model_.variables.size()) return results::elementNotFound;
        *variable = const_cast<binary::VarDesc*>(&model_.variables[index].description);
        return results::ok;
    }
    void ReleaseVarDesc(binary::VarDesc* /*variable*/) noexcept override {}

    HResult GetNames(binary::DispId member, binary::Bstr* names, std::uint32_t capacity,
                     std::uint32_t* count) noexcept override {
        if (names == nullptr || count == nullptr) return results::badPointer;
        *count = 0;
        return guarded([&] {
            const std::vector<const char*> found = namesOf(member);
            if (found.empty()) return results::elementNotFound;
            const std::size_t given = std::min<std::size_t>(found.size(), capacity);
            for (std::size_t i = 0; i < given; ++i)
                names[i] = toBstr(found[i]);
            *count = static_cast<std::uint32_t>(given);
            return results::ok;
        });
    }

    HResult GetDocumentation(binary::DispId member, binary::Bstr* name, binary::Bstr* text, std::uint32_t* helpContext,
                             binary::Bstr* helpFile) noexcept override {
        if (name != nullptr) *name = nullptr;
        if (text != nullptr) *text = nullptr;
        if (helpContext != nullptr) *helpContext = 0;
        if (helpFile != nullptr) *helpFile = nullptr;
        return guarded([&] {
            const bool isSelf = member == binary::dispIds::unknown;
            const std::vector<const char*> names = isSelf ? std::vector{model_.name.c_str()} : namesOf(member);
            if (names.empty()) return results::elementNotFound;
            if (name != nullptr) *name = toBstr(names.front());
            if (text != nullptr) *text = toBstr(isSelf ? TextView(model_.text) : TextView());
            return results::ok;
        });
    }

    HResult GetRefTypeInfo(binary::RefType reference, binary::ITypeInfo** info) noexcept override {
        if (info == nullptr) return results::badPointer;
        *info = nullptr;
        return guarded([&] {
            const TypeModel* model = modelOf(reference);
            if (model == nullptr) return results::elementNotFound;
            *info = makeTypeInfo(*model);
            return results::ok;
        });
    }

    // The description is all there is here: no inherited interfaces, no functions to call without an object, no file.
    HResult GetTypeComp(binary::IUnknown** comp) noexcept override { return nothingFor(comp); }
    HResult GetRefTypeOfImplType(std::uint32_t /*index*/, binary::RefType* /*reference*/) noexcept override {
        return results::elementNotFound;
    }
    HResult GetImplTypeFlags(std::uint32_t /*index*/, std::int32_t* /*flags*/) noexcept override {
        return results::elementNotFound;
    }
    HResult GetIDsOfNames(binary::OleChar** /*names*/, std::uint32_t /*count*/,
                          binary::DispId* /*ids*/) noexcept override {
        return results::notImplemented;
    }
    HResult Invoke(void* /*instance*/, binary::DispId /*member*/, std::uint16_t /*flags*/,
                   binary::DispParams* /*params*/, binary::Variant* /*result*/, binary::ExcepInfo* /*exception*/,
                   std::uint32_t* /*badArgument*/) noexcept override {
        return results::notImplemented;
    }
    HResult GetDllEntry(binary::DispId /*member*/, binary::InvokeKind /*kind*/, binary::Bstr* /*library*/,
                        binary::Bstr* /*name*/, std::uint16_t* /*ordinal*/) noexcept override {
        return results::notImplemented;
    }
    HResult AddressOfMember(binary::DispId /*member*/, binary::InvokeKind /*kind*/, void** address) noexcept override {
        return nothingFor(address);
    }
    HResult CreateInstance(binary::IUnknown* /*outer*/, const binary::Guid& /*iid*/, void** object) noexcept override {
        return nothingFor(object);
    }
    HResult GetMops(binary::DispId /*member*/, binary::Bstr* mops) noexcept override { return nothingFor(mops); }
    HResult GetContainingTypeLib(binary::IUnknown** library, std::uint32_t* /*index*/) noexcept override {
        return nothingFor(library);
    }

private:
    ~TypeInfo() override = default;

    template <class T>
    static HResult nothingFor(T** out) noexcept {
        if (out != nullptr) *out = nullptr;
        return results::notImplemented;
    }

    /// The member's name, then those of its parameters.
    [[nodiscard]] std::vector<const char*> namesOf(binary::DispId member) const {
        std::vector<const char*> names;
        for (const auto& function : model_.functions) {
            if (function.description.memid != member) continue;
            names.push_back(function.row->name);
            for (const auto& param : function.row->parameters())
                names.push_back(param.name);
            return names;
        }
        for (const auto& variable : model_.variables) {
            if (variable.description.memid == member) names.push_back(variable.name);
        }
        return names;
    }

    const TypeModel& model_;
};

} // namespace

binary::ITypeInfo* makeTypeInfo(const TypeModel& model) {
    return new TypeInfo(model);
}

} // namespace corveth::server
