#pragma once

#include <QUrl>
#include <QVariantMap>

class AudioInfoTag;

// The manual artwork and lyrics searches: the web page that searches for a
// song's artwork (by artist and album) or lyrics (by artist and title), made
// from the resource "ManualArtworkSearchURL" or "ManualLyricsSearchURL",
// whose "%@" takes the words, percent-encoded. The front end opens it in the
// browser.
class ManualSearch
{
public:
    enum class Kind : int
    {
        Artwork = 0,
        Lyrics = 1
    };

    // An empty URL when the resources name no page or the tag has none of
    // the words.
    static QUrl url(Kind kind, const AudioInfoTag& tag, const QVariantMap& resources);
};
