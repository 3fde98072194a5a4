#pragma once

#include "history/FileChangeRecord.h"
#include "songs/SongPathTags.h"
#include "web/SourceFailure.h"

#include <QList>
#include <QString>

// How one song of a run ended, for the front end to show: what changed (or
// would change, in a dry run), why nothing was found, why the file could
// not be written or the song not looked at, and what each web source asked
// came back with.
struct SongOutcome
{
    enum class Kind : int
    {
        // The file holds new values (or would, in a dry run).
        Changed = 0,
        // Something was wanted and nothing was found.
        NothingFound = 1,
        // Nothing the run looks for was missing.
        Complete = 2,
        // Values were found and the file could not be written (in a dry
        // run: would not be).
        WriteFailed = 3,
        // The song's tag could not be read when its turn came.
        Unreadable = 4,
        // The file was gone when its turn came.
        Vanished = 5,
        // The run was stopped during this song.
        Cancelled = 6
    };

    Kind kind = Kind::Complete;
    bool dryRun = false;
    // Why it failed, or was not looked at; else empty.
    QString reason;
    // The values before and after, the attributes changed and the origin of
    // each new value (also for a song that could not be written: what it
    // would have held).
    FileChangeRecord changes;
    // What was taken from the song's path, for a tag that lacked it.
    SongPathTags fromPath;
    QList<SourceReport> sources;
    // Of what the task found: an explanation (no album had a year to choose
    // by, the song is not on the album ...).
    QString note;

    // Every source asked failed and none answered anything.
    bool allSourcesFailed() const
    {
        if (sources.isEmpty())
            return false;
        for (const SourceReport& report : sources) {
            if (!report.failed() && report.failure.kind() != SourceFailure::Kind::NotConfigured)
                return false;
        }
        for (const SourceReport& report : sources) {
            if (report.failed())
                return true;
        }
        return false;
    }
};
