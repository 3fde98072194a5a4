#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// The candidate tests the lyrics sources share: which rows of a song list
// (cut out of a search or album page by a parse description) stand for the
// wanted song, and where their links lead.
//
// A row holds an artist cell and then a title cell with the link (the text
// between its first two double quotes). Sites that show "Artist - Title" in
// one link are read with a separator (the resource "songListSplit"): the
// first cell is then split at it into artist and title.
class LyricsCandidateMatcher
{
public:
    struct Candidate
    {
        QString artist;  // simplified
        QString title;   // simplified
        QString rawLink; // the link as it stands in the page
    };

    // The artist, title and link of one row; none when the row lacks a cell
    // or (with a separator) the separator.
    static std::optional<Candidate> candidateFromRow(const QStringList& row, const QString& separator);

    // Cell text as compared: flowed from HTML, character references
    // replaced, simplified.
    static QString simplifiedCellText(const QString& rawCell);
    // The text between the first two double quotes; empty without them.
    static QString linkInCell(const QString& rawCell);

    // Both simplified. With substrings one must contain the other; without,
    // one must begin with the other. Empty texts never match.
    static bool namesMatch(const QString& found, const QString& wanted, bool allowSubstrings);
    // namesMatch against any of the wanted names (empty ones are skipped).
    static bool matchesAny(const QString& found, const QStringList& wanted, bool allowSubstrings);

    // A link as a URL: kept when it holds ":", else baseURL put in front.
    // Empty when the result is no valid absolute URL.
    static QUrl absoluteLink(const QString& link, const QString& baseURL);
    // A link that does not begin with "http" made absolute with the scheme
    // and host (and port, when the page names one) of the page it was
    // found on.
    static QUrl linkRelativeToPage(const QString& link, const QUrl& page);

    // The links of the rows that match the artists and the wanted title, in
    // page order, at most maxLinks of them.
    static QList<QUrl> matchingLinks(const QList<QStringList>& rows, const QStringList& artists,
                                     const QString& wantedTitle, bool allowSubstrings, const QString& baseURL,
                                     const QString& separator, qsizetype maxLinks = 20);

    // The simplified artist and alternate artist that rows are compared with.
    static QStringList wantedArtists(const QString& artist, const QString& alternateArtist);
    // The simplified title rows are compared with: parenthesised text
    // removed when asked, the suffix appended when there is one.
    static QString wantedTitle(const QString& title, bool withoutParentheses, const QString& suffix);
};
