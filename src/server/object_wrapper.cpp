#include "server/object_wrapper.h"

#include "platform/automation/dispatch.h"
#include "platform/automation/enumerator.h"
#include "server/binary/memory.h"
#include "server/failure.h"
#include "server/foreign_object.h"
#include "server/invocation.h"
#include "server/module.h"
#include "server/private_ids.h"
#include "server/type_model.h"
#include "server/variants.h"

#include <algorithm>
#include <array>

namespace corveth::server {

namespace {

namespace results = binary::results;
using binary::HResult;

/// What stands for one object with clients. It lives as long as the object, and holds it while a client holds the
/// wrapper: so counting needs no lock, and the object keeps one identity.
template <class Interface>
class Wrapper : public Interface, public Object::Edge {
public:
    explicit Wrapper(Object& object) noexcept : object_(object) {}

    std::uint32_t AddRef() noexcept final {
        const std::uint32_t before = references_.fetch_add(1, std::memory_order_relaxed);
        if (before == 0) {
            object_.addRef();
            outstanding.fetch_add(1, std::memory_order_relaxed);
        }
        return before + 1;
    }
    std::uint32_t Release() noexcept final {
        Object& object = object_; // with its last reference the object takes the wrapper along
        const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            object.release();
            outstanding.fetch_sub(1, std::memory_order_release);
        }
        return left;
    }

protected:
    ~Wrapper() override = default;

    [[nodiscard]] bool isHome() const noexcept { return object_.home().isCurrent(); }

    HResult queryFor(const binary::Guid& iid, bool isOwn, void** object) noexcept {
        if (object == nullptr) return results::badPointer;
        *object = nullptr;
        if (!isHome()) return results::wrongThread;
        if (iid == binary::ids::unknown || isOwn) {
            AddRef();
            *object = static_cast<Interface*>(this);
            return results::ok;
        }
        if (iid != ownObjectId()) return results::noInterface;
        object_.addRef();
        *object = &object_;
        return results::ok;
    }

    Object& object_;

private:
    std::atomic<std::uint32_t> references_ = 0;
};

constexpr std::size_t longestName = 64;

/// A member's or parameter's name as plain ASCII in `buffer`; empty for what is no such name.
TextView asName(const binary::OleChar* name, std::array<char, longestName>& buffer) noexcept {
    if (name == nullptr) return {};
    std::size_t length = 0;
    for (; name[length] != 0; ++length) {
        if (length == buffer.size() || name[length] >= 0x80) return {};
        buffer[length] = static_cast<char>(name[length]);
    }
    return {buffer.data(), length};
}

class DispatchWrapper final : public Wrapper<binary::IDispatch> {
public:
    using Wrapper::Wrapper;

    HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        return queryFor(iid, iid == binary::ids::dispatch || isInterfaceOfClass(iid), object);
    }

    HResult GetTypeInfoCount(std::uint32_t* count) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (count == nullptr) return results::badPointer;
        *count = 1;
        return results::ok;
    }

    HResult GetTypeInfo(std::uint32_t index, binary::Lcid /*locale*/, binary::ITypeInfo** info) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (info == nullptr) return results::badPointer;
        *info = nullptr;
        if (index != 0) return results::badIndex;
        return guarded([&] {
            *info = makeTypeInfo(modelOf(object_.classInfo()));
            return results::ok;
        });
    }

    HResult GetIDsOfNames(const binary::Guid& /*reserved*/, binary::OleChar** names, std::uint32_t count,
                          binary::Lcid /*locale*/, binary::DispId* ids) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (names == nullptr || ids == nullptr) return results::badPointer;
        if (count == 0) return results::ok;
        return guarded([&] {
            Apartment::current()->collect();
            return idsOf({names, count}, ids);
        });
    }

    HResult Invoke(binary::DispId member, const binary::Guid& /*reserved*/, binary::Lcid /*locale*/,
                   std::uint16_t flags, binary::DispParams* params, binary::Variant* result,
                   binary::ExcepInfo* exception, std::uint32_t* /*badArgument*/) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (result != nullptr) *result = {};
        if (exception != nullptr) *exception = {};
        try {
            Apartment::current()->collect();
            invokeForClient(object_, member, flags, params, result);
            return results::ok;
        } catch (...) {
            return reportException(exception);
        }
    }

