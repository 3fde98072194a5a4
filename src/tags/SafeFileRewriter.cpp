#include "SafeFileRewriter.h"

#include "FileWriteLock.h"
#include "PosixFile.h"
#include "RewriteJournal.h"

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
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

std::atomic<int> gFaultPoint{0};
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

bool faultAt(SafeFileRewriter::FaultPoint point)
{
    return gFaultPoint.load() == static_cast<int>(point);
}

bool fail(QString* errorText, const QString& text)
{
    if (errorText)
        *errorText = text;
    WMLog("%@", text);
    return false;
}

// Same-length edits: the runs of bytes that really differ, as regions of the
// file with their new bytes. Runs closer than kMergeGap bytes are merged.
void differingRuns(const FileEdit& edit, const QByteArray& original, QList<RewriteJournal::Region>* regions,
                   QList<QByteArray>* newBytes)
{
    constexpr qsizetype kMergeGap = 32;
    const char* a = original.constData();
    const char* b = edit.bytes.constData();
    const qsizetype n = original.size();
    qsizetype i = 0;
    while (i < n) {
        if (a[i] == b[i]) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        qsizetype end = i + 1; // one past the last differing byte
        for (qsizetype j = end; j < n && j - end < kMergeGap; ++j) {
            if (a[j] != b[j])
                end = j + 1;
        }
        regions->append({edit.offset + start, end - start});
        newBytes->append(edit.bytes.mid(start, end - start));
        i = end;
    }
}

// Writes the new contents from the first edit on: edit bytes and the
// original bytes between them, which are read back from the journal since
// the file's own copy may already be overwritten.
bool writeShifted(const PosixFile& file, const RewriteJournal& journal, const QList<FileEdit>& edits,
                  qint64 originalSize)
{
    const qint64 first = edits.first().offset;
    const qint64 saved = journal.dataOffset(0);
    const auto copyOriginal = [&](qint64 from, qint64 to, qint64 length) {
        if (journal.hasSavedBytes())
            return file.writeAt(to, journal.savedBytes().constData() + (from - first), length);
        return file.copyFrom(journal.file(), saved + (from - first), to, length);
    };
    qint64 out = first;
    qint64 in = first;
    for (const FileEdit& edit : edits) {
        if (edit.offset > in) {
            if (!copyOriginal(in, out, edit.offset - in))
                return false;
            out += edit.offset - in;
        }
        if (!file.writeAt(out, edit.bytes))
            return false;
        out += edit.bytes.size();
        in = edit.offset + edit.length;
    }
    return in >= originalSize || copyOriginal(in, out, originalSize - in);
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

} // namespace

