#include "SongFileDevice.h"

#include "PosixFile.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace {

// The head buffer of the last file this thread closed, kept for the next one:
// reading a folder then allocates (and faults in) no new memory per file.
thread_local QByteArray tSpareHead;

} // namespace

SongFileDevice::SongFileDevice(QString path) : mPath(std::move(path)) {}

SongFileDevice::SongFileDevice(const QByteArray& bytes, QString name) : mPath(std::move(name))
{
    mInMemory = true;
    mHead = bytes;
}

SongFileDevice::~SongFileDevice()
{
    SongFileDevice::close();
}

bool SongFileDevice::open(OpenMode mode)
{
    if (isOpen() || (mode & WriteOnly))
        return false;
    mSpecial = false;
    mOpenError.clear();
    if (mInMemory) {
        mSize = mHead.size();
        return QIODevice::open(ReadOnly | Unbuffered);
    }
    PosixFile file = PosixFile::openForReading(mPath, &mIdentity);
    if (!file.isOpen()) {
        const int error = errno;
        mOpenError = PosixFile::lastError();
        // A socket is refused by open() itself; the look at the name tells.
        mSpecial = error == EISDIR || error == ENODEV || PosixFile::isSpecialFile(mPath);
        mIdentity = FileIdentity();
        return false;
    }
    mFd = file.release();
    mSize = mIdentity.size;
    mHead = std::move(tSpareHead);
    mHead.resize(0);
    mTail.clear();
    mTailStart = mSize;
    mSystemReads = 0;
    return QIODevice::open(ReadOnly | Unbuffered);
}

void SongFileDevice::close()
{
    if (mFd >= 0) {
        ::close(mFd);
        mFd = -1;
        if (mHead.capacity() <= kHeadLimit)
            tSpareHead = std::move(mHead);
        mHead.clear();
    }
    mTail.clear();
    mScratch.clear();
    for (Block& block : mBlocks)
        block = Block();
    if (isOpen())
        QIODevice::close();
}

qint64 SongFileDevice::readSome(char* into, qint64 count, qint64 offset)
{
    if (mFd < 0)
        return -1;
    qint64 done = 0;
    while (done < count) {
        const ssize_t n =
            ::pread(mFd, into + done, static_cast<size_t>(count - done), static_cast<off_t>(offset + done));
        ++mSystemReads;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break; // the file was cut short since it was opened
        done += n;
    }
    return done;
}

bool SongFileDevice::readFully(char* into, qint64 count, qint64 offset)
{
    return readSome(into, count, offset) == count;
}

bool SongFileDevice::growHead(qint64 end, bool walking)
{
    const qint64 have = mHead.size();
    if (end <= have)
        return true;
    if (mInMemory)
        return false;
    // At first kHeadStart bytes. Later the range and a little more for the
    // short reads that usually follow (the first MPEG frames after a tag,
    // the atom headers after a cover); for a reader walking on through the
    // file (the type sniffing) at least half again what is there, and twice
    // that once the walk goes on, so that a long walk (500 KB through the
    // media data of an MPEG-4 file whose movie atom comes last) costs few
    // reads. Never beyond the limit unless the range asked for reaches
    // beyond it.
    qint64 target = have == 0 ? qMax(end, kHeadStart) : end + kHeadMargin;
    if (walking && have > 0)
        target = qMax(target, have < 2 * kHeadStart ? have + have / 2 : 2 * have);
    target = qMin(qMin(target, qMax(end, kHeadLimit)), mSize);
    if (target < end)
        return false;
    mHead.resize(target);
    // What was read ahead may be missing from a file cut short since it was
    // opened; what was asked for may not.
    const qint64 got = readSome(mHead.data() + have, target - have, have);
    mHead.resize(have + qMax<qint64>(got, 0));
    return mHead.size() >= end;
}

bool SongFileDevice::readTail(qint64 start)
{
    if (mInMemory || start < 0 || start >= mSize)
        return false;
    QByteArray tail(mSize - start, Qt::Uninitialized);
    if (!readFully(tail.data(), tail.size(), start))
        return false;
    mTail = std::move(tail);
    mTailStart = start;
    return true;
}

const char* SongFileDevice::cached(qint64 at, qint64 count, bool direct)
{
    if (at < 0 || count < 0 || at > mSize || count > mSize - at)
        return nullptr;
    const qint64 end = at + count;
    if (end <= mHead.size())
        return mHead.constData() + at;
    if (!mTail.isEmpty() && at >= mTailStart)
        return mTail.constData() + (at - mTailStart);
    for (Block& block : mBlocks) {
        if (at >= block.start && end <= block.start + block.bytes.size()) {
            block.used = ++mClock;
            return block.bytes.constData() + (at - block.start);
        }
    }
    if (mInMemory)
        return nullptr;
    if (at <= mHead.size() + kHeadReach && (end <= kHeadLimit || (!direct && at <= mHead.size())))
        return growHead(end, !direct) ? mHead.constData() + at : nullptr;
    if (at >= mSize - kTailSpan)
        return readTail(at) ? mTail.constData() : nullptr;
    if (direct && count >= kBlock / 2)
        return nullptr;
    if (count < kBlock) {
        Block& block = mBlocks[0].used <= mBlocks[1].used ? mBlocks[0] : mBlocks[1];
        block.bytes.resize(qMin(kBlock, mSize - at));
        block.start = at;
        block.used = ++mClock;
        if (!readFully(block.bytes.data(), block.bytes.size(), at)) {
            block = Block();
            return nullptr;
        }
        return block.bytes.constData();
    }
    // A long read away from head and tail for bytesAt(): kept until the next.
    mScratch.resize(count);
    return readFully(mScratch.data(), count, at) ? mScratch.constData() : nullptr;
}

QByteArrayView SongFileDevice::bytesAt(qint64 offset, qint64 length)
{
    if (!isOpen() || length <= 0)
        return QByteArrayView();
    const char* bytes = cached(offset, length, false);
    return bytes ? QByteArrayView(bytes, length) : QByteArrayView();
}

bool SongFileDevice::readAt(qint64 offset, char* into, qint64 count)
{
    if (!isOpen() || count <= 0 || offset < 0 || offset > mSize - count)
        return false;
    if (const char* bytes = cached(offset, count, true)) {
        std::memcpy(into, bytes, static_cast<size_t>(count));
        return true;
    }
    return !mInMemory && count >= kBlock / 2 && readFully(into, count, offset);
}

qint64 SongFileDevice::readData(char* data, qint64 maxSize)
{
    const qint64 at = pos();
    if (at < 0 || (!mInMemory && mFd < 0))
        return -1;
    if (at >= mSize || maxSize <= 0)
        return 0;
    const qint64 count = qMin(maxSize, mSize - at);
    if (const char* bytes = cached(at, count, true)) {
        std::memcpy(data, bytes, static_cast<size_t>(count));
        return count;
    }
    if (mInMemory || count < kBlock / 2)
        return -1;
    return readFully(data, count, at) ? count : -1;
}

qint64 SongFileDevice::writeData(const char* data, qint64 maxSize)
{
    Q_UNUSED(data);
    Q_UNUSED(maxSize);
    return -1;
}
