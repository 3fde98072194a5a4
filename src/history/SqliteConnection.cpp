#include "SqliteConnection.h"

#include <QFile>
#include <QLibrary>

#include <sqlite3.h>

#include <utility>

namespace {

// The SQLite library is opened when a database first is, rather than linked:
// most commands never touch the change history, and loading the library cost
// every start of the program a tenth of a short command's start-up.
struct SqliteFunctions
{
    decltype(&::sqlite3_bind_blob64) bind_blob64 = nullptr;
    decltype(&::sqlite3_bind_int64) bind_int64 = nullptr;
    decltype(&::sqlite3_bind_null) bind_null = nullptr;
    decltype(&::sqlite3_bind_text64) bind_text64 = nullptr;
    decltype(&::sqlite3_busy_timeout) busy_timeout = nullptr;
    decltype(&::sqlite3_clear_bindings) clear_bindings = nullptr;
    decltype(&::sqlite3_close_v2) close_v2 = nullptr;
    decltype(&::sqlite3_column_blob) column_blob = nullptr;
    decltype(&::sqlite3_column_bytes) column_bytes = nullptr;
    decltype(&::sqlite3_column_int64) column_int64 = nullptr;
    decltype(&::sqlite3_column_text) column_text = nullptr;
    decltype(&::sqlite3_column_type) column_type = nullptr;
    decltype(&::sqlite3_db_config) db_config = nullptr;
    decltype(&::sqlite3_errmsg) errmsg = nullptr;
    decltype(&::sqlite3_errstr) errstr = nullptr;
    decltype(&::sqlite3_exec) exec = nullptr;
    decltype(&::sqlite3_extended_result_codes) extended_result_codes = nullptr;
    decltype(&::sqlite3_finalize) finalize = nullptr;
    decltype(&::sqlite3_free) free = nullptr;
    decltype(&::sqlite3_get_autocommit) get_autocommit = nullptr;
    decltype(&::sqlite3_last_insert_rowid) last_insert_rowid = nullptr;
    decltype(&::sqlite3_open_v2) open_v2 = nullptr;
    decltype(&::sqlite3_prepare_v2) prepare_v2 = nullptr;
    decltype(&::sqlite3_reset) reset = nullptr;
    decltype(&::sqlite3_step) step = nullptr;

    bool isComplete() const
    {
        return bind_blob64 && bind_int64 && bind_null && bind_text64 && busy_timeout && clear_bindings &&
               close_v2 && column_blob && column_bytes && column_int64 && column_text && column_type &&
               db_config && errmsg && errstr && exec && extended_result_codes && finalize && free &&
               get_autocommit && last_insert_rowid && open_v2 && prepare_v2 && reset && step;
    }
};

template <typename Function> void resolve(QLibrary& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(name));
}

const SqliteFunctions& sqlite()
{
    static const SqliteFunctions functions = [] {
        SqliteFunctions f;
        QLibrary library(QStringLiteral(QB_SQLITE_FILE)); // stays loaded
        if (!library.load())
            return f;
        resolve(library, "sqlite3_bind_blob64", f.bind_blob64);
        resolve(library, "sqlite3_bind_int64", f.bind_int64);
        resolve(library, "sqlite3_bind_null", f.bind_null);
        resolve(library, "sqlite3_bind_text64", f.bind_text64);
        resolve(library, "sqlite3_busy_timeout", f.busy_timeout);
        resolve(library, "sqlite3_clear_bindings", f.clear_bindings);
        resolve(library, "sqlite3_close_v2", f.close_v2);
        resolve(library, "sqlite3_column_blob", f.column_blob);
        resolve(library, "sqlite3_column_bytes", f.column_bytes);
        resolve(library, "sqlite3_column_int64", f.column_int64);
        resolve(library, "sqlite3_column_text", f.column_text);
        resolve(library, "sqlite3_column_type", f.column_type);
        resolve(library, "sqlite3_db_config", f.db_config);
        resolve(library, "sqlite3_errmsg", f.errmsg);
        resolve(library, "sqlite3_errstr", f.errstr);
        resolve(library, "sqlite3_exec", f.exec);
        resolve(library, "sqlite3_extended_result_codes", f.extended_result_codes);
        resolve(library, "sqlite3_finalize", f.finalize);
        resolve(library, "sqlite3_free", f.free);
        resolve(library, "sqlite3_get_autocommit", f.get_autocommit);
        resolve(library, "sqlite3_last_insert_rowid", f.last_insert_rowid);
        resolve(library, "sqlite3_open_v2", f.open_v2);
        resolve(library, "sqlite3_prepare_v2", f.prepare_v2);
        resolve(library, "sqlite3_reset", f.reset);
        resolve(library, "sqlite3_step", f.step);
        return f;
    }();
    return functions;
}

void finalize(sqlite3_stmt* statement)
{
    if (statement)
        sqlite().finalize(statement);
}

} // namespace

