#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Pages in the shape of today's encyclopedia articles, made up for the tests.
namespace WikipediaTestPages {

struct Article
{
    QString title = QStringLiteral("Paper Lanterns");
    QString artist = QStringLiteral("The Quiet Engines");
    QString released = QStringLiteral("March 3, 1999");
    QStringList tracks = {QStringLiteral("Open Window"), QStringLiteral("Paper Lanterns"),
                          QStringLiteral("Slow Tide")};
    QString cover = QStringLiteral("//upload.example.org/covers/paper_lanterns.jpg");
    // The body of the track listing section; empty: a track list table of
    // `tracks` as the site writes them.
    QString listing;
    // Sections between the track listing and the references.
    QString laterSections;
};

// A plain "wikitable": one header row, then one row per entry of raw cells
// (each "<td>...</td>" or "<th>...</th>").
inline QString plainTable(const QStringList& headers, const QList<QStringList>& rows)
{
    QString html = QStringLiteral("<table class=\"wikitable\" style=\"width:100%\"><tbody>\n<tr>");
    for (const QString& header : headers)
        html += QStringLiteral("<th scope=\"col\">") + header + QStringLiteral("</th>");
    html += QStringLiteral("</tr>\n");
    for (const QStringList& row : rows)
        html += QStringLiteral("<tr>") + row.join(QString()) + QStringLiteral("</tr>\n");
    return html + QStringLiteral("</tbody></table>\n");
}

// An album article with its information box and a track table.
inline QByteArray articlePage(const Article& a)
{
    QString rows;
    for (int i = 0; i < a.tracks.size(); ++i)
        rows += QStringLiteral("<tr><th id=\"track%1\" scope=\"row\">%1.</th><td>\"<a href=\"/wiki/T%1\" "
                               "title=\"T\">%2</a>\"</td><td class=\"tracklist-length\">3:0%1</td></tr>\n")
                    .arg(i + 1)
                    .arg(a.tracks.at(i));
    const QString cover =
        a.cover.isEmpty()
            ? QString()
            : QStringLiteral("<tr><td colspan=\"2\" class=\"infobox-image\"><span typeof=\"mw:File/"
                             "Frameless\"><a href=\"/wiki/File:C.jpg\" class=\"mw-file-description\">"
                             "<img src=\"%1\" decoding=\"async\" width=\"220\" height=\"220\" /></a>"
                             "</span></td></tr>\n")
                  .arg(a.cover);
    const QString trackTable =
        QStringLiteral(
            "<table class=\"tracklist\"><tbody><tr><th class=\"tracklist-number-header\" scope=\"col\">"
            "<abbr title=\"Number\">No.</abbr></th><th scope=\"col\">Title</th><th scope=\"col\">"
            "Length</th></tr>\n") +
        rows +
        QStringLiteral(
            "<tr class=\"tracklist-total-length\"><th colspan=\"2\" scope=\"row\"><span>Total length:"
            "</span></th><td>9:06</td></tr></tbody></table>\n");
    const QString page =
        QStringLiteral(
            "<!DOCTYPE html>\n<html><head><title>%1 - Encyclopedia</title></head><body>\n"
            "<div id=\"mw-content-text\" class=\"mw-body-content\"><div class=\"mw-parser-output\">\n"
            "<table class=\"infobox vevent haudio\"><tbody>\n"
            "<tr><th colspan=\"2\" class=\"infobox-above summary album\" style=\"background: "
            "lightsteelblue\">%1</th></tr>\n")
            .arg(a.title) +
        cover +
        QStringLiteral(
            "<tr><td colspan=\"2\" class=\"infobox-header description\"><a href=\"/wiki/Album\" "
            "title=\"Album\">Studio album</a> by <div class=\"contributor\" style=\"display:inline\">"
            "<a href=\"/wiki/A\" title=\"A\">%1</a></div></td></tr>\n"
            "<tr><th scope=\"row\" class=\"infobox-label\">Released</th><td class=\"infobox-data\">%2"
            "</td></tr>\n"
            "<tr><th scope=\"row\" class=\"infobox-label\"><a href=\"/wiki/Music_genre\" title=\"Music "
            "genre\">Genre</a></th><td class=\"infobox-data category hlist\"><ul><li><a "
            "href=\"/wiki/Rock\">Art rock</a></li><li><a href=\"/wiki/Pop\">dream pop</a><sup "
            "class=\"reference\"><a href=\"#cite_note-1\">&#91;1&#93;</a></sup></li></ul></td></tr>\n"
            "</tbody></table>\n<p><i><b>%3</b></i> is an album.</p>\n"
            "<div class=\"mw-heading mw-heading2\"><h2 id=\"Track_listing\">Track listing</h2></div>\n")
            .arg(a.artist, a.released, a.title) +
        (a.listing.isEmpty() ? trackTable : a.listing) + a.laterSections +
        QStringLiteral("<div class=\"mw-heading mw-heading2\"><h2 id=\"References\">References</h2></div>\n"
                       "<ol class=\"references\"><li id=\"cite_note-1\">A source.</li></ol>\n"
                       "</div></div></body></html>\n");
    return page.toUtf8();
}

// A page of links; with `disambiguation` it carries the disambiguation box.
// Each link is {href, title attribute, visible text}.
inline QByteArray linkPage(const QList<QStringList>& links, bool disambiguation)
{
    QString items;
    for (const QStringList& link : links)
        items += QStringLiteral("<li><i><a href=\"%1\" title=\"%2\">%3</a></i>, something</li>\n")
                     .arg(link.value(0), link.value(1), link.value(2));
    return (QStringLiteral(
                "<!DOCTYPE html>\n<html><head><title>Links</title></head><body>\n"
                "<div id=\"mw-content-text\" class=\"mw-body-content\"><div class=\"mw-parser-output\">\n"
                "<p><b>Paper Lanterns</b> may refer to:</p>\n<ul>\n") +
            items + QStringLiteral("</ul>\n") +
            (disambiguation ? QStringLiteral("<div id=\"disambigbox\" class=\"dmbox dmbox-disambig\">This "
                                             "disambiguation page lists articles.</div>\n")
                            : QString()) +
            QStringLiteral("</div></div></body></html>\n"))
        .toUtf8();
}

} // namespace WikipediaTestPages
