#include "web/WikipediaPageReader.h"

#include "text/PageExtractor.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"

#include <QRegularExpression>
#include <QSet>
#include <QUrl>

#include <algorithm>

namespace {

// First occurrence of a non-empty marker from `from` on, ignoring case.
qsizetype indexOfMarker(const QString& page, const QString& marker, qsizetype from = 0)
{
    if (marker.isEmpty() || from < 0 || from > page.size())
        return -1;
    return page.indexOf(marker, from, Qt::CaseInsensitive);
}

// A position just behind the tag in which `position` lies, when it lies in
// one (the next ">" comes before the next "<"); else `position`.
qsizetype skipRestOfTag(const QString& page, qsizetype position)
{
    const qsizetype nextOpen = page.indexOf(QLatin1Char('<'), position);
    const qsizetype nextClose = page.indexOf(QLatin1Char('>'), position);
    if (nextClose >= 0 && (nextOpen < 0 || nextClose < nextOpen))
        return nextClose + 1;
    return position;
}

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

// "12." or "12" -> 12; anything else -> 0.
int trackNumberOf(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{1,4})\\.?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

// The number a list starts with: its start="N", else its first item's
// value="N", else 1.
int listStartNumber(const QString& list)
{
    static const QRegularExpression start(QStringLiteral("\\sstart\\s*=\\s*\"?(\\d{1,4})"),
                                          QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression value(QStringLiteral("<li[^>]*\\svalue\\s*=\\s*\"?(\\d{1,4})"),
                                          QRegularExpression::CaseInsensitiveOption);
    const qsizetype openEnd = list.indexOf(QLatin1Char('>'));
    const QRegularExpressionMatch startMatch = start.match(list.left(std::max<qsizetype>(openEnd, 0)));
    if (startMatch.hasMatch())
        return startMatch.captured(1).toInt();
    const qsizetype firstItem = list.indexOf(QLatin1String("<li"), 0, Qt::CaseInsensitive);
    if (firstItem >= 0) {
        const qsizetype itemEnd = list.indexOf(QLatin1Char('>'), firstItem);
        const QRegularExpressionMatch valueMatch =
            value.match(list.mid(firstItem, itemEnd < 0 ? -1 : itemEnd - firstItem + 1));
        if (valueMatch.hasMatch())
            return valueMatch.captured(1).toInt();
    }
    return 1;
}

QString oneLine(const QString& text)
{
    QString line = text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return line.simplified();
}

} // namespace

WikipediaPageReader::WikipediaPageReader(const QVariantMap& resources) : mResources(resources) {}

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

QString WikipediaPageReader::trackNameFromHTML(const QString& html, bool* quoted)
{
    QString name = oneLine(visibleText(html));
    bool wasQuoted = false;
    if (!name.isEmpty()) {
        const QChar first = name.at(0);
        if (first == QLatin1Char('"')) {
            // A title that is itself quoted stands in doubled quotes.
            const qsizetype marks = name.startsWith(QLatin1String("\"\"")) ? 2 : 1;
            const qsizetype end = name.indexOf(QString(marks, first), marks);
            if (end > marks) {
                name = name.mid(marks, end - marks).trimmed();
                wasQuoted = true;
            }
        } else if (first == QChar(0x201C)) {
            const qsizetype end = name.indexOf(QChar(0x201D), 1);
            if (end > 1) {
                name = name.mid(1, end - 1).trimmed();
                wasQuoted = true;
            }
        }
    }
    if (quoted)
        *quoted = wasQuoted;
    return name;
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

QStringList WikipediaPageReader::trackNames(const QString& page) const
{
    const QStringList fromTables = tracksFromTables(page);
    return fromTables.isEmpty() ? tracksFromLists(page) : fromTables;
}

QStringList WikipediaPageReader::tracksFromTable(const QString& table, int* firstNumber) const
{
    *firstNumber = 0;
    const auto headers =
        PageExtractor::parsedContentsOfHTML(table, description("parseTrackListTableHeaders"));
    if (!headers)
        return {};
    qsizetype titleIndex = -1;
    for (const QStringList& row : *headers) {
        for (qsizetype i = 0; i < row.size() && titleIndex < 0; ++i) {
            if (oneLine(visibleText(row.at(i))).compare(QLatin1String("Title"), Qt::CaseInsensitive) == 0)
                titleIndex = i;
        }
        if (titleIndex >= 0)
            break;
    }
    if (titleIndex < 0)
        return {};
    const auto rows = PageExtractor::parsedContentsOfHTML(table, description("parseTrackListTable"));
    if (!rows)
        return {};
    QStringList names;
    for (const QStringList& row : *rows) {
        if (row.size() <= titleIndex || names.size() >= 999)
            continue;
        if (titleIndex > 0) {
            // With a number column, only numbered rows are tracks: this
            // leaves out captions, headers and the total length.
            const int number = trackNumberOf(oneLine(visibleText(row.at(0))));
            if (number <= 0)
                continue;
            if (*firstNumber == 0)
                *firstNumber = number;
        }
        bool quoted = false;
        const QString name = trackNameFromHTML(row.at(titleIndex), &quoted);
        if (name.isEmpty() || (!quoted && name.compare(QLatin1String("Title"), Qt::CaseInsensitive) == 0))
            continue;
        names.append(name);
    }
    return names;
}

QStringList WikipediaPageReader::tracksFromTables(const QString& page) const
{
    const QVariantMap rows = description("parseTrackListTable");
    const QString listBegin = rows.value(QStringLiteral("listBegin")).toString();
    const QString listEnd = rows.value(QStringLiteral("listEnd")).toString();
    const QString sideCaption = text("trackListSideCaption");
    if (listBegin.isEmpty() || listEnd.isEmpty())
        return {};
    QStringList tracks;
    qsizetype offset = 0;
    for (int n = 0; n < kMaxTrackLists; ++n) {
        const qsizetype begin = indexOfMarker(page, listBegin, offset);
        if (begin < 0)
            break;
        const qsizetype end = indexOfMarker(page, listEnd, begin + listBegin.size());
        const qsizetype stop = end < 0 ? page.size() : end + listEnd.size();
        offset = stop;
        const QString table = page.mid(begin, stop - begin);
        int first = 0;
        const QStringList names = tracksFromTable(table, &first);
        if (names.isEmpty())
            continue;
        if (tracks.isEmpty()) {
            tracks = names;
            continue;
        }
        const qsizetype contentStart = skipRestOfTag(table, 0);
        const bool isSide = first == 1 && !sideCaption.isEmpty() &&
                            visibleText(QStringView(table).mid(contentStart, 2000))
                                .startsWith(sideCaption, Qt::CaseInsensitive);
        if (first != tracks.size() + 1 && !isSide)
            break;
        tracks += names;
    }
    return tracks;
}

QStringList WikipediaPageReader::tracksFromLists(const QString& page) const
{
    const QVariantMap desc = description("parseTrackListList");
    const QString listBegin = desc.value(QStringLiteral("listBegin")).toString();
    const QString listEnd = desc.value(QStringLiteral("listEnd")).toString();
    const QString nextListBegin = desc.value(QStringLiteral("nextListBegin")).toString();
    const qsizetype begin = indexOfMarker(page, listBegin);
    if (begin < 0 || listEnd.isEmpty())
        return {};
    const qsizetype sectionEnd =
        indexOfMarker(page, desc.value(QStringLiteral("sectionEnd")).toString(), begin + listBegin.size());
    const QString section = page.mid(begin, sectionEnd < 0 ? -1 : sectionEnd - begin);

    // Names of one list; empty when it is no track list. `allQuoted` tells
    // whether every name stood in quotes.
    auto namesOf = [](const QString& list, const QVariantMap& listDescription, bool* allQuoted) {
        QStringList names;
        *allQuoted = true;
        const auto entries = PageExtractor::parsedContentsOfHTML(list, listDescription);
        if (!entries)
            return names;
        for (const QStringList& entry : *entries) {
            bool quoted = false;
            const QString name = trackNameFromHTML(entry.first(), &quoted);
            if (name.startsWith(QLatin1Char('/')))
                return QStringList();
            if (name.isEmpty() || names.size() >= 999)
                continue;
            *allQuoted = *allQuoted && quoted;
            names.append(name);
        }
        return names;
    };

    bool allQuoted = true;
    QStringList tracks = namesOf(section, desc, &allQuoted);
    if (tracks.isEmpty() || nextListBegin.isEmpty())
        return tracks;
    const qsizetype firstEnd = indexOfMarker(section, listEnd, listBegin.size());
    if (firstEnd < 0)
        return tracks;
    QVariantMap nextDescription = desc;
    nextDescription.insert(QStringLiteral("listBegin"), nextListBegin);
    qsizetype position = firstEnd + listEnd.size();
    for (int n = 0; n < kMaxTrackLists; ++n) {
        const qsizetype next = indexOfMarker(section, nextListBegin, position);
        if (next < 0)
            break;
        const qsizetype end = indexOfMarker(section, listEnd, next + nextListBegin.size());
        if (end < 0)
            break;
        const QString list = section.mid(next, end + listEnd.size() - next);
        const QStringList names = namesOf(list, nextDescription, &allQuoted);
        // A later list continues the album only when its numbering goes on
        // and it reads like a track list; notes and bonus discs end it.
        if (names.isEmpty() || !allQuoted || listStartNumber(list) != tracks.size() + 1)
            break;
        tracks += names;
        position = end + listEnd.size();
    }
    return tracks;
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
