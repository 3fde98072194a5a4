#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

// URL formats of the web sources' resources ("queryTitle", "discInfoURL"
// ...): each "%@" (or "%d") takes the next argument in order, "%2$@" the
// second argument wherever it stands, "%%" stands for
// a percent sign, and any other percent sequence (an escape such as "%20")
// is kept as it is. Missing arguments leave nothing.
class URLTemplate
{
public:
    static QString filled(const QString& format, const QStringList& arguments);
    // The filled format as a URL; an empty URL when the result is not a
    // valid absolute one.
    static QUrl url(const QString& format, const QStringList& arguments);
};
