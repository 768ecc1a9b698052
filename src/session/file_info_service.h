#pragma once

#include "platform/automation/describe.h"

#include <functional>

namespace corveth {

/// What is known of a file: what its type is called, its name without the folder, its size in bytes (the greatest
/// number of 32 bits for a larger one). The other fields are empty.
struct FileProperties {
    std::int32_t Reserved = 0;
    std::int32_t Size = 0;
    Text TypeText;
    Text Text2, Text3, Text4, Text5, Text6, Text7;
    Text FileName;
    Text Text9, Text10, Text11, Text12, Text13, Text14, Text15;
};

inline constexpr RecordInfo::Field filePropertiesFields[] = {
    recordField<&FileProperties::Reserved>("Reserved"), recordField<&FileProperties::Size>("Size"),
    recordField<&FileProperties::TypeText>("TypeText"), recordField<&FileProperties::Text2>("Text2"),
    recordField<&FileProperties::Text3>("Text3"),       recordField<&FileProperties::Text4>("Text4"),
    recordField<&FileProperties::Text5>("Text5"),       recordField<&FileProperties::Text6>("Text6"),
    recordField<&FileProperties::Text7>("Text7"),       recordField<&FileProperties::FileName>("FileName"),
    recordField<&FileProperties::Text9>("Text9"),       recordField<&FileProperties::Text10>("Text10"),
    recordField<&FileProperties::Text11>("Text11"),     recordField<&FileProperties::Text12>("Text12"),
    recordField<&FileProperties::Text13>("Text13"),     recordField<&FileProperties::Text14>("Text14"),
    recordField<&FileProperties::Text15>("Text15"),
};
inline constexpr RecordInfo filePropertiesInfo{"FileProperties", filePropertiesFields};

template <>
struct RecordTraits<FileProperties>
    : RecordMembers<filePropertiesInfo, &FileProperties::Reserved, &FileProperties::Size, &FileProperties::TypeText,
                    &FileProperties::Text2, &FileProperties::Text3, &FileProperties::Text4, &FileProperties::Text5,
                    &FileProperties::Text6, &FileProperties::Text7, &FileProperties::FileName, &FileProperties::Text9,
                    &FileProperties::Text10, &FileProperties::Text11, &FileProperties::Text12, &FileProperties::Text13,
                    &FileProperties::Text14, &FileProperties::Text15> {};

/// What the system asks of files outside the database. Made for one use and released after it.
class CORVETH_API FileInfoService : public Object {
public:
    static constexpr const char* className = "FileInfoService";

    virtual FileProperties Properties(const Text& path) = 0;
    /// The whole file, as bytes.
    virtual Value Content(const Text& path) = 0;
    /// The command that opens the file when it is put behind; empty when there is none.
    virtual Text Program(const Text& path) = 0;
};

/// A new one, of this build (`Corveth.FileInfoService`) or of the factory that a host has set.
CORVETH_API Ref<FileInfoService> makeFileInfoService();

using FileInfoServiceFactory = std::function<Ref<FileInfoService>()>;
/// For the whole process; an empty one brings this build's back. Returns the one before, empty for this build's.
CORVETH_API FileInfoServiceFactory setFileInfoServiceFactory(FileInfoServiceFactory factory);

} // namespace corveth
