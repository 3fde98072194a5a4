#pragma once

#include "FileIdentity.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// One replacement in a rewrite: the bytes [offset, offset + length) of the
// ORIGINAL file are replaced by `bytes` (of any length).
struct FileEdit
{
    qint64 offset = 0;
    qint64 length = 0;
    QByteArray bytes;
};

// Rewrites a file in place, crash-safely. Before anything is overwritten the
// original bytes of the regions about to change, the original length and the
// file's identity go into a journal in the caches folder, flushed to disk;
// then the file is written, truncated and flushed, and the journal freed.
// The file keeps its inode, so hard links and open handles stay valid.
// A journal left by an interrupted write is undone at the next start
// (recoverInterruptedWrites), but only while the file is still the one the
// journal describes.
//
// Journals are kept in reusable slot files, so that once a slot exists a
// write costs two flushes (journal, then file) and no folder flush.
// When no edit changes a length, only the bytes that differ are written (and
// journalled); otherwise everything from the first edit to the end of the
// file is rewritten.
class SafeFileRewriter
{
public:
    // Applies the edits (sorted by offset, non-overlapping) in place.
    // Refuses (false, localised error text) when `expected` is valid and the
    // file's identity differs, also when it changes while the journal is made.
    // On a write error the original bytes are put back before returning.
    static bool apply(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
                      QString* errorText);
    // While one lives (on this thread), apply() only rehearses: it makes
    // every check a write makes (the lock, opening the file for writing, its
    // identity, the edits against its length, the journal's folder) and
    // answers as the write would, without writing anything. A dry run tells
    // so which songs could not be written.
    class Rehearsal
    {
    public:
        Rehearsal();
        ~Rehearsal();
        Rehearsal(const Rehearsal&) = delete;
        Rehearsal& operator=(const Rehearsal&) = delete;
    };
    static bool isRehearsing();

    // Undoes every interrupted write named by a journal left behind; answers
    // the number of files restored. A journal whose file matches neither the
    // state before nor a state the write could have left is set aside (moved
    // to a "Set Aside" folder beside the journals) and logged.
    static int recoverInterruptedWrites();

    enum class FaultPoint
    {
        None = 0,
        AfterJournal = 1,
        AfterWrite = 2,
        AfterTruncate = 3,
        AfterFlush = 4
    };
    // Tests: apply() stops at that point and returns false as if the process
    // had died there (the journal stays behind, unlocked).
    static void setFaultPoint(FaultPoint point);

    // With flushing off (on by default) neither journal nor file is forced
    // to disk: the journal then still undoes a write interrupted by a crash
    // of the process, but not one interrupted by a power loss.
    static void setFlushToDisk(bool flush);
    static bool flushToDisk();

    // Journals of writes not finished: interrupted, or running now.
    static QStringList pendingJournals();

    // The folder of the journals: "Rewrite Journal" in the caches folder,
    // unless a test chose another.
    static QString journalFolder();
    static void setJournalFolder(const QString& folder);
};
