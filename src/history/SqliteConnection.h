#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

// One connection to an SQLite database file, with the few operations the
// change history needs: statements with bound values, transactions and the
// result code of the last failure (so that a damaged, locked or full
// database can be told apart). Used by one thread.
class SqliteConnection
{
public:
    // How a step failed, by SQLite's primary result codes.
    enum class Failure
    {
        None = 0,
        Busy = 1,    // locked by another connection beyond the busy wait
        Damaged = 2, // not a database, or a damaged one
        Full = 3,    // the disk (or the file system's quota) is full
        Other = 4
    };

    class Statement
    {
    public:
        Statement() = default;
        Statement(SqliteConnection* connection, sqlite3_stmt* statement);
        Statement(Statement&& other) noexcept;
        Statement& operator=(Statement&& other) noexcept;
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;
        ~Statement();

        bool isValid() const { return mStatement != nullptr; }
        // Binds by position, from 1: null, integers, texts or blobs.
        Statement& bind(int index, const QVariant& value);
        // Steps once: true while a row is there.
        bool next();
        // Runs to the end and makes the statement ready to run again with
        // new values; false on failure.
        bool run();
        qint64 integer(int column) const;
        QString text(int column) const; // null for NULL
        QByteArray blob(int column) const;
        bool isNull(int column) const;

    private:
        SqliteConnection* mConnection = nullptr;
        sqlite3_stmt* mStatement = nullptr;
    };

    SqliteConnection() = default;
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Opens (creating) the file; waits up to `busyMilliseconds` for a lock.
    bool open(const QString& path, int busyMilliseconds);
    void close();
    bool isOpen() const { return mDatabase != nullptr; }

    Statement prepare(const char* sql);
    // Runs statements without results; false on failure.
    bool execute(const char* sql);
    // The first column of the first row, or `fallback`.
    qint64 integerValue(const char* sql, qint64 fallback = -1);
    qint64 lastInsertedRow() const;

    bool begin();
    bool commit();
    void rollback();

    Failure lastFailure() const { return mLastFailure; }
    QString lastError() const { return mLastError; }
    void clearFailure();

private:
    friend class Statement;
    void noteResult(int code);

    sqlite3* mDatabase = nullptr;
    Failure mLastFailure = Failure::None;
    QString mLastError;
};
