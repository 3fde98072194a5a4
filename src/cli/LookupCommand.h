#pragma once

#include <QJsonObject>
#include <QStringList>

#include <cstdio>

class AlbumInfo;

// `quillbeat-cli lookup --artist A (--album B | --title T) [--sources S,...]
// [--json]`: asks the web sources about one album or song and prints what
// each source said (how many albums, or why it gave nothing), the albums they
// returned and the one a lookup would choose. No file is read or written.
// Sources and their addresses follow the live resources. Exit status 4 when
// every source asked failed.
class LookupCommand
{
public:
    LookupCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

    // {"artist", "name", "year", "genre", "tracks", "artworkURL", "lyrics"
    // (the keys), "source", "duplicates"}.
    static QJsonObject jsonForAlbum(const AlbumInfo& album);
    // The album as readable lines: name, artist, year, genre, the tracks,
    // the artwork's address and the source.
    static QString textForAlbum(const AlbumInfo& album);

private:
    bool parse(int* status);

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
    QString mArtist;
    QString mAlbum;
    QString mTitle;
    QStringList mSources;
    bool mJson = false;
};
