#pragma once

#include "TagSnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

class ChangeHistory;

// Takes an operation of the history back, or does it again: each file gets
// the operation's old values (undo) or its new values (redo) through the
// crash-safe write, and that is itself recorded as an operation (kind "undo"
// or "redo"), so it can be taken back too. A file whose values are no longer
// those the operation left it with (for a redo: those it found), changed
// since by the user or another program, is left alone and named, unless
// forced.
class HistoryUndo
{
public:
    enum class Outcome
    {
        Restored = 0,        // written
        WouldRestore = 1,    // a dry run
        AlreadyRestored = 2, // the file holds those values already
        ChangedSince = 3,
        Vanished = 4,
        Failed = 5
    };

    struct FileResult
    {
        QString path;
        Outcome outcome = Outcome::Failed;
        QList<TagAttribute> attributes; // written, or (changed since) the ones that differ
        QString reason;                 // for a failure
    };

    struct Result
    {
        bool found = false;       // the operation exists
        qint64 undoOperation = 0; // the undo's (or redo's) own operation in the history
        QList<FileResult> files;
        QString historyProblem; // what the history could not record or read
        bool complete() const;  // every file written (or holding the values already)
        // The paths of the files written.
        QStringList writtenPaths() const;
    };

    static Result undo(ChangeHistory& history, qint64 operation, bool dryRun, bool force);
    // Writes the operation's new values again, with the same care.
    static Result redo(ChangeHistory& history, qint64 operation, bool dryRun, bool force);

private:
    static Result apply(ChangeHistory& history, qint64 operation, bool again, bool dryRun, bool force);
};
