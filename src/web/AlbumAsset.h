#pragma once

#include <QFlags>
#include <QtGlobal>

// One bit per thing a lookup can gather, set or overwrite. The values are
// stored in preferences and passed between the task and its sources, so they
// never change.
enum class AlbumAsset : quint32
{
    None = 0,
    Artwork = 1,
    AlbumName = 2,
    Artist = 4,
    Year = 8,
    SongTitle = 16,
    Track = 32,
    Genre = 64,
    Tempo = 128,
    Lyrics = 256
};

// A set of asset bits. `AlbumAssets::fromInt(v)` and `toInt()` convert from and
// to the stored integer form.
using AlbumAssets = QFlags<AlbumAsset>;
Q_DECLARE_OPERATORS_FOR_FLAGS(AlbumAssets)

// Every asset bit there is.
inline constexpr AlbumAssets AllAlbumAssets =
    AlbumAssets(AlbumAsset::Artwork) | AlbumAsset::AlbumName | AlbumAsset::Artist | AlbumAsset::Year |
    AlbumAsset::SongTitle | AlbumAsset::Track | AlbumAsset::Genre | AlbumAsset::Tempo | AlbumAsset::Lyrics;
