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
