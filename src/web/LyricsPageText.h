#pragma once

#include <QVariantMap>

#include "web/AlbumInfo.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// Text handling shared by the lyrics sources: decoding page bytes by the
// encoding number of a source's resources, cutting the lyrics out between
// two markers, dropping advertising runs, and the record a found text is
// delivered in.
class LyricsPageText
{
public:
    // Pages longer than this are cut off before they are read.
    static constexpr qsizetype kMaxPageBytes = 8 * 1024 * 1024;
    // Bodies of this length or less are taken to be error answers.
    static constexpr qsizetype kMinPageBytes = 99;

    static QByteArray cappedPage(const QByteArray& body);
    // The body of a queue answer when it is long enough to be a page; a
    // shorter one is an error answer, and its URL is taken out of the HTTP
    // cache so that the next search asks again.
    static std::optional<QByteArray> usablePage(const QVariantMap& answer);

    // Bytes decoded by a text encoding number as the resources give it (the
    // numbering of the platform the resource files were first written for):
    // 1 ASCII, 4 UTF-8, 5 ISO Latin-1, 8 Shift JIS, 3 EUC-JP, 9 ISO Latin-2,
    // 10 UTF-16, 11-15 Windows code pages 1251-1250, 21 ISO-2022-JP,
    // 30 Mac OS Roman. 0 and unknown numbers mean ISO Latin-1.
    static QString decodedText(const QByteArray& bytes, int encoding);
    // As decodedText, but none when the bytes are not valid in that
    // encoding (UTF-8 and UTF-16 are checked; single-byte ones always decode).
    static std::optional<QString> strictlyDecodedText(const QByteArray& bytes, int encoding);

    // The bytes between the first `begin` marker and the first `end` marker
    // behind it, both found ignoring case. A begin marker that opens a tag
    // without closing it ("<div class=\"lyrics\"") also skips the rest of
    // that tag. None when a marker is missing or empty.
    static std::optional<QByteArray> bytesBetweenMarkers(const QByteArray& page, const QString& begin,
                                                         const QString& end);

    // Every run from a begin marker through the end marker behind it
    // removed (ignoring case); the markers are paired by position in the
    // two lists. A begin without an end behind it removes nothing.
    static QString removingRuns(const QString& text, const QStringList& begins, const QStringList& ends);
    // A resource value that is one string or a list of strings, as a list.
    static QStringList stringList(const QVariant& value);

    // HTML to text: every tag other than line and paragraph breaks removed
    // one by one, then flowed (breaks to line ends, blanks collapsed,
    // references decoded). Removing the tags first keeps the words between
    // inline tags (links, emphasis) that flowing alone would drop with them.
    static QString plainTextFromHTML(const QString& html);

    // Cut-out lyrics bytes to clean text: decoded, flowed from HTML and
    // cleaned. Null when nothing that looks like lyrics is left.
    static QString lyricsFromFragment(const QByteArray& fragment, int encoding,
                                      const QStringList& adBegins = QStringList(),
                                      const QStringList& adEnds = QStringList());

    // The record a lyrics source delivers: the searched artist and album,
    // the lyrics under the simplified song title.
    static AlbumInfo lyricsAlbum(const QString& artist, const QString& albumTitle, const QString& songTitle,
                                 const QString& lyrics, const QString& sourceName);
};
