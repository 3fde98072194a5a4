#include "RewriteJournal.h"

#include "RewriteJournalFormat.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace RewriteJournalFormat;

namespace {

std::atomic<qint64> gInMemoryLimit{16 << 20};

// One piece of an entry's new contents from its first edit on: `length`
// bytes at `at` in the new file, taken from the original at `original` or,
// when `bytes` is set, from an edit.
struct Piece
{
    qint64 at = 0;
    qint64 length = 0;
    qint64 original = 0;
    const QByteArray* bytes = nullptr;
};

template <typename Visit> bool forEachPiece(const RewriteJournal::Entry& entry, Visit visit)
{
    qint64 in = entry.edits.isEmpty() ? 0 : entry.edits.first().offset;
    qint64 out = in;
    for (const FileEdit& edit : entry.edits) {
        if (edit.offset > in && !visit(Piece{out, edit.offset - in, in, nullptr}))
            return false;
        out += edit.offset - in;
        if (!edit.bytes.isEmpty() && !visit(Piece{out, edit.bytes.size(), 0, &edit.bytes}))
            return false;
        out += edit.bytes.size();
        in = edit.offset + edit.length;
    }
    return in >= entry.before.size || visit(Piece{out, entry.before.size - in, in, nullptr});
}

} // namespace

qint64 RewriteJournal::inMemoryLimit()
{
    return gInMemoryLimit.load();
}

void RewriteJournal::setInMemoryLimit(qint64 bytes)
{
    gInMemoryLimit.store(bytes);
}

// ---- writing

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

bool RewriteJournal::append(const QString& folder, Entry entry, const PosixFile& source, bool keepInMemory,
                            QString* error)
{
    const auto fail = [error] {
        if (error)
            *error = PosixFile::lastError();
        return false;
    };
    if (!mFile.isOpen()) {
        if (!takeSlot(folder, &mIsNewSlot))
            return fail();
        mVersion = kVersion;
        mEnd = kLeadSize;
        mWrittenBack = 0;
        mChecksum = JournalChecksum();
        mEntries.clear();
    }

    QByteArray head;
    put<quint32>(head, static_cast<quint32>(entry.path.size()));
    head.append(entry.path);
    putIdentity(head, entry.before, true);
    put<qint64>(head, entry.newLength);
    put<quint32>(head, entry.sameLength ? kSameLengthFlag : 0u);
    put<quint32>(head, static_cast<quint32>(entry.regions.size()));
    put<quint32>(head, static_cast<quint32>(entry.edits.size()));
    for (const Region& region : std::as_const(entry.regions)) {
        put<qint64>(head, region.offset);
        put<qint64>(head, region.length);
    }
    for (const FileEdit& edit : std::as_const(entry.edits)) {
        put<qint64>(head, edit.offset);
        put<qint64>(head, edit.length);
        put<qint64>(head, edit.bytes.size());
    }
    qint64 position = mEnd;
    if (!mFile.writeAt(position, head))
        return fail();
    mChecksum.update(head.constData(), head.size());
    position += head.size();
    entry.savedAt = position;

    qint64 total = 0;
    for (const Region& region : std::as_const(entry.regions))
        total += region.length;
    entry.saved.clear();
    if (keepInMemory) {
        // One read, and the writer takes the bytes from here.
        entry.saved = QByteArray(total, Qt::Uninitialized);
        qint64 at = 0;
        for (const Region& region : std::as_const(entry.regions)) {
            if (!source.readAt(region.offset, entry.saved.data() + at, region.length))
                return fail();
            at += region.length;
        }
        mChecksum.update(entry.saved.constData(), entry.saved.size());
        if (!mFile.writeAt(position, entry.saved))
            return fail();
        position += total;
    } else {
        const qint64 chunk = qBound<qint64>(1, total, PosixFile::kChunkSize);
        const auto buffer = PosixFile::makeBuffer(chunk);
        for (const Region& region : std::as_const(entry.regions)) {
            for (qint64 done = 0; done < region.length;) {
                const qint64 n = qMin(chunk, region.length - done);
                if (!source.readAt(region.offset + done, buffer.get(), n))
                    return fail();
                mChecksum.update(buffer.get(), n);
                if (!mFile.writeAt(position, buffer.get(), n))
                    return fail();
                position += n;
                done += n;
            }
        }
    }
    for (const FileEdit& edit : std::as_const(entry.edits)) {
        mChecksum.update(edit.bytes.constData(), edit.bytes.size());
        if (!mFile.writeAt(position, edit.bytes))
            return fail();
        position += edit.bytes.size();
    }
    mEnd = position;
    mEntries.append(std::move(entry));
    return true;
}