private:
    [[nodiscard]] bool isInterfaceOfClass(const binary::Guid& iid) const noexcept {
        if (iid == binary::ids::unknown || iid == ownObjectId()) return false;
        return guarded([&] {
                   return iid == modelOf(object_.classInfo()).attributes.guid ? results::ok : results::noInterface;
               }) == results::ok;
    }

    HResult idsOf(std::span<binary::OleChar*> names, binary::DispId* ids) const {
        std::array<char, longestName> buffer;
        std::fill_n(ids, names.size(), binary::dispIds::unknown);
        const DispatchIndex& index = object_.classInfo().index();
        const auto id = index.idOf(asName(names[0], buffer));
        if (!id) return results::unknownName;
        ids[0] = *id;

        const auto params = index.member(*id)->parameters();
        HResult result = results::ok;
        for (std::size_t i = 1; i < names.size(); ++i) {
            const TextView name = asName(names[i], buffer);
            const auto found =
                std::ranges::find_if(params, [&](const ParamInfo& param) { return equalNoCase(param.name, name); });
            if (found == params.end()) {
                result = results::unknownName;
            } else {
                ids[i] = static_cast<binary::DispId>(found - params.begin());
            }
        }
        return result;
    }
};

class EnumeratorWrapper final : public Wrapper<binary::IEnumVariant> {
public:
    using Wrapper::Wrapper;

    HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        return queryFor(iid, iid == binary::ids::enumVariant, object);
    }

    HResult Next(std::uint32_t count, binary::Variant* members, std::uint32_t* fetched) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (members == nullptr || (fetched == nullptr && count > 1)) return results::badPointer;
        std::uint32_t done = 0;
        const HResult result = guarded([&] {
            Apartment::current()->collect();
            Value member;
            for (; done < count && enumerator().next(member); ++done)
                toVariant(member, members[done]);
            return done == count ? results::ok : results::no;
        });
        if (result < 0) {
            std::for_each_n(members, done, [](binary::Variant& member) { binary::clear(member); });
            done = 0;
        }
        if (fetched != nullptr) *fetched = done;
        return result;
    }

    HResult Skip(std::uint32_t count) noexcept override {
        if (!isHome()) return results::wrongThread;
        return guarded([&] { return enumerator().skip(count) ? results::ok : results::no; });
    }

    HResult Reset() noexcept override {
        if (!isHome()) return results::wrongThread;
        return guarded([&] {
            enumerator().reset();
            return results::ok;
        });
    }

    HResult Clone(binary::IEnumVariant** clone) noexcept override {
        if (!isHome()) return results::wrongThread;
        if (clone == nullptr) return results::badPointer;
        *clone = nullptr;
        return guarded([&] {
            const Ref<Enumerator> made = enumerator().clone();
            *clone = static_cast<binary::IEnumVariant*>(toClient(*made));
            return results::ok;
        });
    }

private:
    [[nodiscard]] Enumerator& enumerator() const noexcept { return static_cast<Enumerator&>(object_); }
};

bool isEnumerator(const Object& object) noexcept {
    return &object.classInfo() == &Enumerator::description;
}

const ForeignObject* asForeign(const Object& object) noexcept {
    return &object.classInfo() == &ForeignObject::description ? static_cast<const ForeignObject*>(&object) : nullptr;
}

template <class W>
binary::IUnknown* wrap(Object& object) {
    // Only the object's own thread comes here, so nobody else makes one at the same time.
    auto* edge = object.edge.load(std::memory_order_relaxed);
    if (edge == nullptr) {
        edge = new W(object);
        object.edge.store(edge, std::memory_order_relaxed);
    }
    auto* wrapper = static_cast<W*>(edge);
    wrapper->AddRef();
    return wrapper;
}

} // namespace

binary::IUnknown* toClient(Object& object) {
    if (const auto* foreign = asForeign(object)) {
        foreign->pointer()->AddRef();
        return foreign->pointer();
    }
    object.checkThread();
    return isEnumerator(object) ? wrap<EnumeratorWrapper>(object) : wrap<DispatchWrapper>(object);
}

bool isCallable(const Object& object) noexcept {
    if (const auto* foreign = asForeign(object)) return foreign->isCallable();
    return !isEnumerator(object);
}

Ref<Object> objectOfClient(binary::IUnknown* pointer) {
    if (pointer == nullptr) return {};
    void* own = nullptr;
    const HResult result = pointer->QueryInterface(ownObjectId(), &own);
    if (result == results::ok && own != nullptr) {
        Ref<Object> object(static_cast<Object*>(own));
        object->release(); // the answer came with a reference of its own
        return object;
    }
    if (result == results::wrongThread) raise(errors::wrongThread);

    auto callable = binary::query<binary::IDispatch>(pointer, binary::ids::dispatch);
    const bool isCallable = static_cast<bool>(callable);
    if (isCallable) return make<ForeignObject>(binary::Held<binary::IUnknown>(callable.detach()), true);
    pointer->AddRef();
    return make<ForeignObject>(binary::Held<binary::IUnknown>(pointer), false);
}

} // namespace corveth::server
