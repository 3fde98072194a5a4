#include "SongTestFiles.h"
#include "TestSupport.h"

#include "songs/SongFile.h"
#include "songs/SongFileComparisons.h"
#include "tags/AudioInfoTag.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Songs = QList<std::shared_ptr<SongFile>>;
using Compare = SongOrdering (*)(SongFile&, SongFile&);

// A record named `name` whose tag is the cache entry given.
std::shared_ptr<SongFile> song(const QString& name, const QVariantMap& entry)
{
    const QString path =
        TestSupport::scratchFolder() + QStringLiteral("/songs-sorting/") + name + QStringLiteral(".mp3");
    TestSupport::writeFile(path, QByteArray(300, 'x'));
    auto record = SongFile::songWithPath(path);
    record->createInfotagUsingCachedInfoDict(entry.isEmpty() ? QVariantMap{{QStringLiteral("x"), 1}} : entry);
    return record;
}

QVariantMap entry(std::initializer_list<std::pair<const char*, QVariant>> pairs)
{
    QVariantMap map;
    for (const auto& [key, value] : pairs)
        map.insert(QString::fromLatin1(key), value);
    return map;
}

// A record whose cache entry holds the texts given.
std::shared_ptr<SongFile> song(const QString& name,
                               std::initializer_list<std::pair<const char*, const char*>> texts)
{
    QVariantMap map;
    for (const auto& [key, value] : texts)
        map.insert(QString::fromLatin1(key), QString::fromUtf8(value));
    return song(name, map);
}

QString names(const Songs& songs)
{
    QStringList names;
    for (const auto& s : songs)
        names << s->filename().chopped(4);
    return names.join(QLatin1Char(' '));
}

QString sortedNames(Songs songs, Compare compare)
{
    std::stable_sort(songs.begin(), songs.end(), [compare](const auto& a, const auto& b) {
        return compare(*a, *b) == SongOrdering::Ascending;
    });
    return names(songs);
}

} // namespace

TEST(SongFileComparisonsTest, NumbersAndTexts)
{
    // The shared numeric rule is "ascending when the first is greater".
    EXPECT_EQ(SongFileComparisons::compare(2, 1), SongOrdering::Ascending);
    EXPECT_EQ(SongFileComparisons::compare(1, 1), SongOrdering::Same);
    EXPECT_EQ(SongFileComparisons::compare(1, 2), SongOrdering::Descending);
    EXPECT_EQ(SongFileComparisons::compareText(QStringLiteral("track 9"), QStringLiteral("Track 10")),
              SongOrdering::Ascending);
    EXPECT_EQ(SongFileComparisons::compareText(QStringLiteral("a007"), QStringLiteral("A7")),
              SongOrdering::Same);
    EXPECT_EQ(SongFileComparisons::compareText(QStringLiteral("track 9"), QStringLiteral("Track 10"), false),
              SongOrdering::Descending);
    EXPECT_EQ(SongFileComparisons::compareText(QString(), QString()), SongOrdering::Same);
    EXPECT_EQ(SongFileComparisons::compareText(QStringLiteral("z"), QString()), SongOrdering::Ascending);
}

TEST(SongFileComparisonsTest, TextColumnsPutMissingValuesLastAndChainsBreakTies)
{
    const Songs songs = {
        song(QStringLiteral("none"), QVariantMap()),
        song(QStringLiteral("b10"), {{"perf", "Band 10"}, {"tit", "x"}, {"alb", "Z"}, {"gnr", "rock"}}),
        song(QStringLiteral("b9"), {{"perf", "band 9"}, {"tit", "Y"}, {"alb", "a"}, {"gnr", "Jazz"}})};
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareArtist), QStringLiteral("b9 b10 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareTitle), QStringLiteral("b10 b9 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareAlbum), QStringLiteral("b9 b10 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareGenre), QStringLiteral("b9 b10 none"));

    const Songs chained = {song(QStringLiteral("t10"), {{"perf", "A"}, {"alb", "X"}, {"trk", "10/12"}}),
                           song(QStringLiteral("t2"), {{"perf", "A"}, {"alb", "X"}, {"trk", "2"}}),
                           song(QStringLiteral("notrack"), {{"perf", "A"}, {"alb", "X"}}),
                           song(QStringLiteral("other"), {{"perf", "A"}, {"alb", "W"}, {"trk", "5"}})};
    EXPECT_EQ(sortedNames(chained, SongFileComparisons::compareArtist),
              QStringLiteral("other t2 t10 notrack"));
    EXPECT_EQ(sortedNames(chained, SongFileComparisons::compareTrack),
              QStringLiteral("t2 other t10 notrack"));
    EXPECT_EQ(sortedNames(chained, SongFileComparisons::compareAlbum),
              QStringLiteral("other t2 t10 notrack"));

    // Years put missing values first.
    const Songs years = {song(QStringLiteral("y2001"), {{"yr", "2001"}}),
                         song(QStringLiteral("y1999"), {{"yr", "1999-05-01"}}),
                         song(QStringLiteral("none"), {{"tit", "x"}})};
    EXPECT_EQ(sortedNames(years, SongFileComparisons::compareYear), QStringLiteral("none y1999 y2001"));
}

