#pragma once

#include "attachments/attachments.h"
#include "platform/desktop/clock.h"
#include "platform/desktop/message_box.h"
#include "services/standard_db_service.h"
#include "session/file_info_service.h"
#include "session/module_state.h"
#include "support/fixture.h"

namespace corveth::test {

/// The data service, with a list of what it was asked for.
class RecordingService final : public DbService {
public:
    std::vector<Text> calls;
    Text file;       ///< what the user chooses
    int refused = 0; ///< of the new IDs from here on, the one that there is not

    [[nodiscard]] const ClassInfo& classInfo() const noexcept override { return StandardDbService::description; }
    Ref<Recordset> OpenRecordset(Text sql, Ref<Connection>& given, std::int32_t& cursorType,
                                 std::int32_t& lockType) override {
        calls.push_back(std::to_string(cursorType) + "/" + std::to_string(lockType) + " " + sql);
        return standard_->OpenRecordset(std::move(sql), given, cursorType, lockType);
    }
    Text GenerateId(Text code, std::int32_t length, Text column, Text table, Ref<Connection>& given) override {
        calls.push_back(code + " " + std::to_string(length) + " " + column + " " + table);
        const bool isRefused = refused == 1;
        refused -= refused > 0 ? 1 : 0;
        if (isRefused) raise(errors::overflow, "no more IDs");
        return standard_->GenerateId(std::move(code), length, std::move(column), std::move(table), given);
    }
    Value ValueOrDefault(Value value, Value defaultValue) override {
        return standard_->ValueOrDefault(std::move(value), std::move(defaultValue));
    }
    Text SelectFile(std::int32_t owner, Text& title) override {
        calls.push_back("file " + std::to_string(owner) + " '" + title + "'");
        return file;
    }
    Text GetTempFolder() override { return standard_->GetTempFolder(); }

private:
    Ref<DbService> standard_ = makeDbService();
};

/// Files that are nowhere.
struct FakeFiles {
    std::vector<Text> calls;
    std::int32_t size = 0;
    Bytes content;
    Text program;     ///< for every path but a page of the web
    Text pageProgram; ///< for `index.html`
    Text failure;     ///< of the operation of that name
    int made = 0, alive = 0;
};

class FakeFileService final : public FileInfoService {
public:
    explicit FakeFileService(FakeFiles& files) : files_(files) { ++files_.made, ++files_.alive; }
    ~FakeFileService() override { --files_.alive; }
    [[nodiscard]] const ClassInfo& classInfo() const noexcept override { return StandardDbService::description; }

    FileProperties Properties(const Text& path) override {
        called("Properties", path);
        FileProperties properties;
        properties.Size = files_.size;
        properties.TypeText = "Plain text";
        properties.FileName = path.substr(path.rfind('/') + 1);
        return properties;
    }
    Value Content(const Text& path) override {
        called("Content", path);
        return files_.content;
    }
    Text Program(const Text& path) override {
        called("Program", path);
        return path.ends_with("/index.html") ? files_.pageProgram : files_.program;
    }

private:
    void called(const char* what, const Text& path) {
        files_.calls.push_back(Text(what) + " " + path);
        if (files_.failure == what) raise(errors::overflow, path);
    }
    FakeFiles& files_;
};

/// Attachments on each engine, on a Thursday afternoon, with files that are nowhere.
class AttachmentWorld : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        service = make<RecordingService>();
        moduleState().DbServiceInstance = service;
        boxesBefore_ = setMessageBoxHandler([this](const MessageBox& box) {
            boxes.push_back(box.title + "|" + box.prompt + "|" + std::to_string(box.flags));
            return messageBoxes::ok;
        });
        clockBefore_ = setClock([] { return fromCivil({2026, 3, 5, 14, 30, 15}); });
        filesBefore_ =
            setFileInfoServiceFactory([this]() -> Ref<FileInfoService> { return make<FakeFileService>(files); });
    }
    void TearDown() override {
        setFileInfoServiceFactory(filesBefore_);
        setClock(clockBefore_);
        setMessageBoxHandler(boxesBefore_);
        service = nullptr;
        DatabaseTest::TearDown();
    }

    /// What the data service was asked for since the last call.
    std::vector<Text> serviceCalls() { return std::exchange(service->calls, {}); }

    static Bytes bytes(TextView text) {
        const auto* first = reinterpret_cast<const std::byte*>(text.data());
        return {first, first + text.size()};
    }
    /// Saved as a new one of `link`; its row is the next of the IDs.
    static Ref<Attachment> saved(const Text& title, const Text& link = "BG00000001") {
        auto attachment = make<Attachment>();
        attachment->AttachmentTitle = title;
        attachment->AttachmentType = "Text";
        attachment->AttachmentSize = static_cast<std::int32_t>(title.size());
        attachment->AttachmentDate = "2026-01-02 03:04:05";
        attachment->Data = bytes(title);
        attachment->UpdateAttachment(link);
        return attachment;
    }
    static Ref<Attachment> loaded(const Text& id) {
        auto attachment = make<Attachment>();
        attachment->AttachmentID = id;
        attachment->Populate();
        return attachment;
    }
    static Ref<Attachments> listed(const Text& link) {
        auto attachments = make<Attachments>();
        attachments->let_LinkId(link);
        attachments->Populate();
        return attachments;
    }
    /// What the row holds beside the key and the data.
    Text rowOf(const Text& id) {
        Text row;
        for (const auto* column :
             {"AttachmentTitle", "AttachmentType", "AttachmentSize", "AttachmentDate", "LinkID", "LinkType"}) {
            row += scalar(Text("Select ") + column + " From Attachments Where AttachmentID='" + id + "'") + "|";
        }
        row.pop_back();
        return row;
    }

    Ref<RecordingService> service;
    FakeFiles files;
    std::vector<Text> boxes;

private:
    MessageBoxHandler boxesBefore_;
    Clock clockBefore_;
    FileInfoServiceFactory filesBefore_;
};

} // namespace corveth::test
