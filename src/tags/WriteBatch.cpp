#include "WriteBatch.h"

#include "EditTarget.h"
#include "FileWriteLock.h"
#include "PosixFile.h"
#include "RewriteJournal.h"
#include "SafeFileRewriter.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

using Fault = SafeFileRewriter::FaultPoint;

// One file's write waiting for the commit: its write lock, its identity
// when staged, and what follows the write. The file is opened again for
// the commit, so that a large batch keeps one descriptor per file (the
// lock's).
struct WriteBatch::Staged
{
    QString path;
    FileWriteLock lock;
    PosixFile file;
    FileIdentity before;
    qint64 newSize = 0;
    int entry = 0; // in the journal
    std::vector<Completion> completions;
    bool written = false;
    QString error;
};

// The files of a batch waiting together, and their journal.
struct WriteBatch::Group
{
    RewriteJournal journal;
    std::vector<Staged> files;
    QElapsedTimer age;
    qint64 savedInMemory = 0;
    // Fault points reached (tests).
    int faultsReached = 0;
};

namespace {

thread_local WriteBatch* tCurrent = nullptr;
thread_local QList<WriteBatch*> tLive;

bool fail(QString* errorText, const QString& text)
{
    if (errorText)
        *errorText = text;
    WMLog("%@", text);
    return false;
}

// Same-length edits: the runs of bytes that really differ, as edits of the
// file. Runs closer than kMergeGap bytes are merged.
void differingRuns(const FileEdit& edit, const QByteArray& original, QList<FileEdit>* runs)
{
    constexpr qsizetype kMergeGap = 32;
    const char* a = original.constData();
    const char* b = edit.bytes.constData();
    const qsizetype n = original.size();
    constexpr qsizetype kBlock = 64;
    qsizetype i = 0;
    for (;;) {
        // Equal stretches (most of a tag) a block at a time.
        while (i + kBlock <= n && std::memcmp(a + i, b + i, kBlock) == 0)
            i += kBlock;
        while (i < n && a[i] == b[i])
            ++i;
        if (i >= n)
            return;
        const qsizetype start = i;
        qsizetype end = i + 1; // one past the last differing byte
        for (qsizetype j = end; j < n && j - end < kMergeGap; ++j) {
            if (a[j] != b[j])
                end = j + 1;
        }
        runs->append({edit.offset + start, end - start, edit.bytes.mid(start, end - start)});
        i = end;
    }
}

// syncfs() flushes a whole file system in one step and, since Linux 5.8,
// reports the write-back errors of the files in it; it is used only on local
// file systems known to honour it.
bool syncfsIsSound(int fd)
{
    static const bool kernelReports = [] {
        struct utsname name;
        int major = 0, minor = 0;
        return ::uname(&name) == 0 && std::sscanf(name.release, "%d.%d", &major, &minor) == 2 &&
               (major > 5 || (major == 5 && minor >= 8));
    }();
    struct statfs fs;
    if (!kernelReports || ::fstatfs(fd, &fs) != 0)
        return false;
    switch (fs.f_type) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
        return true;
    default:
        return false;
    }
}

} // namespace

WriteBatch::WriteBatch() : WriteBatch(Limits()) {}

WriteBatch::WriteBatch(const Limits& limits) : mLimits(limits)
{
    mTimer.setSingleShot(true);
    QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] { commit(); });
    tLive.append(this);
}

WriteBatch::~WriteBatch()
{
    commit();
    land(nullptr);
    tLive.removeOne(this);
    if (tCurrent == this)
        tCurrent = nullptr;
}

WriteBatch::Scope::Scope(WriteBatch& batch) : mPrevious(tCurrent)
{
    tCurrent = &batch;
}

WriteBatch::Scope::~Scope()
{
    tCurrent = mPrevious;
}

WriteBatch* WriteBatch::current()
{
    return tCurrent;
}

