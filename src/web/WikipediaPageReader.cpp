#include "web/WikipediaPageReader.h"

#include "text/PageExtractor.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"

#include <QRegularExpression>
#include <QSet>
#include <QUrl>

#include <algorithm>

namespace {

bool isBlockTag(QStringView name)
{
    static const QSet<QString> blocks = {
        QStringLiteral("br"),     QStringLiteral("p"),     QStringLiteral("li"), QStringLiteral("div"),
        QStringLiteral("tr"),     QStringLiteral("dd"),    QStringLiteral("dt"), QStringLiteral("ul"),
        QStringLiteral("ol"),     QStringLiteral("table"), QStringLiteral("h1"), QStringLiteral("h2"),
        QStringLiteral("h3"),     QStringLiteral("h4"),    QStringLiteral("h5"), QStringLiteral("h6"),
        QStringLiteral("caption")};
    return blocks.contains(name.toString().toLower());
}

// The value of `attribute="..."` (href, title or src) in a piece of markup,
// references decoded.
QString attributeValue(const QString& markup, QLatin1StringView attribute)
{
    static const QRegularExpression href(QStringLiteral("(?:^|[\\s<])href\\s*=\\s*\"([^\"]*)\""),
                                         QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression title(QStringLiteral("(?:^|[\\s<])title\\s*=\\s*\"([^\"]*)\""),
                                          QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression src(QStringLiteral("(?:^|[\\s<])src\\s*=\\s*\"([^\"]*)\""),
                                        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpression& pattern = attribute == QLatin1String("href")    ? href
                                        : attribute == QLatin1String("title") ? title
                                                                              : src;
    const QRegularExpressionMatch match = pattern.match(markup);
    if (!match.hasMatch())
        return QString();
    return WMStringExtensions::stringByReplacingAmpersandCodes(match.captured(1));
}

} // namespace

WikipediaPageReader::WikipediaPageReader(const QVariantMap& resources) : mResources(resources) {}

qsizetype WikipediaPageReader::indexOfMarker(const QString& page, const QString& marker, qsizetype from)
{
    if (marker.isEmpty() || from < 0 || from > page.size())
        return -1;
    return page.indexOf(marker, from, Qt::CaseInsensitive);
}

qsizetype WikipediaPageReader::skipRestOfTag(const QString& page, qsizetype position)
{
    const qsizetype nextOpen = page.indexOf(QLatin1Char('<'), position);
    const qsizetype nextClose = page.indexOf(QLatin1Char('>'), position);
    if (nextClose >= 0 && (nextOpen < 0 || nextClose < nextOpen))
        return nextClose + 1;
    return position;
}

QString WikipediaPageReader::oneLine(const QString& text)
{
    QString line = text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return line.simplified();
}

QString WikipediaPageReader::text(const char* key) const
{
    return mResources.value(QLatin1String(key)).toString();
}

QVariantMap WikipediaPageReader::description(const char* key) const
{
    return mResources.value(QLatin1String(key)).toMap();
}

bool WikipediaPageReader::isAlbumArticle(const QString& page) const
{
    return indexOfMarker(page, text("infoFingerprint")) >= 0;
}

bool WikipediaPageReader::isDisambiguationPage(const QString& page) const
{
    return indexOfMarker(page, text("disambigFingerprint")) >= 0;
}

QString WikipediaPageReader::visibleText(QStringView html)
{
    QString raw;
    raw.reserve(html.size());
    const qsizetype n = html.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = html.at(i);
        if (c != QLatin1Char('<') || i + 1 >= n) {
            raw.append(c);
            ++i;
            continue;
        }
        const QChar next = html.at(i + 1);
        if (!next.isLetter() && next != QLatin1Char('/') && next != QLatin1Char('!')) {
            raw.append(c);
            ++i;
            continue;
        }
        if (html.mid(i).startsWith(QLatin1String("<!--"))) {
            const qsizetype end = html.indexOf(QLatin1String("-->"), i + 4);
            if (end < 0)
                break;
            i = end + 3;
            continue;
        }
        const qsizetype close = html.indexOf(QLatin1Char('>'), i + 1);
        if (close < 0)
            break;
        qsizetype nameStart = i + 1;
        if (html.at(nameStart) == QLatin1Char('/'))
            ++nameStart;
        qsizetype nameEnd = nameStart;
        while (nameEnd < close && html.at(nameEnd).isLetterOrNumber())
            ++nameEnd;
        const QStringView name = html.mid(nameStart, nameEnd - nameStart);
        if (isBlockTag(name))
            raw.append(QLatin1Char('\n'));
        else if (name.compare(QLatin1String("td"), Qt::CaseInsensitive) == 0 ||
                 name.compare(QLatin1String("th"), Qt::CaseInsensitive) == 0)
            raw.append(QLatin1Char(' '));
        i = close + 1;
    }
    static const QRegularExpression citation(
        QStringLiteral("\\[(?:\\d{1,4}|[a-z]|note \\d{1,4}|nb \\d{1,4}|citation needed)\\]"),
        QRegularExpression::CaseInsensitiveOption);
    QString decoded = WMStringExtensions::stringByReplacingAmpersandCodes(raw);
    decoded.remove(citation);
    QStringList lines;
    for (const QString& line : decoded.split(QLatin1Char('\n'))) {
        const QString simple = line.simplified();
        if (!simple.isEmpty())
            lines.append(simple);
    }
    return lines.join(QLatin1Char('\n'));
}

QString WikipediaPageReader::firstVisibleTextAfter(const QString& page, const QString& marker)
{
    const qsizetype found = indexOfMarker(page, marker);
    if (found < 0)
        return QString();
    constexpr qsizetype window = 16384;
    qsizetype position = skipRestOfTag(page, found + marker.size());
    const qsizetype limit = std::min(page.size(), position + window);
    while (position < limit) {
        const qsizetype open = page.indexOf(QLatin1Char('<'), position);
        const qsizetype segmentEnd = open < 0 ? limit : std::min(open, limit);
        if (segmentEnd > position) {
            const QString segment =
                oneLine(visibleText(QStringView(page).mid(position, segmentEnd - position)));
            if (!segment.isEmpty())
                return segment;
        }
        if (open < 0 || open >= limit)
            break;
        const QStringView tag = QStringView(page).mid(open);
        if (tag.startsWith(QLatin1String("<!--"))) {
            const qsizetype end = page.indexOf(QLatin1String("-->"), open + 4);
            if (end < 0)
                break;
            position = end + 3;
            continue;
        }
        // The text belongs to the cell the marker stands in.
        for (const char* end : {"</td", "</th", "</tr", "</table"}) {
            if (tag.startsWith(QLatin1String(end), Qt::CaseInsensitive))
                return QString();
        }
        const qsizetype close = page.indexOf(QLatin1Char('>'), open);
        if (close < 0)
            break;
        position = close + 1;
    }
    return QString();
}

QString WikipediaPageReader::yearFromText(const QString& text)
{
    for (qsizetype i = text.size() - 4; i >= 0; --i) {
        const int value = int(WMStringExtensions::intValue(QStringView(text).mid(i, 4)));
        if (value >= 1701) {
            if (value < 2050)
                return QString::number(value);
        }
    }
    return QString();
}

QString WikipediaPageReader::textBetween(const QString& page, const char* beginKey, const char* endKey) const
{
    const QString begin = text(beginKey);
    const qsizetype found = indexOfMarker(page, begin);
    if (found < 0)
        return QString();
    const qsizetype start = skipRestOfTag(page, found + begin.size());
    qsizetype end = indexOfMarker(page, text(endKey), start);
    if (end < 0)
        return QString();
    end = std::min(end, start + 65536);
    return page.mid(start, end - start);
}

std::optional<AlbumInfo> WikipediaPageReader::albumFromHTML(const QString& input) const
{
    const QString page = input.size() > kMaxPageLength ? input.left(kMaxPageLength) : input;
    if (!isAlbumArticle(page))
        return std::nullopt;
    const QString title = WMStringExtensions::stringWithStrippedParenthesizedText(
        firstVisibleTextAfter(page, text("infoTitle")));
    QString artist = firstVisibleTextAfter(page, text("infoArtistBegin"));
    if (artist.isEmpty())
        artist = firstVisibleTextAfter(page, text("infoArtistBegin2"));
    if (artist.isEmpty())
        return std::nullopt;

    AlbumInfo album(artist, title);
    const QString year = yearFromText(visibleText(textBetween(page, "infoYearBegin", "infoYearEnd")));
    if (!year.isEmpty())
        album.setYear(year);

    QStringList genres;
    static const QRegularExpression separators(QStringLiteral("[,\\n]"));
    for (const QString& piece :
         visibleText(textBetween(page, "infoGenreBegin", "infoGenreEnd")).split(separators)) {
        const QString genre = piece.trimmed();
        if (!genre.isEmpty() && genres.size() < 16)
            genres.append(genre);
    }
    if (!genres.isEmpty())
        album.setGenres(genres);

    const QStringList tracks = trackNames(page);
    if (!tracks.isEmpty())
        album.setTracks(tracks);
    const QString art = artworkURL(page);
    if (!art.isEmpty())
        album.setArtURLString(art);
    return album;
}

QString WikipediaPageReader::artworkURL(const QString& page) const
{
    const QString begin = text("infoArtworkBegin");
    const qsizetype found = indexOfMarker(page, begin);
    if (found < 0)
        return QString();
    const qsizetype image = indexOfMarker(page, QStringLiteral("<img "), found + begin.size());
    if (image < 0)
        return QString();
    const qsizetype stop = indexOfMarker(page, text("infoArtworkEnd"), found + begin.size());
    if (stop >= 0 && stop < image)
        return QString();
    const qsizetype tagEnd = page.indexOf(QLatin1Char('>'), image);
    if (tagEnd < 0)
        return QString();
    return attributeValue(page.mid(image, tagEnd - image), QLatin1String("src")).trimmed();
}

QString WikipediaPageReader::absoluteLink(const QString& href) const
{
    const QString rootText = text("linkRoot");
    const QUrl root(rootText);
    QString link;
    if (href.startsWith(QLatin1String("//")))
        link = root.scheme() + QLatin1Char(':') + href;
    else if (href.startsWith(QLatin1Char('/')))
        link = (rootText.endsWith(QLatin1Char('/')) ? rootText.chopped(1) : rootText) + href;
    else if (href.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) ||
             href.startsWith(QLatin1String("https://"), Qt::CaseInsensitive))
        link = href;
    else
        return QString();
    QUrl url(link);
    if (!url.isValid() || root.host().isEmpty() ||
        url.host().compare(root.host(), Qt::CaseInsensitive) != 0 || url.port() != root.port() ||
        !url.userInfo().isEmpty())
        return QString();
    url.setFragment(QString());
    return url.toString();
}

QList<WikipediaPageReader::Link> WikipediaPageReader::links(const QString& page) const
{
    QList<Link> result;
    const auto entries = PageExtractor::parsedContentsOfHTML(page, description("parseAllLinks"));
    if (!entries)
        return result;
    int seen = 0;
    for (const QStringList& entry : *entries) {
        for (const QString& piece : entry) {
            if (++seen > kMaxLinks)
                return result;
            const QString url = absoluteLink(attributeValue(piece, QLatin1String("href")).trimmed());
            if (url.isEmpty())
                continue;
            QString linkText = oneLine(visibleText(piece));
            const QString title = attributeValue(piece, QLatin1String("title"));
            if (!title.isEmpty())
                linkText += QLatin1Char(' ') + title;
            result.append(Link{url, linkText});
        }
    }
    return result;
}

QStringList WikipediaPageReader::linksToFollow(const QString& input, const QString& albumTitle) const
{
    const QString page = input.size() > kMaxPageLength ? input.left(kMaxPageLength) : input;
    const bool disambiguation = isDisambiguationPage(page);
    const QString albumLink = text("disambigAlbumLink");
    const QString linkText = text("disambigLinkText");
    const QString simpleTitle = WendmarkTextExtensions::simplified(albumTitle);
    const int maxFollowed =
        mResources.value(QStringLiteral("maxFollowedLinks"), kDefaultMaxFollowedLinks).toInt();
    QStringList follow;
    for (const Link& link : links(page)) {
        if (follow.size() >= maxFollowed)
            break;
        bool wanted = false;
        if (disambiguation) {
            if (albumLink.isEmpty() || !WendmarkTextExtensions::containsString(link.text, albumLink))
                continue;
            wanted = (!simpleTitle.isEmpty() &&
                      WendmarkTextExtensions::simplified(link.text).contains(simpleTitle)) ||
                     WendmarkTextExtensions::containsString(link.url, albumLink);
        } else {
            // Elsewhere only links marked as album articles that name the
            // album, so that a band's page does not send us through its
            // whole discography.
            wanted = !linkText.isEmpty() && WendmarkTextExtensions::containsString(link.text, linkText) &&
                     !simpleTitle.isEmpty() &&
                     WendmarkTextExtensions::simplified(link.text).contains(simpleTitle);
        }
        if (wanted && !follow.contains(link.url))
            follow.append(link.url);
    }
    return follow;
}
