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
