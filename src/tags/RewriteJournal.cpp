#include "RewriteJournal.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr char kMagic[8] = {'Q', 'B', 'J', 'O', 'U', 'R', 'N', 'L'};
constexpr quint32 kMaxPathBytes = 65536;
constexpr quint32 kMaxRegions = 1u << 20;
// Magic, version and path length; then the fixed part after the path.
constexpr qint64 kLeadSize = 16;
constexpr qint64 kFixedAfterPath = 32 + 32 + 8 + 4;
constexpr qint64 kRegionEntrySize = 16;
constexpr qint64 kTrailerSize = 8;

template <typename T> void put(QByteArray& out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

void putIdentity(QByteArray& out, const FileIdentity& identity)
{
    put<quint64>(out, identity.device);
    put<quint64>(out, identity.inode);
    put<qint64>(out, identity.size);
    put<qint64>(out, identity.mtimeNs);
}

// Sequential reads from a buffer already known to be long enough.
class Cursor
{
public:
    explicit Cursor(const QByteArray& bytes) : mBytes(bytes) {}
    template <typename T> T take()
    {
        const T value = qFromLittleEndian<T>(mBytes.constData() + mAt);
        mAt += sizeof(T);
        return value;
    }
    FileIdentity identity()
    {
        FileIdentity identity;
        identity.device = take<quint64>();
        identity.inode = take<quint64>();
        identity.size = take<qint64>();
        identity.mtimeNs = take<qint64>();
        return identity;
    }

private:
    const QByteArray& mBytes;
    qsizetype mAt = 0;
};

// A 64-bit checksum over four interleaved lanes of 64-bit words: fast
// enough to vanish beside the copy it guards, and it changes when blocks
// are zeroed, stale or cut.
class Checksum
{
public:
    void update(const char* data, qint64 length)
    {
        mLength += static_cast<quint64>(length);
        while (length > 0 && mPending > 0) {
            mBlock[mPending++] = *data++;
            --length;
            if (mPending == kBlock) {
                mix(mBlock);
                mPending = 0;
            }
        }
        for (; length >= kBlock; data += kBlock, length -= kBlock)
            mix(data);
        while (length-- > 0)
            mBlock[mPending++] = *data++;
    }
    quint64 value() const
    {
        quint64 h = mLength * kPrime;
        for (int i = 0; i < mPending; ++i)
            h = (h ^ static_cast<uchar>(mBlock[i])) * kPrime;
        for (quint64 lane : mLanes)
            h = (h ^ lane ^ (lane >> 29)) * kPrime;
        return h ^ (h >> 32);
    }

private:
    static constexpr int kBlock = 32;
    static constexpr quint64 kPrime = 0x9E3779B97F4A7C15ULL;
    void mix(const char* block)
    {
        for (int lane = 0; lane < 4; ++lane) {
            const quint64 word = qFromLittleEndian<quint64>(block + 8 * lane);
            mLanes[lane] = ((mLanes[lane] ^ word) * kPrime) ^ (mLanes[lane] >> 31);
        }
    }

    quint64 mLanes[4] = {1, 2, 3, 4};
    quint64 mLength = 0;
    char mBlock[kBlock] = {};
    int mPending = 0;
};

QByteArray readBytes(const PosixFile& file, qint64 offset, qint64 length, bool* ok)
{
    QByteArray bytes(length, Qt::Uninitialized);
    *ok = file.readAt(offset, bytes.data(), length);
    return bytes;
}

std::atomic<qint64> gInMemoryLimit{16 << 20};

} // namespace

qint64 RewriteJournal::inMemoryLimit()
{
    return gInMemoryLimit.load();
}

void RewriteJournal::setInMemoryLimit(qint64 bytes)
{
    gInMemoryLimit.store(bytes);
}

qint64 RewriteJournal::headerSize() const
{
    return kLeadSize + mHeader.path.size() + kFixedAfterPath + kRegionEntrySize * mHeader.regions.size();
}

qint64 RewriteJournal::dataOffset(int index) const
{
    qint64 offset = headerSize();
    for (int i = 0; i < index && i < mHeader.regions.size(); ++i)
        offset += mHeader.regions[i].length;
    return offset;
}

