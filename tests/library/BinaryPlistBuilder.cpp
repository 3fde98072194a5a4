#include "BinaryPlistBuilder.h"

#include <QtEndian>

namespace {

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray bigEndian64(quint64 value)
{
    QByteArray bytes(8, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

} // namespace

QByteArray BinaryPlistBuilder::header(int type, quint32 count)
{
    QByteArray bytes;
    if (count < 15) {
        bytes.append(static_cast<char>((type << 4) | static_cast<int>(count)));
    } else {
        bytes.append(static_cast<char>((type << 4) | 0x0F));
        bytes.append(static_cast<char>(0x12)); // a four-byte integer follows
        bytes.append(bigEndian32(count));
    }
    return bytes;
}

int BinaryPlistBuilder::raw(const QByteArray& bytes)
{
    mObjects.append(bytes);
    return static_cast<int>(mObjects.size() - 1);
}

int BinaryPlistBuilder::array(const QList<int>& items)
{
    QByteArray bytes = header(0xA, static_cast<quint32>(items.size()));
    for (int item : items)
        bytes.append(bigEndian32(static_cast<quint32>(item)));
    return raw(bytes);
}

int BinaryPlistBuilder::dict(const QList<QPair<int, int>>& keysAndValues)
{
    QByteArray bytes = header(0xD, static_cast<quint32>(keysAndValues.size()));
    for (const auto& [key, value] : keysAndValues)
        bytes.append(bigEndian32(static_cast<quint32>(key)));
    for (const auto& [key, value] : keysAndValues)
        bytes.append(bigEndian32(static_cast<quint32>(value)));
    return raw(bytes);
}

int BinaryPlistBuilder::string(const QByteArray& ascii)
{
    return raw(header(0x5, static_cast<quint32>(ascii.size())) + ascii);
}

int BinaryPlistBuilder::nestedArrays(int depth)
{
    // Indexes are known ahead: the chain takes the next `depth` slots.
    const int first = static_cast<int>(mObjects.size());
    for (int i = 0; i < depth - 1; ++i)
        array({first + i + 1});
    array({});
    return first;
}

QByteArray BinaryPlistBuilder::build(int top) const
{
    QByteArray out("bplist00");
    QList<quint32> offsets;
    for (const QByteArray& object : mObjects) {
        offsets.append(static_cast<quint32>(out.size()));
        out.append(object);
    }
    const quint64 table = static_cast<quint64>(out.size());
    for (quint32 offset : offsets)
        out.append(bigEndian32(offset));
    out.append(QByteArray(6, '\0'));
    out.append(static_cast<char>(4)); // offset size
    out.append(static_cast<char>(4)); // reference size
    out.append(bigEndian64(static_cast<quint64>(mObjects.size())));
    out.append(bigEndian64(static_cast<quint64>(top)));
    out.append(bigEndian64(table));
    return out;
}
