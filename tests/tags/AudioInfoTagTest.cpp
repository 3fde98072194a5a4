// The tag model shared by every tag format: derived values, genres, pictures
// and iTunes artwork, construction from iTunes track info, archiving.
#include "ID3TestData.h"

#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/MP3InfoTag.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

std::unique_ptr<MP3InfoTag> tagWith(const QString& artist, const QString& track = QString())
{
    auto tag = std::make_unique<MP3InfoTag>();
    tag->setArtist(artist);
    tag->setTrack(track);
    return tag;
}

// An iTunes artwork cache file: offset N at 0, the picture at N + 60.
QByteArray artworkCacheFile(const QByteArray& picture, bool png)
{
    QByteArray file = ID3TestData::bigEndian32(100) + QByteArray(96, '\0');
    QByteArray header(60, '\0');
    if (png)
        header.replace(48, 4, "PNGf");
    return file + header + picture + QByteArray(1024, '\x01');
}

} // namespace

TEST(AudioInfoTag, TrackFields)
{
    EXPECT_EQ(tagWith(QString(), QStringLiteral("3/12"))->trackNumber(), 3);
    EXPECT_EQ(tagWith(QString(), QStringLiteral("3/12"))->numberOfTracksOnAlbum(), 12);
    EXPECT_EQ(tagWith(QString(), QStringLiteral("7"))->numberOfTracksOnAlbum(), 7);
    EXPECT_EQ(tagWith(QString(), QStringLiteral("7/"))->numberOfTracksOnAlbum(), 7);
    EXPECT_EQ(tagWith(QString(), QStringLiteral("/5"))->trackNumber(), 0);
    EXPECT_EQ(tagWith(QString(), QStringLiteral("/5"))->numberOfTracksOnAlbum(), 5);
    EXPECT_EQ(tagWith(QString())->trackNumber(), 0);
    EXPECT_EQ(tagWith(QString())->numberOfTracksOnAlbum(), 0);
}

TEST(AudioInfoTag, ArtistOrder)
{
    EXPECT_EQ(tagWith(QStringLiteral("Beatles, The"))->normalizedArtist(), QStringLiteral("The Beatles"));
    EXPECT_EQ(tagWith(QStringLiteral("Smith,  John Jr"))->normalizedArtist(),
              QStringLiteral("John Smith Jr"));
    EXPECT_EQ(tagWith(QStringLiteral("Madonna"))->normalizedArtist(), QStringLiteral("Madonna"));
    EXPECT_EQ(tagWith(QStringLiteral("John Lee Hooker"))->reversedArtist(),
              QStringLiteral("Hooker, John Lee"));
    EXPECT_EQ(tagWith(QStringLiteral("Madonna"))->reversedArtist(), QStringLiteral("Madonna"));
    EXPECT_EQ(tagWith(QStringLiteral("Crosby, Stills"))->reversedArtist(), QStringLiteral("Crosby, Stills"));
}

TEST(AudioInfoTag, GenreExpansion)
{
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("(17)(4)")), QStringLiteral("Rock/Disco"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("17")), QStringLiteral("Rock"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("(17)")), QStringLiteral("Rock"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("Rock/Rock")), QStringLiteral("Rock"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("(999)")), QStringLiteral("(999)"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("(x)Jazz")), QStringLiteral("(x)Jazz"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("(0)")), QStringLiteral("Blues"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("()")), QStringLiteral("()"));
    EXPECT_EQ(AudioInfoTag::expandedGenres(QStringLiteral("999")), QStringLiteral("999"));
    EXPECT_TRUE(AudioInfoTag::expandedGenres(QString()).isNull());
}

TEST(AudioInfoTag, GenreLookup)
{
    EXPECT_EQ(AudioInfoTag::allGenres().size(), 192);
    EXPECT_EQ(AudioInfoTag::indexOfGenre(QStringLiteral("  hard rock ")), 79);
    EXPECT_EQ(AudioInfoTag::indexOfGenre(QStringLiteral("Nonexistent")), AudioInfoTag::NotFound);
    EXPECT_TRUE(AudioInfoTag::genreForIndex(192).isNull());
    EXPECT_TRUE(AudioInfoTag::genreForIndex(-1).isNull());
    // The longest genre found inside the text wins.
    EXPECT_EQ(AudioInfoTag::standardizedGenreFrom(QStringLiteral("Some HARD-rock album")),
              QStringLiteral("Hard Rock"));
    EXPECT_TRUE(AudioInfoTag::standardizedGenreFrom(QStringLiteral("R")).isNull());
}

