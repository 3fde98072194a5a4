// What the window's commands change in a tag: genres put into the names of
// the standard list (shown before they are written), and the pages of the
// manual artwork and lyrics searches.
#include "LoadTestFiles.h"

#include "run/ManualSearch.h"
#include "run/TagChanges.h"
#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"

#include <gtest/gtest.h>

TEST(TagChanges, GenresAreMappedToStandardNamesOncePerText)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("genres"));
    const struct
    {
        const char* name;
        const char* genre;
    } songs[] = {{"a", "alt. rock"}, {"b", "alt. rock"}, {"c", "Jazz"}, {"d", "zzz"}, {"e", ""}};
    SongChangeBatch::SongList list;
    for (const auto& song : songs) {
        const QString path = folder + QLatin1Char('/') + QLatin1String(song.name) + QStringLiteral(".mp3");
        ASSERT_TRUE(LoadTestFiles::writeSong(path, QLatin1String(song.name)));
        std::shared_ptr<SongFile> record = SongFile::songWithPath(path);
        ASSERT_TRUE(record);
        record->infotag()->setGenres(QLatin1String(song.genre));
        list.append(record);
    }
    // A standard name, no name within, or no genre at all: not listed.
    const QList<TagChanges::GenreMapping> mappings = TagChanges::genreMappings(list);
    ASSERT_EQ(mappings.size(), 1);
    EXPECT_EQ(mappings.first().from, QStringLiteral("alt. rock"));
    EXPECT_EQ(mappings.first().to, QStringLiteral("Rock"));
    EXPECT_EQ(mappings.first().songs, 2);

    AudioInfoTag& tag = *list.first()->infotag();
    const SongChangeBatch::Change change =
        TagChanges::standardizeGenres({{mappings.first().from, mappings.first().to}});
    EXPECT_TRUE(change(*list.first(), tag));
    EXPECT_EQ(tag.genres(), QStringLiteral("Rock"));
    EXPECT_FALSE(change(*list.first(), tag));
}

TEST(TagChanges, ManualSearchPagesNameTheSongsWordsEncoded)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("manual"));
    ASSERT_TRUE(LoadTestFiles::writeSong(folder + QStringLiteral("/s.mp3"), QStringLiteral("Tide & Time"),
                                         QStringLiteral("Copper Kite"), QStringLiteral("Glass/Weather")));
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(folder + QStringLiteral("/s.mp3"));
    ASSERT_TRUE(tag);
    const QVariantMap resources = {
        {QStringLiteral("ManualArtworkSearchURL"), QStringLiteral("https://art.example/?q=%@")},
        {QStringLiteral("ManualLyricsSearchURL"), QStringLiteral("https://words.example/%@/")}};
    EXPECT_EQ(ManualSearch::url(ManualSearch::Kind::Artwork, *tag, resources).toString(QUrl::FullyEncoded),
              QStringLiteral("https://art.example/?q=Copper%20Kite%20Glass%2FWeather"));
    EXPECT_EQ(ManualSearch::url(ManualSearch::Kind::Lyrics, *tag, resources).toString(QUrl::FullyEncoded),
              QStringLiteral("https://words.example/Copper%20Kite%20Tide%20%26%20Time/"));
    // No page named, or nothing to search for: none.
    EXPECT_TRUE(ManualSearch::url(ManualSearch::Kind::Artwork, *tag, {}).isEmpty());
    tag->setArtist(QString());
    tag->setTitle(QStringLiteral(" "));
    EXPECT_TRUE(ManualSearch::url(ManualSearch::Kind::Lyrics, *tag, resources).isEmpty());
}
