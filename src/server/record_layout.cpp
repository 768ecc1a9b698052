#include "server/record_layout.h"

#include "server/binary/class_ids.h"
#include "server/binary/memory.h"
#include "server/counted.h"
#include "server/failure.h"
#include "server/private_ids.h"
#include "server/type_model.h"
#include "server/variants.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

namespace corveth::server {

namespace {

namespace vt = binary::vt;
namespace results = binary::results;
using binary::HResult;

struct FieldShape {
    binary::VarType type;
    std::uint32_t size;
    std::uint32_t alignment;
};

FieldShape shapeOf(const RecordInfo::Field& field) {
    switch (field.type.kind) {
    case TypeKind::text:
        return {vt::bstr, 8, 8};
    case TypeKind::integer:
        return {vt::i2, 2, 2};
    case TypeKind::longInteger:
    case TypeKind::enumeration:
        return {vt::i4, 4, 4};
    case TypeKind::byte:
        return {vt::ui1, 1, 1};
    case TypeKind::single:
        return {vt::r4, 4, 4};
    case TypeKind::doubleFloat:
        return {vt::r8, 8, 8};
    case TypeKind::boolean:
        return {vt::boolean, 2, 2};
    case TypeKind::currency:
        return {vt::cy, 8, 8};
    case TypeKind::date:
        return {vt::date, 8, 8};
    case TypeKind::variant:
        return {vt::variant, sizeof(binary::Variant), alignof(binary::Variant)};
    case TypeKind::object:
    case TypeKind::picture:
    case TypeKind::connection:
    case TypeKind::anyObject:
        return {vt::dispatch, 8, 8};
    case TypeKind::none:
    case TypeKind::record:
    case TypeKind::enumerator:
        break;
    }
    raise(errors::typeMismatch, Text("the record field ") + field.name + " has a type that no record can hold");
}

constexpr std::uint32_t aligned(std::uint32_t offset, std::uint32_t alignment) noexcept {
    return (offset + alignment - 1) / alignment * alignment;
}

void* fieldAt(void* record, const RecordLayout::Field& field) noexcept {
    return static_cast<char*>(record) + field.offset;
}
const void* fieldAt(const void* record, const RecordLayout::Field& field) noexcept {
    return static_cast<const char*>(record) + field.offset;
}

void clearFields(const RecordLayout& layout, void* record) noexcept {
    for (const auto& field : layout.fields) {
        void* at = fieldAt(record, field);
        switch (field.type) {
        case vt::bstr:
            binary::freeText(*static_cast<binary::Bstr*>(at));
            break;
        case vt::variant:
            binary::clear(*static_cast<binary::Variant*>(at));
            break;
        case vt::dispatch:
            if (auto* object = *static_cast<binary::IDispatch**>(at)) object->Release();
            break;
        default:
            break;
        }
    }
    std::memset(record, 0, layout.size);
}

Record readRecord(const RecordLayout& layout, const void* data) {
    Record record{layout.info, {}};
    record.fields.reserve(layout.fields.size());
    for (const auto& field : layout.fields)
        record.fields.push_back(fromMemory(field.type, fieldAt(data, field)));
    return record;
}

void writeRecord(const RecordLayout& layout, const Record& record, void* data) {
    for (std::size_t i = 0; i < layout.fields.size(); ++i)
        storeAs(layout.fields[i].type, fieldAt(data, layout.fields[i]), record.fields[i]);
}

class RecordType final : public Counted<binary::IRecordInfo> {
public:
    explicit RecordType(const RecordInfo& record) : layout_(layoutOf(record)) {}

    [[nodiscard]] const RecordLayout& layout() const noexcept { return layout_; }

    HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        if (object != nullptr && iid == ownRecordId()) {
            AddRef();
            *object = this;
            return results::ok;
        }
        return queryFor(iid, binary::ids::recordInfo, object);
    }

