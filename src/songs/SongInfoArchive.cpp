#include "SongInfoArchive.h"

#include <QBuffer>
#include <QDataStream>
#include <QDateTime>
#include <QImage>

namespace {

// Value tags; stored, so never renumbered.
enum class ValueTag : quint8
{
    Null = 0,
    String = 1,
    Int = 2,
    UInt = 3,
    Double = 4,
    Bool = 5,
    Date = 6,
    Bytes = 7,
    Image = 8,
    Map = 9,
    List = 10
};

constexpr int kMaxNesting = 16;
constexpr int kMaxImageSide = 1024;
constexpr QDataStream::Version kStreamVersion = QDataStream::Qt_6_4;

void writeValue(QDataStream& out, const QVariant& value, int depth);

void writeMap(QDataStream& out, const QVariantMap& map, int depth)
{
    out << quint32(map.size());
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        out << it.key();
        writeValue(out, it.value(), depth + 1);
    }
}

void writeValue(QDataStream& out, const QVariant& value, int depth)
{
    if (depth >= kMaxNesting) {
        out << quint8(ValueTag::Null);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::QString:
        out << quint8(ValueTag::String) << value.toString();
        return;
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
        out << quint8(ValueTag::Int) << value.toLongLong();
        return;
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::ULong:
        out << quint8(ValueTag::UInt) << value.toULongLong();
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        out << quint8(ValueTag::Double) << value.toDouble();
        return;
    case QMetaType::Bool:
        out << quint8(ValueTag::Bool) << quint8(value.toBool() ? 1 : 0);
        return;
    case QMetaType::QDateTime: {
        const QDateTime date = value.toDateTime();
        if (date.isValid())
            out << quint8(ValueTag::Date) << date.toMSecsSinceEpoch();
        else
            out << quint8(ValueTag::Null);
        return;
    }
    case QMetaType::QByteArray:
        out << quint8(ValueTag::Bytes) << value.toByteArray();
        return;
    case QMetaType::QImage: {
        const QImage image = value.value<QImage>().convertToFormat(QImage::Format_ARGB32);
        if (image.isNull() || image.width() > kMaxImageSide || image.height() > kMaxImageSide) {
            out << quint8(ValueTag::Null);
            return;
        }
        out << quint8(ValueTag::Image) << quint32(image.width()) << quint32(image.height());
        for (int y = 0; y < image.height(); ++y)
            out.writeRawData(reinterpret_cast<const char*>(image.constScanLine(y)), image.width() * 4);
        return;
    }
    case QMetaType::QVariantMap:
        out << quint8(ValueTag::Map);
        writeMap(out, value.toMap(), depth);
        return;
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        out << quint8(ValueTag::List) << quint32(list.size());
        for (const QVariant& item : list)
            writeValue(out, item, depth + 1);
        return;
    }
    default:
        out << quint8(ValueTag::Null);
        return;
    }
}

// Reading: every failure sets the stream's status, which the callers check.
class Reader
{
public:
    explicit Reader(QDataStream& in) : mIn(in) {}

    bool ok() const { return mIn.status() == QDataStream::Ok; }
    void fail() { mIn.setStatus(QDataStream::ReadCorruptData); }

    // A count can't exceed the bytes left: every element takes at least one.
    bool readCount(quint32& count)
    {
        mIn >> count;
        if (ok() && qint64(count) > mIn.device()->bytesAvailable())
            fail();
        return ok();
    }

