// The tag model shared by every tag format: derived values, genres, pictures
// and iTunes artwork, construction from iTunes track info, archiving.
#include "ID3TestData.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/MP3InfoTag.h"

#include <QIODevice>

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

TEST(AudioInfoTag, TrackFieldsArtistOrderAndGenres)
{
    const std::tuple<const char16_t*, int, int> tracks[] = {
        {u"3/12", 3, 12}, {u"7", 7, 7}, {u"7/", 7, 7}, {u"/5", 0, 5}, {nullptr, 0, 0}};
    for (const auto& [track, number, total] : tracks) {
        EXPECT_EQ(tagWith(QString(), str(track))->trackNumber(), number) << str(track).toStdString();
        EXPECT_EQ(tagWith(QString(), str(track))->numberOfTracksOnAlbum(), total) << str(track).toStdString();
    }
    expectEach([](const QString& artist) { return tagWith(artist)->normalizedArtist(); },
               {{u"Beatles, The", u"The Beatles"},
                {u"Smith,  John Jr", u"John Smith Jr"},
                {u"Madonna", u"Madonna"}});
    expectEach([](const QString& artist) { return tagWith(artist)->reversedArtist(); },
               {{u"John Lee Hooker", u"Hooker, John Lee"},
                {u"Madonna", u"Madonna"},
                {u"Crosby, Stills", u"Crosby, Stills"}});
    expectEach(AudioInfoTag::expandedGenres, {{u"(17)(4)", u"Rock/Disco"},
                                              {u"17", u"Rock"},
                                              {u"(17)", u"Rock"},
                                              {u"Rock/Rock", u"Rock"},
                                              {u"(999)", u"(999)"},
                                              {u"(x)Jazz", u"(x)Jazz"},
                                              {u"(0)", u"Blues"},
                                              {u"()", u"()"},
                                              {u"999", u"999"},
                                              {nullptr, nullptr}});
    EXPECT_EQ(AudioInfoTag::allGenres().size(), 192);
    EXPECT_EQ(AudioInfoTag::indexOfGenre(QStringLiteral("  hard rock ")), 79);
    EXPECT_EQ(AudioInfoTag::indexOfGenre(QStringLiteral("Nonexistent")), AudioInfoTag::NotFound);
    EXPECT_TRUE(AudioInfoTag::genreForIndex(192).isNull());
    EXPECT_TRUE(AudioInfoTag::genreForIndex(-1).isNull());
    // The longest genre found inside the text wins.
    expectEach(AudioInfoTag::standardizedGenreFrom,
               {{u"Some HARD-rock album", u"Hard Rock"}, {u"R", nullptr}});
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
    ASSERT_TRUE(TestSupport::writeFile(path, artworkCacheFile(picture, true)));
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
    for (const QByteArray& bad : QByteArrayList{ID3TestData::bigEndian32(0x7fffffff) + QByteArray(2000, '\0'),
                                                QByteArray(1000, '\0')}) {
        ASSERT_TRUE(TestSupport::writeFile(path, bad));
        EXPECT_FALSE(tag.addiTunesArtworkAtPath(path));
    }
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
