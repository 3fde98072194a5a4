#pragma once

#include "ChangeHistory.h"
#include "FileChangeRecord.h"
#include "HistoryOperation.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QString>
#include <QStringList>

// Records one operation while it happens: the operation is made with its
// first file, and written files are recorded in small batches (one
// transaction for up to 64 files or half a second), so that a run cut short
// keeps what it did but the last moment. A file
// the history can't take (locked beyond the wait, damaged, disk full) goes to
// the side file of unrecorded changes, which the history takes in when it
// next opens; problem() then says what could not be recorded, for the front
// end to show. Recording never stops a write. With the setting
// "recordHistory" off nothing is recorded.
class HistoryRecorder
{
public:
    HistoryRecorder(OperationKind kind, QString source, qint64 undoes = 0,
                    ChangeHistory& history = ChangeHistory::shared());
    ~HistoryRecorder();
    HistoryRecorder(const HistoryRecorder&) = delete;
    HistoryRecorder& operator=(const HistoryRecorder&) = delete;

    // Records one written file (a rebuilt tag may change no value).
    void record(const FileChangeRecord& record);
    // What a command over these files ran on: the file itself, or the
    // folder that holds them all.
    static QString sourceOfFiles(const QStringList& paths);

    // Records the files not recorded yet.
    void flush();
    // Ends the operation (also done by the destructor).
    void finish();

    // The operation's id in the history, or 0 when none was made.
    qint64 operationID() const { return mOperation; }
    int recordedFiles() const { return mRecorded; }
    // Files kept in the side file or lost, and why; empty when all went in.
    int unrecordedFiles() const { return mUnrecorded; }
    // What the user should know: changes not recorded, a damaged history
    // set aside. Empty when all went well.
    QString problem() const;

private:
    OperationKind mKind;
    QString mSource;
    qint64 mUndoes;
    ChangeHistory& mHistory;
    QDateTime mTime;
    QList<FileChangeRecord> mPending;
    QElapsedTimer mPendingSince;
    bool mEnabled; // the setting recordHistory
    QString mKey;
    qint64 mOperation = 0;
    int mRecorded = 0;
    int mUnrecorded = 0;
    QString mProblem;
    QString mUnrecordedProblem;
    bool mFinished = false;
};
