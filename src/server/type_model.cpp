#include "server/type_model.h"

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "server/binary/class_ids.h"
#include "server/record_layout.h"

#include <map>
#include <memory>
#include <mutex>
#include <variant>

namespace corveth::server {

namespace {

namespace vt = binary::vt;
using binary::RefType;
using binary::TypeDesc;
using binary::TypeKindCode;

constexpr binary::DispId firstVariable = 0x40000000;

/// What a description is of; the text names a class that is not in this build.
using Target = std::variant<const ClassInfo*, const EnumInfo*, const RecordInfo*, std::string>;

Target findClassTarget(const char* name, TextView library) {
    const ClassInfo* found = nullptr;
    for (const ClassInfo* info : allClasses()) {
        if (TextView(info->name) != name) continue;
        if (info->library == library) return info;
        if (found == nullptr) found = info;
    }
    if (found == nullptr) return std::string(name);
    return found;
}

binary::InvokeKind invokeKind(MemberKind kind) noexcept {
    switch (kind) {
    case MemberKind::get:
        return binary::InvokeKind::propertyGet;
    case MemberKind::let:
        return binary::InvokeKind::propertyPut;
    case MemberKind::set:
        return binary::InvokeKind::propertyPutRef;
    case MemberKind::method:
        break;
    }
    return binary::InvokeKind::function;
}

/// All types that were ever asked for or referred to. A class is described when it is asked for, not when another one
/// refers to it.
class Catalogue {
public:
    const TypeModel& model(const Target& target) {
        const std::scoped_lock lock(mutex_);
        return *modelAt(referenceTo(target));
    }
    const TypeModel* model(RefType reference) {
        const std::scoped_lock lock(mutex_);
        return modelAt(reference);
    }

private:
    struct Entry {
        const Target* target;
        std::unique_ptr<TypeModel> model;
    };

    RefType referenceTo(const Target& target) {
        const auto [position, isNew] = references_.try_emplace(target, static_cast<RefType>(entries_.size() + 1));
        if (isNew) entries_.push_back({&position->first, nullptr});
        return position->second;
    }

    const TypeModel* modelAt(RefType reference) {
        if (reference == 0 || reference > entries_.size()) return nullptr;
        Entry& entry = entries_[reference - 1];
        if (entry.model == nullptr) {
            auto made = std::make_unique<TypeModel>();
            made->attributes.memidConstructor = binary::dispIds::unknown;
            made->attributes.memidDestructor = binary::dispIds::unknown;
            made->attributes.cbAlignment = alignof(void*);
            made->attributes.wMajorVerNum = 1;
            made->attributes.wMinorVerNum = 2;
            std::visit([&](const auto& target) { describe(target, *made); }, *entry.target);
            entry.model = std::move(made);
        }
        return entry.model.get();
    }

    static void describeInterface(TypeModel& model, const std::string& library, const std::string& className) {
        model.name = "_" + className;
        model.attributes.guid = binary::nameBasedId(library + "._" + className);
        model.attributes.typekind = TypeKindCode::dispatch;
        model.attributes.cbSizeInstance = sizeof(void*);
        model.attributes.wTypeFlags = binary::typeDispatchable;
    }

    void describe(const std::string& absentClass, TypeModel& model) {
        describeInterface(model, defaultSource, absentClass);
    }

    void describe(const ClassInfo* info, TypeModel& model) {
        describeInterface(model, info->library, info->name);
        model.text = info->progId();
        if (info->create != nullptr) model.attributes.wTypeFlags |= binary::typeCanCreate;
        for (const SlotInfo& slot : info->index().slots())
            addFunction(slot, info->library, model);
        model.attributes.cFuncs = static_cast<std::uint16_t>(model.functions.size());
    }

    void describe(const EnumInfo* info, TypeModel& model) {
        describeValues(model, info->name, TypeKindCode::enumeration, sizeof(std::int32_t));
        for (const auto& member : info->members) {
            auto& variable = addVariable(model, member.name, vt::i4);
            variable.constant.vt = vt::i4;
            variable.constant.i4 = member.value;
            variable.description.lpvarValue = &variable.constant;
            variable.description.varkind = binary::variableConstant;
        }
    }

    void describe(const RecordInfo* info, TypeModel& model) {
        const RecordLayout& layout = layoutOf(*info);
        model.record = info;
        describeValues(model, info->name, TypeKindCode::record, layout.size);
        for (std::size_t i = 0; i < layout.fields.size(); ++i) {
            auto& variable = addVariable(model, layout.fields[i].name, layout.fields[i].type);
            variable.description.elemdescVar.type = typeOf(info->fields[i].type, defaultSource, model);
            variable.description.oInst = layout.fields[i].offset;
            variable.description.varkind = binary::variableInstance;
        }
    }

