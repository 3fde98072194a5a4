#pragma once

#include "FileEdit.h"
#include "FileIdentity.h"

#include <QList>
#include <QString>
#include <QStringList>

// Rewrites a file in place, crash-safely. Before anything is overwritten the
// original bytes of the regions about to change, the file's identity and the
// edits go into a journal in the caches folder, flushed to disk; then the
// file is written, truncated and flushed, and the journal freed. The file
// keeps its inode, so hard links and open handles stay valid. A journal left
// by an interrupted write is undone at the next start
// (recoverInterruptedWrites), but only while the file holds nothing but its
// original bytes and those of the write.
//
// Inside a WriteBatch the write is only staged when apply returns, and the
// batch makes many files durable together (see WriteBatch.h); outside one
// it is a batch of one, written before apply returns.
//
// Journals are kept in reusable slot files, so that once a slot exists a
// write (or a batch) costs two flushes (journal, then files) and no folder
// flush. When no edit changes a length, only the bytes that differ are
// written (and journalled); otherwise everything from the first edit to the
// end of the file is rewritten.
class SafeFileRewriter
{
public:
    // Applies the edits (sorted by offset, non-overlapping) in place.
    // Refuses (false, localised error text) when `expected` is valid and the
    // file's identity differs, also when it changes before the write begins.
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
    // the number of files restored. A file that holds bytes that are neither
    // its original ones nor the write's (another program changed it), or that
    // is missing or replaced, is left alone: its journal is set aside (moved
    // to a "Set Aside" folder beside the journals) and logged.
    static int recoverInterruptedWrites();

    // The steps of a write, in order: a file's edits journalled (every file
    // of a batch), the journal sealed and flushed, a file written and
    // truncated (every file), the files flushed.
    enum class FaultPoint
    {
        None = 0,
        AfterJournal = 1,
        AfterWrite = 2,
        AfterTruncate = 3,
        AfterFlush = 4,
        AfterStage = 5
    };
    // Tests: every write (a batch, or a single file) stops the
    // `occurrence`-th time it reaches that point and fails as if the process
    // had died there (the journal stays behind, unlocked; every file of the
    // batch is reported interrupted).
    static void setFaultPoint(FaultPoint point, int occurrence = 1);
    // For the writers: true when a test asked this write to stop here, the
    // write counting how often it reached points in `reached`.
    static bool reachedFaultPoint(FaultPoint point, int* reached);

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
