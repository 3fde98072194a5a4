#include "SqliteConnection.h"

#include <QFile>

#include <sqlite3.h>

#include <utility>

SqliteConnection::Statement::Statement(SqliteConnection* connection, sqlite3_stmt* statement)
    : mConnection(connection), mStatement(statement)
{}

SqliteConnection::Statement::Statement(Statement&& other) noexcept
    : mConnection(std::exchange(other.mConnection, nullptr)), mStatement(std::exchange(other.mStatement, nullptr))
{}

SqliteConnection::Statement& SqliteConnection::Statement::operator=(Statement&& other) noexcept
{
    if (this != &other) {
        sqlite3_finalize(mStatement);
        mConnection = std::exchange(other.mConnection, nullptr);
        mStatement = std::exchange(other.mStatement, nullptr);
    }
    return *this;
}

SqliteConnection::Statement::~Statement()
{
    sqlite3_finalize(mStatement);
}

SqliteConnection::Statement& SqliteConnection::Statement::bind(int index, const QVariant& value)
{
    if (!mStatement)
        return *this;
    int code = SQLITE_OK;
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        code = sqlite3_bind_null(mStatement, index);
        break;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
        code = sqlite3_bind_int64(mStatement, index, value.toLongLong());
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        code = sqlite3_bind_blob64(mStatement, index, bytes.constData(), static_cast<sqlite3_uint64>(bytes.size()),
                                   SQLITE_TRANSIENT);
        break;
    }
    default: {
        const QString text = value.toString();
        if (text.isNull()) {
            code = sqlite3_bind_null(mStatement, index);
            break;
        }
        const QByteArray utf8 = text.toUtf8();
        code = sqlite3_bind_text64(mStatement, index, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                                   SQLITE_TRANSIENT, SQLITE_UTF8);
        break;
    }
    }
    mConnection->noteResult(code);
    return *this;
}

bool SqliteConnection::Statement::next()
{
    if (!mStatement)
        return false;
    const int code = sqlite3_step(mStatement);
    if (code == SQLITE_ROW)
        return true;
    mConnection->noteResult(code);
    return false;
}

bool SqliteConnection::Statement::run()
{
    if (!mStatement)
        return false;
    int code;
    while ((code = sqlite3_step(mStatement)) == SQLITE_ROW) {
    }
    mConnection->noteResult(code);
    sqlite3_reset(mStatement);
    sqlite3_clear_bindings(mStatement);
    return code == SQLITE_DONE;
}

qint64 SqliteConnection::Statement::integer(int column) const
{
    return mStatement ? sqlite3_column_int64(mStatement, column) : 0;
}

QString SqliteConnection::Statement::text(int column) const
{
    if (!mStatement || sqlite3_column_type(mStatement, column) == SQLITE_NULL)
        return QString();
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, column));
    const int length = sqlite3_column_bytes(mStatement, column);
    return bytes ? QString::fromUtf8(bytes, length) : QString(QLatin1String(""));
}

QByteArray SqliteConnection::Statement::blob(int column) const
{
    if (!mStatement)
        return QByteArray();
    const void* bytes = sqlite3_column_blob(mStatement, column);
    const int length = sqlite3_column_bytes(mStatement, column);
    return bytes ? QByteArray(static_cast<const char*>(bytes), length) : QByteArray();
}

bool SqliteConnection::Statement::isNull(int column) const
{
    return !mStatement || sqlite3_column_type(mStatement, column) == SQLITE_NULL;
}

SqliteConnection::~SqliteConnection()
{
    close();
}

bool SqliteConnection::open(const QString& path, int busyMilliseconds)
{
    close();
    clearFailure();
    const int code = sqlite3_open_v2(QFile::encodeName(path).constData(), &mDatabase,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        noteResult(code);
        close();
        return false;
    }
    sqlite3_busy_timeout(mDatabase, busyMilliseconds);
    // Closing does not checkpoint the write-ahead log (with a flush) each
    // time a short-lived command ends; the log is checkpointed as it grows.
    sqlite3_db_config(mDatabase, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_extended_result_codes(mDatabase, 0);
    return true;
}

void SqliteConnection::close()
{
    if (mDatabase) {
        sqlite3_close_v2(mDatabase);
        mDatabase = nullptr;
    }
}

SqliteConnection::Statement SqliteConnection::prepare(const char* sql)
{
    if (!mDatabase) {
        mLastFailure = Failure::Other;
        mLastError = QStringLiteral("not open");
        return Statement();
    }
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(mDatabase, sql, -1, &statement, nullptr);
    noteResult(code);
    if (code != SQLITE_OK) {
        sqlite3_finalize(statement);
        return Statement();
    }
    return Statement(this, statement);
}

bool SqliteConnection::execute(const char* sql)
{
    if (!mDatabase)
        return false;
    char* message = nullptr;
    const int code = sqlite3_exec(mDatabase, sql, nullptr, nullptr, &message);
    sqlite3_free(message);
    noteResult(code);
    return code == SQLITE_OK;
}

qint64 SqliteConnection::integerValue(const char* sql, qint64 fallback)
{
    Statement statement = prepare(sql);
    return statement.next() ? statement.integer(0) : fallback;
}

qint64 SqliteConnection::lastInsertedRow() const
{
    return mDatabase ? sqlite3_last_insert_rowid(mDatabase) : 0;
}

bool SqliteConnection::begin()
{
    // Immediate: the write lock is taken now (waiting for it up to the busy
    // time), not at the first write inside the transaction, where a second
    // writer could only fail.
    return execute("BEGIN IMMEDIATE");
}

bool SqliteConnection::commit()
{
    return execute("COMMIT");
}

void SqliteConnection::rollback()
{
    if (mDatabase && !sqlite3_get_autocommit(mDatabase)) {
        const Failure failure = mLastFailure;
        const QString error = mLastError;
        execute("ROLLBACK");
        mLastFailure = failure;
        mLastError = error;
    }
}

void SqliteConnection::clearFailure()
{
    mLastFailure = Failure::None;
    mLastError.clear();
}

void SqliteConnection::noteResult(int code)
{
    const int primary = code & 0xff;
    if (primary == SQLITE_OK || primary == SQLITE_ROW || primary == SQLITE_DONE)
        return;
    switch (primary) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        mLastFailure = Failure::Busy;
        break;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        mLastFailure = Failure::Damaged;
        break;
    case SQLITE_FULL:
        mLastFailure = Failure::Full;
        break;
    default:
        mLastFailure = Failure::Other;
        break;
    }
    mLastError = QString::fromUtf8(mDatabase ? sqlite3_errmsg(mDatabase) : sqlite3_errstr(code));
}