    static void describeValues(TypeModel& model, const char* name, TypeKindCode kind, std::uint32_t size) {
        model.name = name;
        model.attributes.guid = binary::nameBasedId(std::string(defaultSource) + "." + name);
        model.attributes.typekind = kind;
        model.attributes.cbSizeInstance = size;
    }

    static TypeModel::Variable& addVariable(TypeModel& model, const char* name, binary::VarType type) {
        auto& variable = model.variables.emplace_back();
        variable.name = name;
        variable.description.memid = firstVariable + static_cast<binary::DispId>(model.variables.size() - 1);
        variable.description.elemdescVar.type.vt = type;
        model.attributes.cVars = static_cast<std::uint16_t>(model.variables.size());
        return variable;
    }

    void addFunction(const SlotInfo& slot, TextView library, TypeModel& model) {
        const MemberRow& row = *slot.row;
        auto& function = model.functions.emplace_back();
        function.row = &row;
        auto& description = function.description;
        for (const ParamInfo& param : row.parameters()) {
            auto& element = function.params.emplace_back();
            element.type = typeOf(param.type, library, model);
            if (param.byRef) element.type = pointerTo(element.type, model);
            element.param.flags =
                static_cast<std::uint16_t>(binary::paramIn | (param.writesBack ? binary::paramOut : 0) |
                                           (param.optional ? binary::paramOptional : 0));
            if (param.optional) ++description.cParamsOpt;
        }
        description.elemdescFunc.type.vt = vt::none;
        if (slot.kind == MemberKind::let || slot.kind == MemberKind::set) {
            auto& assigned = function.params.emplace_back();
            assigned.type = typeOf(row.type, library, model);
            assigned.param.flags = binary::paramIn;
        } else {
            description.elemdescFunc.type = typeOf(row.type, library, model);
        }
        description.memid = slot.id;
        description.lprgelemdescParam = function.params.data();
        description.cParams = static_cast<std::int16_t>(function.params.size());
        description.funckind = binary::functionDispatch;
        description.callconv = binary::callStandard;
        description.invkind = invokeKind(slot.kind);
        description.wFuncFlags = row.isEnumerator ? binary::functionHidden : std::uint16_t{0};
    }

    static TypeDesc pointerTo(const TypeDesc& type, TypeModel& model) {
        TypeDesc pointer{};
        pointer.vt = vt::pointer;
        pointer.pointed = &model.pointed.emplace_back(type);
        return pointer;
    }

    TypeDesc reference(const Target& target) {
        TypeDesc type{};
        type.vt = vt::userDefined;
        type.refType = referenceTo(target);
        return type;
    }

    TypeDesc typeOf(const TypeRef& type, TextView library, TypeModel& model) {
        TypeDesc plain{};
        switch (type.kind) {
        case TypeKind::none:
            plain.vt = vt::none;
            break;
        case TypeKind::text:
            plain.vt = vt::bstr;
            break;
        case TypeKind::integer:
            plain.vt = vt::i2;
            break;
        case TypeKind::longInteger:
            plain.vt = vt::i4;
            break;
        case TypeKind::byte:
            plain.vt = vt::ui1;
            break;
        case TypeKind::single:
            plain.vt = vt::r4;
            break;
        case TypeKind::doubleFloat:
            plain.vt = vt::r8;
            break;
        case TypeKind::boolean:
            plain.vt = vt::boolean;
            break;
        case TypeKind::currency:
            plain.vt = vt::cy;
            break;
        case TypeKind::date:
            plain.vt = vt::date;
            break;
        case TypeKind::variant:
            plain.vt = vt::variant;
            break;
        case TypeKind::enumerator:
            plain.vt = vt::unknown;
            break;
        case TypeKind::anyObject:
            plain.vt = vt::dispatch;
            break;
        case TypeKind::object:
        case TypeKind::picture:
        case TypeKind::connection:
            return pointerTo(reference(findClassTarget(type.name, library)), model);
        case TypeKind::enumeration:
            return reference(type.enumeration);
        case TypeKind::record:
            return reference(type.record);
        }
        return plain;
    }

    std::mutex mutex_;
    std::map<Target, RefType> references_;
    std::deque<Entry> entries_; ///< a reference is the position from 1
};

Catalogue& catalogue() {
    static auto* const only = new Catalogue; // never destroyed: clients may still read it while the process ends
    return *only;
}

} // namespace

const TypeModel& modelOf(const ClassInfo& info) {
    return catalogue().model(&info);
}

const TypeModel& modelOf(const EnumInfo& info) {
    return catalogue().model(&info);
}

const TypeModel& modelOf(const RecordInfo& info) {
    return catalogue().model(&info);
}

const TypeModel* modelOf(binary::RefType reference) {
    return catalogue().model(reference);
}

} // namespace corveth::server
