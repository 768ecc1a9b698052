#include "platform/automation/error.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <utility>

namespace corveth {

namespace {

struct NumberAndText {
    std::int32_t number;
    TextView text;
};

constexpr std::array texts = std::to_array<NumberAndText>({
    {errors::invalidCall, "Invalid procedure call or argument"},
    {errors::overflow, "Overflow"},
    {errors::outOfMemory, "Out of memory"},
    {errors::subscriptOutOfRange, "Subscript out of range"},
    {errors::divisionByZero, "Division by zero"},
    {errors::typeMismatch, "Type mismatch"},
    {53, "File not found"},
    {75, "Path/File access error"},
    {errors::objectNotSet, "Object variable or With block variable not set"},
    {errors::invalidNull, "Invalid use of Null"},
    {errors::cannotCreate, "Object cannot be created"},
    {errors::noSuchMember, "Object doesn't support this property or method"},
    {errors::notAvailable, "Object doesn't support this action: it is not available in this build"},
    {errors::namedArgument, "Named argument not found"},
    {errors::argumentRequired, "Argument not optional"},
    {errors::argumentCount, "Wrong number of arguments or invalid property assignment"},
    {errors::duplicateKey, "This key is already associated with an element of this collection"},
    {errors::invalidPicture, "Invalid picture"},
    {errors::badArguments,
     "Arguments are of the wrong type, are out of acceptable range, or are in conflict with one another."},
    {errors::cannotOpenFile, "File could not be opened."},
    {errors::cannotWriteFile, "Write to file failed."},
    {errors::noCurrentRecord, "Either BOF or EOF is True, or the current record has been deleted. Requested operation "
                              "requires a current record."},
    {errors::charactersAfterStatement, "Characters found after end of SQL statement."},
    {errors::notAllowedHere, "Operation is not allowed in this context."},
    {errors::closeInTransaction, "Connection object cannot be explicitly closed while in a transaction."},
    {errors::notSupported, "Current Recordset does not support updating. This may be a limitation of the provider, or "
                           "of the selected locktype."},
    {errors::noSuchItem, "Item cannot be found in the collection corresponding to the requested name or ordinal."},
    {errors::valueCount, "Number of query values and destination fields are not the same."},
    {errors::dataTypeMismatch, "Data type mismatch in criteria expression."},
    {errors::objectClosed, "Operation is not allowed when the object is closed."},
    {errors::objectOpen, "Operation is not allowed when the object is open."},
    {errors::badConnection, "The connection cannot be used to perform this operation. It is either closed or invalid "
                            "in this context."},
    {errors::noTransaction, "No transaction is active."},
    {errors::noCommandText, "Command text was not set for the command object."},
    {errors::wrongThread, "The object belongs to another thread."},
});

} // namespace

Error::Error(std::int32_t errorNumber, Text errorSource, Text errorDescription)
    : number(errorNumber), source(std::move(errorSource)), description(std::move(errorDescription)) {}

TextView errorText(std::int32_t number) noexcept {
    const auto* found = std::ranges::find(texts, number, &NumberAndText::number);
    return found == texts.end() ? TextView{} : found->text;
}

void raise(std::int32_t number, TextView detail, TextView source) {
    Text description(errorText(number));
    if (!detail.empty()) {
        if (!description.empty()) description += description.back() == '.' ? " " : ": ";
        description += detail;
    }
    throw Error(number, Text(source), std::move(description));
}

Error currentError() {
    try {
        throw;
    } catch (const Error& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return {errors::outOfMemory, defaultSource, Text(errorText(errors::outOfMemory))};
    } catch (const std::exception& error) {
        return {errors::invalidCall, defaultSource, error.what()};
    } catch (...) {
        return {errors::invalidCall, defaultSource, Text(errorText(errors::invalidCall))};
    }
}

} // namespace corveth