bool RewriteJournal::takeSlot(const QString& folder, bool* isNew)
{
    for (int n = 0; n < kMaxSlots; ++n) {
        const QString path = folder + QStringLiteral("/slot-%1.journal").arg(n);
        PosixFile slot = PosixFile::open(path, O_RDWR | O_CREAT, 0600);
        if (!slot.isOpen())
            return false;
        if (::flock(slot.fd(), LOCK_EX | LOCK_NB) != 0)
            continue; // a write running in this or another process
        char magic[sizeof kMagic] = {};
        const qint64 size = FileIdentity::ofDescriptor(slot.fd()).size;
        if (size >= qint64(sizeof kMagic) && slot.readAt(0, magic, sizeof magic) &&
            std::memcmp(magic, kMagic, sizeof kMagic) == 0)
            continue; // an interrupted write waiting for recovery
        *isNew = size <= 0;
        mFile = std::move(slot);
        mJournalPath = path;
        return true;
    }
    errno = EBUSY;
    return false;
}

bool RewriteJournal::create(const QString& folder, const Header& header, const PosixFile& source, bool flush,
                            QString* error)
{
    mHeader = header;
    bool isNew = false;
    const auto fail = [&] {
        if (error)
            *error = PosixFile::lastError();
        if (mFile.isOpen())
            discard();
        return false;
    };
    if (!takeSlot(folder, &isNew))
        return fail();

    QByteArray head;
    head.reserve(headerSize());
    head.append(kMagic, sizeof kMagic);
    put<quint32>(head, kVersion);
    put<quint32>(head, static_cast<quint32>(header.path.size()));
    head.append(header.path);
    putIdentity(head, header.before);
    putIdentity(head, header.after);
    put<qint64>(head, header.originalLength);
    put<quint32>(head, static_cast<quint32>(header.regions.size()));
    for (const Region& region : header.regions) {
        put<qint64>(head, region.offset);
        put<qint64>(head, region.length);
    }
    Checksum checksum;
    checksum.update(head.constData(), head.size());
    // The magic goes in last, so that a slot is never pending with a
    // half-written header.
    if (!mFile.writeAt(sizeof kMagic, head.constData() + sizeof kMagic, head.size() - qint64(sizeof kMagic)))
        return fail();

    qint64 position = head.size();
    qint64 total = 0;
    for (const Region& region : header.regions)
        total += region.length;
    mSaved.clear();
    mHasSaved = total <= inMemoryLimit();
    if (mHasSaved) {
        // Small enough to keep: one read, and the writer takes the bytes from here.
        mSaved = QByteArray(total, Qt::Uninitialized);
        qint64 at = 0;
        for (const Region& region : header.regions) {
            if (!source.readAt(region.offset, mSaved.data() + at, region.length))
                return fail();
            at += region.length;
        }
        checksum.update(mSaved.constData(), mSaved.size());
        if (!mFile.writeAt(position, mSaved))
            return fail();
        position += total;
    }
    const qint64 chunk = mHasSaved ? 1 : qBound<qint64>(1, total, PosixFile::kChunkSize);
    const auto buffer = PosixFile::makeBuffer(chunk);
    for (const Region& region : mHasSaved ? QList<Region>() : header.regions) {
        for (qint64 done = 0; done < region.length;) {
            const qint64 n = qMin(chunk, region.length - done);
            if (!source.readAt(region.offset + done, buffer.get(), n))
                return fail();
            checksum.update(buffer.get(), n);
            if (!mFile.writeAt(position, buffer.get(), n))
                return fail();
            position += n;
            done += n;
        }
    }
    QByteArray trailer;
    put<quint64>(trailer, checksum.value());
    if (!mFile.writeAt(position, trailer) || !mFile.writeAt(0, kMagic, sizeof kMagic))
        return fail();
    if (flush && (!mFile.flushData() || (isNew && !PosixFile::flushFolder(folder))))
        return fail();
    return true;
}

bool RewriteJournal::isPending(const QString& path)
{
    const PosixFile file = PosixFile::open(path, O_RDONLY);
    char magic[sizeof kMagic] = {};
    return file.isOpen() && FileIdentity::ofDescriptor(file.fd()).size >= qint64(sizeof kMagic) &&
           file.readAt(0, magic, sizeof magic) && std::memcmp(magic, kMagic, sizeof kMagic) == 0;
}

