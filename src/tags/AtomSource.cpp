#include "AtomSource.h"

#include "SongFileDevice.h"

#include "support/WMLog.h"

#include <QIODevice>
#include <QtEndian>

#include <cstring>

AtomSource::AtomSource(const QByteArray& bytes) : mBytes(&bytes), mLength(bytes.size()) {}

AtomSource::AtomSource(QIODevice* device)
    : mDevice(device), mSongFile(dynamic_cast<SongFileDevice*>(device)), mLength(device ? device->size() : 0)
{}

QByteArray AtomSource::read(qint64 offset, qint64 count) const
{
    if (offset < 0 || count <= 0 || offset >= mLength)
        return QByteArray();
    const qint64 n = qMin(count, mLength - offset);
    if (mBytes)
        return mBytes->mid(offset, n);
    if (!mDevice || !mDevice->seek(offset))
        return QByteArray();
    return mDevice->read(n);
}

bool AtomSource::readInto(qint64 offset, char* into, qint64 count) const
{
    if (offset < 0 || count <= 0 || offset > mLength - count)
        return false;
    if (mBytes) {
        std::memcpy(into, mBytes->constData() + offset, static_cast<size_t>(count));
        return true;
    }
    if (mSongFile)
        return mSongFile->readAt(offset, into, count);
    return mDevice && mDevice->seek(offset) && mDevice->read(into, count) == count;
}

QString AtomSource::kind() const
{
    return mBytes ? QStringLiteral("bytes") : QStringLiteral("file");
}

quint32 AtomSource::codeOf(QStringView name)
{
    quint32 code = 0;
    for (qsizetype i = 0; i < 4; ++i) {
        const char16_t c = i < name.size() ? name.at(i).unicode() : u' ';
        code = (code << 8) | (c & 0xFF);
    }
    return code;
}

QString AtomSource::nameOf(quint32 code)
{
    QString s(4, QLatin1Char(' '));
    for (int i = 0; i < 4; ++i)
        s[i] = QChar(static_cast<char16_t>((code >> (24 - 8 * i)) & 0xFF));
    return s;
}

QList<quint32> AtomSource::namePathCodes(const QString& namePath)
{
    // Read in place (this runs for every path looked up): components of
    // exactly four Latin-1 characters, separated by colons.
    QList<quint32> codes;
    codes.reserve(namePath.size() / 5 + 1);
    quint32 code = 0;
    int length = 0;
    for (const QChar c : namePath) {
        if (c == QLatin1Char(':')) {
            if (length != 4)
                return {};
            codes.append(code);
            code = 0;
            length = 0;
        } else if (c.unicode() > 0xFF || ++length > 4) {
            return {};
        } else {
            code = (code << 8) | c.unicode();
        }
    }
    if (length != 4)
        return {};
    codes.append(code);
    return codes;
}

QList<int> AtomSource::indexPathValues(const QString& indexPath, qsizetype count)
{
    QList<int> values;
    if (!indexPath.isEmpty()) {
        const QStringList parts = indexPath.split(QLatin1Char(':'));
        for (const QString& part : parts)
            values.append(part.trimmed().toInt());
    }
    values.resize(count, 1);
    return values;
}

quint64 AtomSource::sizeOfAtomAt(qint64 offset, quint32* name, int* headerLength, bool* toEnd) const
{
    if (offset < 0 || offset > mLength - 8) {
        WMLog("sizeOfAtomIn: %qu + 8 > %qu", static_cast<quint64>(qMax<qint64>(offset, 0)),
              static_cast<quint64>(mLength));
        throw AtomError();
    }
    char header[8];
    if (!readInto(offset, header, 8))
        throw AtomError();
    const quint32 size32 = qFromBigEndian<quint32>(header);
    const quint32 code = qFromBigEndian<quint32>(header + 4);
    if (name)
        *name = code;
    if (headerLength)
        *headerLength = 8;
    if (toEnd)
        *toEnd = size32 == 0;
    if (size32 == 0)
        return static_cast<quint64>(mLength - offset);
    if (size32 == 1) {
        char large[8];
        const quint64 size64 = readInto(offset + 8, large, 8) ? qFromBigEndian<quint64>(large) : 0;
        if (size64 < 16) {
            WMLog("invalid size %qu for atom '%@' in %@", size64, nameOf(code), kind());
            throw AtomError();
        }
        if (headerLength)
            *headerLength = 16;
        return size64;
    }
    if (size32 < 8) {
        WMLog("invalid size %qu for atom '%@' in %@", size32, nameOf(code), kind());
        throw AtomError();
    }
    return size32;
}

qint64 AtomSource::offsetOf(const QString& namePath, const QString& indexPath) const
{
    const QList<quint32> codes = namePathCodes(namePath);
    if (codes.isEmpty() || mLength == 8)
        return -1;
    const QList<int> indexes = indexPathValues(indexPath, codes.size());
    qint64 pos = 0;
    qint64 end = mLength;
    qsizetype level = 0;
    int count = 0;
    while (pos <= end - 8) {
        quint32 name = 0;
        int headerLength = 8;
        const quint64 size =
            qMin<quint64>(sizeOfAtomAt(pos, &name, &headerLength), static_cast<quint64>(end - pos));
        if (size < static_cast<quint64>(headerLength))
            break;
        if (name == codes.at(level) && ++count == indexes.at(level)) {
            if (level == codes.size() - 1)
                return pos;
            end = pos + static_cast<qint64>(size);
            pos += headerLength;
            ++level;
            count = 0;
            continue;
        }
        pos += static_cast<qint64>(size);
    }
    return -1;
}
