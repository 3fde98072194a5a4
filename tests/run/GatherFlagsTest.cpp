// What a song's lookup gathers and may overwrite, with the artwork rules.
#include "run/GatherFlags.h"

#include "run/WindowPrefs.h"

#include "TaskTestSource.h"
#include "tags/ID3Image.h"

#include <gtest/gtest.h>

TEST(GatherFlags, ChecksGatherAndOverwritesNeedTheirCheck)
{
    GatherFlags::Song song;
    song.hasiTunesArtwork = 0;
    const GatherFlags flags =
        GatherFlags::forSong(AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre,
                             AlbumAssets(AlbumAsset::Year) | AlbumAsset::AlbumName, 32767, false, song);
    EXPECT_EQ(flags.gather(), AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre);
    // Album may be overwritten only where it is looked for.
    EXPECT_EQ(flags.overwrite(), AlbumAssets(AlbumAsset::Year));
}

// Embedded art is replaced only when narrower than the threshold; art iTunes
// may keep outside the file is left alone below the threshold of 1000.
TEST(GatherFlags, ArtworkIsLookedUpAndReplacedByTheSizeRules)
{
    const struct
    {
        const char* name;
        float threshold;
        float embeddedWidth;
        qint32 iTunesArt; // -1 unknown, 0 none, 1 some
        bool noiTunesArtwork;
        bool overwriteBox;
        bool gather;
        bool overwrite;
    } rows[] = {
        {"embedded art wider than the threshold", 300, 500, 0, false, true, true, false},
        {"embedded art narrower", 300, 200, 0, false, true, true, true},
        {"embedded art as wide as the threshold", 300, 300, 0, false, true, true, false},
        {"no overwrite box", 32767, 10, 0, false, false, true, false},
        {"iTunes' art unknown", 999, 0, -1, false, true, false, false},
        {"iTunes has art", 999, 0, 1, false, true, false, false},
        {"threshold of 1000 replaces iTunes' art", 1000, 0, -1, false, true, true, true},
        {"... only with the overwrite box", 1000, 0, -1, false, false, false, false},
        {"iTunes known to keep none", 300, 0, 0, false, true, true, true},
        {"iTunes ignored", 300, 0, -1, true, true, true, true},
    };
    const AlbumAssets all = WindowPrefs::WindowAssets;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GatherFlags::Song song;
        song.largestEmbeddedWidth = row.embeddedWidth;
        song.hasEmbeddedImages = row.embeddedWidth > 0;
        song.hasiTunesArtwork = row.iTunesArt;
        const GatherFlags flags =
            GatherFlags::forSong(all, row.overwriteBox ? all : all & ~AlbumAssets(AlbumAsset::Artwork),
                                 row.threshold, row.noiTunesArtwork, song);
        EXPECT_EQ(flags.gather().testFlag(AlbumAsset::Artwork), row.gather);
        EXPECT_EQ(flags.overwrite().testFlag(AlbumAsset::Artwork), row.overwrite);
        EXPECT_TRUE(flags.gather().testFlag(AlbumAsset::Year)); // other assets still are
    }
}

TEST(GatherFlags, OverwriteChoicesStayConsistent)
{
    const AlbumAssets albumAndTitle = AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::SongTitle;
    EXPECT_EQ(GatherFlags::consistentOverwrites(albumAndTitle, AlbumAsset::SongTitle),
              AlbumAssets(AlbumAsset::SongTitle));
    EXPECT_EQ(GatherFlags::consistentOverwrites(albumAndTitle, AlbumAsset::AlbumName),
              AlbumAssets(AlbumAsset::AlbumName));
    const AlbumAssets all = albumAndTitle | AlbumAsset::Track | AlbumAsset::Year;
    EXPECT_EQ(GatherFlags::consistentOverwrites(all, AlbumAsset::SongTitle),
              AlbumAssets(AlbumAsset::SongTitle) | AlbumAsset::Year);
    EXPECT_TRUE(GatherFlags::overwritesConflict(AlbumAssets(AlbumAsset::Track) | AlbumAsset::SongTitle));
    EXPECT_FALSE(GatherFlags::overwritesConflict(AlbumAssets(AlbumAsset::Track) | AlbumAsset::AlbumName));
}

TEST(GatherFlags, LargestImageWidthSkipsUndecodablePictures)
{
    const QList<ID3Image> images = {
        *ID3Image::imageWithData(TaskTestSource::jpeg(120, 80), QStringLiteral("image/jpeg")),
        ID3Image(QByteArray(300, 'x'), QStringLiteral("image/jpeg")),
        *ID3Image::imageWithData(TaskTestSource::jpeg(64, 640), QStringLiteral("image/jpeg"))};
    EXPECT_EQ(GatherFlags::largestImageWidth(images), 120.0f);
    EXPECT_EQ(GatherFlags::largestImageWidth({}), 0.0f);
}
