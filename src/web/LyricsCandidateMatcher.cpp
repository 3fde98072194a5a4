#include "LyricsCandidateMatcher.h"

#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsPageText.h"

std::optional<LyricsCandidateMatcher::Candidate>
LyricsCandidateMatcher::candidateFromRow(const QStringList& row, const QString& separator)
{
    if (!separator.isEmpty()) {
        if (row.isEmpty())
            return std::nullopt;
        const QString raw = row.constFirst();
        const QString text =
            WMStringExtensions::stringByReplacingAmpersandCodes(LyricsPageText::plainTextFromHTML(raw));
        const qsizetype at = text.indexOf(separator);
        if (at <= 0)
            return std::nullopt;
        return Candidate{WendmarkTextExtensions::simplified(text.left(at)),
                         WendmarkTextExtensions::simplified(text.mid(at + separator.size())),
                         linkInCell(raw)};
    }
    if (row.size() < 2)
        return std::nullopt;
    return Candidate{simplifiedCellText(row.at(0)), simplifiedCellText(row.at(1)), linkInCell(row.at(1))};
}

QString LyricsCandidateMatcher::simplifiedCellText(const QString& rawCell)
{
    return WendmarkTextExtensions::simplified(
        WMStringExtensions::stringByReplacingAmpersandCodes(LyricsPageText::plainTextFromHTML(rawCell)));
}

QString LyricsCandidateMatcher::linkInCell(const QString& rawCell)
{
    const qsizetype open = rawCell.indexOf(QLatin1Char('"'));
    if (open < 0)
        return QString();
    const qsizetype close = rawCell.indexOf(QLatin1Char('"'), open + 1);
    if (close < 0)
        return QString();
    return rawCell.mid(open + 1, close - open - 1).trimmed();
}

bool LyricsCandidateMatcher::namesMatch(const QString& found, const QString& wanted, bool allowSubstrings)
{
    if (found.isEmpty() || wanted.isEmpty())
        return false;
    if (allowSubstrings)
        return found.contains(wanted) || wanted.contains(found);
    return found.startsWith(wanted) || wanted.startsWith(found);
}

bool LyricsCandidateMatcher::matchesAny(const QString& found, const QStringList& wanted, bool allowSubstrings)
{
    for (const QString& name : wanted) {
        if (namesMatch(found, name, allowSubstrings))
            return true;
    }
    return false;
}

QUrl LyricsCandidateMatcher::absoluteLink(const QString& link, const QString& baseURL)
{
    if (link.isEmpty())
        return QUrl();
    const QString text = WMStringExtensions::stringByReplacingAmpersandCodes(link);
    const QUrl url(text.contains(QLatin1Char(':')) ? text : baseURL + text, QUrl::TolerantMode);
    if (!url.isValid() || url.isRelative())
        return QUrl();
    return url;
}

QUrl LyricsCandidateMatcher::linkRelativeToPage(const QString& link, const QUrl& page)
{
    if (link.isEmpty())
        return QUrl();
    QString text = WMStringExtensions::stringByReplacingAmpersandCodes(link);
    if (!text.startsWith(QStringLiteral("http"))) {
        const QString port = page.port() >= 0 ? QLatin1Char(':') + QString::number(page.port()) : QString();
        text = page.scheme() + QStringLiteral("://") + page.host() + port + text;
    }
    const QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.isRelative())
        return QUrl();
    return url;
}

QList<QUrl> LyricsCandidateMatcher::matchingLinks(const QList<QStringList>& rows, const QStringList& artists,
                                                  const QString& wantedTitle, bool allowSubstrings,
                                                  const QString& baseURL, const QString& separator,
                                                  qsizetype maxLinks)
{
    QList<QUrl> links;
    for (const QStringList& row : rows) {
        if (links.size() >= maxLinks)
            break;
        const std::optional<Candidate> candidate = candidateFromRow(row, separator);
        if (!candidate || !matchesAny(candidate->artist, artists, allowSubstrings) ||
            !namesMatch(candidate->title, wantedTitle, allowSubstrings))
            continue;
        const QUrl url = absoluteLink(candidate->rawLink, baseURL);
        if (!url.isEmpty())
            links.append(url);
    }
    return links;
}

QStringList LyricsCandidateMatcher::wantedArtists(const QString& artist, const QString& alternateArtist)
{
    QStringList wanted;
    for (const QString& name : {artist, alternateArtist}) {
        const QString simple = name.isEmpty() ? QString() : WendmarkTextExtensions::simplified(name);
        if (!simple.isEmpty() && !wanted.contains(simple))
            wanted.append(simple);
    }
    return wanted;
}

QString LyricsCandidateMatcher::wantedTitle(const QString& title, bool withoutParentheses,
                                            const QString& suffix)
{
    QString wanted =
        withoutParentheses ? WMStringExtensions::stringWithStrippedParenthesizedText(title) : title;
    if (!suffix.isEmpty())
        wanted += suffix;
    return WendmarkTextExtensions::simplified(wanted);
}
