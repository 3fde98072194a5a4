#include "ID3TextCodec.h"

#include "text/WMStringExtensions.h"

#include "support/WMLog.h"

#include <QStringDecoder>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

// Clamps [offset, offset + length) to the data; answers the usable length.
qsizetype usableLength(QByteArrayView data, qsizetype offset, qsizetype length)
{
    if (offset < 0 || offset >= data.size() || length <= 0)
        return 0;
    return std::min(length, data.size() - offset);
}

QString latin1(QByteArrayView bytes)
{
    return QString::fromLatin1(bytes.data(), bytes.size());
}

} // namespace

quint32 ID3TextCodec::getSynchSafeIntIn(QByteArrayView data, qsizetype offset)
{
    if (offset < 0 || offset + 4 > data.size())
        return 0;
    const auto* b = reinterpret_cast<const uchar*>(data.data() + offset);
    return (quint32(b[0] & 0x7f) << 21) | (quint32(b[1] & 0x7f) << 14) | (quint32(b[2] & 0x7f) << 7) |
           quint32(b[3] & 0x7f);
}

quint32 ID3TextCodec::bigEndianIntIn(QByteArrayView data, qsizetype offset)
{
    if (offset < 0 || offset + 4 > data.size())
        return 0;
    const auto* b = reinterpret_cast<const uchar*>(data.data() + offset);
    return (quint32(b[0]) << 24) | (quint32(b[1]) << 16) | (quint32(b[2]) << 8) | quint32(b[3]);
}

QString ID3TextCodec::id3v1StringIn(QByteArrayView data, qsizetype offset, qsizetype maxLength)
{
    const qsizetype limit = usableLength(data, offset, maxLength);
    QByteArrayView field = data.sliced(offset < 0 ? 0 : std::min(offset, data.size()), limit);
    const qsizetype zero = field.indexOf('\0');
    if (zero >= 0)
        field = field.first(zero);
    while (!field.isEmpty() && static_cast<uchar>(field.back()) < 33)
        field.chop(1);
    if (field.isEmpty())
        return QString();
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(field);
    if (utf8.hasError())
        text = latin1(field);
    return text;
}

QString ID3TextCodec::decodeUTF16(QByteArrayView bytes)
{
    bool littleEndian = false;
    if (bytes.size() >= 2) {
        const auto b0 = static_cast<uchar>(bytes[0]), b1 = static_cast<uchar>(bytes[1]);
        if (b0 == 0xff && b1 == 0xfe) {
            littleEndian = true;
            bytes = bytes.sliced(2);
        } else if (b0 == 0xfe && b1 == 0xff) {
            bytes = bytes.sliced(2);
        }
    }
    const qsizetype units = bytes.size() / 2;
    QString text(units, Qt::Uninitialized);
    auto* out = reinterpret_cast<char16_t*>(text.data());
    const auto* in = reinterpret_cast<const uchar*>(bytes.data());
    for (qsizetype i = 0; i < units; ++i) {
        const uchar hi = littleEndian ? in[2 * i + 1] : in[2 * i];
        const uchar lo = littleEndian ? in[2 * i] : in[2 * i + 1];
        out[i] = char16_t((hi << 8) | lo);
    }
    return text;
}

QString ID3TextCodec::id3v22StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype maxLength)
{
    const qsizetype limit = usableLength(data, offset, maxLength);
    if (limit == 0)
        return QString();
    QByteArrayView field = data.sliced(offset, limit);
    QString text;
    if (encoding == 0) {
        const qsizetype zero = field.indexOf('\0');
        text = latin1(zero >= 0 ? field.first(zero) : field);
    } else {
        if (field.size() >= 2 && field[field.size() - 1] == 0 && field[field.size() - 2] == 0)
            field.chop(2);
        text = decodeUTF16(field);
    }
    return text.isEmpty() ? QString() : text;
}