TEST(SongFileComparisonsTest, ScoresAndNumbers)
{
    const QString longLyrics(100, QLatin1Char('l'));
    const Songs lyrics = {song(QStringLiteral("long"), entry({{"lyr", longLyrics}})),
                          song(QStringLiteral("short"), {{"lyr", "la"}}),
                          song(QStringLiteral("none"), {{"tit", "x"}})};
    EXPECT_EQ(sortedNames(lyrics, SongFileComparisons::compareLyrics), QStringLiteral("none short long"));

    // Lyrics ties are broken by album the other way round.
    const Songs tied = {song(QStringLiteral("albA"), {{"alb", "A"}}),
                        song(QStringLiteral("albB"), {{"alb", "B"}})};
    EXPECT_EQ(sortedNames(tied, SongFileComparisons::compareLyrics), QStringLiteral("albB albA"));

    auto itunesArt = song(QStringLiteral("itunes"), {{"tit", "x"}});
    itunesArt->setHasiTunesArtwork(1);
    const Songs art = {song(QStringLiteral("two"), entry({{"nart", 2}})), itunesArt,
                       song(QStringLiteral("one"), entry({{"nart", 1}})),
                       song(QStringLiteral("none"), {{"tit", "x"}})};
    EXPECT_EQ(sortedNames(art, SongFileComparisons::compareArt), QStringLiteral("none itunes one two"));

    const Songs bpm = {song(QStringLiteral("fast"), {{"bpm", "140"}}),
                       song(QStringLiteral("slow"), {{"bpm", "90"}})};
    EXPECT_EQ(sortedNames(bpm, SongFileComparisons::compareBPM), QStringLiteral("slow fast"));

    const Songs compilation = {song(QStringLiteral("comp"), {{"comp", "y"}}),
                               song(QStringLiteral("single"), {{"tit", "x"}})};
    EXPECT_EQ(sortedNames(compilation, SongFileComparisons::compareCompilation),
              QStringLiteral("single comp"));

    const auto seconds = [](double s) {
        return QVariantMap{{QStringLiteral("kMDItemDurationSeconds"), s}};
    };
    const Songs duration = {song(QStringLiteral("d2"), entry({{"dat", seconds(2.0009)}})),
                            song(QStringLiteral("d1"), entry({{"dat", seconds(1.5)}}))};
    EXPECT_EQ(sortedNames(duration, SongFileComparisons::compareDuration), QStringLiteral("d1 d2"));

    const Songs index = {song(QStringLiteral("i3"), QVariantMap()), song(QStringLiteral("i1"), QVariantMap()),
                         song(QStringLiteral("none"), QVariantMap())};
    index[0]->setPlayList(QStringLiteral("Mix"), 3);
    index[1]->setPlayList(QStringLiteral("Mix"), 1);
    EXPECT_EQ(sortedNames(index, SongFileComparisons::compareIndex), QStringLiteral("i1 i3 none"));

    // Problems first.
    const Songs activity = {song(QStringLiteral("idle"), QVariantMap()),
                            song(QStringLiteral("problem"), QVariantMap()),
                            song(QStringLiteral("queued"), QVariantMap())};
    activity[1]->setActivityStatus(SongActivityStatus::Problem);
    activity[2]->setActivityStatus(SongActivityStatus::Queued);
    EXPECT_EQ(sortedNames(activity, SongFileComparisons::compareActivity),
              QStringLiteral("problem queued idle"));
}

TEST(SongFileComparisonsTest, SortingAListByAColumnGivesTheColumnsOrder)
{
    // Songs that differ, and tie, in every column; some without a tag value.
    Songs songs;
    const char* artists[] = {"Band 10", "band 9", "", "Alpha"};
    const char* albums[] = {"Z", "a", "M", ""};
    const char* tracks[] = {"2", "10/12", "", "1"};
    const char* years[] = {"1999", "", "2001-05-01", "1999"};
    for (int i = 0; i < 12; ++i) {
        QVariantMap tags = entry({{"perf", QString::fromLatin1(artists[i % 4])},
                                  {"alb", QString::fromLatin1(albums[(i / 2) % 4])},
                                  {"trk", QString::fromLatin1(tracks[(i / 3) % 4])},
                                  {"yr", QString::fromLatin1(years[(i + 1) % 4])},
                                  {"tit", QStringLiteral("Song %1").arg(i % 5)},
                                  {"gnr", i % 3 ? QStringLiteral("Rock") : QString()},
                                  {"bpm", QString::number(90 + (i % 3) * 20)},
                                  {"lyr", QString(i % 4 == 0 ? 120 : i % 4, QLatin1Char('l'))},
                                  {"nart", i % 3}});
        if (i % 5 == 0)
            tags.insert(QStringLiteral("comp"), QStringLiteral("y"));
        songs.append(song(QStringLiteral("s%1").arg(i), tags));
        if (i % 4 == 1)
            songs.last()->setActivityStatus(SongActivityStatus::Problem);
    }
    for (const char* column : {"active", "index", "compilation", "artist", "title", "album", "track", "year",
                               "genre", "version", "bpm", "formattedDuration", "lyrics", "art"}) {
        const QString identifier = QLatin1String(column);
        const Compare compare = SongFileComparisons::comparisonForColumn(identifier);
        ASSERT_NE(compare, nullptr) << column;
        Songs sorted = songs;
        SongFileComparisons::sortSongs(sorted, identifier, false);
        EXPECT_EQ(names(sorted), sortedNames(songs, compare)) << column;
        SongFileComparisons::sortSongs(sorted, identifier, true);
        Songs reversed = sorted;
        std::reverse(reversed.begin(), reversed.end());
        Songs again = songs;
        SongFileComparisons::sortSongs(again, identifier, false);
        EXPECT_EQ(names(reversed), names(again)) << column << " descending";
    }
    EXPECT_EQ(SongFileComparisons::comparisonForColumn(QStringLiteral("nonsense")), nullptr);
}
