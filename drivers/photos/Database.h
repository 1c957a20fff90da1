// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace velmora::drivers::photos {

/// What SQLite answered instead of doing what it was asked for.
class DatabaseError : public std::exception {
public:
    DatabaseError(int extendedCode, std::string text)
        : code_(extendedCode)
        , text_(std::move(text))
    {
    }
    bool isDamage() const;
    bool isBusy() const;
    bool isFull() const;
    bool isReadOnly() const;
    const char* what() const noexcept override { return text_.c_str(); }

private:
    int code_; // extended
    std::string text_;
};

/// One run of a prepared statement: bind its values in order, then step through its rows. Its end makes the statement
/// free for the next run; one statement runs once at a time.
class Run {
public:
    explicit Run(sqlite3_stmt* statement)
        : statement_(statement)
    {
    }
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Run& bind(std::int64_t value);
    Run& bind(double value);
    Run& bind(std::string_view value); ///< The text must outlive the run.
    Run& bindNothing();
    Run& bind(const std::optional<double>& value) { return value ? bind(*value) : bindNothing(); }

    /// Whether there is another row. Throws DatabaseError.
    bool next();
    void finish()
    {
        while (next()) { }
    }

    std::int64_t whole(int column) const;
    double real(int column) const;
    std::string text(int column) const;
    std::optional<double> maybeReal(int column) const;

private:
    sqlite3_stmt* statement_;
    int bound_ = 0;
};

/// A connection to a database file. From one thread at a time.
class Database {
public:
    enum Mode : std::uint8_t { ReadWrite, ReadOnly, InMemory };
    /// Throws DatabaseError. A file that may be written is made where it is missing.
    Database(const std::string& file, Mode mode);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void execute(const char* sql);
    /// Prepared once for each text.
    Run run(std::string_view sql);
    std::int64_t lastInsertedRow() const;
    /// Replaces everything by the content of another database.
    void copyFrom(Database& other);

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };

    sqlite3* connection_ = nullptr;
    std::unordered_map<std::string, sqlite3_stmt*, Hash, std::equal_to<>> statements_;
};

/// All that is written while it lives, or nothing. Waits until no other connection writes.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& database_;
    bool open_ = true;
};

}