QString ID3TextCodec::id3v23StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype* length)
{
    const qsizetype limitIn = length ? *length : 0;
    if (length)
        *length = 0;
    if (encoding < 0 || encoding > 3 || offset < 0 || offset >= data.size())
        return QString();
    const qsizetype limit = usableLength(data, offset, limitIn);
    const char* start = data.data() + offset;
    QString text;
    if (encoding == 0 || encoding == 3) {
        const void* zero = std::memchr(start, 0, static_cast<size_t>(limit));
        const qsizetype n = zero ? static_cast<const char*>(zero) - start : limit;
        if (length)
            *length = zero ? n + 1 : n;
        text = encoding == 0 ? QString::fromLatin1(start, n) : QString::fromUtf8(start, n);
    } else {
        const qsizetype maxUnits = limit / 2;
        qsizetype units = 0;
        bool terminated = false;
        while (units < maxUnits) {
            if (start[2 * units] == 0 && start[2 * units + 1] == 0) {
                terminated = true;
                break;
            }
            ++units;
        }
        if (length)
            *length = (units + (terminated ? 1 : 0)) * 2;
        text = decodeUTF16(QByteArrayView(start, units * 2));
    }
    return text.isEmpty() ? QString() : text;
}

QStringList ID3TextCodec::id3v23StringsIn(QByteArrayView data, qsizetype location, qsizetype length)
{
    QStringList strings;
    if (location < 0 || length < 0 || location + length > data.size()) {
        WMLog("id3v23StringsIn <%@ %p: %u bytes> @ %@", "QByteArray", static_cast<const void*>(data.data()),
              static_cast<unsigned>(data.size()), QStringLiteral("{%1, %2}").arg(location).arg(length));
        return strings;
    }
    if (length == 0)
        return strings;
    int encoding = static_cast<uchar>(data[location]);
    qsizetype pos = location + 1;
    if (encoding >= 4 && encoding < 32) {
        WMLog("id3v23StringsIn encoding %d treated as encoding 0", encoding);
        encoding = 0;
    } else if (encoding >= 32) {
        WMLog("id3v23StringsIn encoding %d (no encoding byte)", encoding);
        encoding = 0;
        pos = location;
    }
    const qsizetype end = location + length;
    while (pos < end) {
        qsizetype consumed = end - pos;
        const QString s = id3v23StringIn(data, pos, encoding, &consumed);
        if (consumed <= 0)
            break;
        pos += consumed;
        if (!s.isEmpty())
            strings.append(s);
    }
    return strings;
}

QVariantMap ID3TextCodec::textBlockIn(QByteArrayView data, qsizetype location, qsizetype length)
{
    QVariantMap block;
    if (location < 0 || length < 7 || location + length > data.size())
        return block;
    const int encoding = static_cast<uchar>(data[location]);
    if (encoding >= 4) {
        WMLog("textBlockIn encoding %d", encoding);
        return block;
    }
    const qsizetype end = location + length;
    const QString lang = latin1(data.sliced(location + 1, 3));
    qsizetype pos = location + 4;
    qsizetype consumed = end - pos;
    const QString desc = id3v23StringIn(data, pos, encoding, &consumed);
    pos += consumed;
    while (pos < end && data[pos] == 0)
        ++pos;
    consumed = end - pos;
    const QString text = pos < end ? id3v23StringIn(data, pos, encoding, &consumed) : QString();
    if (text.isEmpty() || text.front() == QChar(0))
        return block;
    block.insert(QStringLiteral("lang"), lang);
    if (!desc.isEmpty() && desc.front() != QChar(0))
        block.insert(QStringLiteral("desc"), desc);
    block.insert(QStringLiteral("text"), text);
    return block;
}

qint64 ID3TextCodec::integerValue(QStringView text)
{
    return WMStringExtensions::intValue(text);
}

bool ID3TextCodec::isLatin1Convertible(const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() > 0xff)
            return false;
    }
    return true;
}

QByteArray ID3TextCodec::latin1Lossy(const QString& text)
{
    QByteArray bytes(text.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        bytes[i] = c > 0xff ? '?' : static_cast<char>(c);
    }
    return bytes;
}

int ID3TextCodec::writingEncodingFor(const QStringList& strings)
{
    for (const QString& s : strings) {
        if (!isLatin1Convertible(s))
            return 1;
    }
    return 0;
}

QByteArray ID3TextCodec::encodedString(const QString& text, int encoding)
{
    if (encoding == 0)
        return latin1Lossy(text);
    // Every string of encoding 1 begins with its mark, an empty one too.
    return text.isEmpty() ? QByteArray("\xFE\xFF", 2) : WMStringExtensions::bigEndianUnicodeData(text);
}

QByteArray ID3TextCodec::terminator(int encoding)
{
    return QByteArray(encoding == 0 ? 1 : 2, '\0');
}
