#include "platform/data/connection.h"

#include "platform/data/channel.h"
#include "platform/data/guarded.h"
#include "platform/data/recordset.h"

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Connection";
constexpr std::int32_t tableOption = 2, tableDirectOption = 512;

} // namespace

struct Connection::Table {
    static constexpr MemberRow members[] = {
        method<&Connection::Open>("Open", optional("ConnectionString"), optional("UserID"), optional("Password"),
                                  optional("Options")),
        method<&Connection::Close>("Close"),
        method<&Connection::Execute>("Execute", "CommandText", optional("RecordsAffected"), optional("Options")),
        method<&Connection::BeginTrans>("BeginTrans"),
        method<&Connection::CommitTrans>("CommitTrans"),
        method<&Connection::RollbackTrans>("RollbackTrans"),
        getLet<&Connection::get_ConnectionString, &Connection::let_ConnectionString>("ConnectionString"),
        getLet<&Connection::get_CommandTimeout, &Connection::let_CommandTimeout>("CommandTimeout"),
        getLet<&Connection::get_CursorLocation, &Connection::let_CursorLocation>("CursorLocation"),
        get<&Connection::get_Provider>("Provider"),
        get<&Connection::get_State>("State"),
        get<&Connection::get_Version>("Version"),
    };
};

constinit const ClassInfo Connection::description = describe<Connection, Connection::Table>("ADODB");

Connection::Connection() = default;
Connection::~Connection() = default;

void Connection::Open(const Text& ConnectionString, const Text& UserID, const Text& Password,
                      std::int32_t /*Options*/) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    const Text& text = ConnectionString.empty() ? connectionString_ : ConnectionString;
    openWith(data::parseConnectionString(text, UserID, Password), text);
}

void Connection::openWith(const data::ConnectionSettings& settings, const Text& connectionString) {
    auto channel = std::make_unique<data::Channel>(settings);
    if (timeout_ && !settings.timeout) channel->session().setTimeout(*timeout_);
    if (settings.timeout) timeout_ = settings.timeout;
    connectionString_ = data::withoutPassword(connectionString);
    provider_ = settings.provider->name;
    channel_ = std::move(channel);
    log_ = channel_->log();
    ++generation_;
}

void Connection::open(TextView connectionString) {
    Open(Text(connectionString), {}, {}, -1);
}

void Connection::openReadOnly(TextView connectionString) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    auto settings = data::parseConnectionString(connectionString);
    settings.isReadOnly = true;
    openWith(settings, Text(connectionString));
}

void Connection::Close() {
    checkThread();
    if (channel().level() > 0) raise(errors::closeInTransaction, {}, source);
    channel_.reset();
    ++generation_;
}

Ref<Recordset> Connection::Execute(const Text& CommandText, Value& RecordsAffected, std::int32_t Options) {
    checkThread();
    data::Channel& open = channel();
    const bool isTable = Options == tableOption || Options == tableDirectOption;
    const Text sql = isTable ? "Select * From [" + CommandText + "]" : CommandText;
    auto recordset = make<Recordset>();
    std::vector<Value> cells;
    auto outcome = data::guarded(source, [&] { return open.run("execute", sql, &cells); });
    RecordsAffected = static_cast<std::int32_t>(outcome.affected);
    recordset->source_ = sql;
    if (outcome.shape != nullptr) {
        recordset->adopt(Ref<Connection>(this), std::move(outcome.shape), std::move(cells));
    }
    return recordset;
}

std::int64_t Connection::execute(TextView sql) {
    checkThread();
    data::Channel& open = channel();
    return data::guarded(source, [&] { return open.run("execute", sql, nullptr).affected; });
}

std::int32_t Connection::BeginTrans() {
    checkThread();
    channel().begin();
    return channel_->level();
}

void Connection::CommitTrans() {
    checkThread();
    channel().commit();
}

void Connection::RollbackTrans() {
    checkThread();
    channel().rollback();
}

std::int32_t Connection::transactionLevel() const noexcept {
    return isOpen() ? channel_->level() : 0;
}

void Connection::traceRefused(TextView kind, TextView sql) {
    checkThread();
    channel().trace().write(kind, sql);
}

void Connection::log(TextView ofClass, TextView operation, TextView words) const noexcept {
    if (log_ != nullptr) log_->write(ofClass, operation, words);
}

Text Connection::nextId(TextView code, std::int32_t length, TextView keyColumn, TextView table) {
    checkThread();
    return channel().nextId({code, length, keyColumn, table});
}

data::Channel& Connection::channel() const {
    if (!isOpen()) raise(errors::objectClosed, {}, source);
    return *channel_;
}

std::int32_t Connection::get_State() const {
    checkThread();
    return isOpen() ? 1 : 0;
}

Text Connection::get_ConnectionString() const {
    checkThread();
    return connectionString_;
}

void Connection::let_ConnectionString(Text value) {
    checkThread();
    if (isOpen()) raise(errors::objectOpen, {}, source);
    connectionString_ = std::move(value);
}

Text Connection::get_Provider() const {
    checkThread();
    return provider_;
}

Text Connection::get_Version() const {
    return "2.5";
}

std::int32_t Connection::get_CommandTimeout() const {
    checkThread();
    return timeout_.value_or(data::defaultTimeout);
}

void Connection::let_CommandTimeout(std::int32_t seconds) {
    checkThread();
    if (seconds < 0 || seconds > data::longestTimeout) {
        raise(errors::badArguments, "CommandTimeout " + std::to_string(seconds), source);
    }
    timeout_ = seconds;
    if (isOpen()) channel_->session().setTimeout(seconds);
}

std::int32_t Connection::get_CursorLocation() const {
    checkThread();
    return cursorLocation_;
}

void Connection::let_CursorLocation(std::int32_t value) {
    checkThread();
    cursorLocation_ = value;
}

} // namespace corveth
