#include "PlistLeafReader.h"

#include "SystemPlistParser.h"

#include <QDateTime>

#include <plist/plist.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

namespace {

struct PlistFree
{
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};

bool contains(QByteArrayView bytes, char c)
{
    return !bytes.isEmpty() && std::memchr(bytes.data(), c, static_cast<size_t>(bytes.size()));
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

void appendUtf8(std::string* out, char32_t code)
{
    if (code < 0x80) {
        out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (code >> 6)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (code >> 12)));
        out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        out->push_back(static_cast<char>(0xF0 | (code >> 18)));
        out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

// A numeric character reference's text after "&#": "65" or "x41". Only the
// forms that name a character XML allows are read.
std::optional<char32_t> referencedCharacter(std::string_view digits)
{
    const bool hex = !digits.empty() && digits.front() == 'x';
    if (hex)
        digits.remove_prefix(1);
    if (digits.empty() || digits.size() > 8)
        return std::nullopt;
    char32_t code = 0;
    for (const char c : digits) {
        int digit;
        if (isDigit(c))
            digit = c - '0';
        else if (hex && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return std::nullopt;
        code = code * (hex ? 16 : 10) + static_cast<char32_t>(digit);
    }
    const bool allowed = code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF) ||
                         (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
    return allowed ? std::optional<char32_t>(code) : std::nullopt;
}

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
qint64 daysFromCivil(int year, int month, int day)
{
    year -= month <= 2;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const int yearOfEra = year - era * 400;
    const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return static_cast<qint64>(era) * 146097 + dayOfEra - 719468;
}

int daysInMonth(int year, int month)
{
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

int base64Value(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (isDigit(c))
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

// Padded base64 between blanks, decoded; nothing for any other form.
std::optional<QByteArray> canonicalBase64(QByteArrayView raw)
{
    QByteArray out;
    out.reserve(raw.size() / 4 * 3 + 3);
    quint32 group = 0;
    int inGroup = 0;
    int padding = 0;
    for (const char c : raw) {
        if (isBlank(c))
            continue;
        if (c == '=') {
            // Padding only in the last two places of the last group.
            if (inGroup < 2)
                return std::nullopt;
            ++padding;
            group <<= 6;
            ++inGroup;
        } else {
            const int value = base64Value(c);
            if (value < 0 || padding > 0)
                return std::nullopt;
            group = (group << 6) | static_cast<quint32>(value);
            ++inGroup;
        }
        if (inGroup == 4) {
            // Bits that padding leaves over must be zero.
            if ((padding == 1 && (group & 0xFF)) || (padding == 2 && (group & 0xFFFF)))
                return std::nullopt;
            out.append(static_cast<char>(group >> 16));
            if (padding < 2)
                out.append(static_cast<char>((group >> 8) & 0xFF));
            if (padding < 1)
                out.append(static_cast<char>(group & 0xFF));
            group = 0;
            inGroup = 0;
        }
    }
    if (inGroup != 0 || out.isEmpty())
        return std::nullopt;
    return out;
}

} // namespace

std::optional<QByteArrayView> PlistLeafReader::withoutComments(QByteArrayView raw, std::string* scratch)
{
    if (!contains(raw, '<'))
        return raw;
    scratch->clear();
    const std::string_view text(raw.data(), static_cast<size_t>(raw.size()));
    size_t from = 0;
    for (;;) {
        const size_t open = text.find('<', from);
        if (open == std::string_view::npos) {
            scratch->append(text.substr(from));
            break;
        }
        if (text.compare(open, 4, "<!--") != 0)
            return std::nullopt;
        const size_t close = text.find("-->", open + 4);
        if (close == std::string_view::npos)
            return std::nullopt;
        scratch->append(text.substr(from, open - from));
        from = close + 3;
    }
    return QByteArrayView(scratch->data(), static_cast<qsizetype>(scratch->size()));
}

std::optional<QByteArrayView> PlistLeafReader::text(QByteArrayView raw, std::string* scratch)
{
    std::optional<QByteArrayView> content = withoutComments(raw, scratch);
    if (!content || !contains(*content, '&'))
        return content;
    // The references are replaced into `scratch`: text it holds already
    // (with its comments left out) moves aside first.
    std::string uncommented;
    if (content->data() == scratch->data()) {
        uncommented = std::move(*scratch);
        content = QByteArrayView(uncommented.data(), static_cast<qsizetype>(uncommented.size()));
    }

    const std::string_view text(content->data(), static_cast<size_t>(content->size()));
    scratch->clear();
    scratch->reserve(text.size());
    size_t from = 0;
    for (;;) {
        const size_t amp = text.find('&', from);
        if (amp == std::string_view::npos) {
            scratch->append(text.substr(from));
            break;
        }
        scratch->append(text.substr(from, amp - from));
        const size_t semicolon = text.find(';', amp);
        if (semicolon == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = text.substr(amp + 1, semicolon - amp - 1);
        if (name == "amp") {
            scratch->push_back('&');
        } else if (name == "lt") {
            scratch->push_back('<');
        } else if (name == "gt") {
            scratch->push_back('>');
        } else if (name == "apos") {
            scratch->push_back('\'');
        } else if (name == "quot") {
            scratch->push_back('"');
        } else if (name.size() > 1 && name.front() == '#') {
            const std::optional<char32_t> code = referencedCharacter(name.substr(1));
            if (!code)
                return std::nullopt;
            appendUtf8(scratch, *code);
        } else {
            return std::nullopt;
        }
        from = semicolon + 1;
    }
    return QByteArrayView(scratch->data(), static_cast<qsizetype>(scratch->size()));
}

std::optional<QVariant> PlistLeafReader::integer(QByteArrayView raw)
{
    // Plain decimal: an optional minus, then no leading zero (libplist reads
    // those as octal) and at most 18 digits, which fit in 64 bits.
    const qsizetype sign = raw.startsWith('-') ? 1 : 0;
    const qsizetype digits = raw.size() - sign;
    bool plain = digits >= 1 && digits <= 18 && (raw[sign] != '0' || digits == 1);
    qint64 value = 0;
    for (qsizetype i = sign; plain && i < raw.size(); ++i) {
        plain = isDigit(raw[i]);
        value = value * 10 + (raw[i] - '0');
    }
    if (!plain)
        return throughLibplist("integer", raw);
    if (sign)
        value = -value;
    if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
        return QVariant(static_cast<int>(value));
    return QVariant(static_cast<qlonglong>(value));
}

std::optional<QVariant> PlistLeafReader::real(QByteArrayView raw)
{
    // Rare in a library, and read with the C library's own conversion.
    return throughLibplist("real", raw);
}

std::optional<QVariant> PlistLeafReader::date(QByteArrayView raw)
{
    // "YYYY-MM-DDTHH:MM:SSZ" naming a real moment; years are kept to where
    // libplist's seconds from 2001 cannot overflow.
    const auto number = [&](qsizetype at, qsizetype length, int* out) {
        int value = 0;
        for (qsizetype i = at; i < at + length; ++i) {
            if (!isDigit(raw[i]))
                return false;
            value = value * 10 + (raw[i] - '0');
        }
        *out = value;
        return true;
    };
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    const bool canonical = raw.size() == 20 && raw[4] == '-' && raw[7] == '-' && raw[10] == 'T' &&
                           raw[13] == ':' && raw[16] == ':' && raw[19] == 'Z' && number(0, 4, &year) &&
                           number(5, 2, &month) && number(8, 2, &day) && number(11, 2, &hour) &&
                           number(14, 2, &minute) && number(17, 2, &second);
    if (!canonical || year < 1950 || year > 2060 || month < 1 || month > 12 || day < 1 ||
        day > daysInMonth(year, month) || hour > 23 || minute > 59 || second > 59)
        return throughLibplist("date", raw);
    const qint64 seconds = daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
    return QVariant(QDateTime::fromMSecsSinceEpoch(seconds * 1000, Qt::UTC));
}

std::optional<QVariant> PlistLeafReader::data(QByteArrayView raw)
{
    if (contains(raw, '<') || contains(raw, '&'))
        return throughLibplist("data", raw);
    std::optional<QByteArray> bytes = canonicalBase64(raw);
    if (!bytes)
        return throughLibplist("data", raw);
    return QVariant(std::move(*bytes));
}

std::optional<QVariant> PlistLeafReader::boolean(bool value, QByteArrayView raw)
{
    return throughLibplist(value ? "true" : "false", raw);
}

std::optional<QVariant> PlistLeafReader::throughLibplist(const char* tag, QByteArrayView raw)
{
    const QByteArray document = QByteArray("<") + tag + '>' + raw + "</" + tag + '>';
    plist_t node = nullptr;
    plist_from_xml(document.constData(), static_cast<uint32_t>(document.size()), &node);
    const std::unique_ptr<void, PlistFree> owner(node);
    if (!node)
        return std::nullopt;
    QString error;
    QVariant value = SystemPlistParser::convert(node, &error);
    if (!value.isValid())
        return std::nullopt;
    return value;
}
