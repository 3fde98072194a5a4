#pragma once

#include "FileChangeRecord.h"
#include "HistoryOperation.h"

#include <QDateTime>
#include <QList>
#include <QString>

class ChangeHistory;

// Changes the history could not take when they were made (its database
// locked beyond the wait, damaged, or the disk full): one JSON line per file
// in "History-unrecorded.jsonl" beside the database, values and pictures
// included, taken into the history the next time it opens. Appends and the
// taking-in hold an advisory lock on the file, so that two processes never
// take the same lines in twice.
class UnrecordedChanges
{
public:
    struct Entry
    {
        QString operationKey; // the lines of one operation share it
        QDateTime time;
        OperationKind kind = OperationKind::Set;
        QString source;
        qint64 undoes = 0;
        QString problem;
        FileChangeRecord record;
    };

    explicit UnrecordedChanges(const QString& databasePath);
    QString path() const { return mPath; }

    // False when even the side file can't be written.
    bool append(const Entry& entry) const;
    // Records every entry in the history (one operation per key, noted with
    // the problem that kept it out) and empties the file; answers the number
    // of files taken in. Entries the history refuses stay in the file.
    int takeInto(ChangeHistory& history) const;

    static QByteArray encode(const Entry& entry);
    static std::optional<Entry> decode(const QByteArray& line);

private:
    QString mPath;
};