void RewriteJournal::startWriteBack()
{
    // Whole megabytes only: small entries share their pages, which would
    // otherwise go to disk again with every entry.
    if (mFile.isOpen() && mEnd - mWrittenBack >= kWriteBackStep) {
        mFile.startWriteBack(mWrittenBack, mEnd - mWrittenBack);
        mWrittenBack = mEnd;
    }
}

bool RewriteJournal::seal(bool flush, QString* error)
{
    QByteArray lead;
    put<quint32>(lead, kVersion);
    put<quint32>(lead, static_cast<quint32>(mEntries.size()));
    put<qint64>(lead, mEnd);
    QByteArray trailer;
    put<quint64>(trailer, sealedChecksum(lead, mChecksum.value()));
    // The magic goes in last, so that a slot is never pending with a
    // half-written journal.
    if (!mFile.writeAt(sizeof kMagic, lead) || !mFile.writeAt(mEnd, trailer) ||
        !mFile.writeAt(0, kMagic, sizeof kMagic) ||
        (flush && (!mFile.flushData() ||
                   (mIsNewSlot && !PosixFile::flushFolder(mJournalPath.section(QLatin1Char('/'), 0, -2)))))) {
        if (error)
            *error = PosixFile::lastError();
        return false;
    }
    mIsNewSlot = false;
    return true;
}

bool RewriteJournal::isPending(const QString& path)
{
    const PosixFile file = PosixFile::open(path, O_RDONLY);
    char magic[sizeof kMagic] = {};
    return file.isOpen() && FileIdentity::ofDescriptor(file.fd()).size >= qint64(sizeof kMagic) &&
           file.readAt(0, magic, sizeof magic) && std::memcmp(magic, kMagic, sizeof kMagic) == 0;
}

void RewriteJournal::discard()
{
    // No flush: should the cleared magic be lost, recovery finds the files
    // in their new state and undoes the writes, which leaves them consistent.
    if (mFile.isOpen()) {
        const char cleared[sizeof kMagic] = {};
        if (!mFile.writeAt(0, cleared, sizeof cleared))
            ::unlink(QFile::encodeName(mJournalPath).constData());
        else if (FileIdentity::ofDescriptor(mFile.fd()).size > kKeptSlotSize)
            mFile.truncate(0);
    }
    mFile.close();
    mEntries.clear();
}

void RewriteJournal::abandon()
{
    mFile.close();
    mEntries.clear();
}

// ---- the saved bytes

bool RewriteJournal::readOriginal(int index, qint64 from, char* into, qint64 length) const
{
    const Entry& entry = mEntries.at(index);
    qint64 at = 0;
    for (const Region& region : entry.regions) {
        if (from >= region.offset && from - region.offset + length <= region.length) {
            const qint64 offset = at + (from - region.offset);
            if (!entry.saved.isEmpty()) {
                std::memcpy(into, entry.saved.constData() + offset, static_cast<size_t>(length));
                return true;
            }
            return mFile.readAt(entry.savedAt + offset, into, length);
        }
        at += region.length;
    }
    errno = EINVAL;
    return false;
}

bool RewriteJournal::copyOriginal(int index, qint64 from, const PosixFile& target, qint64 to,
                                  qint64 length) const
{
    const Entry& entry = mEntries.at(index);
    qint64 at = 0;
    for (const Region& region : entry.regions) {
        if (from >= region.offset && from - region.offset + length <= region.length) {
            const qint64 offset = at + (from - region.offset);
            if (!entry.saved.isEmpty())
                return target.writeAt(to, entry.saved.constData() + offset, length);
            return target.copyFrom(mFile, entry.savedAt + offset, to, length);
        }
        at += region.length;
    }
    errno = EINVAL;
    return false;
}

bool RewriteJournal::writeShifted(int index, const PosixFile& target) const
{
    return forEachPiece(mEntries.at(index), [&](const Piece& piece) {
        if (piece.bytes)
            return target.writeAt(piece.at, *piece.bytes);
        return copyOriginal(index, piece.original, target, piece.at, piece.length);
    });
}

