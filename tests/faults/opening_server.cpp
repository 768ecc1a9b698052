// What keeps a client from a server: the words say what it was, and never the password.

#include "faults/records.h"
#include "services/schema.h"
#include "support/own_server.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace corveth::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* password = "5e;cret'Pass\"word";

/// That nobody listens on just now.
Text freePort() {
    const int made = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const bool isBound = ::bind(made, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                         ::getsockname(made, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    ::close(made);
    if (!isBound) throw std::runtime_error("no port");
    return std::to_string(ntohs(address.sin_port));
}

Text contentOf(const Text& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

class ServerOpening : public testing::TestWithParam<Engine> {
protected:
    void SetUp() override {
        ::alarm(200); // what hangs must end
        server.configure("listen_addresses = '127.0.0.1'\nport = " + port);
        server.configure("max_connections = 5\nsuperuser_reserved_connections = 0");
        server.configure("log_min_messages = panic");
        server.putRule("host all all 127.0.0.1/32 scram-sha-256");
        server.end(SIGINT);
        server.start();
        const auto administrator = connected(ofAdministrator);
        administrator->execute(Text("create role clerk login password '5e;cret''Pass\"word'"));
        administrator->execute("create role crowd login connection limit 0");
        administrator->execute("create database closed allow_connections false");
        administrator->execute("create database private");
        administrator->execute("revoke connect on database private from public");
    }
    void TearDown() override { ::alarm(0); }

    static Ref<Connection> connected(const Text& connectionString) {
        auto connection = make<Connection>();
        connection->open(connectionString);
        return connection;
    }
    static Text failureOf(const Text& connectionString) {
        return raised([&] { connected(connectionString); });
    }
    /// As the clerk by the network.
    [[nodiscard]] Text clerk(const Text& more, const Text& given = inQuotes(password)) const {
        return fmt::format("Provider=PostgreSQL;Host=127.0.0.1;Port={};User ID=clerk;Database=postgres;{}{}", port,
                           given.empty() ? "" : "Password=" + given + ";", more);
    }

    OwnServer server;
    TemporaryFolder folder;
    Text port = freePort();
    Text ofAdministrator = server.connectionString("postgres") + ";Port=" + port;
};

TEST_P(ServerOpening, IsRefusedWithTheReason) {
    const Text socket = "Provider=PostgreSQL;Host=" + server.folder() + ";Port=" + port + ";";
    const struct {
        const char* name;
        Text given;
        const char* words;
    } cases[] = {
        {"no such host", "Provider=PostgreSQL;Host=no..where;Database=x",
         "could not translate host name \"no..where\""},
        {"no such port", "Provider=PostgreSQL;Host=127.0.0.1;Database=x;Port=" + freePort(), "Connection refused"},
        {"no number", "Provider=PostgreSQL;Host=127.0.0.1;Database=x;Port=first", "\"first\""},
        {"no such socket", "Provider=PostgreSQL;Host=/nowhere;Database=x", "No such file or directory"},
        {"no such database", socket + "User ID=corveth;Database=nowhere", "database \"nowhere\" does not exist"},
        {"no such user", socket + "User ID=nobody;Database=postgres", "role \"nobody\" does not exist"},
        {"a database that lets nobody in", socket + "User ID=corveth;Database=closed", "not currently accepting"},
        {"a database for others", socket + "User ID=clerk;Database=private", "permission denied for database"},
        {"a user with too many connections", socket + "User ID=crowd;Database=postgres",
         "too many connections for role \"crowd\""},
        {"wrong password", clerk("", "'5e;cret'"), "password authentication failed for user \"clerk\""},
        {"no password", clerk("", ""), "no Password is given, and the password file (~/.pgpass) has none"},
        {"no encryption", clerk("SSL Mode=require"), "server does not support SSL, but SSL was required"},
        {"no such encryption", clerk("SSL Mode=perhaps"), "invalid sslmode value: \"perhaps\""},
    };
    ::setenv("PGPASSFILE", folder.file("none").c_str(), 1);
    for (const auto& row : cases) {
        const Text database = row.given.find("=x") != Text::npos ? "x" : "";
        EXPECT_THAT(failureOf(row.given),
                    AllOf(StartsWith("-2147467259 ADODB.Connection: The database \"" + database),
                          HasSubstr("\" cannot be opened: "), HasSubstr(row.words), Not(HasSubstr("5e;cret"))))
            << row.name;
    }
    ::unsetenv("PGPASSFILE");
}

TEST_P(ServerOpening, PassesWhenTheServerIsReady) {
    std::vector<Ref<Connection>> crowd;
    while (crowd.size() < 5)
        crowd.push_back(connected(ofAdministrator));
    EXPECT_THAT(failureOf(ofAdministrator), HasSubstr("sorry, too many clients already"));
    crowd.clear();
    EXPECT_TRUE(eventually([&] { return failureOf(ofAdministrator).empty(); }));

    server.end(SIGINT);
    EXPECT_THAT(failureOf(ofAdministrator), HasSubstr("No such file or directory"));
    EXPECT_THAT(failureOf(clerk("")), HasSubstr("Connection refused"));
    server.startRecovering();
    EXPECT_TRUE(eventually(
        [&] { return failureOf(ofAdministrator).find("the database system is starting up") != Text::npos; }));
    server.stopRecovering();
    server.start();
    EXPECT_EQ(failureOf(ofAdministrator), "");
}

TEST_P(ServerOpening, TakesThePasswordFromAFileAndTellsNobody) {
    const Text file = folder.file("passwords"), trace = folder.file("trace"), log = folder.file("log");
    const auto put = [&](const Text& text) {
        std::ofstream(file) << "127.0.0.1:" << port << ":postgres:clerk:" << text << '\n';
        ::chmod(file.c_str(), 0600);
    };
    ::setenv("PGPASSFILE", file.c_str(), 1);
    put("5e;cret");
    EXPECT_THAT(failureOf(clerk("", "")),
                AllOf(HasSubstr("password authentication failed"), HasSubstr(file), Not(HasSubstr("5e;cret"))));
    put(password);
    EXPECT_EQ(firstValue(connected(clerk("", "")), "Select usename From pg_stat_activity Where pid = pg_backend_pid()"),
              "clerk");
    ::unsetenv("PGPASSFILE");

    const auto connection = connected(clerk("Trace File=" + trace + ";Log=" + log));
    EXPECT_EQ(connection->get_ConnectionString().find("5e;cret"), Text::npos);
    Text failures = raised([&] { connection->execute("Select * From Nowhere"); });
    server.end(SIGINT);
    failures += raised([&] { connection->execute("Select 1"); });
    failures += failureOf(clerk("Trace File=" + trace + ";Log=" + log));
    EXPECT_THAT(failures + contentOf(trace) + contentOf(log), AllOf(HasSubstr("Nowhere"), Not(HasSubstr("5e;cret"))));
    server.start();
}

TEST_P(ServerOpening, IsEncryptedWhenThatIsAskedFor) {
    const Text key = folder.file("key"), certificate = folder.file("certificate");
    runProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                "-keyout", key, "-out", certificate, "-subj", "/CN=localhost", "-batch", "-noenc"});
    server.writeData("server.key", contentOf(key));
    server.writeData("server.crt", contentOf(certificate));
    server.configure("ssl = on");
    server.end(SIGINT);
    server.start();
    const Text isEncrypted = "Select ssl From pg_stat_ssl Where pid = pg_backend_pid()";
    EXPECT_EQ(firstValue(connected(clerk("SSL Mode=require")), isEncrypted), "True");
    EXPECT_EQ(firstValue(connected(clerk("SSL Mode=disable")), isEncrypted), "False");
    // Whose certificate nobody has vouched for.
    EXPECT_THAT(failureOf(clerk("SSL Mode=verify-full")), HasSubstr("root certificate file"));
}

CORVETH_ON_ENGINE("PostgreSQL", ServerOpening);

} // namespace
} // namespace corveth::test
