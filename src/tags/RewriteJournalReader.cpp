// RewriteJournal: reading a journal left behind (both versions), with
// every length checked against the journal's size before it is used.
#include "RewriteJournal.h"

#include "RewriteJournalFormat.h"

#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <numeric>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace RewriteJournalFormat;

namespace {

QByteArray readBytes(const PosixFile& file, qint64 offset, qint64 length, bool* ok)
{
    QByteArray bytes(length, Qt::Uninitialized);
    *ok = file.readAt(offset, bytes.data(), length);
    return bytes;
}

// The checksum of `length` journal bytes from `offset`, read in chunks.
bool checksumOf(const PosixFile& file, qint64 offset, qint64 length, JournalChecksum* checksum)
{
    const qint64 chunk = qBound<qint64>(1, length, PosixFile::kChunkSize);
    const auto buffer = PosixFile::makeBuffer(chunk);
    for (qint64 at = 0; at < length;) {
        const qint64 n = qMin(chunk, length - at);
        if (!file.readAt(offset + at, buffer.get(), n))
            return false;
        checksum->update(buffer.get(), n);
        at += n;
    }
    return true;
}

} // namespace

RewriteJournal::OpenResult RewriteJournal::openExisting(const QString& journalPath, QString* reason)
{
    mJournalPath = journalPath;
    mEntries.clear();
    const auto invalid = [&](const QString& why) {
        if (reason)
            *reason = why;
        return OpenResult::Invalid;
    };
    mFile = PosixFile::open(journalPath, O_RDWR);
    if (!mFile.isOpen())
        return invalid(PosixFile::lastError());
    if (::flock(mFile.fd(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return OpenResult::Busy;
        return invalid(PosixFile::lastError());
    }
    const qint64 size = ::lseek(mFile.fd(), 0, SEEK_END);
    bool ok = false;
    const QByteArray magic =
        size >= qint64(sizeof kMagic) ? readBytes(mFile, 0, sizeof kMagic, &ok) : QByteArray();
    if (!ok || std::memcmp(magic.constData(), kMagic, sizeof kMagic) != 0)
        return OpenResult::Free;
    const QByteArray version = size >= 12 ? readBytes(mFile, sizeof kMagic, 4, &ok) : QByteArray();
    if (!ok || version.size() < 4)
        return invalid(QStringLiteral("too short"));
    mVersion = qFromLittleEndian<quint32>(version.constData());
    const OpenResult result = mVersion == 1   ? readVersion1(size, reason)
                              : mVersion == 2 ? readVersion2(size, reason)
                                              : invalid(QStringLiteral("unknown version"));
    if (result != OpenResult::Valid)
        mEntries.clear();
    return result;
}

RewriteJournal::OpenResult RewriteJournal::readVersion1(qint64 size, QString* reason)
{
    const auto invalid = [&](const QString& why) {
        if (reason)
            *reason = why;
        return OpenResult::Invalid;
    };
    if (size < kV1LeadSize + kV1FixedAfterPath + kTrailerSize)
        return invalid(QStringLiteral("too short"));
    bool ok = false;
    const QByteArray lead = readBytes(mFile, 0, kV1LeadSize, &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    const quint32 pathBytes = qFromLittleEndian<quint32>(lead.constData() + 12);
    if (pathBytes == 0 || pathBytes > kMaxPathBytes ||
        kV1LeadSize + pathBytes + kV1FixedAfterPath + kTrailerSize > size)
        return invalid(QStringLiteral("bad path length"));

    const QByteArray fixed = readBytes(mFile, kV1LeadSize, pathBytes + kV1FixedAfterPath, &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    Entry entry;
    entry.path = fixed.left(pathBytes);
    const QByteArray rest = fixed.mid(pathBytes);
    Cursor cursor(rest);
    entry.before = cursor.identity(false);
    entry.newLength = cursor.identity(false).size;
    const qint64 originalLength = cursor.take<qint64>();
    const quint32 count = cursor.take<quint32>();
    if (originalLength < 0 || entry.before.size != originalLength || entry.newLength < 0)
        return invalid(QStringLiteral("bad lengths"));
    const qint64 tableAt = kV1LeadSize + pathBytes + kV1FixedAfterPath;
    if (count > kMaxRegions || tableAt + kRegionEntrySize * count + kTrailerSize > size)
        return invalid(QStringLiteral("bad region count"));

    const QByteArray table = readBytes(mFile, tableAt, kRegionEntrySize * count, &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    Cursor tableCursor(table);
    // A reused slot may be longer than its journal: the table says where it ends.
    const qint64 dataBytes = size - tableAt - kRegionEntrySize * count - kTrailerSize;
    qint64 total = 0;
    qint64 previousEnd = 0;
    for (quint32 i = 0; i < count; ++i) {
        Region region;
        region.offset = tableCursor.take<qint64>();
        region.length = tableCursor.take<qint64>();
        if (region.offset < previousEnd || region.length < 0 ||
            region.offset > originalLength - region.length || region.length > dataBytes - total)
            return invalid(QStringLiteral("bad region"));
        previousEnd = region.offset + region.length;
        total += region.length;
        entry.regions.append(region);
    }
    entry.savedAt = tableAt + kRegionEntrySize * count;
    // The checksum (over everything before it, the magic included) guards
    // against a journal whose data never reached the disk.
    JournalChecksum checksum;
    const qint64 covered = entry.savedAt + total;
    if (!checksumOf(mFile, 0, covered, &checksum))
        return invalid(PosixFile::lastError());
    const QByteArray trailer = readBytes(mFile, covered, kTrailerSize, &ok);
    if (!ok || qFromLittleEndian<quint64>(trailer.constData()) != checksum.value())
        return invalid(QStringLiteral("checksum mismatch"));
    mEntries.append(entry);
    return OpenResult::Valid;
}

RewriteJournal::OpenResult RewriteJournal::readVersion2(qint64 size, QString* reason)
{
    const auto invalid = [&](const QString& why) {
        if (reason)
            *reason = why;
        return OpenResult::Invalid;
    };
    if (size < kLeadSize + kTrailerSize)
        return invalid(QStringLiteral("too short"));
    bool ok = false;
    const QByteArray lead = readBytes(mFile, sizeof kMagic, kLeadSize - qint64(sizeof kMagic), &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    Cursor leadCursor(lead);
    leadCursor.take<quint32>();
    const quint32 count = leadCursor.take<quint32>();
    const qint64 end = leadCursor.take<qint64>();
    if (count > kMaxEntries || end < kLeadSize || end > size - kTrailerSize)
        return invalid(QStringLiteral("bad entry count or end"));

    qint64 at = kLeadSize;
    for (quint32 n = 0; n < count; ++n) {
        if (end - at < 4)
            return invalid(QStringLiteral("entry past the end"));
        const quint32 pathBytes = qFromLittleEndian<quint32>(readBytes(mFile, at, 4, &ok).constData());
        if (!ok || pathBytes == 0 || pathBytes > kMaxPathBytes ||
            end - at - 4 < pathBytes + kEntryFixedAfterPath)
            return invalid(QStringLiteral("bad path length"));
        const QByteArray fixed = readBytes(mFile, at + 4, pathBytes + kEntryFixedAfterPath, &ok);
        if (!ok)
            return invalid(PosixFile::lastError());
        Entry entry;
        entry.path = fixed.left(pathBytes);
        const QByteArray rest = fixed.mid(pathBytes);
        Cursor cursor(rest);
        entry.before = cursor.identity(true);
        entry.newLength = cursor.take<qint64>();
        entry.sameLength = (cursor.take<quint32>() & kSameLengthFlag) != 0;
        const quint32 regionCount = cursor.take<quint32>();
        const quint32 editCount = cursor.take<quint32>();
        at += 4 + pathBytes + kEntryFixedAfterPath;
        if (entry.before.size < 0 || entry.newLength < 0 || regionCount > kMaxRegions ||
            editCount > kMaxRegions || end - at < kRegionEntrySize * regionCount + kEditEntrySize * editCount)
            return invalid(QStringLiteral("bad counts"));
        const QByteArray tables =
            readBytes(mFile, at, kRegionEntrySize * regionCount + kEditEntrySize * editCount, &ok);
        if (!ok)
            return invalid(PosixFile::lastError());
        at += tables.size();
        Cursor table(tables);
        const qint64 original = entry.before.size;
        qint64 previousEnd = 0;
        qint64 bytes = 0; // saved and new bytes that follow
        for (quint32 i = 0; i < regionCount; ++i) {
            Region region;
            region.offset = table.take<qint64>();
            region.length = table.take<qint64>();
            if (region.offset < previousEnd || region.length < 0 ||
                region.offset > original - region.length || region.length > end - at - bytes)
                return invalid(QStringLiteral("bad region"));
            previousEnd = region.offset + region.length;
            bytes += region.length;
            entry.regions.append(region);
        }
        previousEnd = 0;
        qint64 newLength = original;
        QList<qint64> byteCounts;
        for (quint32 i = 0; i < editCount; ++i) {
            FileEdit edit;
            edit.offset = table.take<qint64>();
            edit.length = table.take<qint64>();
            const qint64 count = table.take<qint64>();
            if (edit.offset < previousEnd || edit.length < 0 || edit.offset > original - edit.length ||
                count < 0 || count > end - at - bytes)
                return invalid(QStringLiteral("bad edit"));
            previousEnd = edit.offset + edit.length;
            bytes += count;
            newLength += count - edit.length;
            byteCounts.append(count);
            entry.edits.append(edit);
        }
        // The shapes the writer makes: runs of equal length, or one region
        // from the first edit to the end.
        bool shaped = newLength == entry.newLength && editCount > 0;
        if (shaped && entry.sameLength) {
            shaped = regionCount == editCount && newLength == original;
            for (quint32 i = 0; shaped && i < regionCount; ++i)
                shaped = entry.regions[i].offset == entry.edits[i].offset &&
                         entry.regions[i].length == entry.edits[i].length &&
                         byteCounts[i] == entry.edits[i].length;
        } else if (shaped) {
            shaped = regionCount == 1 && entry.regions[0].offset == entry.edits[0].offset &&
                     entry.regions[0].offset + entry.regions[0].length == original;
        }
        if (!shaped)
            return invalid(QStringLiteral("bad entry shape"));
        entry.savedAt = at;
        at += bytes - std::accumulate(byteCounts.cbegin(), byteCounts.cend(), qint64(0));
        for (int i = 0; i < entry.edits.size(); ++i) {
            entry.edits[i].bytes = readBytes(mFile, at, byteCounts[i], &ok);
            if (!ok)
                return invalid(PosixFile::lastError());
            at += byteCounts[i];
        }
        mEntries.append(entry);
    }
    if (at != end)
        return invalid(QStringLiteral("bad end"));
    // The checksum guards against a journal whose data never reached the disk.
    JournalChecksum checksum;
    if (!checksumOf(mFile, kLeadSize, end - kLeadSize, &checksum))
        return invalid(PosixFile::lastError());
    const QByteArray trailer = readBytes(mFile, end, kTrailerSize, &ok);
    if (!ok || qFromLittleEndian<quint64>(trailer.constData()) != sealedChecksum(lead, checksum.value()))
        return invalid(QStringLiteral("checksum mismatch"));
    return OpenResult::Valid;
}
