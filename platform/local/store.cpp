#include "platform/local/store.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sqlite3.h>

#include "platform/local/documentPath.h"
#include "platform/store.h"

namespace local {

namespace {

constexpr const char* kLeafTable =
    "CREATE TABLE IF NOT EXISTS leaf(path TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID";

constexpr const char* kFirstLeaf = "SELECT * FROM leaf LIMIT 1";

// FULL: an update that returned 0 survives a power cut. OFF: live state, rebuilt after a boot.
constexpr DatabaseFile kFiles[] = {
    {.name = "settings.db", .schema = kLeafTable, .durability = "FULL", .firstRead = kFirstLeaf, .keptGrown = true},
    {.name = "status.db", .schema = kLeafTable, .durability = "OFF", .firstRead = kFirstLeaf},
};

}  // namespace

StoreConnection* StoreConnection::ofThread(Store which, Use use)
{
    thread_local std::unique_ptr<StoreConnection> connections[2];
    auto& connection = connections[static_cast<int>(which)];
    // Set aside by another program: this one goes on with the file that took its place.
    if (connection && connection->isToBeLookedAt(use) && hasMoved(connection->database_.get())) {
        connection.reset();
    }
    if (!connection) {
        std::unique_ptr<StoreConnection> opened(new StoreConnection(which));
        if (!opened->open()) {
            return nullptr;
        }
        connection = std::move(opened);
    }
    return connection.get();
}

bool StoreConnection::open()
{
    database_ = openDatabase(kFiles[static_cast<int>(which_)]);
    if (!database_) {
        return false;
    }
    const struct {
        Statement& statement;
        const char* sql;
    } statements[] = {
        {leaf_, "SELECT value FROM leaf WHERE path = ?1"},
        {tree_, "SELECT path, value FROM leaf WHERE path = ?1 UNION ALL "
                "SELECT path, value FROM leaf WHERE path >= ?2 AND path < ?3"},
        {all_, "SELECT path, value FROM leaf ORDER BY path"},
        {below_, "SELECT 1 FROM leaf WHERE path >= ?1 AND path < ?2 LIMIT 1"},
        {put_, "INSERT INTO leaf VALUES(?1, ?2) ON CONFLICT(path) DO UPDATE SET value = excluded.value"},
        {replace_, "UPDATE leaf SET value = ?2 WHERE path = ?1 AND value = ?3"},
        {removeTree_, "DELETE FROM leaf WHERE path = ?1 OR (path >= ?2 AND path < ?3)"},
        {beginRead_, "BEGIN"},
        {beginWrite_, "BEGIN IMMEDIATE"},
        {commit_, "COMMIT"},
        {rollback_, "ROLLBACK"},
    };
    for (const auto& [statement, sql] : statements) {
        if (!statement.prepare(database_.get(), sql)) {
            return false;
        }
    }
    memory_.watch(database_.get());
    tender_.watch(database_.get(), kFiles[static_cast<int>(which_)]);
    return true;
}

// The kernel's own tick, 1 to 10 ms, which can be had without a system call (clock_gettime(2), vdso(7)).
bool StoreConnection::isToBeLookedAt(Use use)
{
    timespec tick{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &tick);
    const bool same = tick.tv_sec == lookedAt_.tv_sec && tick.tv_nsec == lookedAt_.tv_nsec;
    lookedAt_ = tick;
    return use == Use::update || !same;
}

bool StoreConnection::inTransaction() const
{
    return sqlite3_get_autocommit(database_.get()) == 0;
}

JsonObject StoreConnection::readTree(std::string_view path)
{
    Statement& statement = path.empty() ? all_ : tree_;
    const StatementUse use(statement);
    const SubtreeRange below(path);
    if (!path.empty()) {
        statement.bind(1, path);
        statement.bind(2, below.from);
        statement.bind(3, below.to);
    }
    JsonObject root;
    Statement::Step step = statement.step();
    for (; step == Statement::Step::row; step = statement.step()) {
        if (!root) {
            root.reset(json_object_new_object());
        }
        placeAt(root.get(), statement.column(0), parseJson(statement.column(1)));
    }
    if (step == Statement::Step::failed) {
        return nullptr;
    }
    if (!root) {
        errno = ENOENT;
    }
    return root;
}

int StoreConnection::remove(std::string_view path)
{
    const SubtreeRange below(path);
    removeTree_.bind(1, path);
    removeTree_.bind(2, below.from);
    removeTree_.bind(3, below.to);
    if (!removeTree_.run()) {
        return -1;
    }
    if (sqlite3_changes(database_.get()) == 0) {
        errno = ENOENT;
        return -1;
    }
    tender_.tend();
    return 0;
}

namespace {

// Conversions of a leaf's JSON text; false when it has another type.

bool convert(std::string_view text, bool& value)
{
    value = text == "true";
    return value || text == "false";
}

template <class Number>
bool convertNumber(std::string_view text, Number& value)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}

bool convert(std::string_view text, int& value)
{
    return convertNumber(text, value);
}

bool convert(std::string_view text, double& value)
{
    return convertNumber(text, value);
}

char* copyText(std::string_view text)
{
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

bool convert(std::string_view text, char*& value)
{
    if (text.size() < 2 || text.front() != '"') {
        return false;
    }
    const std::string_view inner = text.substr(1, text.size() - 2);
    if (text.back() == '"' && inner.find_first_of("\\\"") == std::string_view::npos) {
        value = copyText(inner);  // nothing is escaped
        return value != nullptr;
    }
    const JsonObject parsed = parseJson(text);
    if (json_object_is_type(parsed.get(), json_type_string) == 0) {
        return false;
    }
    value = copyText(json_object_get_string(parsed.get()));
    return value != nullptr;
}

template <class Value>
bool query(Store which, const char* document, Value& value)
{
    DocumentPath path;
    if (!path.parse(document)) {
        return false;
    }
    StoreConnection* store = StoreConnection::ofThread(which, StoreConnection::Use::query);
    bool converted = false;
    if (store == nullptr ||
        !store->readLeaf(path.text(), [&](std::string_view text) { converted = convert(text, value); })) {
        return false;
    }
    if (!converted) {
        errno = EINVAL;
    }
    return converted;
}

// *result is left alone unless the leaf has the type asked for.
template <class Value, class Result>
int queryInto(Store which, const char* document, Result* result)
{
    Value value{};
    if (!query(which, document, value)) {
        return 0;
    }
    *result = static_cast<Result>(value);
    return 1;
}

char* queryText(Store which, const char* document)
{
    char* text = nullptr;
    return query(which, document, text) ? text : nullptr;
}

json_token* queryTree(Store which, const char* document)
{
    DocumentPath path;
    if (!path.parse(document)) {
        return nullptr;
    }
    StoreConnection* store = StoreConnection::ofThread(which, StoreConnection::Use::query);
    return store != nullptr ? store->readTree(path.text()).release() : nullptr;
}

}  // namespace

}  // namespace local

using local::Store;

int user_config_query_boolean(const char* document, int* value)
{
    return local::queryInto<bool>(Store::settings, document, value);
}

int user_config_query_int(const char* document, int* value)
{
    return local::queryInto<int>(Store::settings, document, value);
}

char* user_config_query_string(const char* document)
{
    return local::queryText(Store::settings, document);
}

json_token* user_config_query_to_json_token(const char* document)
{
    return local::queryTree(Store::settings, document);
}

int user_config_update(const char* document)
{
    return local::update(Store::settings, document);
}

int user_status_query_boolean(const char* document, int* value)
{
    return local::queryInto<bool>(Store::status, document, value);
}

int user_status_query_int(const char* document, int* value)
{
    return local::queryInto<int>(Store::status, document, value);
}

int user_status_query_double(const char* document, double* value)
{
    return local::queryInto<double>(Store::status, document, value);
}

char* user_status_query_string(const char* document)
{
    return local::queryText(Store::status, document);
}

json_token* user_status_query_to_json_token(const char* document)
{
    return local::queryTree(Store::status, document);
}

int user_status_update(const char* document)
{
    return local::update(Store::status, document);
}