TEST(AudioInfoTag, FromiTunesTrackInfo)
{
    const QString path = QStringLiteral("/music/song.mp3");
    QVariantMap track{{QStringLiteral("Name"), QStringLiteral("Song")},
                      {QStringLiteral("Artist"), QStringLiteral("Band")},
                      {QStringLiteral("Year"), 2049},
                      {QStringLiteral("Track Number"), 3},
                      {QStringLiteral("Track Count"), 12},
                      {QStringLiteral("Compilation"), false},
                      {QStringLiteral("Bit Rate"), 191.2},
                      {QStringLiteral("Sample Rate"), 44100},
                      {QStringLiteral("Artwork Count"), 2}};
    auto tag = AudioInfoTag::tagWithiTunesTrackInfo(track, path);
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title(), QStringLiteral("Song"));
    EXPECT_EQ(tag->year(), QStringLiteral("2049"));
    EXPECT_EQ(tag->track(), QStringLiteral("3/12"));
    EXPECT_TRUE(tag->isPartOfCompilation()); // present, whatever its value
    EXPECT_EQ(tag->bitrate(), 192);
    EXPECT_EQ(tag->samplerate(), 44100);
    EXPECT_TRUE(tag->isLazy());
    EXPECT_TRUE(tag->tagHasBeenModified());
    EXPECT_EQ(tag->numberOfImages(), 2);
    tag->removeAllImages(); // a lazy count cannot be removed; must not loop
    EXPECT_EQ(tag->numberOfImages(), 2);

    track[QStringLiteral("Year")] = 2050;
    track[QStringLiteral("Track Count")] = 2;
    tag = AudioInfoTag::tagWithiTunesTrackInfo(track, path);
    EXPECT_TRUE(tag->year().isNull());
    EXPECT_EQ(tag->track(), QStringLiteral("3"));
    track[QStringLiteral("Year")] = 0;
    EXPECT_TRUE(AudioInfoTag::tagWithiTunesTrackInfo(track, path)->year().isNull());
    EXPECT_FALSE(AudioInfoTag::tagWithiTunesTrackInfo(track, QStringLiteral("/music/song.ogg")));
}

TEST(AudioInfoTag, iTunesArtworkIsAllOrNothing)
{
    const QByteArray picture = ID3TestData::png(4, 4);
    const QString path = ID3TestData::scratchPath(QStringLiteral("artwork.itc"));
    {
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(artworkCacheFile(picture, true));
    }
    MP3InfoTag tag;
    tag.addImage(ID3Image(QByteArray("own"), QStringLiteral("image/jpeg")));
    ASSERT_TRUE(tag.addiTunesArtworkAtPath(path));
    EXPECT_EQ(tag.numberOfImages(), 1); // the artwork hides the own pictures
    EXPECT_EQ(tag.images().first().mimeFormat(), QStringLiteral("image/png"));
    EXPECT_EQ(tag.images().first().imageData().left(picture.size()), picture);
    EXPECT_TRUE(tag.removeImageAtIndex(3)); // whatever the index
    EXPECT_EQ(tag.numberOfImages(), 1);
    EXPECT_EQ(tag.images().first().imageData(), QByteArray("own"));

    // Adding a picture turns the artwork into an own picture first.
    ASSERT_TRUE(tag.addiTunesArtworkAtPath(path));
    ASSERT_TRUE(tag.addImage(ID3Image(QByteArray("new"), QStringLiteral("image/jpeg"))));
    EXPECT_EQ(tag.numberOfImages(), 3);
    EXPECT_EQ(tag.images().last().imageData(), QByteArray("new"));
    EXPECT_FALSE(tag.addImage(ID3Image()));
    EXPECT_FALSE(tag.removeImageAtIndex(3));
    tag.removeAllImages();
    EXPECT_EQ(tag.numberOfImages(), 0);

    // Too short, or an offset too close to the end, is no artwork file.
    {
        QFile f(path);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(ID3TestData::bigEndian32(0x7fffffff) + QByteArray(2000, '\0'));
    }
    EXPECT_FALSE(tag.addiTunesArtworkAtPath(path));
    {
        QFile f(path);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(QByteArray(1000, '\0'));
    }
    EXPECT_FALSE(tag.addiTunesArtworkAtPath(path));
}

TEST(AudioInfoTag, ArchivesPlaylistAndModifiedFlagOnly)
{
    MP3InfoTag tag;
    EXPECT_EQ(tag.playlistIndex(), AudioInfoTag::NotFound);
    tag.setPlayList(QStringLiteral("Favourites"), 7);
    tag.setTitle(QStringLiteral("not archived"));
    MP3InfoTag keyed;
    keyed.restoreArchived(tag.archived());
    EXPECT_EQ(keyed.playlist(), QStringLiteral("Favourites"));
    EXPECT_EQ(keyed.playlistIndex(), 7);
    EXPECT_TRUE(keyed.tagHasBeenModified());
    EXPECT_TRUE(keyed.title().isNull());

    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        tag.encode(out);
    }
    MP3InfoTag sequential;
    QDataStream in(bytes);
    sequential.decode(in);
    EXPECT_EQ(sequential.playlist(), QStringLiteral("Favourites"));
    EXPECT_EQ(sequential.playlistIndex(), 7);
    EXPECT_TRUE(sequential.tagHasBeenModified());
    tag.setPlayList(QString(), 3);
    EXPECT_EQ(tag.playlistIndex(), AudioInfoTag::NotFound);
}
