#include "WMStringExtensions.h"

#include "HTMLEntityTable.h"
#include "WendmarkTextExtensions.h"

#include <QStringDecoder>
#include <QUrl>

#include <array>
#include <limits>

namespace WMStringExtensions {

namespace {

// Windows-1252 for 128-159; its five undefined positions map to themselves.
constexpr std::array<char16_t, 32> k128To159Mapper = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool isAsciiLetterOrDigit(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9');
}

// Replaces needle everywhere until it no longer occurs.
void replaceRepeatedly(QString& s, QLatin1StringView needle, QLatin1StringView replacement,
                       Qt::CaseSensitivity cs = Qt::CaseSensitive)
{
    while (s.contains(needle, cs))
        s.replace(needle, replacement, cs);
}

const std::array<quint32, 256>& crcTable()
{
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> t{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320U ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    return table;
}

bool isValidUtf8(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder.decode(bytes);
    return !decoder.hasError();
}

QString percentUnescaped(const QString& s)
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(s.toUtf8()));
}

// The characters a URL may hold as they are; everything else is escaped.
QString percentEscaped(const QString& s)
{
    static const QByteArray kept = QByteArrayLiteral("!$&'()*+,;=:@/?#[]");
    return QString::fromLatin1(QUrl::toPercentEncoding(s, kept));
}

} // namespace

QChar ampersandCodeEquivalentAtIndex(const QString& s, qsizetype index, qsizetype* codeLength)
{
    if (codeLength)
        *codeLength = 0;
    const qsizetype n = s.size();
    if (index < 0 || index >= n - 1 || s.at(index) != QLatin1Char('&'))
        return QChar();
    qsizetype pos = index + 1;
    char32_t value = 0;
    if (s.at(pos) == QLatin1Char('#') && pos + 1 < n) {
        ++pos;
        bool hex = false;
        if (s.at(pos) == QLatin1Char('x') || s.at(pos) == QLatin1Char('X')) {
            hex = true;
            ++pos;
        }
        int digits = 0;
        while (pos < n && digits < 8) {
            const int digit = CharacterToNumber(s.at(pos), hex);
            if (digit < 0)
                break;
            value = value * (hex ? 16 : 10) + static_cast<char32_t>(digit);
            ++digits;
            ++pos;
            if (value >= 65536) {
                value = 0;
                break;
            }
        }
        if (value == 0)
            return QChar();
        if (value >= 128 && value <= 159)
            value = k128To159Mapper[value - 128];
    } else {
        const qsizetype start = pos;
        while (pos < n && isAsciiLetterOrDigit(s.at(pos)))
            ++pos;
        if (pos == start)
            return QChar();
        const std::optional<char16_t> codePoint =
            HTMLEntityTable::codePointForName(QStringView(s).mid(start, pos - start));
        if (!codePoint)
            return QChar();
        value = *codePoint;
    }
    if (pos < n && s.at(pos) == QLatin1Char(';'))
        ++pos;
    if (codeLength)
        *codeLength = pos - index;
    return QChar(static_cast<char16_t>(value));
}

QString stringByReplacingAmpersandCodes(const QString& s)
{
    if (!s.contains(QLatin1Char('&')))
        return s;
    const qsizetype n = s.size();
    QString result;
    result.reserve(n);
    for (qsizetype i = 0; i < n;) {
        const QChar c = s.at(i);
        if (c == QLatin1Char('&') && i < n - 1) {
            qsizetype length = 0;
            const QChar decoded = ampersandCodeEquivalentAtIndex(s, i, &length);
            if (length > 0) {
                result.append(decoded);
                i += length;
                continue;
            }
        }
        result.append(c);
        ++i;
    }
    return result;
}

QString stringByInsertingAmpersandCodes(const QString& s)
{
    QString result;
    result.reserve(s.size());
    for (QChar c : s) {
        if (c.unicode() <= 126) {
            result.append(c);
            continue;
        }
        const QString name = HTMLEntityTable::nameForCodePoint(c.unicode());
        result.append(QLatin1Char('&'));
        result.append(name.isNull() ? QString::number(c.unicode()) : name);
        result.append(QLatin1Char(';'));
    }
    return result;
}

QString safelyEscapedString(const QString& s)
{
    QString text = s;
    // Unescape until the length stops changing; stop early when a round
    // would produce bytes that are not UTF-8.
    for (;;) {
        const QByteArray bytes = QByteArray::fromPercentEncoding(text.toUtf8());
        if (!isValidUtf8(bytes)) {
            if (text == s)
                text = percentUnescaped(s);
            break;
        }
        const QString next = QString::fromUtf8(bytes);
        if (next.size() == text.size())
            break;
        text = next;
    }
    return percentEscaped(text);
}

QString correctedCaseString(const QString& s)
{
    if (s != s.toLower() && s != s.toUpper())
        return s;
    QString result;
    result.reserve(s.size());
    bool wordStart = true;
    for (QChar c : s) {
        if (c.isSpace()) {
            wordStart = true;
            result.append(c);
        } else {
            result.append(wordStart ? c.toUpper() : c.toLower());
            wordStart = false;
        }
    }
    return result;
}

QString stringWithStrippedEnclosedByChar(const QString& s, QChar open, QChar close)
{
    QString text = s;
    while (text.size() >= 3) {
        const qsizetype first = text.indexOf(open);
        if (first < 0)
            break;
        const qsizetype last = text.lastIndexOf(close);
        if (last <= first)
            break;
        const QString joined = QStringView(text).left(first) + QStringView(text).mid(last + 1);
        text = joined.trimmed();
    }
    return text;
}

