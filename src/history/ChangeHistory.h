#pragma once

#include "FileChangeRecord.h"
#include "HistoryOperation.h"
#include "SqliteConnection.h"

#include <QList>
#include <QString>

#include <array>
#include <optional>

// The change history: every operation that wrote songs, with each file's
// old and new values and where the new values came from, in an SQLite
// database in the application data folder ("History.sqlite"). Pictures and
// lyrics are kept once per content (by SHA-256). The oldest operations are
// dropped when the database grows beyond the size limit (the setting
// "historySizeMB", 500 by default).
//
// Several processes may use the database at once (write-ahead log, a wait of
// a few seconds for the write lock). A database found damaged is moved aside
// ("History (damaged <time>).sqlite") and a new one started; the front ends
// say so through setAsidePath(). Every operation answers false and a reason
// rather than throwing; the songs are written whatever the history can do.
class ChangeHistory
{
public:
    explicit ChangeHistory(QString path = defaultPath(), int busyMilliseconds = 10000);
    ~ChangeHistory();
    ChangeHistory(const ChangeHistory&) = delete;
    ChangeHistory& operator=(const ChangeHistory&) = delete;

    // The one history of this process (main thread).
    static ChangeHistory& shared();
    static QString defaultPath();
    static qint64 sizeLimitBytes();
    QString path() const { return mPath; }

    // Opens the database on first use; false and the reason when it can't.
    bool open(QString* problem = nullptr);
    // Where a damaged history was moved when it was opened; empty otherwise.
    QString setAsidePath() const { return mSetAsidePath; }
    // The words that tell the user so, the first time they are asked for;
    // empty afterwards and when nothing was set aside.
    QString takeSetAsideNotice();

    // ---- recording
    // A new operation; its id, or nothing and the reason.
    std::optional<qint64> beginOperation(OperationKind kind, const QString& source, qint64 undoes = 0,
                                         const QString& note = QString(), const QDateTime& time = QDateTime(),
                                         QString* problem = nullptr);
    bool recordFile(qint64 operation, const FileChangeRecord& record, QString* problem = nullptr);
    // Several files in one transaction: all or none.
    bool recordFiles(qint64 operation, const QList<FileChangeRecord>& records, QString* problem = nullptr);
    // Drops the operation when no file was recorded for it, then keeps the
    // history within its size limit (never dropping `operation` itself).
    bool finishOperation(qint64 operation, QString* problem = nullptr);

    // ---- reading
    QList<HistoryOperation> operations(int limit = 1000, QString* problem = nullptr);
    std::optional<HistoryOperation> operation(qint64 id, QString* problem = nullptr);
    // The newest operation's id, or 0.
    qint64 lastOperationID();
    // The files of an operation with their changes, in the order recorded.
    QList<FileChangeRecord> filesOf(qint64 operation, QString* problem = nullptr);

    // Bytes the database takes now (pages in use).
    qint64 sizeInBytes();
    // Tests: a smaller limit than the setting's.
    void setSizeLimitBytes(qint64 limit) { mSizeLimit = limit; }

private:
    bool openFile(QString* problem);
    bool createSchema();
    void setAside();
    bool fail(QString* problem);
    struct Inserts;
    bool insertFile(Inserts& inserts, qint64 operation, const FileChangeRecord& record);
    bool storeValue(Inserts& inserts, qint64 file, TagAttribute attribute, const TagSnapshot& values,
                    QVariant* column);
    bool storeContent(Inserts& inserts, qint64 file, const QByteArray& bytes, QString* hash);
    QByteArray content(const QString& hash);
    QString digestOf(const QByteArray& bytes);
    void readValue(TagAttribute attribute, const QString& column, TagSnapshot* values);
    bool pruneToLimit(qint64 keep);

    QString mPath;
    QString mSetAsidePath;
    SqliteConnection mDatabase;
    int mBusyMilliseconds;
    bool mNewerFormat = false;
    bool mSetAsideTold = false;
    qint64 mSizeLimit = -1;
    // Contents digested lately: the songs of an album share their cover, so
    // its digest is taken once rather than once per song.
    struct Digested
    {
        QByteArray bytes;
        QString hash;
    };
    std::array<Digested, 4> mDigested;
    std::size_t mNextDigested = 0;
};
