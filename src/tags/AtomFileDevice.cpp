#include "AtomFileDevice.h"

#include "PosixFile.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// pread until `count` bytes or the end; -1 on error.
qint64 readAt(int fd, char* into, qint64 count, qint64 offset)
{
    qint64 done = 0;
    while (done < count) {
        const ssize_t n =
            ::pread(fd, into + done, static_cast<size_t>(count - done), static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

} // namespace

AtomFileDevice::AtomFileDevice(QString path) : mPath(std::move(path)) {}

AtomFileDevice::~AtomFileDevice()
{
    AtomFileDevice::close();
}

bool AtomFileDevice::open(OpenMode mode)
{
    if (isOpen() || (mode & WriteOnly))
        return false;
    // Never waits in open() for a pipe or device of that name; those are
    // refused before anything is read.
    mFd = PosixFile::openForReading(mPath).release();
    if (mFd < 0) {
        setErrorString(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    struct stat st;
    if (::fstat(mFd, &st) != 0 || !S_ISREG(st.st_mode)) {
        setErrorString(QStringLiteral("not a regular file"));
        ::close(mFd);
        mFd = -1;
        return false;
    }
    mSize = st.st_size;
    for (Block& block : mBlocks)
        block = Block();
    return QIODevice::open(ReadOnly | Unbuffered);
}

void AtomFileDevice::close()
{
    if (mFd >= 0) {
        ::close(mFd);
        mFd = -1;
    }
    for (Block& block : mBlocks)
        block = Block();
    if (isOpen())
        QIODevice::close();
}

qint64 AtomFileDevice::readData(char* data, qint64 maxSize)
{
    const qint64 at = pos();
    if (mFd < 0 || at < 0)
        return -1;
    if (at >= mSize || maxSize <= 0)
        return 0;
    const qint64 count = qMin(maxSize, mSize - at);
    for (Block& block : mBlocks) {
        if (at >= block.start && at + count <= block.start + block.bytes.size()) {
            std::memcpy(data, block.bytes.constData() + (at - block.start), static_cast<size_t>(count));
            block.used = ++mClock;
            return count;
        }
    }
    if (count >= kBlock / 2)
        return readAt(mFd, data, count, at);
    Block& block = mBlocks[0].used <= mBlocks[1].used ? mBlocks[0] : mBlocks[1];
    block.bytes.resize(static_cast<qsizetype>(qMin(kBlock, mSize - at)));
    const qint64 got = readAt(mFd, block.bytes.data(), block.bytes.size(), at);
    if (got < 0) {
        block = Block();
        return -1;
    }
    block.bytes.resize(static_cast<qsizetype>(got));
    block.start = at;
    block.used = ++mClock;
    const qint64 n = qMin(count, got);
    std::memcpy(data, block.bytes.constData(), static_cast<size_t>(n));
    return n;
}

qint64 AtomFileDevice::writeData(const char* data, qint64 maxSize)
{
    Q_UNUSED(data);
    Q_UNUSED(maxSize);
    return -1;
}