    QVariant readValue(int depth)
    {
        if (depth >= kMaxNesting) {
            fail();
            return QVariant();
        }
        quint8 tag = 0;
        mIn >> tag;
        if (!ok())
            return QVariant();
        switch (ValueTag(tag)) {
        case ValueTag::Null:
            return QVariant();
        case ValueTag::String:
            return read<QString>();
        case ValueTag::Int:
            return read<qint64>();
        case ValueTag::UInt:
            return read<quint64>();
        case ValueTag::Double:
            return read<double>();
        case ValueTag::Bool:
            return read<quint8>() != 0;
        case ValueTag::Date:
            return QDateTime::fromMSecsSinceEpoch(read<qint64>(), Qt::UTC);
        case ValueTag::Bytes:
            return read<QByteArray>();
        case ValueTag::Image:
            return readImage();
        case ValueTag::Map:
            return readMap(depth);
        case ValueTag::List: {
            quint32 count = 0;
            QVariantList list;
            if (!readCount(count))
                return QVariant();
            for (quint32 i = 0; i < count && ok(); ++i)
                list.append(readValue(depth + 1));
            return list;
        }
        }
        fail();
        return QVariant();
    }

    QVariantMap readMap(int depth)
    {
        QVariantMap map;
        quint32 count = 0;
        if (!readCount(count))
            return map;
        for (quint32 i = 0; i < count && ok(); ++i) {
            const QString key = read<QString>();
            const QVariant value = readValue(depth + 1);
            if (ok())
                map.insert(key, value);
        }
        return map;
    }

    template <typename T> T read()
    {
        T value{};
        mIn >> value;
        return value;
    }

private:
    QVariant readImage()
    {
        const quint32 width = read<quint32>();
        const quint32 height = read<quint32>();
        if (!ok() || width == 0 || height == 0 || width > kMaxImageSide || height > kMaxImageSide ||
            qint64(width) * height * 4 > mIn.device()->bytesAvailable()) {
            fail();
            return QVariant();
        }
        QImage image(int(width), int(height), QImage::Format_ARGB32);
        if (image.isNull()) {
            fail();
            return QVariant();
        }
        for (int y = 0; y < image.height(); ++y) {
            if (mIn.readRawData(reinterpret_cast<char*>(image.scanLine(y)), image.width() * 4) !=
                image.width() * 4) {
                fail();
                return QVariant();
            }
        }
        return image;
    }

    QDataStream& mIn;
};

} // namespace

QByteArray SongInfoArchive::archivedGroup(const SongInfoGroup& group)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QDataStream out(&buffer);
    out.setVersion(kStreamVersion);
    out << kMagic << kFormatVersion << quint32(group.size());
    for (auto it = group.cbegin(); it != group.cend(); ++it) {
        out << it.key() << quint8(ValueTag::Map);
        writeMap(out, it.value(), 0);
    }
    return bytes;
}

std::optional<SongInfoGroup> SongInfoArchive::unarchivedGroup(const QByteArray& bytes, QString* why)
{
    const auto failed = [why](const QString& reason) -> std::optional<SongInfoGroup> {
        if (why)
            *why = reason;
        return std::nullopt;
    };
    if (bytes.size() > kMaxFileBytes)
        return failed(QStringLiteral("too large"));
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QDataStream in(&buffer);
    in.setVersion(kStreamVersion);
    Reader reader(in);
    const quint32 magic = reader.read<quint32>();
    const quint32 version = reader.read<quint32>();
    if (!reader.ok() || magic != kMagic)
        return failed(QStringLiteral("not a cache group"));
    if (version > kFormatVersion)
        return failed(QStringLiteral("format version %1 is newer than %2").arg(version).arg(kFormatVersion));
    quint32 count = 0;
    if (!reader.readCount(count))
        return failed(QStringLiteral("damaged entry count"));
    SongInfoGroup group;
    for (quint32 i = 0; i < count; ++i) {
        const QString path = reader.read<QString>();
        if (!reader.ok() || reader.read<quint8>() != quint8(ValueTag::Map) || !reader.ok())
            return failed(QStringLiteral("damaged or truncated at entry %1").arg(i));
        const QVariantMap entry = reader.readMap(1);
        if (!reader.ok())
            return failed(QStringLiteral("damaged or truncated at entry %1").arg(i));
        group.insert(path, entry);
    }
    return group;
}