void SafeFileRewriter::setFaultPoint(FaultPoint point)
{
    gFaultPoint.store(static_cast<int>(point));
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

bool SafeFileRewriter::apply(const QString& path, const QList<FileEdit>& edits, const FileIdentity& expected,
                             QString* errorText)
{
    if (edits.isEmpty())
        return true;
    // Held until the end, also when the caller holds it already (it then
    // covers the caller's read as well).
    const FileWriteLock lock = FileWriteLock::acquire(path, errorText);
    if (!lock.isLocked())
        return false;
    PosixFile file = PosixFile::open(path, O_RDWR);
    if (!file.isOpen())
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path,
                                                        PosixFile::lastError()));
    const FileIdentity before = FileIdentity::ofDescriptor(file.fd());
    if (!before.isValid())
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path,
                                                        QStringLiteral("not a regular file")));
    if (expected.isValid() && before != expected)
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path));

    qint64 previousEnd = 0;
    qint64 newSize = before.size;
    bool sameLength = true;
    for (const FileEdit& edit : edits) {
        if (edit.offset < previousEnd || edit.length < 0 || edit.offset > before.size - edit.length)
            return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorBadEdit"), path));
        previousEnd = edit.offset + edit.length;
        newSize += edit.bytes.size() - edit.length;
        sameLength = sameLength && edit.bytes.size() == edit.length;
    }
    if (isRehearsing()) {
        const QString folder = journalFolder();
        if (!QDir().mkpath(folder) || !QFileInfo(folder).isWritable())
            return fail(errorText,
                        LocalizedStrings::format(QStringLiteral("RewriteErrorJournal"), path,
                                                 QStringLiteral("%1 can't be written").arg(folder)));
        return true;
    }

    RewriteJournal::Header header;
    header.path = QFile::encodeName(path);
    header.before = before;
    header.after = before;
    header.after.size = newSize;
    header.after.mtimeNs = 0;
    header.originalLength = before.size;
    QList<QByteArray> runBytes;
    if (sameLength) {
        for (const FileEdit& edit : edits) {
            QByteArray original(edit.length, Qt::Uninitialized);
            if (!file.readAt(edit.offset, original.data(), edit.length))
                return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path,
                                                                PosixFile::lastError()));
            differingRuns(edit, original, &header.regions, &runBytes);
        }
        if (header.regions.isEmpty())
            return true; // the file already holds these bytes
    } else {
        header.regions.append({edits.first().offset, before.size - edits.first().offset});
    }

    const QString folder = journalFolder();
    QDir().mkpath(folder);
    const bool flush = flushToDisk();
    RewriteJournal journal;
    QString reason;
    if (!journal.create(folder, header, file, flush, &reason))
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorJournal"), path, reason));
    const auto interrupted = [&] {
        journal.abandon();
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorInterrupted"), path));
    };
    if (faultAt(FaultPoint::AfterJournal))
        return interrupted();

    // Last look before the first byte changes: same file under this name,
    // unchanged since it was opened.
    if (FileIdentity::ofDescriptor(file.fd()) != before || FileIdentity::of(path) != before) {
        journal.discard();
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path));
    }

    const auto undo = [&] {
        const QString cause = PosixFile::lastError();
        QString restoreError;
        if (journal.restoreInto(file, &restoreError)) {
            journal.discard();
            return fail(errorText,
                        LocalizedStrings::format(QStringLiteral("RewriteErrorWrite"), path, cause));
        }
        journal.abandon(); // left for recovery at the next start
        return fail(errorText,
                    LocalizedStrings::format(QStringLiteral("RewriteErrorWriteUnrestored"), path, cause));
    };
    bool written = true;
    if (sameLength) {
        for (int i = 0; written && i < header.regions.size(); ++i)
            written = file.writeAt(header.regions[i].offset, runBytes[i]);
    } else {
        written = writeShifted(file, journal, edits, before.size);
    }
    if (!written)
        return undo();
    if (faultAt(FaultPoint::AfterWrite))
        return interrupted();
    if (newSize < before.size && !file.truncate(newSize))
        return undo();
    if (faultAt(FaultPoint::AfterTruncate))
        return interrupted();
    if (flush && !file.flushData())
        return undo();
    if (faultAt(FaultPoint::AfterFlush))
        return interrupted();
    journal.discard();
    return true;
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
        const RewriteJournal::Header& header = journal.header();
        const QString target = QFile::decodeName(header.path);
        // No writer of ours may be inside the file while it is put back.
        QString lockError;
        const FileWriteLock lock = FileWriteLock::acquire(target, &lockError);
        if (!lock.isLocked() && QFileInfo(target).isFile()) {
            WMLog("Rewrite journal %@: %@; kept for later", journalPath, lockError);
            journal.abandon();
            continue;
        }
        PosixFile file = PosixFile::open(target, O_RDWR | O_NONBLOCK | O_NOCTTY);
        const int openError = file.isOpen() ? 0 : errno;
        const FileIdentity now = FileIdentity::ofDescriptor(file.fd());
        const qint64 low = qMin(header.originalLength, header.after.size);
        const qint64 high = qMax(header.originalLength, header.after.size);
        QString mismatch;
        if (openError != 0 && openError != ENOENT && openError != ENOTDIR) {
            WMLog("Rewrite journal %@: %@ cannot be opened now (%@); kept for later", journalPath, target,
                  PosixFile::lastError());
            continue;
        }
        if (!now.isSameFile(header.before))
            mismatch = QStringLiteral("the file is missing or was replaced");
        else if (now.size < low || now.size > high)
            mismatch = QStringLiteral("its length matches neither the old nor the new state");
        else if (now.mtimeNs < header.before.mtimeNs)
            mismatch = QStringLiteral("the file is older than the journal");
        if (!mismatch.isEmpty()) {
            journal.abandon();
            setAside(journalPath, target + QStringLiteral(": ") + mismatch);
            continue;
        }
        if (now.hasSameContentStamp(header.before) && journal.matchesOriginal(file)) {
            journal.discard(); // the write never began
            continue;
        }
        QString error;
        if (!journal.restoreInto(file, &error)) {
            WMLog("Could not restore %@ from its rewrite journal: %@", target, error);
            journal.abandon();
            continue;
        }
        journal.discard();
        WMLog("Restored %@ from the rewrite journal of an interrupted write", target);
        ++restored;
    }
    return restored;
}
