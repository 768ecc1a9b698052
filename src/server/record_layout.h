#pragma once

#include "platform/automation/class_info.h"
#include "server/binary/binary_interface.h"

#include <vector>

namespace corveth::server {

/// A record as a structure in memory, its fields aligned as the C language does it. Records hold plain fields: texts,
/// numbers, dates, variants and objects.
struct RecordLayout {
    struct Field {
        const char* name;
        binary::VarType type;
        std::uint32_t offset;
    };
    const RecordInfo* info;
    std::vector<Field> fields;
    std::uint32_t size;

    explicit RecordLayout(const RecordInfo& record);
};

/// Made once a record type.
const RecordLayout& layoutOf(const RecordInfo& record);

/// Counted once for the receiver.
binary::IRecordInfo* makeRecordInfo(const RecordInfo& record);

/// What a client passed; 13 unless `info` is one of ours.
Value recordOfClient(const void* data, binary::IRecordInfo* info);
void toClientRecord(const Record& record, binary::Variant& variant);
/// Puts `value` in the place of the client's record.
void replaceRecord(const Value& value, void* data, binary::IRecordInfo* info);

} // namespace corveth::server
