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

void appendEscape(QByteArray& out, char16_t unit)
{
    const char escape[] = {'\\',
                           'u',
                           hexDigit((unit >> 12) & 0xF),
                           hexDigit((unit >> 8) & 0xF),
                           hexDigit((unit >> 4) & 0xF),
                           hexDigit(unit & 0xF)};
    out.append(escape, sizeof escape);
}

} // namespace

void CompactJson::appendString(QByteArray& out, QStringView text)
{
    out.reserve(out.size() + text.size() + 2);
    out.append('"');
    const char16_t* src = text.utf16();
    const char16_t* const end = src + text.size();
    while (src != end) {
        const char16_t u = *src++;
        if (u < 0x80) {
            if (u >= 0x20 && u != '"' && u != '\\') {
                out.append(static_cast<char>(u));
                continue;
            }
            switch (u) {
            case '"':
                out.append("\\\"", 2);
                break;
            case '\\':
                out.append("\\\\", 2);
                break;
            case 0x8:
                out.append("\\b", 2);
                break;
            case 0xC:
                out.append("\\f", 2);
                break;
            case 0xA:
                out.append("\\n", 2);
                break;
            case 0xD:
                out.append("\\r", 2);
                break;
            case 0x9:
                out.append("\\t", 2);
                break;
            default: {
                const char escape[] = {'\\', 'u', '0', '0', hexDigit(u >> 4), hexDigit(u & 0xF)};
                out.append(escape, sizeof escape);
            }
            }
        } else if (u < 0x800) {
            out.append(static_cast<char>(0xC0 | (u >> 6)));
            out.append(static_cast<char>(0x80 | (u & 0x3F)));
        } else if (!QChar::isSurrogate(u)) {
            out.append(static_cast<char>(0xE0 | (u >> 12)));
            out.append(static_cast<char>(0x80 | ((u >> 6) & 0x3F)));
            out.append(static_cast<char>(0x80 | (u & 0x3F)));
        } else if (QChar::isHighSurrogate(u) && src != end && QChar::isLowSurrogate(*src)) {
            const char32_t ucs4 = QChar::surrogateToUcs4(u, *src++);
            out.append(static_cast<char>(0xF0 | ((ucs4 >> 18) & 0x07)));
            out.append(static_cast<char>(0x80 | ((ucs4 >> 12) & 0x3F)));
            out.append(static_cast<char>(0x80 | ((ucs4 >> 6) & 0x3F)));
            out.append(static_cast<char>(0x80 | (ucs4 & 0x3F)));
        } else {
            // A surrogate without its partner has no UTF-8 form.
            appendEscape(out, u);
        }
    }
    out.append('"');
}

void CompactJson::addNull(QLatin1String key)
{
    mMembers.emplace_back(key, QByteArrayLiteral("null"));
}

void CompactJson::add(QLatin1String key, bool value)
{
    mMembers.emplace_back(key, value ? QByteArrayLiteral("true") : QByteArrayLiteral("false"));
}

void CompactJson::add(QLatin1String key, qint64 value)
{
    mMembers.emplace_back(key, QByteArray::number(value));
}

void CompactJson::add(QLatin1String key, double value)
{
    // Infinities and not-a-number have no JSON form.
    mMembers.emplace_back(key, std::isfinite(value)
                                   ? QByteArray::number(value, 'g', QLocale::FloatingPointShortest)
                                   : QByteArrayLiteral("null"));
}

void CompactJson::add(QLatin1String key, const QString& value)
{
    QByteArray text;
    appendString(text, value);
    mMembers.emplace_back(key, std::move(text));
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
    mMembers.emplace_back(key, std::move(json));
}

QByteArray CompactJson::toJson() const
{
    // Keys in the order of their UTF-16 code units, as QJsonObject keeps
    // them (for ASCII keys: byte order).
    std::vector<const std::pair<QLatin1String, QByteArray>*> order;
    order.reserve(mMembers.size());
    qsizetype length = 2;
    for (const auto& member : mMembers) {
        order.push_back(&member);
        length += member.first.size() + member.second.size() + 4;
    }
    const auto keyOf = [](const auto* member) {
        return std::string_view(member->first.data(), static_cast<size_t>(member->first.size()));
    };
    std::stable_sort(order.begin(), order.end(),
                     [&keyOf](const auto* a, const auto* b) { return keyOf(a) < keyOf(b); });
    QByteArray out;
    out.reserve(length);
    out.append('{');
    for (size_t i = 0; i < order.size(); ++i) {
        if (i > 0)
            out.append(',');
        out.append('"');
        out.append(order[i]->first.data(), order[i]->first.size());
        out.append("\":", 2);
        out.append(order[i]->second);
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
