#include "SafeFileRewriter.h"

#include "EditTarget.h"
#include "FileWriteLock.h"
#include "PosixFile.h"
#include "RewriteJournal.h"
#include "WriteBatch.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QStandardPaths>

#include <atomic>
#include <cerrno>
#include <limits>

#include <fcntl.h>

namespace {

std::atomic<int> gFaultPoint{0};
std::atomic<int> gFaultOccurrence{1};
std::atomic<bool> gFlushToDisk{true};

QMutex& folderMutex()
{
    static QMutex mutex;
    return mutex;
}

QString& folderOverride()
{
    static QString folder;
    return folder;
}

void setAside(const QString& journalPath, const QString& reason)
{
    const QString folder = SafeFileRewriter::journalFolder() + QStringLiteral("/Set Aside");
    QDir().mkpath(folder);
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    QString target;
    for (int n = 0; target.isEmpty() || QFileInfo::exists(target); ++n)
        target =
            folder + QStringLiteral("/%1-%2-%3").arg(stamp).arg(n).arg(QFileInfo(journalPath).fileName());
    if (!QFile::rename(journalPath, target))
        WMLog("Rewrite journal %@ could not be moved aside", journalPath);
    WMLog("Rewrite journal %@ set aside: %@", journalPath, reason);
}

enum class Recovery
{
    Untouched = 0,
    Restored = 1,
    Later = 2,
    Foreign = 3
};

// Puts one file of a journal back when it holds a write of ours, begun or
// finished; leaves alone a file in its original state, and one that holds
// bytes the write never had (another program's change, which a restore
// would lose).
Recovery recoverEntry(const RewriteJournal& journal, int index, QString* why)
{
    const RewriteJournal::Entry& entry = journal.entries().at(index);
    const QString target = QFile::decodeName(entry.path);
    // No writer of ours may be inside the file while it is put back.
    QString lockError;
    const FileWriteLock lock = FileWriteLock::acquire(target, &lockError);
    if (!lock.isLocked() && QFileInfo(target).isFile()) {
        WMLog("Rewrite journal %@: %@; kept for later", journal.journalPath(), lockError);
        return Recovery::Later;
    }
    PosixFile file = PosixFile::open(target, O_RDWR | O_NONBLOCK | O_NOCTTY);
    const int openError = file.isOpen() ? 0 : errno;
    if (openError != 0 && openError != ENOENT && openError != ENOTDIR) {
        WMLog("Rewrite journal %@: %@ cannot be opened now (%@); kept for later", journal.journalPath(),
              target, PosixFile::lastError());
        return Recovery::Later;
    }
    const FileIdentity now = FileIdentity::ofDescriptor(file.fd());
    if (!now.isSameFile(entry.before)) {
        *why = target + QStringLiteral(": the file is missing or was replaced");
        return Recovery::Foreign;
    }
    RewriteJournal::Match match = RewriteJournal::Match::Written;
    if (journal.version() >= 2) {
        if (now == entry.before)
            return Recovery::Untouched; // not even its change time moved
        match = journal.compare(index, file);
        if (match == RewriteJournal::Match::Foreign) {
            *why = target + QStringLiteral(": it holds bytes that neither the old nor the new state has");
            return Recovery::Foreign;
        }
    } else {
        // A journal of the first version knows the lengths and the
        // modification time, not the bytes written.
        const qint64 low = qMin(entry.before.size, entry.newLength);
        const qint64 high = qMax(entry.before.size, entry.newLength);
        if (now.size < low || now.size > high) {
            *why = target + QStringLiteral(": its length matches neither the old nor the new state");
            return Recovery::Foreign;
        }
        if (now.mtimeNs < entry.before.mtimeNs) {
            *why = target + QStringLiteral(": the file is older than the journal");
            return Recovery::Foreign;
        }
        if (now.hasSameContentStamp(entry.before))
            match = journal.compare(index, file);
    }
    if (match == RewriteJournal::Match::Original)
        return Recovery::Untouched; // the write never began, or was undone
    QString error;
    if (!journal.restoreInto(index, file, true, &error)) {
        WMLog("Could not restore %@ from its rewrite journal: %@", target, error);
        return Recovery::Later;
    }
    WMLog("Restored %@ from the rewrite journal of an interrupted write", target);
    return Recovery::Restored;
}

} // namespace

