#pragma once

#include "FileIdentity.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QIODevice>
#include <QString>

// One song file opened once for everything reading it needs: the type
// sniffing, the tag readers, the MPEG header search and the frame scanner
// all read through the same device. Opening never waits on a pipe, socket or
// device of that name (they are refused before a byte is read) and takes the
// file's identity from the open descriptor before the first read, so a tag
// knows which state of the file its values come from.
//
// Reads are served from the bytes read before, so that a file costs a few
// system calls whatever its readers ask for:
// - the head: the first kHeadStart bytes at the first read; a read that
//   starts at most kHeadReach bytes past it and ends within the first
//   kHeadLimit bytes grows it to cover the read and more (an ID3v2 tag with
//   the first MPEG frames behind it, a movie atom at the front), in one read;
// - the tail: read once from the first offset asked for in the last
//   kTailSpan bytes to the end (an ID3v1 block, a movie atom at the end);
// - two small blocks for short reads elsewhere; long reads elsewhere go
//   straight to the caller.
// What is kept is bounded by the file's length; the head grows beyond
// kHeadLimit only for a range that bytesAt() asks for from inside it.
class SongFileDevice : public QIODevice
{
public:
    static constexpr qint64 kHeadStart = 64 * 1024;
    static constexpr qint64 kHeadMargin = 4 * 1024;
    static constexpr qint64 kHeadReach = 256 * 1024;
    static constexpr qint64 kHeadLimit = 1024 * 1024;
    static constexpr qint64 kTailSpan = 1024 * 1024;
    static constexpr qint64 kBlock = 16 * 1024;

    explicit SongFileDevice(QString path);
    // A device over bytes in memory, named `name` in log lines (tests and
    // fuzzing run the readers on it exactly as on a file).
    SongFileDevice(const QByteArray& bytes, QString name);
    ~SongFileDevice() override;

    // Opens the file for reading (any write mode is refused). A name that is
    // not a regular file fails with isSpecialFile() set.
    bool open(OpenMode mode = ReadOnly) override;
    void close() override;
    qint64 size() const override { return mSize; }
    bool isSequential() const override { return false; }

    const QString& path() const { return mPath; }
    // The identity of the file as it was opened (invalid for bytes in memory
    // or before a successful open).
    const FileIdentity& identity() const { return mIdentity; }
    // True when the last open() failed because the name is a folder, pipe,
    // socket or device.
    bool isSpecialFile() const { return mSpecial; }
    // The system's reason for the last failed open().
    const QString& openError() const { return mOpenError; }

    // The `length` bytes at `offset` without a copy, read first when they
    // were not; an empty view when the file does not hold them all. The view
    // stays valid until the next read of this device.
    QByteArrayView bytesAt(qint64 offset, qint64 length);

    // Exactly `count` bytes at `offset` into `into`, by the same rules as a
    // read through QIODevice but without its position and buffer
    // bookkeeping (the atom readers ask for thousands of headers); false
    // when the file does not hold them all.
    bool readAt(qint64 offset, char* into, qint64 count);

    // How many reads this device made of its file (tests).
    int systemReads() const { return mSystemReads; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    struct Block
    {
        QByteArray bytes;
        qint64 start = 0;
        quint64 used = 0;
    };

    // pread until `count` bytes or the end of the file; -1 on an error.
    qint64 readSome(char* into, qint64 count, qint64 offset);
    // The same; false on an error or an early end.
    bool readFully(char* into, qint64 count, qint64 offset);
    // Makes the head cover [0, end) and more, as a reader walking through
    // the file or one reading a range needs; false on error.
    bool growHead(qint64 end, bool walking);
    // Reads the tail from `start` to the end of the file; false on error.
    bool readTail(qint64 start);
    // Cached bytes of [at, at + count), loading them by the rules above;
    // null when they are not cached and `direct` is set (the caller reads
    // them itself), or on error.
    const char* cached(qint64 at, qint64 count, bool direct);

    QString mPath;
    int mFd = -1;
    bool mInMemory = false;
    qint64 mSize = 0;
    FileIdentity mIdentity;
    bool mSpecial = false;
    QString mOpenError;
    QByteArray mHead;
    QByteArray mTail;
    qint64 mTailStart = 0;
    QByteArray mScratch;
    Block mBlocks[2];
    quint64 mClock = 0;
    int mSystemReads = 0;
};