    HResult RecordInit(void* record) noexcept override {
        if (record == nullptr) return results::badPointer;
        std::memset(record, 0, layout_.size);
        return results::ok;
    }
    HResult RecordClear(void* record) noexcept override {
        if (record == nullptr) return results::badPointer;
        clearFields(layout_, record);
        return results::ok;
    }
    HResult RecordCopy(void* source, void* target) noexcept override {
        if (source == nullptr || target == nullptr) return results::badPointer;
        return guarded([&] {
            writeRecord(layout_, readRecord(layout_, source), target);
            return results::ok;
        });
    }
    HResult GetGuid(binary::Guid* guid) noexcept override {
        if (guid == nullptr) return results::badPointer;
        return guarded([&] {
            *guid = modelOf(*layout_.info).attributes.guid;
            return results::ok;
        });
    }
    HResult GetName(binary::Bstr* name) noexcept override {
        if (name == nullptr) return results::badPointer;
        return guarded([&] {
            *name = toBstr(layout_.info->name);
            return results::ok;
        });
    }
    HResult GetSize(std::uint32_t* size) noexcept override {
        if (size == nullptr) return results::badPointer;
        *size = layout_.size;
        return results::ok;
    }
    HResult GetTypeInfo(binary::ITypeInfo** info) noexcept override {
        if (info == nullptr) return results::badPointer;
        return guarded([&] {
            *info = makeTypeInfo(modelOf(*layout_.info));
            return results::ok;
        });
    }
    HResult GetField(void* record, const binary::OleChar* field, binary::Variant* value) noexcept override {
        if (record == nullptr || value == nullptr) return results::badPointer;
        return withField(field, [&](const RecordLayout::Field& found) {
            toVariant(fromMemory(found.type, fieldAt(record, found)), *value);
        });
    }
    HResult GetFieldNoCopy(void* record, const binary::OleChar* field, binary::Variant* value,
                           void** data) noexcept override {
        if (record == nullptr || value == nullptr || data == nullptr) return results::badPointer;
        return withField(field, [&](const RecordLayout::Field& found) {
            *data = nullptr;
            *value = {};
            value->vt = static_cast<binary::VarType>(found.type | vt::byRef);
            value->byRef = fieldAt(record, found);
        });
    }
    HResult PutField(std::uint32_t /*flags*/, void* record, const binary::OleChar* field,
                     binary::Variant* value) noexcept override {
        if (record == nullptr || value == nullptr) return results::badPointer;
        return withField(field, [&](const RecordLayout::Field& found) {
            storeAs(found.type, fieldAt(record, found), fromVariant(*value));
        });
    }
    HResult PutFieldNoCopy(std::uint32_t flags, void* record, const binary::OleChar* field,
                           binary::Variant* value) noexcept override {
        const HResult result = PutField(flags, record, field, value);
        if (result == results::ok) binary::clear(*value); // the record took it over
        return result;
    }
    HResult GetFieldNames(std::uint32_t* count, binary::Bstr* names) noexcept override {
        if (count == nullptr) return results::badPointer;
        const auto all = static_cast<std::uint32_t>(layout_.fields.size());
        if (names == nullptr) {
            *count = all;
            return results::ok;
        }
        return guarded([&] {
            const std::uint32_t capacity = std::min(*count, all);
            *count = 0;
            for (std::uint32_t i = 0; i < capacity; ++i, ++*count)
                names[i] = toBstr(layout_.fields[i].name);
            return results::ok;
        });
    }
    std::int32_t IsMatchingType(binary::IRecordInfo* other) noexcept override {
        const auto own = binary::query<RecordType>(other, ownRecordId());
        return own && own.get()->layout_.info == layout_.info ? 1 : 0;
    }
    void* RecordCreate() noexcept override { return std::calloc(1, layout_.size); }
    HResult RecordCreateCopy(void* source, void** target) noexcept override {
        if (source == nullptr || target == nullptr) return results::badPointer;
        *target = RecordCreate();
        if (*target == nullptr) return results::outOfMemory;
        const HResult result = RecordCopy(source, *target);
        if (result != results::ok) {
            RecordDestroy(*target);
            *target = nullptr;
        }
        return result;
    }
    HResult RecordDestroy(void* record) noexcept override {
        if (record == nullptr) return results::badPointer;
        clearFields(layout_, record);
        std::free(record);
        return results::ok;
    }

private:
    ~RecordType() override = default;

    template <class Body>
    HResult withField(const binary::OleChar* name, Body&& body) noexcept {
        return guarded([&] {
            // Field names come as plain zero-terminated text, without a length before them.
            Text wanted;
            for (; name != nullptr && *name != 0; ++name)
                wanted += *name < 0x80 ? static_cast<char>(*name) : '?';
            const auto found = std::ranges::find_if(
                layout_.fields, [&](const RecordLayout::Field& field) { return equalNoCase(field.name, wanted); });
            if (found == layout_.fields.end()) return results::elementNotFound;
            body(*found);
            return results::ok;
        });
    }

    const RecordLayout& layout_;
};

} // namespace

RecordLayout::RecordLayout(const RecordInfo& record) : info(&record) {
    std::uint32_t offset = 0;
    std::uint32_t alignment = 1;
    for (const auto& field : record.fields) {
        const FieldShape shape = shapeOf(field);
        offset = aligned(offset, shape.alignment);
        fields.push_back({field.name, shape.type, offset});
        offset += shape.size;
        alignment = std::max(alignment, shape.alignment);
    }
    size = aligned(offset, alignment);
}

const RecordLayout& layoutOf(const RecordInfo& record) {
    static std::mutex mutex;
    static auto* const layouts = new std::map<const RecordInfo*, std::unique_ptr<RecordLayout>>;
    const std::scoped_lock lock(mutex);
    auto& layout = (*layouts)[&record];
    if (layout == nullptr) layout = std::make_unique<RecordLayout>(record);
    return *layout;
}

binary::IRecordInfo* makeRecordInfo(const RecordInfo& record) {
    return new RecordType(record);
}

Value recordOfClient(const void* data, binary::IRecordInfo* info) {
    const auto own = binary::query<RecordType>(info, ownRecordId());
    if (!own) raise(errors::typeMismatch, "the record's type is not of this library");
    if (data == nullptr) raise(errors::typeMismatch, "the record has no data");
    return readRecord(own->layout(), data);
}

void toClientRecord(const Record& record, binary::Variant& variant) {
    const binary::Held<binary::IRecordInfo> info(makeRecordInfo(*record.info));
    void* data = info->RecordCreate();
    if (data == nullptr) throw std::bad_alloc();
    variant.record = {data, info.get()};
    info->AddRef();
    variant.vt = vt::record;
    try {
        writeRecord(layoutOf(*record.info), record, data);
    } catch (...) {
        binary::clear(variant);
        throw;
    }
}

void replaceRecord(const Value& value, void* data, binary::IRecordInfo* info) {
    const auto own = binary::query<RecordType>(info, ownRecordId());
    const auto* record = value.getIf<Record>();
    if (!own || record == nullptr || record->info != own->layout().info || data == nullptr) {
        raise(errors::typeMismatch, "a record of the argument's own type is needed");
    }
    writeRecord(own->layout(), *record, data);
}

} // namespace corveth::server
