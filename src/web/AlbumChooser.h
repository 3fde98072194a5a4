#pragma once

#include "web/AlbumInfo.h"

#include <QList>
#include <QString>

#include <optional>

// How a lookup picks one album from the candidates its sources gathered for
// a song: keeping albums of the song's own album name, pooling lyrics, and
// choosing by earliest year or by most duplicates. Shared by the song
// lookup task and `quillbeat-cli lookup`.
class AlbumChooser
{
public:
    // Stored preference values of the album-picking method.
    enum class Method : int
    {
        None = 0,
        EarliestYear = 1,
        MostDuplicates = 2
    };

    // Keeps the albums whose simplified name equals the song's album name
    // when any does; else, with substrings allowed, those whose name
    // contains it or is contained in it when any does; else keeps all.
    static void eliminateAlbumsWithoutDesiredName(QList<AlbumInfo>& albums, const QString& songAlbum,
                                                  bool allowSubstrings);

    // The album to use, or none. A single candidate is always chosen;
    // several need a method. With the earliest-year method and no usable
    // year, `errorMessage` gets the localised "ErrorNoYear" text naming
    // `artist`, `title` and the candidates.
    static std::optional<AlbumInfo> chooseAlbum(const QList<AlbumInfo>& albums, Method method,
                                                const QString& artist, const QString& title,
                                                QString* errorMessage);

    // The longest lyrics text per key over all albums (a key is replaced
    // only by a strictly longer text), walking from the last album.
    static QVariantMap pooledLyrics(const QList<AlbumInfo>& albums);

    // The method of the "albumPickingMethod" preference as the lookup task
    // uses it: row 1 means most duplicates, any other row earliest year.
    static Method methodForPickingPreference(int row);
};
