// The track listings of album articles: the site's track tables, plain
// tables of the track listing section, and numbered lists.
#include "web/WikipediaPageReader.h"

#include "text/PageExtractor.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

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

// Header texts of the number and length columns of a plain track table.
bool isNumberHeader(const QString& header)
{
    for (const char* name : {"#", "No.", "No", "Nr.", "Track", "Track no."}) {
        if (header.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

bool isLengthHeader(const QString& header)
{
    for (const char* name : {"Time", "Length", "Duration"}) {
        if (header.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// Whether one of the first `count` cells of a row spans columns: the cells
// behind it are not under their headers (a caption or the total length).
bool spansColumns(const QStringList& row, qsizetype count)
{
    static const QRegularExpression colspan(
        QStringLiteral("<t[dh][^>]*\\scolspan\\s*=\\s*[\"']?\\s*0*([2-9]|\\d\\d)"),
        QRegularExpression::CaseInsensitiveOption);
    for (qsizetype i = 0; i < count && i < row.size(); ++i) {
        if (colspan.match(row.at(i)).hasMatch())
            return true;
    }
    return false;
}

} // namespace

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

QStringList WikipediaPageReader::trackNames(const QString& page) const
{
    QStringList tracks = tracksFromTables(page, description("parseTrackListTable"), false);
    if (tracks.isEmpty())
        tracks = tracksFromPlainTables(page);
    if (tracks.isEmpty())
        tracks = tracksFromLists(page);
    return tracks;
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

QStringList WikipediaPageReader::tracksFromPlainTable(const QString& table,
                                                      const QVariantMap& rowsDescription,
                                                      int* firstNumber) const
{
    *firstNumber = 0;
    const auto rows = PageExtractor::parsedContentsOfHTML(table, rowsDescription);
    if (!rows)
        return {};
    // The header row, among the first two: a title column, and a number or
    // a length column (which tells a track listing from other tables).
    qsizetype headerRow = -1;
    qsizetype titleIndex = -1;
    qsizetype numberIndex = -1;
    for (qsizetype r = 0; r < std::min<qsizetype>(rows->size(), 2) && headerRow < 0; ++r) {
        const QStringList& row = rows->at(r);
        qsizetype title = -1;
        qsizetype number = -1;
        bool length = false;
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString header = oneLine(visibleText(row.at(i)));
            if (title < 0 && header.compare(QLatin1String("Title"), Qt::CaseInsensitive) == 0)
                title = i;
            else if (number < 0 && isNumberHeader(header))
                number = i;
            else
                length = length || isLengthHeader(header);
        }
        if (title >= 0 && (number >= 0 || length)) {
            headerRow = r;
            titleIndex = title;
            numberIndex = number;
        }
    }
    if (headerRow < 0)
        return {};
    QStringList names;
    for (qsizetype r = headerRow + 1; r < rows->size() && names.size() < 999; ++r) {
        const QStringList& row = rows->at(r);
        if (row.size() <= std::max(titleIndex, numberIndex) ||
            spansColumns(row, std::max(titleIndex, numberIndex) + 1))
            continue;
        // The number column's, else the row's place in the table.
        int number = int(names.size()) + 1;
        if (numberIndex >= 0) {
            number = trackNumberOf(oneLine(visibleText(row.at(numberIndex))));
            if (number <= 0)
                continue;
        }
        const QString name = trackNameFromHTML(row.at(titleIndex));
        if (name.isEmpty())
            continue;
        if (*firstNumber == 0)
            *firstNumber = number;
        names.append(name);
    }
    return names;
}

QStringList WikipediaPageReader::tracksFromPlainTables(const QString& page) const
{
    // Only tables of the track listing section: other sections hold tables
    // of charts, singles and releases.
    const QVariantMap desc = description("parseTrackListPlainTable");
    const QString sectionBegin = desc.value(QStringLiteral("sectionBegin")).toString();
    const qsizetype begin = indexOfMarker(page, sectionBegin);
    if (begin < 0)
        return {};
    const qsizetype end =
        indexOfMarker(page, desc.value(QStringLiteral("sectionEnd")).toString(), begin + sectionBegin.size());
    return tracksFromTables(page.mid(begin, end < 0 ? -1 : end - begin), desc, true);
}

QStringList WikipediaPageReader::tracksFromTables(const QString& page, const QVariantMap& rows,
                                                  bool plain) const
{
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
        const QStringList names =
            plain ? tracksFromPlainTable(table, rows, &first) : tracksFromTable(table, &first);
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