void SafeFileRewriter::setFaultPoint(FaultPoint point, int occurrence)
{
    gFaultOccurrence.store(occurrence);
    gFaultPoint.store(static_cast<int>(point));
}

bool SafeFileRewriter::reachedFaultPoint(FaultPoint point, int* reached)
{
    return gFaultPoint.load() == static_cast<int>(point) && ++*reached == gFaultOccurrence.load();
}

void SafeFileRewriter::setFlushToDisk(bool flush)
{
    gFlushToDisk.store(flush);
}

bool SafeFileRewriter::flushToDisk()
{
    return gFlushToDisk.load();
}

QStringList SafeFileRewriter::pendingJournals()
{
    const QDir folder(journalFolder());
    QStringList pending;
    for (const QString& name : folder.entryList({QStringLiteral("*.journal")}, QDir::Files, QDir::Name)) {
        if (RewriteJournal::isPending(folder.filePath(name)))
            pending.append(folder.filePath(name));
    }
    return pending;
}

QString SafeFileRewriter::journalFolder()
{
    QMutexLocker lock(&folderMutex());
    if (!folderOverride().isEmpty())
        return folderOverride();
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) +
           QStringLiteral("/Rewrite Journal");
}

namespace {

thread_local int tRehearsals = 0;

} // namespace

SafeFileRewriter::Rehearsal::Rehearsal()
{
    ++tRehearsals;
}

SafeFileRewriter::Rehearsal::~Rehearsal()
{
    --tRehearsals;
}

bool SafeFileRewriter::isRehearsing()
{
    return tRehearsals > 0;
}

void SafeFileRewriter::setJournalFolder(const QString& folder)
{
    QMutexLocker lock(&folderMutex());
    folderOverride() = folder;
}

namespace {

bool fail(QString* errorText, const QString& text)
{
    if (errorText)
        *errorText = text;
    return false;
}

// A dry run's write: everything a write would check (the lock, the file, its
// state since it was read, the edits, the journal folder), nothing written.
bool rehearse(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
              QString* errorText)
{
    // The lock is held until the end, over the journal folder's check too.
    const std::optional<EditTarget> target = EditTarget::open(path, edits, expected, errorText);
    if (!target)
        return false;
    const QString folder = SafeFileRewriter::journalFolder();
    if (!QDir().mkpath(folder) || !QFileInfo(folder).isWritable())
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorJournal"), path,
                                                        QStringLiteral("%1 can't be written").arg(folder)));
    return true;
}

} // namespace

bool SafeFileRewriter::apply(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
                             QString* errorText)
{
    if (edits.isEmpty())
        return true;
    if (isRehearsing())
        return rehearse(path, edits, expected, errorText);
    if (WriteBatch* batch = WriteBatch::current())
        return batch->stage(path, edits, expected, errorText);
    WriteBatch single({1, 0, std::numeric_limits<qint64>::max()});
    return single.stage(path, edits, expected, errorText) && single.commit(errorText);
}

int SafeFileRewriter::recoverInterruptedWrites()
{
    const QDir folder(journalFolder());
    if (!folder.exists())
        return 0;
    int restored = 0;
    const QStringList names = folder.entryList({QStringLiteral("*.journal")}, QDir::Files, QDir::Name);
    for (const QString& name : names) {
        const QString journalPath = folder.filePath(name);
        RewriteJournal journal;
        QString reason;
        const RewriteJournal::OpenResult opened = journal.openExisting(journalPath, &reason);
        if (opened == RewriteJournal::OpenResult::Busy || opened == RewriteJournal::OpenResult::Free)
            continue; // a write in progress, or a free slot
        if (opened == RewriteJournal::OpenResult::Invalid) {
            journal.abandon();
            setAside(journalPath, reason);
            continue;
        }
        // Every file of the journal on its own: some may have been written,
        // some not, some changed by others since.
        bool later = false;
        QStringList foreign;
        for (int i = 0; i < journal.entries().size(); ++i) {
            QString why;
            switch (recoverEntry(journal, i, &why)) {
            case Recovery::Restored:
                ++restored;
                break;
            case Recovery::Later:
                later = true;
                break;
            case Recovery::Foreign:
                foreign.append(why);
                break;
            case Recovery::Untouched:
                break;
            }
        }
        if (later) {
            journal.abandon();
        } else if (!foreign.isEmpty()) {
            journal.abandon();
            setAside(journalPath, foreign.join(QStringLiteral("; ")));
        } else {
            journal.discard();
        }
    }
    return restored;
}