qsizetype WriteBatch::pendingFiles() const
{
    return mPending ? static_cast<qsizetype>(mPending->files.size()) : 0;
}

bool WriteBatch::isDue() const
{
    return mPending && (pendingFiles() >= mLimits.files || mPending->journal.size() >= mLimits.journalBytes ||
                        (mLimits.delayMs > 0 && mPending->age.elapsed() >= mLimits.delayMs));
}

void WriteBatch::afterWrite(const QString& path, Completion completion)
{
    const FileIdentity file = FileIdentity::of(path);
    for (qsizetype b = tLive.size() - 1; file.isValid() && b >= 0; --b) {
        const WriteBatch* batch = tLive.at(b);
        if (!batch->mPending)
            continue;
        std::vector<Staged>& files = batch->mPending->files;
        for (auto staged = files.rbegin(); staged != files.rend(); ++staged) {
            if (staged->before.isSameFile(file)) {
                staged->completions.push_back(std::move(completion));
                return;
            }
        }
    }
    completion(true, QString());
}

void WriteBatch::commitWritesOf(quint64 device, quint64 inode)
{
    const auto holds = [device, inode](const Group* group) {
        return group && std::any_of(group->files.cbegin(), group->files.cend(), [&](const Staged& staged) {
                   return staged.before.device == device && staged.before.inode == inode;
               });
    };
    const QList<WriteBatch*> live = tLive;
    for (WriteBatch* batch : live) {
        if (tLive.contains(batch) && (holds(batch->mPending.get()) || holds(batch->mInFlight.get())))
            batch->commit();
    }
}

void WriteBatch::commitBeforeWaiting()
{
    const QList<WriteBatch*> live = tLive;
    for (WriteBatch* batch : live) {
        if (tLive.contains(batch) && (batch->pendingFiles() > 0 || batch->mInFlight))
            batch->commit();
    }
}

bool WriteBatch::stage(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
                       QString* errorText)
{
    if (edits.isEmpty())
        return true;
    if (isDue())
        launch();
    // The lock is held until the commit.
    QString refusal;
    std::optional<EditTarget> target = EditTarget::open(path, edits, expected, &refusal);
    if (!target)
        return fail(errorText, refusal);
    const FileIdentity& before = target->before;
    PosixFile& file = target->file;

    RewriteJournal::Entry entry;
    entry.path = QFile::encodeName(path);
    entry.before = before;
    entry.newLength = before.size;
    entry.sameLength = true;
    for (const FileEdit& edit : edits) {
        entry.newLength += edit.bytes.size() - edit.length;
        entry.sameLength = entry.sameLength && edit.bytes.size() == edit.length;
    }
    qint64 saved = 0;
    if (entry.sameLength) {
        for (const FileEdit& edit : edits) {
            QByteArray original(edit.length, Qt::Uninitialized);
            if (!file.readAt(edit.offset, original.data(), edit.length))
                return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path,
                                                                PosixFile::lastError()));
            differingRuns(edit, original, &entry.edits);
        }
        if (entry.edits.isEmpty())
            return true; // the file already holds these bytes
        for (const FileEdit& run : std::as_const(entry.edits)) {
            entry.regions.append({run.offset, run.length});
            saved += run.length;
        }
    } else {
        entry.edits = edits;
        entry.regions.append({edits.first().offset, before.size - edits.first().offset});
        saved = entry.regions.first().length;
    }

    if (!mPending) {
        mPending = std::make_unique<Group>();
        mPending->age.start();
        if (mLimits.delayMs > 0 && QThread::currentThread()->eventDispatcher())
            mTimer.start(mLimits.delayMs);
    }
    Group& group = *mPending;
    const bool keep = group.savedInMemory + saved <= RewriteJournal::inMemoryLimit();
    const QString folder = SafeFileRewriter::journalFolder();
    QDir().mkpath(folder);
    QString reason;
    if (!group.journal.append(folder, std::move(entry), file, keep, &reason))
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorJournal"), path, reason));
    if (keep)
        group.savedInMemory += saved;
    if (SafeFileRewriter::flushToDisk())
        group.journal.startWriteBack();
    Staged staged;
    staged.path = path;
    staged.lock = std::move(target->lock);
    staged.before = before;
    staged.newSize = group.journal.entries().constLast().newLength;
    staged.entry = static_cast<int>(group.journal.entries().size() - 1);
    group.files.push_back(std::move(staged));
    if (SafeFileRewriter::reachedFaultPoint(Fault::AfterStage, &group.faultsReached)) {
        // As if the process died here: a journal not sealed is no journal.
        mTimer.stop();
        const std::unique_ptr<Group> dead = std::move(mPending);
        interrupt(*dead);
        finish(*dead, errorText);
        return false;
    }
    return true;
}

