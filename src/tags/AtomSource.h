#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <stdexcept>

class QIODevice;
class SongFileDevice;

// The error raised by the atom readers on structural damage (impossible
// sizes, a container running past its parent, a header beyond the end of the
// data). Its text is always "bad size atom". It never leaves the tags module:
// the tag readers and writers catch it.
class AtomError : public std::range_error
{
public:
    AtomError() : std::range_error("bad size atom") {}
};

// Random access to the bytes an atom tree is read from: either a byte buffer
// or an open device (a file). Reads never go past the end and never allocate
// more than was asked for and exists.
class AtomSource
{
public:
    explicit AtomSource(const QByteArray& bytes);
    explicit AtomSource(QIODevice* device);

    qint64 length() const { return mLength; }
    // Up to `count` bytes at `offset` (fewer at the end; empty when out of range).
    QByteArray read(qint64 offset, qint64 count) const;
    // Exactly `count` bytes at `offset` into `into`; false when they are not
    // all there.
    bool readInto(qint64 offset, char* into, qint64 count) const;
    // "bytes" or "file", for log lines.
    QString kind() const;

    // Four-character names and their 32-bit big-endian codes; characters
    // are Latin-1, so "\u00A9nam" is A9 6E 61 6D.
    static quint32 codeOf(QStringView name);
    static QString nameOf(quint32 code);
    // "moov:udta" -> codes; a malformed component (not 4 Latin-1 characters)
    // makes the whole list empty.
    static QList<quint32> namePathCodes(const QString& namePath);
    // "1:1:2" -> numbers, padded with ones (or cut) to `count` entries.
    static QList<int> indexPathValues(const QString& indexPath, qsizetype count);

    // Total size (header included) of the atom whose header starts at
    // `offset`, and its name. A 32-bit size of 1 takes the 64-bit size that
    // follows, 0 means "to the end of the data". Raises AtomError for sizes
    // 2 to 7 and for a header that does not fit. `toEnd` tells a size of 0.
    quint64 sizeOfAtomAt(qint64 offset, quint32* name, int* headerLength = nullptr,
                         bool* toEnd = nullptr) const;

    // Offset of the atom reached by a colon-separated name path such as
    // "moov:trak:mdia", each level taking the n-th occurrence given by the
    // index path ("1:1:2"; empty means all ones). -1 when not found.
    qint64 offsetOf(const QString& namePath, const QString& indexPath) const;

private:
    const QByteArray* mBytes = nullptr;
    QIODevice* mDevice = nullptr;
    SongFileDevice* mSongFile = nullptr; // the device, when it is a song file's
    qint64 mLength = 0;
};