RewriteJournal::OpenResult RewriteJournal::openExisting(const QString& journalPath, QString* reason)
{
    mJournalPath = journalPath;
    mHeader = Header();
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
    if (size < qint64(sizeof kMagic) ||
        std::memcmp(readBytes(mFile, 0, sizeof kMagic, &ok).constData(), kMagic, sizeof kMagic) != 0 || !ok)
        return OpenResult::Free;
    if (size < kLeadSize + kFixedAfterPath + kTrailerSize)
        return invalid(QStringLiteral("too short"));

    const QByteArray lead = readBytes(mFile, 0, kLeadSize, &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    Cursor leadCursor(lead);
    leadCursor.take<quint64>();
    if (leadCursor.take<quint32>() != kVersion)
        return invalid(QStringLiteral("unknown version"));
    const quint32 pathBytes = leadCursor.take<quint32>();
    if (pathBytes == 0 || pathBytes > kMaxPathBytes ||
        kLeadSize + pathBytes + kFixedAfterPath + kTrailerSize > size)
        return invalid(QStringLiteral("bad path length"));

    const QByteArray fixed = readBytes(mFile, kLeadSize, pathBytes + kFixedAfterPath, &ok);
    if (!ok)
        return invalid(PosixFile::lastError());
    mHeader.path = fixed.left(pathBytes);
    const QByteArray rest = fixed.mid(pathBytes);
    Cursor cursor(rest);
    mHeader.before = cursor.identity();
    mHeader.after = cursor.identity();
    mHeader.originalLength = cursor.take<qint64>();
    const quint32 count = cursor.take<quint32>();
    if (mHeader.originalLength < 0 || mHeader.before.size != mHeader.originalLength || mHeader.after.size < 0)
        return invalid(QStringLiteral("bad lengths"));
    const qint64 tableAt = kLeadSize + pathBytes + kFixedAfterPath;
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
            region.offset > mHeader.originalLength - region.length || region.length > dataBytes - total)
            return invalid(QStringLiteral("bad region"));
        previousEnd = region.offset + region.length;
        total += region.length;
        mHeader.regions.append(region);
    }
    // The checksum guards against a journal whose data never reached the disk.
    Checksum checksum;
    const qint64 covered = tableAt + kRegionEntrySize * count + total;
    const qint64 chunk = qMin<qint64>(covered, PosixFile::kChunkSize);
    const auto buffer = PosixFile::makeBuffer(chunk);
    for (qint64 at = 0; at < covered;) {
        const qint64 n = qMin(chunk, covered - at);
        if (!mFile.readAt(at, buffer.get(), n))
            return invalid(PosixFile::lastError());
        checksum.update(buffer.get(), n);
        at += n;
    }
    const QByteArray trailer = readBytes(mFile, covered, kTrailerSize, &ok);
    if (!ok || qFromLittleEndian<quint64>(trailer.constData()) != checksum.value())
        return invalid(QStringLiteral("checksum mismatch"));
    return OpenResult::Valid;
}

bool RewriteJournal::matchesOriginal(const PosixFile& target) const
{
    if (FileIdentity::ofDescriptor(target.fd()).size != mHeader.originalLength)
        return false;
    const auto saved = PosixFile::makeBuffer(PosixFile::kChunkSize);
    const auto current = PosixFile::makeBuffer(PosixFile::kChunkSize);
    for (int i = 0; i < mHeader.regions.size(); ++i) {
        const Region& region = mHeader.regions[i];
        const qint64 from = dataOffset(i);
        for (qint64 done = 0; done < region.length;) {
            const qint64 n = qMin(PosixFile::kChunkSize, region.length - done);
            if (!mFile.readAt(from + done, saved.get(), n) ||
                !target.readAt(region.offset + done, current.get(), n) ||
                std::memcmp(saved.get(), current.get(), static_cast<size_t>(n)) != 0)
                return false;
            done += n;
        }
    }
    return true;
}

bool RewriteJournal::restoreInto(const PosixFile& target, QString* error) const
{
    for (int i = 0; i < mHeader.regions.size(); ++i) {
        const Region& region = mHeader.regions[i];
        if (!target.copyFrom(mFile, dataOffset(i), region.offset, region.length)) {
            if (error)
                *error = PosixFile::lastError();
            return false;
        }
    }
    if (!target.truncate(mHeader.originalLength) || !target.flushData()) {
        if (error)
            *error = PosixFile::lastError();
        return false;
    }
    return true;
}

void RewriteJournal::discard()
{
    // No flush: should the cleared magic be lost, recovery finds the file in
    // its new state and undoes the write, which leaves it consistent.
    if (mFile.isOpen()) {
        const char cleared[sizeof kMagic] = {};
        if (!mFile.writeAt(0, cleared, sizeof cleared))
            ::unlink(QFile::encodeName(mJournalPath).constData());
        else if (FileIdentity::ofDescriptor(mFile.fd()).size > kKeptSlotSize)
            mFile.truncate(0);
    }
    mFile.close();
}

void RewriteJournal::abandon()
{
    mFile.close();
}
