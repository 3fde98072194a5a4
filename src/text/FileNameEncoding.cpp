#include "FileNameEncoding.h"

#include <QFile>

namespace {

// Length of the well-formed UTF-8 sequence at `i` (no overlong forms, no
// surrogates, nothing above U+10FFFF), or 0.
qsizetype sequenceLength(const QByteArray& bytes, qsizetype i)
{
    const auto byte = [&](qsizetype at) {
        return static_cast<unsigned char>(bytes.at(at));
    };
    const auto continuation = [&](qsizetype at) {
        return at < bytes.size() && (byte(at) & 0xC0) == 0x80;
    };
    const unsigned char c = byte(i);
    if (c < 0x80)
        return 1;
    if (c >= 0xC2 && c <= 0xDF)
        return continuation(i + 1) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        if (!continuation(i + 1) || !continuation(i + 2))
            return 0;
        const unsigned char c1 = byte(i + 1);
        return (c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 > 0x9F) ? 0 : 3;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        if (!continuation(i + 1) || !continuation(i + 2) || !continuation(i + 3))
            return 0;
        const unsigned char c1 = byte(i + 1);
        return (c == 0xF0 && c1 < 0x90) || (c == 0xF4 && c1 > 0x8F) ? 0 : 4;
    }
    return 0;
}

} // namespace

bool FileNameEncoding::isRepresentable(const QByteArray& raw)
{
    return QFile::encodeName(QFile::decodeName(raw)) == raw;
}

QString FileNameEncoding::shellQuoted(const QByteArray& raw)
{
    QString text;
    QByteArray plain;
    QString escaped;
    const auto flushPlain = [&] {
        text += QString::fromUtf8(plain);
        plain.clear();
    };
    const auto flushEscaped = [&] {
        if (!escaped.isEmpty())
            text += QStringLiteral("$'") + escaped + QLatin1Char('\'');
        escaped.clear();
    };
    for (qsizetype i = 0; i < raw.size();) {
        const qsizetype length = sequenceLength(raw, i);
        const auto c = static_cast<unsigned char>(raw.at(i));
        if (length == 0 || c < 0x20 || c == 0x7F) {
            flushPlain();
            escaped += QStringLiteral("\\%1").arg(c, 3, 8, QLatin1Char('0'));
            ++i;
        } else {
            flushEscaped();
            plain += raw.mid(i, length);
            i += length;
        }
    }
    flushPlain();
    flushEscaped();
    return text;
}
