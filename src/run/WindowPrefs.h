#pragma once

#include "web/AlbumAsset.h"

#include <QString>
#include <QStringList>

#include <optional>

// The choices of the main window that shape a gathering run: which missing
// attributes are looked up, which present ones may be replaced, how an
// album is picked, and the table's sort. The window and the command line
// share them. Read once with readPrefs() (a store without "prefsVersion" 3
// gives the defaults: every check on, every overwrite off, the controls at
// 0), written back with writePrefs().
class WindowPrefs
{
public:
    static constexpr int CurrentPrefsVersion = 3;

    static WindowPrefs readPrefs();
    void writePrefs() const;

    // The checks and overwrites as asset flags (album, title, artwork,
    // genre, track, year, lyrics).
    AlbumAssets checkFlags() const { return mCheck; }
    AlbumAssets overwriteFlags() const { return mOverwrite; }
    void setCheckFlags(AlbumAssets flags) { mCheck = flags & WindowAssets; }
    void setOverwriteFlags(AlbumAssets flags) { mOverwrite = flags & WindowAssets; }

    int albumPickingMethod() const { return mAlbumPickingMethod; }
    void setAlbumPickingMethod(int row) { mAlbumPickingMethod = row; }
    int allowSubstrings() const { return mAllowSubstrings; }
    void setAllowSubstrings(int value) { mAllowSubstrings = value; }
    int parallelSearch() const { return mParallelSearch; }
    void setParallelSearch(int value) { mParallelSearch = value; }
    QString sortColumn() const { return mSortColumn; }
    bool sortReverse() const { return mSortReverse; }
    void setSort(const QString& column, bool reverse);
    bool lyricsWindow() const { return mLyricsWindow; }
    void setLyricsWindow(bool open) { mLyricsWindow = open; }

    // The seven assets the window offers, each with its key suffix
    // ("Album", "Title", "Artwork", "Genre", "Track", "Year", "Lyrics").
    static constexpr AlbumAssets WindowAssets = AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::SongTitle |
                                                AlbumAsset::Artwork | AlbumAsset::Genre | AlbumAsset::Track |
                                                AlbumAsset::Year | AlbumAsset::Lyrics;
    // "album,title" ... as the command line writes them; none for an unknown
    // name.
    static std::optional<AlbumAssets> assetsFromNames(const QString& list);
    // Every name assetsFromNames() takes, in the window's order.
    static QStringList assetNames();
    static QString namesOfAssets(AlbumAssets assets);

private:
    AlbumAssets mCheck = WindowAssets;
    AlbumAssets mOverwrite;
    int mAlbumPickingMethod = 0;
    int mAllowSubstrings = 0;
    int mParallelSearch = 0;
    QString mSortColumn;
    bool mSortReverse = false;
    bool mLyricsWindow = false;
};
