#include "PosixFile.h"

#include "FileIdentity.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

PosixFile& PosixFile::operator=(PosixFile&& other) noexcept
{
    if (this != &other) {
        close();
        mFd = other.release();
    }
    return *this;
}

PosixFile PosixFile::open(const QString& path, int flags, int mode)
{
    const QByteArray name = QFile::encodeName(path);
    int fd = -1;
    do {
        fd = ::open(name.constData(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return PosixFile(fd);
}

PosixFile PosixFile::openForReading(const QString& path, FileIdentity* identity)
{
    // O_NONBLOCK keeps open() from waiting for the writer of a pipe (or a
    // device for its carrier); it means nothing for a regular file and is
    // cleared again all the same. Of the flags F_SETFL changes it is the only
    // one set here, so clearing them all clears just that one.
    PosixFile file = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!file.isOpen())
        return file;
    struct stat st;
    if (::fstat(file.fd(), &st) != 0)
        return PosixFile();
    if (!S_ISREG(st.st_mode)) {
        file.close();
        errno = S_ISDIR(st.st_mode) ? EISDIR : ENODEV;
        return file;
    }
    ::fcntl(file.fd(), F_SETFL, 0);
    if (identity)
        *identity = FileIdentity::fromStat(st);
    return file;
}

bool PosixFile::isSpecialFile(const QString& path)
{
    struct stat st;
    return !path.isEmpty() && ::stat(QFile::encodeName(path).constData(), &st) == 0 && !S_ISREG(st.st_mode);
}

int PosixFile::release()
{
    const int fd = mFd;
    mFd = -1;
    return fd;
}

void PosixFile::close()
{
    if (mFd >= 0)
        ::close(mFd);
    mFd = -1;
}

bool PosixFile::readAt(qint64 offset, char* into, qint64 length) const
{
    while (length > 0) {
        const ssize_t n = ::pread(mFd, into, static_cast<size_t>(length), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO; // the file ended early
            return false;
        }
        into += n;
        offset += n;
        length -= n;
    }
    return true;
}

bool PosixFile::writeAt(qint64 offset, const char* from, qint64 length) const
{
    while (length > 0) {
        const ssize_t n = ::pwrite(mFd, from, static_cast<size_t>(length), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return false;
        }
        from += n;
        offset += n;
        length -= n;
    }
    return true;
}

bool PosixFile::copyFrom(const PosixFile& source, qint64 sourceOffset, qint64 offset, qint64 length) const
{
    // The kernel copy avoids two trips through user memory; it refuses
    // between some file systems, and then the buffered loop takes over.
    while (length > 0) {
        off64_t in = sourceOffset;
        off64_t out = offset;
        const ssize_t n = ::copy_file_range(source.mFd, &in, mFd, &out, static_cast<size_t>(length), 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        sourceOffset += n;
        offset += n;
        length -= n;
    }
    if (length == 0)
        return true;
    const qint64 chunk = qMin(length, kChunkSize);
    const auto buffer = makeBuffer(chunk);
    while (length > 0) {
        const qint64 n = qMin(length, chunk);
        if (!source.readAt(sourceOffset, buffer.get(), n) || !writeAt(offset, buffer.get(), n))
            return false;
        sourceOffset += n;
        offset += n;
        length -= n;
    }
    return true;
}

bool PosixFile::truncate(qint64 length) const
{
    int result = -1;
    do {
        result = ::ftruncate(mFd, length);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool PosixFile::flushData() const
{
    int result = -1;
    do {
        result = ::fdatasync(mFd);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void PosixFile::startWriteBack(qint64 offset, qint64 length) const
{
    ::sync_file_range(mFd, offset, length, SYNC_FILE_RANGE_WRITE);
}

bool PosixFile::flushFolder(const QString& folder)
{
    PosixFile dir = open(folder, O_RDONLY | O_DIRECTORY);
    if (!dir.isOpen())
        return false;
    int result = -1;
    do {
        result = ::fsync(dir.fd());
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

QString PosixFile::lastError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

std::unique_ptr<char[]> PosixFile::makeBuffer(qint64 size)
{
    return std::make_unique_for_overwrite<char[]>(static_cast<size_t>(qBound<qint64>(1, size, kChunkSize)));
}
