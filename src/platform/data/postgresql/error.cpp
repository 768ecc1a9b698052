#include "platform/data/postgresql/error.h"

#include <libpq-fe.h>

namespace corveth::data::postgresql {

namespace {

/// The lines of a message on one; where a line ends and the next begins a sentence, there is a point between them.
Text onOneLine(TextView message) {
    Text line;
    bool isLineEnd = false;
    for (const char c : message) {
        if (c == '\n' || c == '\t' || c == ' ') {
            isLineEnd = isLineEnd || c == '\n';
            if (!line.empty() && line.back() != ' ') line += ' ';
            continue;
        }
        const bool isSentence = isLineEnd && line.size() > 1 && c >= 'A' && c <= 'Z';
        if (isSentence && TextView(".?!:;").find(line[line.size() - 2]) == TextView::npos) {
            line.insert(line.size() - 1, 1, '.');
        }
        line += c;
        isLineEnd = false;
    }
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

/// Of what a user can do something about, but would not know what.
TextView advice(const Failure& failure) noexcept {
    if (failure.is(states::lockNotAvailable)) {
        return ": another connection is changing the same data; try again when it is done";
    }
    if (failure.is(states::queryCanceled) && failure.words.find("statement timeout") != Text::npos) {
        return ": it took longer than the connection's timeout allows";
    }
    return {};
}

} // namespace

Failure failureOf(const pg_result* result) {
    const auto field = [result](int code) {
        const char* text = PQresultErrorField(result, code);
        return text == nullptr ? Text() : onOneLine(text);
    };
    Failure failure{field(PG_DIAG_SQLSTATE), field(PG_DIAG_MESSAGE_PRIMARY)};
    if (failure.words.empty()) failure.words = onOneLine(PQresultErrorMessage(result));
    if (const Text detail = field(PG_DIAG_MESSAGE_DETAIL); !detail.empty()) failure.words += ": " + detail;
    // Which right it takes.
    if (const Text hint = field(PG_DIAG_MESSAGE_HINT); !hint.empty() && failure.is(states::noRight))
        failure.words += ": " + hint;
    failure.words += failure.state.empty() ? " (PostgreSQL)" : " (PostgreSQL " + failure.state + ")";
    failure.words += advice(failure);
    return failure;
}

Failure failureOf(const pg_conn* connection) {
    return {{}, onOneLine(PQerrorMessage(connection)) + " (PostgreSQL)"};
}

void fail(Text words) {
    throw Error(errors::engine, "ADODB.Connection", std::move(words));
}

} // namespace corveth::data::postgresql
