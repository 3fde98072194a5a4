// The tag values a song's path gives, in the layouts music folders use.
#include "songs/SongPathTags.h"

#include <gtest/gtest.h>

TEST(SongPathTags, ReadsTheUsualLayouts)
{
    const struct Row
    {
        const char* name;
        const char* path;
        const char* root;
        const char* artist;
        const char* album;
        const char* title;
        int track;
    } rows[] = {
        {"artist/album/NN title", "/m/Harbour Lights/Low Tide/03 Undertow.mp3", "/m", "Harbour Lights",
         "Low Tide", "Undertow", 3},
        {"artist - album/NN - title", "/m/Harbour Lights - Low Tide/07 - Salt Lines.m4a", "/m",
         "Harbour Lights", "Low Tide", "Salt Lines", 7},
        {"a disc folder is passed over", "/m/Harbour Lights/Low Tide/CD 2/01. Kelp.mp3", "/m",
         "Harbour Lights", "Low Tide", "Kelp", 1},
        {"underscores for spaces", "/m/Harbour_Lights/Low_Tide/04_Slow_Return.mp3", "/m", "Harbour Lights",
         "Low Tide", "Slow Return", 4},
        {"one folder is the album", "/m/Low Tide/05 Undertow.mp3", "/m", "", "Low Tide", "Undertow", 5},
        {"a file at the root", "/m/Undertow.mp3", "/m", "", "", "Undertow", 0},
        {"folders above the root don't count", "/home/u/Low Tide/02 Undertow.mp3", "/home/u/Low Tide", "",
         "", "Undertow", 2},
        {"a number that is the title", "/m/A/B/1999.mp3", "/m", "A", "B", "1999", 0},
        {"no root: a numbered file names its folders", "/x/Harbour Lights/Low Tide/03 Undertow.mp3", "",
         "Harbour Lights", "Low Tide", "Undertow", 3},
        {"no root: other folders are not an album", "/tmp/downloads/Undertow.mp3", "", "", "", "Undertow",
         0},
        {"a path outside the root", "/elsewhere/A/B/03 C.mp3", "/m", "A", "B", "C", 3},
    };
    for (const Row& row : rows) {
        const SongPathTags tags =
            SongPathTags::fromPath(QString::fromUtf8(row.path), QString::fromUtf8(row.root));
        EXPECT_EQ(tags.artist, QString::fromUtf8(row.artist)) << row.name;
        EXPECT_EQ(tags.album, QString::fromUtf8(row.album)) << row.name;
        EXPECT_EQ(tags.title, QString::fromUtf8(row.title)) << row.name;
        EXPECT_EQ(tags.track, row.track) << row.name;
    }
}

TEST(SongPathTags, TellsATitleThatIsOnlyTheFileName)
{
    EXPECT_TRUE(SongPathTags::isFileNameTitle(QStringLiteral("03 Undertow"), QStringLiteral("/m/03 Undertow.mp3")));
    EXPECT_FALSE(SongPathTags::isFileNameTitle(QStringLiteral("Undertow"), QStringLiteral("/m/03 Undertow.mp3")));
    EXPECT_FALSE(SongPathTags::isFileNameTitle(QString(), QStringLiteral("/m/03 Undertow.mp3")));
}
