#include "CompactJson.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

char hexDigit(uint value)
{
    return static_cast<char>(value < 10 ? '0' + value : 'a' + value - 10);
}

char* writeEscape(char* out, char16_t unit)
{
    *out++ = '\\';
    *out++ = 'u';
    *out++ = hexDigit((unit >> 12) & 0xF);
    *out++ = hexDigit((unit >> 8) & 0xF);
    *out++ = hexDigit((unit >> 4) & 0xF);
    *out++ = hexDigit(unit & 0xF);
    return out;
}

} // namespace

void CompactJson::appendString(QByteArray& out, QStringView text)
{
    // Written through a pointer into room for the longest form (six bytes
    // per code unit), then cut to what was written.
    const qsizetype start = out.size();
    out.resize(start + 6 * text.size() + 2);
    char* cursor = out.data() + start;
    *cursor++ = '"';
    const char16_t* src = text.utf16();
    const char16_t* const end = src + text.size();
    while (src != end) {
        const char16_t u = *src++;
        if (u < 0x80) {
            if (u >= 0x20 && u != '"' && u != '\\') {
                *cursor++ = static_cast<char>(u);
                continue;
            }
            *cursor++ = '\\';
            switch (u) {
            case '"':
                *cursor++ = '"';
                break;
            case '\\':
                *cursor++ = '\\';
                break;
            case 0x8:
                *cursor++ = 'b';
                break;
            case 0xC:
                *cursor++ = 'f';
                break;
            case 0xA:
                *cursor++ = 'n';
                break;
            case 0xD:
                *cursor++ = 'r';
                break;
            case 0x9:
                *cursor++ = 't';
                break;
            default:
                *cursor++ = 'u';
                *cursor++ = '0';
                *cursor++ = '0';
                *cursor++ = hexDigit(u >> 4);
                *cursor++ = hexDigit(u & 0xF);
            }
        } else if (u < 0x800) {
            *cursor++ = static_cast<char>(0xC0 | (u >> 6));
            *cursor++ = static_cast<char>(0x80 | (u & 0x3F));
        } else if (!QChar::isSurrogate(u)) {
            *cursor++ = static_cast<char>(0xE0 | (u >> 12));
            *cursor++ = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
            *cursor++ = static_cast<char>(0x80 | (u & 0x3F));
        } else if (QChar::isHighSurrogate(u) && src != end && QChar::isLowSurrogate(*src)) {
            const char32_t ucs4 = QChar::surrogateToUcs4(u, *src++);
            *cursor++ = static_cast<char>(0xF0 | ((ucs4 >> 18) & 0x07));
            *cursor++ = static_cast<char>(0x80 | ((ucs4 >> 12) & 0x3F));
            *cursor++ = static_cast<char>(0x80 | ((ucs4 >> 6) & 0x3F));
            *cursor++ = static_cast<char>(0x80 | (ucs4 & 0x3F));
        } else {
            // A surrogate without its partner has no UTF-8 form.
            cursor = writeEscape(cursor, u);
        }
    }
    *cursor++ = '"';
    out.resize(cursor - out.constData());
}

void CompactJson::begin(QLatin1String key)
{
    if (!mMembers.empty())
        mMembers.back().length = mValues.size() - mMembers.back().start;
    mMembers.push_back(Member{key, mValues.size(), 0});
}

void CompactJson::addNull(QLatin1String key)
{
    begin(key);
    mValues.append("null", 4);
}

void CompactJson::add(QLatin1String key, bool value)
{
    begin(key);
    if (value)
        mValues.append("true", 4);
    else
        mValues.append("false", 5);
}

void CompactJson::add(QLatin1String key, qint64 value)
{
    begin(key);
    mValues.append(QByteArray::number(value));
}

void CompactJson::add(QLatin1String key, double value)
{
    begin(key);
    // Infinities and not-a-number have no JSON form.
    if (std::isfinite(value))
        mValues.append(QByteArray::number(value, 'g', QLocale::FloatingPointShortest));
    else
        mValues.append("null", 4);
}

void CompactJson::add(QLatin1String key, const QString& value)
{
    begin(key);
    appendString(mValues, value);
}

void CompactJson::addText(QLatin1String key, const QString& value)
{
    if (value.isNull())
        addNull(key);
    else
        add(key, value);
}

void CompactJson::addRaw(QLatin1String key, QByteArray json)
{
    begin(key);
    mValues.append(json);
}

QByteArray CompactJson::toJson() const
{
    // Keys in the order of their UTF-16 code units, as QJsonObject keeps
    // them (for ASCII keys: byte order).
    std::vector<Member> members = mMembers;
    if (!members.empty())
        members.back().length = mValues.size() - members.back().start;
    const auto keyOf = [](const Member& member) {
        return std::string_view(member.key.data(), static_cast<size_t>(member.key.size()));
    };
    std::sort(members.begin(), members.end(),
              [&keyOf](const Member& a, const Member& b) { return keyOf(a) < keyOf(b); });
    QByteArray out;
    out.reserve(mValues.size() + 8 * qsizetype(members.size()) + 2);
    out.append('{');
    for (size_t i = 0; i < members.size(); ++i) {
        if (i > 0)
            out.append(',');
        out.append('"');
        out.append(members[i].key.data(), members[i].key.size());
        out.append("\":", 2);
        out.append(mValues.constData() + members[i].start, members[i].length);
    }
    out.append('}');
    return out;
}

QByteArray CompactJson::arrayOf(const std::vector<QByteArray>& elements)
{
    QByteArray out("[");
    for (size_t i = 0; i < elements.size(); ++i) {
        if (i > 0)
            out.append(',');
        out.append(elements[i]);
    }
    out.append(']');
    return out;
}
