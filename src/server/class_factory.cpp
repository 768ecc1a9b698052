#include "server/class_factory.h"

#include "platform/automation/class_registry.h"
#include "server/binary/class_ids.h"
#include "server/binary/memory.h"
#include "server/counted.h"
#include "server/failure.h"
#include "server/object_wrapper.h"

#include <algorithm>
#include <vector>

namespace corveth::server {

namespace {

namespace results = binary::results;
using binary::HResult;

class ClassFactory final : public Counted<binary::IClassFactory> {
public:
    explicit ClassFactory(const ClassInfo& info) noexcept : info_(info) {}

    HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        return queryFor(iid, binary::ids::classFactory, object);
    }

    HResult CreateInstance(binary::IUnknown* outer, const binary::Guid& iid, void** object) noexcept override {
        if (object == nullptr) return results::badPointer;
        *object = nullptr;
        if (outer != nullptr) return results::noAggregation;
        return guarded([&] {
            Apartment::current()->collect();
            const Ref<Object> made = info_.create();
            const binary::Held<binary::IUnknown> wrapper(toClient(*made));
            return wrapper->QueryInterface(iid, object);
        });
    }

    HResult LockServer(std::int32_t lock) noexcept override {
        outstanding.fetch_add(lock != 0 ? 1 : -1, std::memory_order_acq_rel);
        return results::ok;
    }

private:
    ~ClassFactory() override = default;

    const ClassInfo& info_;
};

} // namespace

const ClassInfo* findCreatable(const binary::Guid& classId) {
    struct Entry {
        binary::Guid id;
        const ClassInfo* info;
    };
    static const std::vector<Entry> entries = [] {
        std::vector<Entry> made;
        for (const ClassInfo* info : allClasses()) {
            if (info->create == nullptr) continue;
            const Text progId = info->progId();
            made.push_back({binary::nameBasedId(progId), info});
            made.push_back({binary::nameBasedId(foldCase(progId)), info});
        }
        return made;
    }();
    const auto found = std::ranges::find(entries, classId, &Entry::id);
    return found == entries.end() ? nullptr : found->info;
}

binary::IClassFactory* makeFactory(const ClassInfo& info) {
    return new ClassFactory(info);
}

} // namespace corveth::server
