#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

// A read-only file device for the atom readers. A tree is read with many
// small reads at scattered offsets (8-byte headers, short values), mostly in
// two places (the start of the movie atom and the end of the item list):
// this device serves them from two 16 KiB blocks read with pread, the least
// recently used one being replaced, so that seeking costs no system call and
// little is read twice; long reads (pictures) go straight to the caller.
class AtomFileDevice : public QIODevice
{
public:
    explicit AtomFileDevice(QString path);
    ~AtomFileDevice() override;

    // Opens the file for reading (any write mode is refused).
    bool open(OpenMode mode) override;
    void close() override;
    qint64 size() const override { return mSize; }
    bool isSequential() const override { return false; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    static constexpr qint64 kBlock = 16 * 1024;

    struct Block
    {
        QByteArray bytes;
        qint64 start = 0;
        quint64 used = 0;
    };

    QString mPath;
    int mFd = -1;
    qint64 mSize = 0;
    Block mBlocks[2];
    quint64 mClock = 0;
};
