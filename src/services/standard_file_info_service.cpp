#include "services/standard_file_info_service.h"

#include "platform/desktop/file_content.h"
#include "platform/desktop/file_type.h"
#include "platform/desktop/replaceable.h"

namespace corveth {

struct StandardFileInfoService::Table {
    static constexpr MemberRow members[] = {
        method<&StandardFileInfoService::Properties>("Properties", "Path"),
        method<&StandardFileInfoService::Content>("Content", "Path"),
        method<&StandardFileInfoService::Program>("Program", "Path"),
    };
};
constinit const ClassInfo StandardFileInfoService::description =
    describe<StandardFileInfoService, StandardFileInfoService::Table>("Corveth");

namespace {

Replaceable<Ref<FileInfoService>()>& factory() {
    static Replaceable<Ref<FileInfoService>()> factory(
        []() -> Ref<FileInfoService> { return make<StandardFileInfoService>(); });
    return factory;
}

} // namespace

Ref<FileInfoService> makeFileInfoService() {
    return factory()();
}

FileInfoServiceFactory setFileInfoServiceFactory(FileInfoServiceFactory replacement) {
    return factory().set(std::move(replacement));
}

FileProperties StandardFileInfoService::Properties(const Text& path) {
    FileProperties properties;
    properties.Size = fileSize(path);
    properties.TypeText = fileTypeText(path);
    properties.FileName = path.substr(path.rfind('/') + 1);
    return properties;
}

Value StandardFileInfoService::Content(const Text& path) {
    return readFile(path);
}

Text StandardFileInfoService::Program(const Text& path) {
    return associatedProgram(path);
}

} // namespace corveth
