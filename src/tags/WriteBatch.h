#pragma once

#include "FileEdit.h"
#include "FileIdentity.h"

#include <QList>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>
#include <thread>

// Group commit of crash-safe rewrites: the writes of many files made durable
// together, with one flush of their journal and one of their data, instead
// of two flushes for every file.
//
// While a batch is the current one of a thread (WriteBatch::Scope), every
// SafeFileRewriter::apply on that thread only checks the file, saves what
// the write will overwrite in the batch's journal and keeps the file and its
// write lock; nothing in the file changes yet. The commit then
//   1. seals the journal (every file's original bytes) and flushes it,
//   2. writes each file in place, after a last look at its identity (a file
//      changed since it was staged is left alone and reported),
//   3. flushes the files' data (one syncfs where that is sound),
//   4. frees the journal, runs each file's completions (written or not, with
//      the reason) and lets the write locks go.
// A write killed at any moment thus leaves every file of the batch as it
// was or completely written, and recovery (SafeFileRewriter) puts the
// written ones back at the next start, never a file another program has
// changed since.
//
// A batch that holds `files` files, whose journal reaches `journalBytes` or
// whose first file waited `delayMs` is sent off when the next file comes:
// steps 1 to 3 run on a worker thread while the next files are staged, and
// step 4 (completions, locks) follows on the batch's own thread when those
// are sent off in turn, or at the commit. A batch commits everything (and
// waits for it) on its timer (`delayMs`, when the thread runs an event loop),
// when this thread is about to wait for another writer's lock (so that two
// writers never wait for each other), when a writer of this thread takes the
// lock of a file waiting in it, and when it ends. A write outside any batch
// is a batch of one, committed before apply returns.
class WriteBatch
{
public:
    // A batch keeps one descriptor per file waiting, and two per file while
    // it is written: 128 files stay far below the usual limit of 1024.
    struct Limits
    {
        int files = 128;
        int delayMs = 100;
        qint64 journalBytes = 64 << 20;
    };
    // What follows a file's write: told whether the file holds it, on disk,
    // or the localised reason why not.
    using Completion = std::function<void(bool written, const QString& errorText)>;

    WriteBatch();
    explicit WriteBatch(const Limits& limits);
    // Commits what waits.
    ~WriteBatch();
    WriteBatch(const WriteBatch&) = delete;
    WriteBatch& operator=(const WriteBatch&) = delete;

    // Makes a batch the one this thread's writes go to, for its lifetime.
    class Scope
    {
    public:
        explicit Scope(WriteBatch& batch);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        WriteBatch* mPrevious;
    };

    // Makes every waiting write durable and runs the completions; true when
    // all were written, otherwise the first failure's text in `errorText`.
    bool commit(QString* errorText = nullptr);
    qsizetype pendingFiles() const;
    const Limits& limits() const { return mLimits; }

    // The batch this thread's writes go to now, or null.
    static WriteBatch* current();
    // Runs `completion` once the write of `path` just made on this thread is
    // durable: when the batch it waits in commits, or at once (written) when
    // it waits in none (it was written directly, or had nothing to change).
    static void afterWrite(const QString& path, Completion completion);

private:
    friend class SafeFileRewriter;
    friend class FileWriteLock;
    struct Staged;
    struct Group;

    // Checks and journals one file's edits and keeps the file, under its
    // write lock, for the commit. A full or old batch is sent off first, so
    // that no write is committed inside its own apply (before its caller can
    // say what follows it).
    bool stage(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
               QString* errorText);
    bool isDue() const;
    // Sends the waiting files off to be written on a worker thread while
    // the next ones are staged (after the previous ones have landed).
    void launch();
    // Waits for the files sent off, then runs their completions.
    bool land(QString* errorText);
    // The steps of a commit (see above); each file ends written or with its
    // reason. On an interruption (a fault point of the tests) the journal
    // stays as a process that died there would leave it.
    static void writeGroup(Group& group);
    static bool flushFiles(const Group& group);
    static void undo(Group& group, bool flush, const QString& cause, bool keepJournal);
    static void interrupt(Group& group);
    // Runs the completions; true when every file was written.
    static bool finish(Group& group, QString* errorText);
    // For the write lock: commits the batches of this thread in which the
    // file waits, or all of them before this thread waits for a lock.
    static void commitWritesOf(quint64 device, quint64 inode);
    static void commitBeforeWaiting();

    Limits mLimits;
    std::unique_ptr<Group> mPending;
    std::unique_ptr<Group> mInFlight;
    std::thread mWorker;
    QTimer mTimer;
};