bool RewriteJournal::restoreInto(int index, const PosixFile& target, bool flush, QString* error) const
{
    const Entry& entry = mEntries.at(index);
    for (const Region& region : entry.regions) {
        if (!copyOriginal(index, region.offset, target, region.offset, region.length)) {
            if (error)
                *error = PosixFile::lastError();
            return false;
        }
    }
    if (!target.truncate(entry.before.size) || (flush && !target.flushData())) {
        if (error)
            *error = PosixFile::lastError();
        return false;
    }
    return true;
}

// ---- comparing a file with an entry

RewriteJournal::Match RewriteJournal::compare(int index, const PosixFile& target) const
{
    const Entry& entry = mEntries.at(index);
    const qint64 length = FileIdentity::ofDescriptor(target.fd()).size;
    if (entry.sameLength || entry.edits.isEmpty())
        return compareSameLength(entry, index, target, length);
    return compareShifted(entry, index, target, length);
}

RewriteJournal::Match RewriteJournal::compareSameLength(const Entry& entry, int index,
                                                        const PosixFile& target, qint64 length) const
{
    // Without the edits (version 1) only the original state can be told;
    // anything else counts as written.
    const bool knowsEdits = !entry.edits.isEmpty();
    if (length != entry.before.size)
        return knowsEdits ? Match::Foreign : Match::Written;
    bool original = true;
    const auto now = PosixFile::makeBuffer(PosixFile::kChunkSize);
    const auto saved = PosixFile::makeBuffer(PosixFile::kChunkSize);
    for (int i = 0; i < entry.regions.size(); ++i) {
        const Region& region = entry.regions[i];
        const char* written = knowsEdits ? entry.edits[i].bytes.constData() : nullptr;
        for (qint64 done = 0; done < region.length;) {
            const qint64 n = qMin(PosixFile::kChunkSize, region.length - done);
            if (!target.readAt(region.offset + done, now.get(), n) ||
                !readOriginal(index, region.offset + done, saved.get(), n))
                return Match::Foreign;
            for (qint64 j = 0; j < n; ++j) {
                if (now[j] == saved[j])
                    continue;
                original = false;
                if (!knowsEdits)
                    return Match::Written;
                if (now[j] != written[done + j])
                    return Match::Foreign;
            }
            done += n;
        }
    }
    return original ? Match::Original : Match::Written;
}

RewriteJournal::Match RewriteJournal::compareShifted(const Entry& entry, int index, const PosixFile& target,
                                                     qint64 length) const
{
    const qint64 oldLength = entry.before.size;
    const qint64 newLength = entry.newLength;
    if (length < qMin(oldLength, newLength) || length > qMax(oldLength, newLength))
        return Match::Foreign;
    const qint64 first = entry.regions.first().offset;
    // The file from the first edit on, the original and the new contents
    // side by side, a chunk at a time. A byte of a part the write added may
    // also still be zero (the length reached the disk before the data).
    bool original = length == oldLength;
    const auto now = PosixFile::makeBuffer(PosixFile::kChunkSize);
    const auto before = PosixFile::makeBuffer(PosixFile::kChunkSize);
    const auto after = PosixFile::makeBuffer(PosixFile::kChunkSize);
    for (qint64 at = first; at < length;) {
        const qint64 n = qMin(PosixFile::kChunkSize, length - at);
        if (!target.readAt(at, now.get(), n))
            return Match::Foreign;
        const qint64 oldBytes = qBound<qint64>(0, oldLength - at, n);
        const qint64 newBytes = qBound<qint64>(0, newLength - at, n);
        if (oldBytes > 0 && !readOriginal(index, at, before.get(), oldBytes))
            return Match::Foreign;
        const bool pieces = forEachPiece(entry, [&](const Piece& piece) {
            const qint64 from = qMax(at, piece.at);
            const qint64 to = qMin(at + newBytes, piece.at + piece.length);
            if (from >= to)
                return true;
            char* into = after.get() + (from - at);
            if (piece.bytes) {
                std::memcpy(into, piece.bytes->constData() + (from - piece.at),
                            static_cast<size_t>(to - from));
                return true;
            }
            return readOriginal(index, piece.original + (from - piece.at), into, to - from);
        });
        if (!pieces)
            return Match::Foreign;
        for (qint64 j = 0; j < n; ++j) {
            const bool isOld = j < oldBytes && now[j] == before[j];
            if (!isOld)
                original = false;
            if (isOld || (j < newBytes && now[j] == after[j]) || (j >= oldBytes && now[j] == 0))
                continue;
            return Match::Foreign;
        }
        at += n;
    }
    return original ? Match::Original : Match::Written;
}
