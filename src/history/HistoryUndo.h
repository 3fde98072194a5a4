#pragma once

#include "TagSnapshot.h"

#include <QList>
#include <QString>

class ChangeHistory;

// Takes an operation of the history back: each file gets its old values
// again through the crash-safe write, and the undo is itself recorded as an
// operation (so it can be undone too). A file whose values are no longer
// those the operation wrote (changed since by the user or another program)
// is left alone and named, unless forced.
class HistoryUndo
{
public:
    enum class Outcome
    {
        Restored = 0,
        WouldRestore = 1, // a dry run
        AlreadyRestored = 2,
        ChangedSince = 3,
        Vanished = 4,
        Failed = 5
    };

    struct FileResult
    {
        QString path;
        Outcome outcome = Outcome::Failed;
        QList<TagAttribute> attributes; // restored, or (changed since) the ones that differ
        QString reason;                 // for a failure
    };

    struct Result
    {
        bool found = false;       // the operation exists
        qint64 undoOperation = 0; // the undo's own operation in the history
        QList<FileResult> files;
        QString historyProblem; // what the history could not record or read
        bool complete() const;  // every file restored (or already so)
    };

    static Result undo(ChangeHistory& history, qint64 operation, bool dryRun, bool force);
};
