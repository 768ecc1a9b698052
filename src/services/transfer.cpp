#include "services/transfer.h"

#include "services/dump_line.h"
#include "services/row_dump.h"
#include "services/row_load.h"

#include <limits>

namespace corveth {

namespace {

[[noreturn]] void raiseClosed() {
    raise(errors::objectClosed, {}, transferSource);
}

std::int32_t counted(std::int64_t rows) noexcept {
    return static_cast<std::int32_t>(std::min<std::int64_t>(rows, std::numeric_limits<std::int32_t>::max()));
}

} // namespace

struct Transfer::Table {
    static constexpr MemberRow members[] = {
        method<&Transfer::OpenDump>("OpenDump", "ConnectionString"),
        method<&Transfer::ReadLines>("ReadLines"),
        method<&Transfer::OpenLoad>("OpenLoad", "ConnectionString"),
        method<&Transfer::AddLines>("AddLines", "Lines"),
        method<&Transfer::Finish>("Finish"),
        method<&Transfer::Cancel>("Cancel"),
        method<&Transfer::CountRows>("CountRows"),
        get<&Transfer::get_RowsDone>("RowsDone"),
    };
};
constinit const ClassInfo Transfer::description = describe<Transfer, Transfer::Table>("Corveth");

Transfer::Transfer() = default;
Transfer::~Transfer() = default;

void Transfer::requireClosed() const {
    if (dump_ != nullptr || load_ != nullptr) raise(errors::objectOpen, {}, transferSource);
}

template <class Action>
decltype(auto) Transfer::orClose(const Action& action) {
    try {
        return action();
    } catch (...) {
        Cancel();
        throw;
    }
}

void Transfer::OpenDump(const Text& ConnectionString) {
    requireClosed();
    dump_ = std::make_unique<RowDump>(ConnectionString);
    rowsDone_ = 0;
}

Text Transfer::ReadLines() {
    if (dump_ == nullptr) raiseClosed();
    return orClose([&] {
        Text lines = dump_->next();
        rowsDone_ = dump_->done();
        return lines;
    });
}

void Transfer::OpenLoad(const Text& ConnectionString) {
    requireClosed();
    load_ = std::make_unique<RowLoad>(ConnectionString);
    rowsDone_ = 0;
}

void Transfer::AddLines(const Text& Lines) {
    if (load_ == nullptr) raiseClosed();
    orClose([&] { load_->add(Lines); });
    rowsDone_ = load_->done();
}

void Transfer::Finish() {
    if (dump_ == nullptr && load_ == nullptr) raiseClosed();
    if (load_ != nullptr) orClose([&] { load_->finish(); });
    load_.reset();
    dump_.reset();
}

void Transfer::Cancel() {
    load_.reset();
    dump_.reset();
}

std::int32_t Transfer::CountRows() const {
    if (dump_ == nullptr) raiseClosed();
    return counted(dump_->count());
}

std::int32_t Transfer::get_RowsDone() const {
    return counted(rowsDone_);
}

} // namespace corveth
