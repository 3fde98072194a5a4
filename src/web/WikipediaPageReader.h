#pragma once

#include "web/AlbumInfo.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QVariantMap>

#include <optional>

// Reads pages of the encyclopedia: the information box and track listing of
// an album article, and the links of any page worth following towards one.
// Every marker comes from the source's resources, so a change of the site's
// layout needs new resources only. All searches for markers ignore case.
// Pages are read up to kMaxPageLength characters; every loop is bounded.
class WikipediaPageReader
{
public:
    explicit WikipediaPageReader(const QVariantMap& resources);

    // The album of an article holding "infoFingerprint": title, artist, year,
    // genres, tracks and cover. None for other pages and for articles whose
    // artist cannot be read.
    std::optional<AlbumInfo> albumFromHTML(const QString& page) const;
    bool isAlbumArticle(const QString& page) const;
    bool isDisambiguationPage(const QString& page) const;

    // The absolute URLs to follow from a page that is no album article: on
    // a disambiguation page the album links (those naming the album, else
    // those whose URL holds "disambigAlbumLink"), elsewhere the links whose
    // text holds "disambigLinkText" and names the album. A link's text is
    // its visible text and its title. Only links to the host of "linkRoot",
    // each once, at most "maxFollowedLinks" (default 20).
    QStringList linksToFollow(const QString& page, const QString& albumTitle) const;

    // Track names from the track tables, else from plain tables of the track
    // listing section ("parseTrackListPlainTable": a header row with a
    // "Title" column and a number or length column; the number from the
    // "#"/"No." column, else the row order), else from the track lists.
    // Further tables and lists are taken while their numbering continues
    // the tracks read so far (a table captioned "trackListSideCaption" may
    // start at 1 again: the sides of a record).
    QStringList trackNames(const QString& page) const;

    // The text a browser shows for a fragment of HTML: tags removed one by
    // one, line breaks for block tags, references decoded, citation marks
    // ("[1]") removed, blanks collapsed, empty lines dropped.
    static QString visibleText(QStringView html);
    // The first non-blank text standing after the first occurrence of
    // `marker` (which may end inside a tag); null when there is none.
    static QString firstVisibleTextAfter(const QString& page, const QString& marker);
    // Four-character slices read from the end of the text backwards: the
    // first whose leading number is at least 1701 is the year when it is
    // below 2050; larger ones are passed over. Null when none qualifies.
    static QString yearFromText(const QString& text);
    // A cell or item of a track listing as a track name: its visible text,
    // cut to what stands between the first pair of double quotes when it
    // begins with one (`quoted` tells whether it did).
    static QString trackNameFromHTML(const QString& html, bool* quoted = nullptr);

    static constexpr qsizetype kMaxPageLength = 8 * 1024 * 1024;
    static constexpr int kMaxTrackLists = 32;
    static constexpr int kMaxLinks = 10000;
    static constexpr int kDefaultMaxFollowedLinks = 20;

private:
    struct Link
    {
        QString url;
        QString text;
    };
    // First occurrence of a non-empty marker from `from` on, ignoring case.
    static qsizetype indexOfMarker(const QString& page, const QString& marker, qsizetype from = 0);
    // A position just behind the tag in which `position` lies, when it lies
    // in one (the next ">" comes before the next "<"); else `position`.
    static qsizetype skipRestOfTag(const QString& page, qsizetype position);
    static QString oneLine(const QString& text);

    QString text(const char* key) const;
    QVariantMap description(const char* key) const;
    QString textBetween(const QString& page, const char* beginKey, const char* endKey) const;
    QString artworkURL(const QString& page) const;
    QList<Link> links(const QString& page) const;
    QString absoluteLink(const QString& href) const;
    // Tables of `page` cut out by the `rows` description, one after another.
    QStringList tracksFromTables(const QString& page, const QVariantMap& rows, bool plain) const;
    QStringList tracksFromTable(const QString& table, int* firstNumber) const;
    QStringList tracksFromPlainTables(const QString& page) const;
    QStringList tracksFromPlainTable(const QString& table, const QVariantMap& rowsDescription,
                                     int* firstNumber) const;
    QStringList tracksFromLists(const QString& page) const;

    QVariantMap mResources;
};