bool WriteBatch::commit(QString* errorText)
{
    mTimer.stop();
    QString landed;
    bool all = land(&landed);
    if (mPending) {
        // Taken out first: a completion may stage new writes in this batch.
        const std::unique_ptr<Group> group = std::move(mPending);
        writeGroup(*group);
        all = finish(*group, all ? errorText : nullptr) && all;
    }
    if (!landed.isNull() && errorText)
        *errorText = landed;
    return all;
}

void WriteBatch::launch()
{
    mTimer.stop();
    land(nullptr);
    mInFlight = std::move(mPending);
    if (!mInFlight)
        return;
    Group* group = mInFlight.get();
    mWorker = std::thread([group] { writeGroup(*group); });
    // Landed by the next file's commit or launch, or by the timer.
    if (mLimits.delayMs > 0 && QThread::currentThread()->eventDispatcher())
        mTimer.start(mLimits.delayMs);
}

bool WriteBatch::land(QString* errorText)
{
    if (!mInFlight)
        return true;
    mWorker.join();
    const std::unique_ptr<Group> group = std::move(mInFlight);
    return finish(*group, errorText);
}

void WriteBatch::writeGroup(Group& group)
{
    const auto reached = [&group](Fault point) {
        return SafeFileRewriter::reachedFaultPoint(point, &group.faultsReached);
    };
    const bool flush = SafeFileRewriter::flushToDisk();
    RewriteJournal& journal = group.journal;
    if (group.files.empty()) {
        journal.discard(); // only a journal entry that could not be made
        return;
    }
    QString reason;
    // 1. Every file's original bytes on disk before any file changes.
    if (!journal.seal(flush, &reason)) {
        journal.discard();
        for (Staged& staged : group.files)
            staged.error =
                LocalizedStrings::format(QStringLiteral("RewriteErrorJournal"), staged.path, reason);
        return;
    }
    if (reached(Fault::AfterJournal))
        return interrupt(group);

    // 2. Each file, after a last look: the same file under this name,
    // unchanged since it was staged.
    for (Staged& staged : group.files) {
        staged.file = PosixFile::open(staged.path, O_RDWR);
        if (!staged.file.isOpen()) {
            staged.error = LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), staged.path,
                                                    PosixFile::lastError());
            continue;
        }
        if (FileIdentity::ofDescriptor(staged.file.fd()) != staged.before ||
            FileIdentity::of(staged.path) != staged.before) {
            staged.error = LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), staged.path);
            continue;
        }
        const RewriteJournal::Entry& entry = journal.entries().at(staged.entry);
        bool written = true;
        if (entry.sameLength) {
            for (qsizetype i = 0; written && i < entry.edits.size(); ++i)
                written = staged.file.writeAt(entry.edits[i].offset, entry.edits[i].bytes);
        } else {
            written = journal.writeShifted(staged.entry, staged.file);
        }
        if (written && reached(Fault::AfterWrite))
            return interrupt(group);
        written = written && (staged.newSize >= staged.before.size || staged.file.truncate(staged.newSize));
        if (written && reached(Fault::AfterTruncate))
            return interrupt(group);
        if (written) {
            staged.written = true;
            // A rewritten tail goes to disk while the next files are written.
            if (flush && !entry.sameLength)
                staged.file.startWriteBack(entry.regions.first().offset);
            continue;
        }
        const QString cause = PosixFile::lastError();
        if (journal.restoreInto(staged.entry, staged.file, flush, nullptr)) {
            staged.error = LocalizedStrings::format(QStringLiteral("RewriteErrorWrite"), staged.path, cause);
            continue;
        }
        // Not put back: the whole batch is undone as far as it can be, and
        // the journal stays for the next start.
        staged.error =
            LocalizedStrings::format(QStringLiteral("RewriteErrorWriteUnrestored"), staged.path, cause);
        return undo(group, flush, QString(), true);
    }

    // 3. The files' data on disk.
    if (flush && !flushFiles(group))
        return undo(group, flush, PosixFile::lastError(), false);
    if (reached(Fault::AfterFlush))
        return interrupt(group);
    // 4. Durable: the journal is no longer needed.
    journal.discard();
}

