#include "operations.h"

#include "attachments/attachment.h"
#include "platform/scope_exit.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <malloc.h>
#include <random>
#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr std::size_t fileSize = RawAttachments::fileSize;
constexpr const char* fileId = RawAttachments::fileId;
constexpr const char* itemId = "BG00000001";

/// Bytes that do not compress; two files by turns, for what is there already is not written again.
class Files {
public:
    Files() {
        std::mt19937 random(5); // NOLINT(cert-msc51-cpp): the same on both sides
        for (Bytes& file : files_) {
            file.resize(fileSize);
            std::ranges::generate(file, [&] { return static_cast<std::byte>(random()); });
        }
    }
    void take() { next = files_[++turn_ % files_.size()]; }

    Bytes next;

private:
    std::array<Bytes, 2> files_;
    std::size_t turn_ = 0;
};

std::size_t storeOurs(const std::string& id, Bytes file) {
    const auto attachment = make<Attachment>();
    attachment->AttachmentID = id;
    attachment->AttachmentTitle = "report.pdf";
    attachment->AttachmentType = "PDF document";
    attachment->AttachmentSize = static_cast<std::int32_t>(file.size());
    attachment->AttachmentDate = "2026-01-02 03:04:05";
    attachment->Data = std::move(file);
    attachment->UpdateAttachment(itemId);
    return attachment->Data.getIf<Bytes>()->size();
}

std::size_t storeRaw(RawAttachments& attachments, const std::string& id, Bytes file) {
    RawAttachment attachment;
    attachment.id = id;
    attachment.title = "report.pdf";
    attachment.type = "PDF document";
    attachment.size = static_cast<std::int32_t>(file.size());
    attachment.date = RawAttachments::date;
    attachment.linkId = itemId;
    attachment.linkType = "Bug";
    attachment.data = std::move(file);
    attachments.save(attachment);
    return attachment.data.size();
}

std::size_t readOurs() {
    const auto attachment = make<Attachment>();
    attachment->AttachmentID = fileId;
    attachment->Populate();
    return attachment->Data.getIf<Bytes>()->size() + attachment->AttachmentTitle.size();
}

std::size_t readRaw(RawAttachments& attachments) {
    RawAttachment attachment;
    if (!attachments.load(fileId, attachment)) throw std::runtime_error("the file is gone");
    return attachment.data.size() + attachment.title.size();
}

Pair stores(World& world, const std::string& id) {
    auto ours = std::make_shared<Files>(), raw = std::make_shared<Files>();
    return {1,
            {[=, &world] {
                 world.dropNewAttachments(Who::ours);
                 ours->take();
             },
             [=] { return storeOurs(id, std::move(ours->next)); }},
            {[=, &world] {
                 world.dropNewAttachments(Who::raw);
                 raw->take();
             },
             [=, &world] { return storeRaw(world.rawAttachments(), id, std::move(raw->next)); }}};
}

/// A figure of this process in kilobytes, as /proc has it.
std::size_t kilobytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::size_t value = 0;
        if (word == name + ":" && status >> value) return value;
    }
    throw std::runtime_error("the system does not tell " + name);
}

/// What `run` takes at its height, in files.
template <class Run>
double height(Run&& run) {
    run(); // what is kept for good, once
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
    const std::size_t before = kilobytes("VmRSS");
    run();
    const std::size_t peak = std::max(kilobytes("VmHWM"), before);
    return static_cast<double>(peak - before) * 1024 / fileSize;
}

} // namespace

Pair storeNewFile(World& world) {
    return stores(world, "");
}

Pair storeFileAgain(World& world) {
    return stores(world, fileId);
}

Pair readFile(World& world) {
    return {1, {{}, [] { return readOurs(); }}, {{}, [&world] { return readRaw(world.rawAttachments()); }}};
}

FileMemory memoryOfFile(World& world) {
    // Files are taken from the system one by one here, and given back to it, so that it knows what is in use.
    constexpr int always = 64 * 1024, usually = 32 * 1024 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, always);
    const auto back = finally([] { ::mallopt(M_MMAP_THRESHOLD, usually); });
    Files files;
    const auto next = [&] {
        files.take();
        return std::move(files.next);
    };
    RawAttachments& raw = world.rawAttachments();
    return {{height([&] { storeOurs("", next()); }), height([&] { storeRaw(raw, "", next()); })},
            {height([&] { storeOurs(fileId, next()); }), height([&] { storeRaw(raw, fileId, next()); })},
            {height([&] { readOurs(); }), height([&] { readRaw(raw); })}};
}

} // namespace corveth::bench
