#include "GenreList.h"

#include "library/LiveResources.h"
#include "support/WMLog.h"
#include "text/WendmarkTextExtensions.h"

#include <QSet>

#include <limits>

namespace {

QStringList loadGenres()
{
    QStringList genres;
    const QVariantList list = LiveResources::shared().resources().value(QStringLiteral("genres")).toList();
    genres.reserve(list.size());
    for (const QVariant& v : list)
        genres.append(v.toString());
    return genres;
}

bool isAllDigits(const QString& s)
{
    for (const QChar c : s) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

} // namespace

const QStringList& GenreList::allGenres()
{
    static const QStringList genres = loadGenres();
    return genres;
}

QString GenreList::genreForIndex(qint64 index)
{
    const QStringList& genres = allGenres();
    if (index < 0 || index >= genres.size())
        return QString();
    return genres.at(index);
}

qint64 GenreList::indexOfGenre(const QString& name)
{
    const QString trimmed = name.trimmed();
    const QStringList& genres = allGenres();
    for (qsizetype i = 0; i < genres.size(); ++i) {
        if (genres.at(i).compare(trimmed, Qt::CaseInsensitive) == 0)
            return i;
    }
    return NotFound;
}

QString GenreList::standardizedGenreFrom(const QString& text)
{
    if (text.size() < 2)
        return QString();
    static const QStringList simplifiedGenres = [] {
        QStringList list;
        for (const QString& g : allGenres())
            list.append(WendmarkTextExtensions::simplified(g));
        return list;
    }();
    const QStringList& genres = allGenres();
    const QString simple = WendmarkTextExtensions::simplified(text);
    QString best;
    for (qsizetype i = simplifiedGenres.size() - 1; i >= 0; --i) {
        const QString& candidate = simplifiedGenres.at(i);
        if (candidate.isEmpty() || !simple.contains(candidate))
            continue;
        if (best.isNull() || genres.at(i).size() > best.size())
            best = genres.at(i);
    }
    WMLog("standardized '%@' -> %@", text, best.isNull() ? QStringLiteral("(null)") : best);
    return best;
}

QString GenreList::expandedGenres(const QString& text)
{
    if (text.isNull())
        return QString();
    // The list (the live resources) is loaded only for a text that refers
    // to it: a genre given by name needs none.
    const QStringList* list = nullptr;
    const auto genres = [&list]() -> const QStringList& {
        if (!list)
            list = &allGenres();
        return *list;
    };
    QString s = text;
    // Each pass replaces one "(n)"; the bound only matters for a resource
    // list whose names themselves hold references.
    for (qsizetype pass = 0; pass <= text.size(); ++pass) {
        const qsizetype open = s.indexOf(QLatin1Char('('));
        if (open < 0)
            break;
        const qsizetype close = s.indexOf(QLatin1Char(')'));
        if (close < 0 || close < open + 2)
            break;
        const QString number = s.mid(open + 1, close - open - 1);
        const qint64 n = number.toLongLong();
        if ((n == 0 && number != QLatin1String("0")) || n < 0 || n >= genres().size())
            break;
        QString name = genres().at(n);
        if (close < s.size() - 2)
            name += QLatin1Char('/');
        s.replace(open, close - open + 1, name);
    }
    if (text.isEmpty() || isAllDigits(text)) {
        // An empty text counts as 0, like a number that does not parse.
        const qint64 n = s.toLongLong();
        if (n >= 0 && n < genres().size())
            s = genres().at(n);
    }
    const QStringList parts = s.split(QLatin1Char('/'));
    QStringList unique;
    QSet<QString> seen;
    for (const QString& part : parts) {
        if (seen.contains(part))
            continue;
        seen.insert(part);
        unique.append(part);
    }
    return unique.join(QLatin1Char('/'));
}
