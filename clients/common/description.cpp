#include "common/description.h"

#include "common/conversion.h"

#include <memory>
#include <mutex>

namespace corveth::client {

namespace {

namespace vt = binary::vt;
using binary::Held;
using binary::ITypeInfo;

/// Descriptions by interface id.
struct Cache {
    std::mutex mutex;
    std::vector<std::pair<binary::Guid, std::unique_ptr<ClassDescription>>> classes;
};

Cache& cache() {
    static auto* const only = new Cache; // descriptions are handed out for the life of the process
    return *only;
}

binary::TypeAttr attributesOf(ITypeInfo& info) {
    binary::TypeAttr* attributes = nullptr;
    requireSuccess(info.GetTypeAttr(&attributes), "the attributes of a type");
    const binary::TypeAttr copy = *attributes;
    info.ReleaseTypeAttr(attributes);
    return copy;
}

struct Names {
    std::string name, text;
};

Names namesOf(ITypeInfo& info, binary::DispId member = binary::dispIds::unknown) {
    binary::Bstr name = nullptr;
    binary::Bstr text = nullptr;
    requireSuccess(info.GetDocumentation(member, &name, &text, nullptr, nullptr), "a type description");
    Names names;
    names.name = takeText(name);
    names.text = takeText(text);
    return names;
}

/// The name of the class whose interface `interfaceName` is.
std::string classNameOf(const std::string& interfaceName) {
    return interfaceName.starts_with('_') ? interfaceName.substr(1) : interfaceName;
}

Held<ITypeInfo> referenced(ITypeInfo& from, binary::RefType reference) {
    Held<ITypeInfo> info;
    requireSuccess(from.GetRefTypeInfo(reference, info.out()), "a referenced type");
    return info;
}

/// Reads one class.
class Reader {
public:
    explicit Reader(ITypeInfo& info) : info_(info) {}

    std::unique_ptr<ClassDescription> read(const binary::TypeAttr& attributes) {
        const Names names = namesOf(info_);
        class_ = std::make_unique<ClassDescription>();
        class_->name = classNameOf(names.name);
        class_->progId = names.text;
        for (std::uint32_t i = 0; i < attributes.cFuncs; ++i) {
            binary::FuncDesc* function = nullptr;
            requireSuccess(info_.GetFuncDesc(i, &function), "a function description");
            class_->members.push_back(readMember(static_cast<int>(i) + 1, *function));
            info_.ReleaseFuncDesc(function);
        }
        return std::move(class_);
    }

private:
    MemberDescription readMember(int slot, const binary::FuncDesc& function) {
        MemberDescription member;
        member.slot = slot;
        member.dispId = function.memid;
        member.kind = kindOf(function.invkind);
        const bool assigns = member.kind == MemberKind::let || member.kind == MemberKind::set;
        const auto paramCount = static_cast<std::size_t>(function.cParams - (assigns ? 1 : 0));
        const std::vector<std::string> names = readNames(function.memid, paramCount + 1);
        member.name = names.front();
        for (std::size_t i = 0; i < paramCount; ++i) {
            const auto& element = function.lprgelemdescParam[i];
            const bool byRef = isByRef(element.type);
            member.params.push_back({i + 1 < names.size() ? names[i + 1] : std::string(),
                                     typeName(info_, byRef ? *element.type.pointed : element.type), byRef,
                                     (element.param.flags & binary::paramOptional) != 0});
        }
        member.type =
            typeName(info_, assigns ? function.lprgelemdescParam[paramCount].type : function.elemdescFunc.type);
        member.isDefault = function.memid == binary::dispIds::value;
        member.isEnumerator = function.memid == binary::dispIds::newEnum;
        if (member.isEnumerator && member.type == "Object") member.type = "Enumerator";
        member.isHidden = (function.wFuncFlags & binary::functionHidden) != 0;
        return member;
    }

    static MemberKind kindOf(binary::InvokeKind kind) noexcept {
        switch (kind) {
        case binary::InvokeKind::propertyGet:
            return MemberKind::get;
        case binary::InvokeKind::propertyPut:
            return MemberKind::let;
        case binary::InvokeKind::propertyPutRef:
            return MemberKind::set;
        case binary::InvokeKind::function:
            break;
        }
        return MemberKind::method;
    }

    std::vector<std::string> readNames(binary::DispId member, std::size_t capacity) {
        std::vector<binary::Bstr> texts(capacity);
        std::uint32_t count = 0;
        requireSuccess(info_.GetNames(member, texts.data(), static_cast<std::uint32_t>(capacity), &count),
                       "the names of a function");
        std::vector<std::string> names;
        for (std::uint32_t i = 0; i < count; ++i)
            names.push_back(takeText(texts[i]));
        if (names.empty()) names.emplace_back();
        return names;
    }

    /// A pointer to an interface is the object itself; any other is a by-reference parameter.
    bool isByRef(const binary::TypeDesc& type) {
        if (type.vt != vt::pointer) return false;
        return type.pointed->vt != vt::userDefined || kindOfReference(info_, type.pointed->refType) != interfaceKind;
    }

