#include "URLTemplate.h"

QString URLTemplate::filled(const QString& format, const QStringList& arguments)
{
    QString result;
    result.reserve(format.size() + 64);
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != QLatin1Char('%') || i + 1 >= format.size()) {
            result.append(c);
            continue;
        }
        const QChar kind = format.at(i + 1);
        // "%2$@": the argument of that number.
        if (kind >= QLatin1Char('1') && kind <= QLatin1Char('9') && i + 3 < format.size() &&
            format.at(i + 2) == QLatin1Char('$') &&
            (format.at(i + 3) == QLatin1Char('@') || format.at(i + 3) == QLatin1Char('d'))) {
            const qsizetype index = kind.digitValue() - 1;
            if (index < arguments.size())
                result.append(arguments.at(index));
            i += 3;
        } else if (kind == QLatin1Char('@') || kind == QLatin1Char('d')) {
            if (next < arguments.size())
                result.append(arguments.at(next));
            ++next;
            ++i;
        } else if (kind == QLatin1Char('%')) {
            result.append(QLatin1Char('%'));
            ++i;
        } else {
            result.append(c);
        }
    }
    return result;
}

QUrl URLTemplate::url(const QString& format, const QStringList& arguments)
{
    const QUrl url(filled(format, arguments), QUrl::TolerantMode);
    if (!url.isValid() || url.isRelative())
        return QUrl();
    return url;
}