SqliteConnection::Statement::Statement(SqliteConnection* connection, sqlite3_stmt* statement)
    : mConnection(connection), mStatement(statement)
{}

SqliteConnection::Statement::Statement(Statement&& other) noexcept
    : mConnection(std::exchange(other.mConnection, nullptr)), mStatement(std::exchange(other.mStatement, nullptr))
{}

SqliteConnection::Statement& SqliteConnection::Statement::operator=(Statement&& other) noexcept
{
    if (this != &other) {
        finalize(mStatement);
        mConnection = std::exchange(other.mConnection, nullptr);
        mStatement = std::exchange(other.mStatement, nullptr);
    }
    return *this;
}

SqliteConnection::Statement::~Statement()
{
    finalize(mStatement);
}

SqliteConnection::Statement& SqliteConnection::Statement::bind(int index, const QVariant& value)
{
    if (!mStatement)
        return *this;
    int code = SQLITE_OK;
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        code = sqlite().bind_null(mStatement, index);
        break;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
        code = sqlite().bind_int64(mStatement, index, value.toLongLong());
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        code = sqlite().bind_blob64(mStatement, index, bytes.constData(),
                                    static_cast<sqlite3_uint64>(bytes.size()), SQLITE_TRANSIENT);
        break;
    }
    default: {
        const QString text = value.toString();
        if (text.isNull()) {
            code = sqlite().bind_null(mStatement, index);
            break;
        }
        const QByteArray utf8 = text.toUtf8();
        code = sqlite().bind_text64(mStatement, index, utf8.constData(),
                                    static_cast<sqlite3_uint64>(utf8.size()), SQLITE_TRANSIENT, SQLITE_UTF8);
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
    const int code = sqlite().step(mStatement);
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
    while ((code = sqlite().step(mStatement)) == SQLITE_ROW) {
    }
    mConnection->noteResult(code);
    sqlite().reset(mStatement);
    sqlite().clear_bindings(mStatement);
    return code == SQLITE_DONE;
}

qint64 SqliteConnection::Statement::integer(int column) const
{
    return mStatement ? sqlite().column_int64(mStatement, column) : 0;
}

QString SqliteConnection::Statement::text(int column) const
{
    if (!mStatement || sqlite().column_type(mStatement, column) == SQLITE_NULL)
        return QString();
    const auto* bytes = reinterpret_cast<const char*>(sqlite().column_text(mStatement, column));
    const int length = sqlite().column_bytes(mStatement, column);
    return bytes ? QString::fromUtf8(bytes, length) : QString(QLatin1String(""));
}

QByteArray SqliteConnection::Statement::blob(int column) const
{
    if (!mStatement)
        return QByteArray();
    const void* bytes = sqlite().column_blob(mStatement, column);
    const int length = sqlite().column_bytes(mStatement, column);
    return bytes ? QByteArray(static_cast<const char*>(bytes), length) : QByteArray();
}

bool SqliteConnection::Statement::isNull(int column) const
{
    return !mStatement || sqlite().column_type(mStatement, column) == SQLITE_NULL;
}

SqliteConnection::~SqliteConnection()
{
    close();
}

bool SqliteConnection::open(const QString& path, int busyMilliseconds)
{
    close();
    clearFailure();
    if (!sqlite().isComplete()) {
        mLastFailure = Failure::Other;
        mLastError =
            QStringLiteral("the SQLite library %1 could not be loaded").arg(QStringLiteral(QB_SQLITE_FILE));
        return false;
    }
    const int code =
        sqlite().open_v2(QFile::encodeName(path).constData(), &mDatabase,
                         SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        noteResult(code);
        close();
        return false;
    }
    sqlite().busy_timeout(mDatabase, busyMilliseconds);
    // Closing does not checkpoint the write-ahead log (with a flush) each
    // time a short-lived command ends; the log is checkpointed as it grows.
    sqlite().db_config(mDatabase, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite().extended_result_codes(mDatabase, 0);
    return true;
}

void SqliteConnection::close()
{
    if (mDatabase) {
        sqlite().close_v2(mDatabase);
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
    const int code = sqlite().prepare_v2(mDatabase, sql, -1, &statement, nullptr);
    noteResult(code);
    if (code != SQLITE_OK) {
        finalize(statement);
        return Statement();
    }
    return Statement(this, statement);
}

bool SqliteConnection::execute(const char* sql)
{
    if (!mDatabase)
        return false;
    char* message = nullptr;
    const int code = sqlite().exec(mDatabase, sql, nullptr, nullptr, &message);
    sqlite().free(message);
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
    return mDatabase ? sqlite().last_insert_rowid(mDatabase) : 0;
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
    if (mDatabase && !sqlite().get_autocommit(mDatabase)) {
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
    mLastError = QString::fromUtf8(mDatabase ? sqlite().errmsg(mDatabase) : sqlite().errstr(code));
}
