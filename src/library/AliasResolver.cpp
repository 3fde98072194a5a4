#include "AliasResolver.h"

#include <QStringList>

#include <cstring>

namespace {

quint16 be16(const QByteArray& d, qsizetype at)
{
    const auto* p = reinterpret_cast<const uchar*>(d.constData()) + at;
    return quint16((p[0] << 8) | p[1]);
}

quint32 le32(const QByteArray& d, qsizetype at)
{
    const auto* p = reinterpret_cast<const uchar*>(d.constData()) + at;
    return (quint32(p[3]) << 24) | (quint32(p[2]) << 16) | (quint32(p[1]) << 8) | quint32(p[0]);
}

bool fits(const QByteArray& d, qint64 at, qint64 length)
{
    return at >= 0 && length >= 0 && at <= d.size() && length <= d.size() - at;
}

// Bookmark records: u32 length, u32 type, payload.
constexpr quint32 kTypeString = 0x0101;
constexpr quint32 kTypeArray = 0x0601;
constexpr quint32 kKeyPathComponents = 0x1004;
constexpr quint32 kTocMagic = 0xfffffffe;
constexpr int kMaxTocs = 64;
constexpr quint32 kMaxComponents = 4096;

} // namespace

QString AliasResolver::pathFromReferenceData(const QByteArray& data)
{
    if (data.startsWith("book"))
        return pathFromBookmark(data);
    return pathFromAliasRecord(data);
}

QString AliasResolver::pathFromAliasRecord(const QByteArray& data)
{
    // Version 2 records: a fixed part of 150 bytes, then tagged fields
    // (u16 tag, u16 length, data padded to an even length) up to tag 0xFFFF.
    // Tag 18 is the path within the volume, tag 19 the volume's mount point.
    constexpr qsizetype kFixedPart = 150;
    if (data.size() < kFixedPart + 4 || be16(data, 6) != 2)
        return {};
    QString path;
    QString mountPoint;
    qsizetype at = kFixedPart;
    while (fits(data, at, 4)) {
        const quint16 tag = be16(data, at);
        const quint16 length = be16(data, at + 2);
        at += 4;
        if (tag == 0xFFFF || !fits(data, at, length))
            break;
        if (tag == 18)
            path = QString::fromUtf8(data.constData() + at, length);
        else if (tag == 19)
            mountPoint = QString::fromUtf8(data.constData() + at, length);
        at += length + (length & 1);
    }
    if (path.isEmpty())
        return {};
    if (path.startsWith(QLatin1Char('/')))
        path.remove(0, 1);
    if (mountPoint.isEmpty() || mountPoint == QStringLiteral("/"))
        return QLatin1Char('/') + path;
    return mountPoint + (mountPoint.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/")) + path;
}

QString AliasResolver::pathFromBookmark(const QByteArray& data)
{
    // Header: "book", u32 total size, u32 version, u32 header size (the start
    // of the data area). The data area begins with the offset of the first
    // table of contents; offsets below are relative to the data area.
    if (data.size() < 16 || !data.startsWith("book"))
        return {};
    const qint64 base = le32(data, 12);
    if (!fits(data, base, 4))
        return {};
    auto record = [&](qint64 offset, quint32* type, qint64* payload, quint32* length) {
        const qint64 at = base + offset;
        if (!fits(data, at, 8))
            return false;
        *length = le32(data, at);
        *type = le32(data, at + 4);
        *payload = at + 8;
        return fits(data, *payload, *length);
    };

    qint64 toc = le32(data, base);
    for (int tocs = 0; tocs < kMaxTocs && toc != 0; ++tocs) {
        const qint64 at = base + toc;
        if (!fits(data, at, 20) || le32(data, at + 4) != kTocMagic)
            return {};
        const quint32 count = le32(data, at + 16);
        if (!fits(data, at + 20, qint64(count) * 12))
            return {};
        for (quint32 i = 0; i < count; ++i) {
            const qint64 entry = at + 20 + qint64(i) * 12;
            if (le32(data, entry) != kKeyPathComponents)
                continue;
            quint32 type = 0, length = 0;
            qint64 payload = 0;
            if (!record(le32(data, entry + 4), &type, &payload, &length) || (type & 0xffff) != kTypeArray)
                return {};
            QStringList components;
            for (quint32 c = 0; c < length / 4 && c < kMaxComponents; ++c) {
                quint32 itemType = 0, itemLength = 0;
                qint64 itemPayload = 0;
                if (!record(le32(data, payload + qint64(c) * 4), &itemType, &itemPayload, &itemLength) ||
                    (itemType & 0xffff) != kTypeString)
                    return {};
                components << QString::fromUtf8(data.constData() + itemPayload, itemLength);
            }
            return components.isEmpty() ? QString() : QLatin1Char('/') + components.join(QLatin1Char('/'));
        }
        toc = le32(data, at + 12);
    }
    return {};
}