    static constexpr auto interfaceKind = binary::TypeKindCode::dispatch;

    static binary::TypeKindCode kindOfReference(ITypeInfo& from, binary::RefType reference) {
        return attributesOf(*referenced(from, reference).get()).typekind;
    }

    std::string typeName(ITypeInfo& from, const binary::TypeDesc& type) {
        switch (type.vt) {
        case vt::none:
            return "none";
        case vt::bstr:
            return "String";
        case vt::i2:
            return "Integer";
        case vt::i4:
            return "Long";
        case vt::ui1:
            return "Byte";
        case vt::r4:
            return "Single";
        case vt::r8:
            return "Double";
        case vt::boolean:
            return "Boolean";
        case vt::cy:
            return "Currency";
        case vt::date:
            return "Date";
        case vt::variant:
            return "Variant";
        case vt::unknown:
            return "Enumerator";
        case vt::pointer:
            return typeName(from, *type.pointed);
        case vt::userDefined:
            return nameOfReference(*referenced(from, type.refType).get());
        default:
            return "Object";
        }
    }

    std::string nameOfReference(ITypeInfo& info) {
        const std::string name = namesOf(info).name;
        switch (attributesOf(info).typekind) {
        case binary::TypeKindCode::enumeration:
            addEnum(info, name);
            return "Enum:" + name;
        case binary::TypeKindCode::record:
            addRecord(info, name);
            return "Record:" + name;
        default:
            break;
        }
        std::string className = classNameOf(name);
        if (className == "Picture" || className == "Connection") return className;
        return "Object:" + className;
    }

    template <class Body>
    static void forEachVariable(ITypeInfo& info, Body&& body) {
        const std::uint32_t count = attributesOf(info).cVars;
        for (std::uint32_t i = 0; i < count; ++i) {
            binary::VarDesc* variable = nullptr;
            requireSuccess(info.GetVarDesc(i, &variable), "a variable description");
            body(*variable, namesOf(info, variable->memid).name);
            info.ReleaseVarDesc(variable);
        }
    }

    void addEnum(ITypeInfo& info, const std::string& name) {
        if (class_->enums.contains(name)) return;
        auto& members = class_->enums[name].members;
        class_->enums[name].name = name;
        forEachVariable(info, [&](const binary::VarDesc& variable, std::string member) {
            members.emplace_back(std::move(member), variable.lpvarValue->i4);
        });
    }

    void addRecord(ITypeInfo& info, const std::string& name) {
        if (class_->records.contains(name)) return;
        auto& fields = class_->records[name].fields;
        class_->records[name].name = name;
        forEachVariable(info, [&](const binary::VarDesc& variable, std::string field) {
            fields.emplace_back(std::move(field), typeName(info, variable.elemdescVar.type));
        });
    }

    ITypeInfo& info_;
    std::unique_ptr<ClassDescription> class_;
};

} // namespace

const ClassDescription& describe(binary::IDispatch& object) {
    Held<ITypeInfo> info;
    requireSuccess(object.GetTypeInfo(0, 0, info.out()), "an object's type description");
    return describe(*info.get());
}

const ClassDescription& describe(ITypeInfo& info) {
    const binary::TypeAttr attributes = attributesOf(info);
    Cache& known = cache();
    const std::scoped_lock lock(known.mutex);
    for (const auto& [id, description] : known.classes) {
        if (id == attributes.guid) return *description;
    }
    auto description = Reader(info).read(attributes);
    known.classes.emplace_back(attributes.guid, std::move(description));
    return *known.classes.back().second;
}

binary::Held<binary::IRecordInfo> findRecordType(binary::IDispatch& object, std::string_view name) {
    Held<ITypeInfo> info;
    requireSuccess(object.GetTypeInfo(0, 0, info.out()), "an object's type description");
    const std::uint32_t count = attributesOf(*info.get()).cFuncs;

    const auto recordOf = [&](const binary::TypeDesc* type) -> Held<binary::IRecordInfo> {
        while (type->vt == vt::pointer)
            type = type->pointed;
        if (type->vt != vt::userDefined) return {};
        const auto target = referenced(*info.get(), type->refType);
        if (namesOf(*target.get()).name != name) return {};
        return binary::query<binary::IRecordInfo>(target.get(), binary::ids::recordInfo);
    };
    Held<binary::IRecordInfo> found;
    for (std::uint32_t i = 0; i < count && !found; ++i) {
        binary::FuncDesc* function = nullptr;
        requireSuccess(info->GetFuncDesc(i, &function), "a function description");
        found = recordOf(&function->elemdescFunc.type);
        for (int param = 0; param < function->cParams && !found; ++param)
            found = recordOf(&function->lprgelemdescParam[param].type);
        info->ReleaseFuncDesc(function);
    }
    return found;
}

} // namespace corveth::client
