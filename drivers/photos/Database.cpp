// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/Database.h"

#include <sqlite3.h>

namespace velmora::drivers::photos {

namespace {

/// How long another process may hold the database before a change is refused.
constexpr int patience = 20000; // milliseconds

int primary(int extendedCode)
{
    return extendedCode & 0xFF;
}

[[noreturn]] void fail(sqlite3* connection, int code)
{
    throw DatabaseError(connection ? sqlite3_extended_errcode(connection) : code,
        connection ? sqlite3_errmsg(connection) : sqlite3_errstr(code));
}

}

bool DatabaseError::isDamage() const
{
    return primary(code_) == SQLITE_CORRUPT || primary(code_) == SQLITE_NOTADB;
}

bool DatabaseError::isBusy() const
{
    return primary(code_) == SQLITE_BUSY || primary(code_) == SQLITE_LOCKED;
}

bool DatabaseError::isFull() const
{
    // A quota, or a limit to the size of files, is a write that fails.
    return primary(code_) == SQLITE_FULL || code_ == SQLITE_IOERR_WRITE;
}

bool DatabaseError::isReadOnly() const
{
    const int code = primary(code_);
    return code == SQLITE_READONLY || code == SQLITE_PERM || code == SQLITE_CANTOPEN;
}

Run::~Run()
{
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

Run& Run::bind(std::int64_t value)
{
    sqlite3_bind_int64(statement_, ++bound_, value);
    return *this;
}

Run& Run::bind(double value)
{
    sqlite3_bind_double(statement_, ++bound_, value);
    return *this;
}

Run& Run::bind(std::string_view value)
{
    // An empty view may point nowhere, which would bind NULL.
    sqlite3_bind_text(statement_, ++bound_, value.empty() ? "" : value.data(), static_cast<int>(value.size()), nullptr);
    return *this;
}

Run& Run::bindNothing()
{
    ++bound_;
    return *this;
}

bool Run::next()
{
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW)
        return true;
    if (code != SQLITE_DONE)
        fail(sqlite3_db_handle(statement_), code);
    return false;
}

std::int64_t Run::whole(int column) const
{
    return sqlite3_column_int64(statement_, column);
}

double Run::real(int column) const
{
    return sqlite3_column_double(statement_, column);
}

std::string Run::text(int column) const
{
    const auto* text = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))) : std::string();
}

std::optional<double> Run::maybeReal(int column) const
{
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL)
        return std::nullopt;
    return real(column);
}

Database::Database(const std::string& file, Mode mode)
{
    const int access = mode == ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int code = sqlite3_open_v2(mode == InMemory ? ":memory:" : file.c_str(), &connection_,
        access | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI, nullptr);
    if (code != SQLITE_OK) {
        const DatabaseError error(connection_ ? sqlite3_extended_errcode(connection_) : code,
            connection_ ? sqlite3_errmsg(connection_) : sqlite3_errstr(code));
        sqlite3_close(connection_);
        throw error;
    }
    sqlite3_busy_timeout(connection_, patience);
}

Database::~Database()
{
    for (const auto& [text, statement] : statements_)
        sqlite3_finalize(statement);
    sqlite3_close(connection_);
}

void Database::execute(const char* sql)
{
    const int code = sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        fail(connection_, code);
}

Run Database::run(std::string_view sql)
{
    if (const auto found = statements_.find(sql); found != statements_.end())
        return Run(found->second);
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v3(
        connection_, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK)
        fail(connection_, code);
    statements_.emplace(sql, statement);
    return Run(statement);
}

std::int64_t Database::lastInsertedRow() const
{
    return sqlite3_last_insert_rowid(connection_);
}

void Database::copyFrom(Database& other)
{
    sqlite3_backup* backup = sqlite3_backup_init(connection_, "main", other.connection_, "main");
    if (!backup)
        fail(connection_, sqlite3_errcode(connection_));
    const int stepped = sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
    if (stepped != SQLITE_DONE)
        fail(nullptr, stepped);
}

Transaction::Transaction(Database& database)
    : database_(database)
{
    database.run("BEGIN IMMEDIATE").finish();
}

Transaction::~Transaction()
{
    if (!open_)
        return;
    try {
        database_.run("ROLLBACK").finish();
    } catch (const DatabaseError&) {
        // What went wrong before has rolled it back already.
    }
}

void Transaction::commit()
{
    database_.run("COMMIT").finish();
    open_ = false;
}

}
