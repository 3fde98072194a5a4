// What a song's lookup gathers and may overwrite, with the artwork rules.
#include "run/GatherFlags.h"

#include "run/WindowPrefs.h"

#include "TaskTestSource.h"
#include "tags/ID3Image.h"

#include <gtest/gtest.h>

namespace {

constexpr AlbumAssets kArt = AlbumAsset::Artwork;
const AlbumAssets kAll = WindowPrefs::WindowAssets;

GatherFlags flagsFor(float threshold, float embeddedWidth, qint32 iTunesArt, bool noiTunesArtwork = false,
                     AlbumAssets overwrites = kAll)
{
    GatherFlags::Song song;
    song.largestEmbeddedWidth = embeddedWidth;
    song.hasEmbeddedImages = embeddedWidth > 0;
    song.hasiTunesArtwork = iTunesArt;
    return GatherFlags::forSong(kAll, overwrites, threshold, noiTunesArtwork, song);
}

} // namespace

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

TEST(GatherFlags, EmbeddedArtIsReplacedOnlyWhenNarrowerThanTheThreshold)
{
    // Art 500 wide with a threshold of 300: looked for, not replaced.
    GatherFlags wide = flagsFor(300, 500, 0);
    EXPECT_TRUE(wide.gather() & kArt);
    EXPECT_FALSE(wide.overwrite() & kArt);
    // 200 wide: replaced.
    EXPECT_TRUE(flagsFor(300, 200, 0).overwrite() & kArt);
    // Equal to the threshold: kept.
    EXPECT_FALSE(flagsFor(300, 300, 0).overwrite() & kArt);
    // Without the overwrite box nothing is replaced whatever the size.
    EXPECT_FALSE(flagsFor(32767, 10, 0, false, kAll & ~kArt).overwrite() & kArt);
}

TEST(GatherFlags, ArtworkThatiTunesMayKeepIsLeftAloneBelowTheThousandThreshold)
{
    // No embedded art, iTunes' art unknown or present: not looked up ...
    for (qint32 state : {-1, 1}) {
        const GatherFlags flags = flagsFor(999, 0, state);
        EXPECT_FALSE(flags.gather() & kArt) << state;
        EXPECT_FALSE(flags.overwrite() & kArt) << state;
        // ... other assets still are.
        EXPECT_TRUE(flags.gather() & AlbumAsset::Year);
    }
    // ... unless overwriting with a threshold of 1000 or more.
    EXPECT_TRUE(flagsFor(1000, 0, -1).gather() & kArt);
    EXPECT_TRUE(flagsFor(1000, 0, -1).overwrite() & kArt);
    EXPECT_FALSE(flagsFor(1000, 0, -1, false, kAll & ~kArt).gather() & kArt);
    // iTunes known to keep none, or iTunes ignored altogether: looked up.
    EXPECT_TRUE(flagsFor(300, 0, 0).gather() & kArt);
    EXPECT_TRUE(flagsFor(300, 0, -1, true).gather() & kArt);
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
