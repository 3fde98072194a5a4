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

QString sortedNames(Songs songs, Compare compare)
{
    std::stable_sort(songs.begin(), songs.end(), [compare](const auto& a, const auto& b) {
        return compare(*a, *b) == SongOrdering::Ascending;
    });
    QStringList names;
    for (const auto& s : songs)
        names << s->filename().chopped(4);
    return names.join(QLatin1Char(' '));
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

TEST(SongFileComparisonsTest, TextColumnsPutMissingValuesLast)
{
    const Songs songs = {song(QStringLiteral("none"), {}),
                         song(QStringLiteral("b10"), entry({{"perf", QStringLiteral("Band 10")},
                                                            {"tit", QStringLiteral("x")},
                                                            {"alb", QStringLiteral("Z")},
                                                            {"gnr", QStringLiteral("rock")}})),
                         song(QStringLiteral("b9"), entry({{"perf", QStringLiteral("band 9")},
                                                           {"tit", QStringLiteral("Y")},
                                                           {"alb", QStringLiteral("a")},
                                                           {"gnr", QStringLiteral("Jazz")}}))};
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareArtist), QStringLiteral("b9 b10 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareTitle), QStringLiteral("b10 b9 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareAlbum), QStringLiteral("b9 b10 none"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareGenre), QStringLiteral("b9 b10 none"));
}

TEST(SongFileComparisonsTest, ChainsBreakTies)
{
    const Songs songs = {
        song(QStringLiteral("t10"), entry({{"perf", QStringLiteral("A")},
                                           {"alb", QStringLiteral("X")},
                                           {"trk", QStringLiteral("10/12")}})),
        song(QStringLiteral("t2"), entry({{"perf", QStringLiteral("A")},
                                          {"alb", QStringLiteral("X")},
                                          {"trk", QStringLiteral("2")}})),
        song(QStringLiteral("notrack"), entry({{"perf", QStringLiteral("A")}, {"alb", QStringLiteral("X")}})),
        song(QStringLiteral("other"), entry({{"perf", QStringLiteral("A")},
                                             {"alb", QStringLiteral("W")},
                                             {"trk", QStringLiteral("5")}}))};
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareArtist), QStringLiteral("other t2 t10 notrack"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareTrack), QStringLiteral("t2 other t10 notrack"));
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareAlbum), QStringLiteral("other t2 t10 notrack"));
}

TEST(SongFileComparisonsTest, YearsPutMissingValuesFirst)
{
    const Songs songs = {song(QStringLiteral("y2001"), entry({{"yr", QStringLiteral("2001")}})),
                         song(QStringLiteral("y1999"), entry({{"yr", QStringLiteral("1999-05-01")}})),
                         song(QStringLiteral("none"), entry({{"tit", QStringLiteral("x")}}))};
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareYear), QStringLiteral("none y1999 y2001"));
}

TEST(SongFileComparisonsTest, ScoresAndNumbers)
{
    const QString longLyrics(100, QLatin1Char('l'));
    const Songs lyrics = {song(QStringLiteral("long"), entry({{"lyr", longLyrics}})),
                          song(QStringLiteral("short"), entry({{"lyr", QStringLiteral("la")}})),
                          song(QStringLiteral("none"), entry({{"tit", QStringLiteral("x")}}))};
    EXPECT_EQ(sortedNames(lyrics, SongFileComparisons::compareLyrics), QStringLiteral("none short long"));

    // Lyrics ties are broken by album the other way round.
    const Songs tied = {song(QStringLiteral("albA"), entry({{"alb", QStringLiteral("A")}})),
                        song(QStringLiteral("albB"), entry({{"alb", QStringLiteral("B")}}))};
    EXPECT_EQ(sortedNames(tied, SongFileComparisons::compareLyrics), QStringLiteral("albB albA"));

    auto itunesArt = song(QStringLiteral("itunes"), entry({{"tit", QStringLiteral("x")}}));
    itunesArt->setHasiTunesArtwork(1);
    const Songs art = {song(QStringLiteral("two"), entry({{"nart", 2}})), itunesArt,
                       song(QStringLiteral("one"), entry({{"nart", 1}})),
                       song(QStringLiteral("none"), entry({{"tit", QStringLiteral("x")}}))};
    EXPECT_EQ(sortedNames(art, SongFileComparisons::compareArt), QStringLiteral("none itunes one two"));

    const Songs bpm = {song(QStringLiteral("fast"), entry({{"bpm", QStringLiteral("140")}})),
                       song(QStringLiteral("slow"), entry({{"bpm", QStringLiteral("90")}}))};
    EXPECT_EQ(sortedNames(bpm, SongFileComparisons::compareBPM), QStringLiteral("slow fast"));

    const Songs compilation = {song(QStringLiteral("comp"), entry({{"comp", QStringLiteral("y")}})),
                               song(QStringLiteral("single"), entry({{"tit", QStringLiteral("x")}}))};
    EXPECT_EQ(sortedNames(compilation, SongFileComparisons::compareCompilation),
              QStringLiteral("single comp"));

    const auto seconds = [](double s) {
        return QVariantMap{{QStringLiteral("kMDItemDurationSeconds"), s}};
    };
    const Songs duration = {song(QStringLiteral("d2"), entry({{"dat", seconds(2.0009)}})),
                            song(QStringLiteral("d1"), entry({{"dat", seconds(1.5)}}))};
    EXPECT_EQ(sortedNames(duration, SongFileComparisons::compareDuration), QStringLiteral("d1 d2"));

    const Songs index = {song(QStringLiteral("i3"), {}), song(QStringLiteral("i1"), {}),
                         song(QStringLiteral("none"), {})};
    index[0]->setPlayList(QStringLiteral("Mix"), 3);
    index[1]->setPlayList(QStringLiteral("Mix"), 1);
    EXPECT_EQ(sortedNames(index, SongFileComparisons::compareIndex), QStringLiteral("i1 i3 none"));
}

TEST(SongFileComparisonsTest, ActivityPutsProblemsFirst)
{
    Songs songs = {song(QStringLiteral("idle"), {}), song(QStringLiteral("problem"), {}),
                   song(QStringLiteral("queued"), {})};
    songs[1]->setActivityStatus(SongActivityStatus::Problem);
    songs[2]->setActivityStatus(SongActivityStatus::Queued);
    EXPECT_EQ(sortedNames(songs, SongFileComparisons::compareActivity),
              QStringLiteral("problem queued idle"));
}

TEST(SongFileComparisonsTest, ReadVersionComparesTextOnly)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("versions"));
    const auto mp3 = SongFile::songWithPath(SongTestFiles::writeMp3(
        dir + QStringLiteral("/a.mp3"), {{QStringLiteral("title"), QStringLiteral("t")}}));
    auto cached = song(QStringLiteral("cached"), {});
    ASSERT_TRUE(mp3 && mp3->infotag());
    ASSERT_FALSE(mp3->infotag()->readVersion().isEmpty());
    EXPECT_EQ(SongFileComparisons::compareReadVersion(*mp3, *cached), SongOrdering::Ascending);
    EXPECT_EQ(SongFileComparisons::compareReadVersion(*cached, *mp3), SongOrdering::Descending);
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
        const auto names = [](const Songs& list) {
            QStringList result;
            for (const auto& s : list)
                result << s->filename().chopped(4);
            return result.join(QLatin1Char(' '));
        };
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
