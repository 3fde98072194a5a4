#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct FileIdentity;

// An owned POSIX file descriptor with whole-range reads and writes that
// survive short transfers and interruptions. Used where a writer needs the
// exact system calls (positioned writes, truncation, data flushes, locks).
class PosixFile
{
public:
    PosixFile() = default;
    explicit PosixFile(int fd) : mFd(fd) {}
    PosixFile(PosixFile&& other) noexcept : mFd(other.release()) {}
    PosixFile& operator=(PosixFile&& other) noexcept;
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    ~PosixFile() { close(); }

    // open(2) with O_CLOEXEC added; check isOpen() and lastError().
    static PosixFile open(const QString& path, int flags, int mode = 0600);
    // Opens a regular file for reading without ever waiting in open(): a
    // pipe, socket, device or folder of that name is refused (not open,
    // errno EISDIR for a folder, ENODEV for the others) before a byte is read.
    // With `identity`, the identity of the file opened (from the same look at
    // the open descriptor, before any read).
    static PosixFile openForReading(const QString& path, FileIdentity* identity = nullptr);
    // True when `path` names something that exists but is not a regular
    // file (a folder, pipe, socket or device); such names are never opened
    // as songs. Symbolic links are followed.
    static bool isSpecialFile(const QString& path);

    bool isOpen() const { return mFd >= 0; }
    int fd() const { return mFd; }
    int release();
    void close();

    // Reads exactly `length` bytes at `offset` into `into`; false on error or
    // early end of file.
    bool readAt(qint64 offset, char* into, qint64 length) const;
    bool writeAt(qint64 offset, const char* from, qint64 length) const;
    bool writeAt(qint64 offset, const QByteArray& bytes) const
    {
        return writeAt(offset, bytes.constData(), bytes.size());
    }
    // Copies `length` bytes from `source` at `sourceOffset` to this file at
    // `offset`, in the kernel where it can, else through a buffer.
    bool copyFrom(const PosixFile& source, qint64 sourceOffset, qint64 offset, qint64 length) const;
    bool truncate(qint64 length) const;
    bool flushData() const;
    // Starts writing the range's dirty pages to disk without waiting, so
    // that a later flush finds less to do (length 0: to the end).
    void startWriteBack(qint64 offset = 0, qint64 length = 0) const;
    // Flushes the folder entry of a file (fsync of the folder).
    static bool flushFolder(const QString& folder);

    // The text of the last system error of this thread.
    static QString lastError();

    static constexpr qint64 kChunkSize = 1 << 20;
    // An uninitialised transfer buffer of `size` bytes, bounded to 1..kChunkSize.
    static std::unique_ptr<char[]> makeBuffer(qint64 size);

private:
    int mFd = -1;
};
