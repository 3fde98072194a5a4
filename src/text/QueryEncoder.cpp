#include "QueryEncoder.h"

#include "WMStringExtensions.h"
#include "WendmarkTextExtensions.h"

QString QueryEncoder::stringForPost(const QString& text, bool alphaNumericOnly, const QString& spaceString)
{
    QString result = WendmarkTextExtensions::plainASCIIString(text);
    result.replace(QLatin1Char(' '), QLatin1Char('+'));
    if (!alphaNumericOnly) {
        result.remove(QLatin1String("&+"));
    } else {
        result.removeIf([](QChar c) {
            const char16_t u = c.unicode();
            return !((u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') ||
                     u == u'+');
        });
    }
    if (spaceString != QLatin1String("+"))
        result.replace(QLatin1Char('+'), spaceString);
    return WMStringExtensions::safelyEscapedString(result);
}

std::optional<QByteArray> QueryEncoder::HTTPFromDictionary(const QVariantMap& dictionary,
                                                           const std::optional<QStringList>& order)
{
    const QStringList keys = order ? *order : dictionary.keys();
    QString body;
    for (const QString& key : keys) {
        const auto it = dictionary.constFind(key);
        if (it == dictionary.cend())
            continue;
        if (!body.isEmpty())
            body.append(QLatin1Char('&'));
        body.append(WMStringExtensions::safelyEscapedString(key));
        body.append(QLatin1Char('='));
        QString value = it->toString();
        value.replace(QLatin1Char(' '), QLatin1Char('+'));
        body.append(WMStringExtensions::safelyEscapedString(value));
    }
    QByteArray bytes;
    bytes.reserve(body.size());
    for (QChar c : std::as_const(body))
        bytes.append(c.unicode() < 0x80 ? static_cast<char>(c.unicode()) : '?');
    return bytes;
}