bool WriteBatch::flushFiles(const Group& group)
{
    std::vector<const Staged*> written;
    for (const Staged& staged : group.files) {
        if (staged.written)
            written.push_back(&staged);
    }
    if (written.size() == 1)
        return written.front()->file.flushData();
    // One file system at a time: one syncfs where it is sound, otherwise
    // every file's write-back started first and then waited for file by file.
    while (!written.empty()) {
        const quint64 device = written.front()->before.device;
        std::vector<const Staged*> same;
        std::erase_if(written, [&](const Staged* staged) {
            if (staged->before.device != device)
                return false;
            same.push_back(staged);
            return true;
        });
        if (same.size() > 1 && syncfsIsSound(same.front()->file.fd())) {
            if (::syncfs(same.front()->file.fd()) != 0)
                return false;
            continue;
        }
        for (const Staged* staged : same)
            ::sync_file_range(staged->file.fd(), 0, 0, SYNC_FILE_RANGE_WRITE);
        for (const Staged* staged : same) {
            if (!staged->file.flushData())
                return false;
        }
    }
    return true;
}

void WriteBatch::undo(Group& group, bool flush, const QString& cause, bool keepJournal)
{
    bool unrestored = keepJournal;
    for (Staged& staged : group.files) {
        if (!staged.written) {
            if (staged.error.isEmpty())
                staged.error =
                    LocalizedStrings::format(QStringLiteral("RewriteErrorInterrupted"), staged.path);
            continue;
        }
        staged.written = false;
        QString restoreError;
        if (group.journal.restoreInto(staged.entry, staged.file, flush, &restoreError)) {
            staged.error =
                cause.isNull()
                    ? LocalizedStrings::format(QStringLiteral("RewriteErrorInterrupted"), staged.path)
                    : LocalizedStrings::format(QStringLiteral("RewriteErrorWrite"), staged.path, cause);
        } else {
            staged.error = LocalizedStrings::format(QStringLiteral("RewriteErrorWriteUnrestored"),
                                                    staged.path, cause.isNull() ? restoreError : cause);
            unrestored = true;
        }
    }
    if (unrestored)
        group.journal.abandon();
    else
        group.journal.discard();
}

void WriteBatch::interrupt(Group& group)
{
    group.journal.abandon();
    for (Staged& staged : group.files) {
        staged.written = false;
        staged.error = LocalizedStrings::format(QStringLiteral("RewriteErrorInterrupted"), staged.path);
    }
}

bool WriteBatch::finish(Group& group, QString* errorText)
{
    bool all = true;
    for (Staged& staged : group.files) {
        if (!staged.written) {
            if (all && errorText)
                *errorText = staged.error;
            all = false;
            WMLog("%@", staged.error);
        }
        for (const Completion& completion : staged.completions)
            completion(staged.written, staged.error);
    }
    return all;
}