QString stringWithStrippedBracketedText(const QString& s)
{
    return stringWithStrippedEnclosedByChar(s, QLatin1Char('['), QLatin1Char(']'));
}

QString stringWithStrippedParenthesizedText(const QString& s)
{
    return stringWithStrippedEnclosedByChar(s, QLatin1Char('('), QLatin1Char(')'));
}

QString normalizedString(const QString& s)
{
    const QStringList parts = s.split(QLatin1String(", "));
    if (parts.size() != 2 || parts.at(0).isEmpty() || parts.at(1).isEmpty())
        return s;
    if (!WendmarkTextExtensions::minorWords().contains(parts.at(1).toLower()))
        return s;
    auto trim = [](const QString& part) {
        auto isTrimmed = [](QChar c) {
            return c == QLatin1Char('\r') || c == QLatin1Char('\n') || c == QLatin1Char('\t') ||
                   c == QLatin1Char(' ') || c == QLatin1Char(',');
        };
        qsizetype begin = 0;
        qsizetype end = part.size();
        while (begin < end && isTrimmed(part.at(begin)))
            ++begin;
        while (end > begin && isTrimmed(part.at(end - 1)))
            --end;
        return part.mid(begin, end - begin);
    };
    return trim(parts.at(1)) + QLatin1Char(' ') + trim(parts.at(0));
}

int CharacterToNumber(QChar c, bool hexAllowed)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (hexAllowed) {
        if (u >= u'A' && u <= u'F')
            return u - u'A' + 10;
        if (u >= u'a' && u <= u'f')
            return u - u'a' + 10;
    }
    return -1;
}

QChar ASCIIHighBitToUnicode(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= 128 && u <= 159)
        return QChar(k128To159Mapper[u - 128]);
    return c;
}

quint32 CRC(const QByteArray& data)
{
    const std::array<quint32, 256>& table = crcTable();
    quint32 crc = 0;
    for (char byte : data)
        crc = table[(crc ^ static_cast<quint8>(byte)) & 0xFF] ^ (crc >> 8);
    return crc;
}

QString stringFlowedFromHTML(const QString& s)
{
    QString text = s;
    replaceRepeatedly(text, QLatin1String("\t"), QLatin1String(" "));
    replaceRepeatedly(text, QLatin1String("\r"), QLatin1String(" "));
    replaceRepeatedly(text, QLatin1String("\n"), QLatin1String(" "));
    replaceRepeatedly(text, QLatin1String("  "), QLatin1String(" "));
    replaceRepeatedly(text, QLatin1String("<br>"), QLatin1String("\n"), Qt::CaseInsensitive);
    replaceRepeatedly(text, QLatin1String("<br/>"), QLatin1String("\n"), Qt::CaseInsensitive);
    replaceRepeatedly(text, QLatin1String("<br />"), QLatin1String("\n"), Qt::CaseInsensitive);
    replaceRepeatedly(text, QLatin1String("<p>"), QLatin1String("\n\n"), Qt::CaseInsensitive);
    replaceRepeatedly(text, QLatin1String("</p>"), QLatin1String("\n\n"), Qt::CaseInsensitive);
    replaceRepeatedly(text, QLatin1String("\n \n"), QLatin1String("\n\n"));
    replaceRepeatedly(text, QLatin1String("\n\n\n"), QLatin1String("\n\n"));
    text = stringWithStrippedEnclosedByChar(text, QLatin1Char('<'), QLatin1Char('>')).trimmed();
    return stringByReplacingAmpersandCodes(text);
}

QByteArray bigEndianUnicodeData(const QString& s)
{
    QByteArray bytes;
    if (s.isEmpty())
        return bytes;
    bytes.reserve(2 + s.size() * 2);
    bytes.append(char(0xFE));
    bytes.append(char(0xFF));
    for (QChar c : s) {
        bytes.append(static_cast<char>(c.unicode() >> 8));
        bytes.append(static_cast<char>(c.unicode() & 0xFF));
    }
    return bytes;
}

QString bytesDescription(const QByteArray& data, qsizetype maxBytes)
{
    const qsizetype shown = std::min(data.size(), std::max<qsizetype>(0, maxBytes));
    QString text = QStringLiteral("<");
    for (qsizetype i = 0; i < shown; ++i) {
        if (i > 0 && i % 4 == 0)
            text.append(QLatin1Char(' '));
        text.append(QString::fromLatin1(data.mid(i, 1).toHex()));
    }
    if (shown < data.size())
        text.append(QStringLiteral("..."));
    text.append(QLatin1Char('>'));
    return text;
}

qint64 intValue(QStringView s)
{
    qsizetype i = 0;
    while (i < s.size() && s.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < s.size() && (s.at(i) == QLatin1Char('-') || s.at(i) == QLatin1Char('+'))) {
        negative = s.at(i) == QLatin1Char('-');
        ++i;
    }
    qint64 value = 0;
    for (; i < s.size() && s.at(i) >= QLatin1Char('0') && s.at(i) <= QLatin1Char('9'); ++i) {
        if (value > (std::numeric_limits<qint64>::max() - 9) / 10)
            break;
        value = value * 10 + (s.at(i).unicode() - '0');
    }
    return negative ? -value : value;
}

} // namespace WMStringExtensions
