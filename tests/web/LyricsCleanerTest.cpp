#include "web/LyricsCleaner.h"
#include "run/PrefsController.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace {

// A verse long enough to pass the length test on its own.
const QString kVerse = QStringLiteral("Down by the harbour where the lanterns sway\n"
                                      "We counted the boats as they drifted away\n"
                                      "And nobody asked us to stay");

QString clean(const QString& text)
{
    return LyricsCleaner::cleanUpLyrics(text, QVariantMap());
}

QStringList cleanLines(const QString& text)
{
    return clean(text).split(QLatin1Char('\n'));
}

} // namespace

TEST(LyricsCleanerTest, EmptyLinesAroundAndDoubleSpacingGo)
{
    const QString doubled = QStringLiteral("\n\n") +
                            QString(kVerse).replace(QLatin1Char('\n'), QStringLiteral("\n\n")) +
                            QStringLiteral("\n \n\n");
    EXPECT_EQ(clean(doubled), kVerse);

    // One filled odd line keeps every empty line.
    const QString mixed = QStringLiteral("One line here\n\nTwo\nThree\n") + kVerse;
    EXPECT_EQ(cleanLines(mixed).at(1), QString());
}

TEST(LyricsCleanerTest, ChunkSizeLinesGoOnlyWhenThereAreMany)
{
    // Five of eleven lines are chunk sizes: they go, with the empty line in
    // front of each.
    const QString chunked = QStringLiteral("1F\nDown by the harbour where the lanterns sway\n\n4a\n"
                                           "We counted the boats as they drifted away\n\nFF\n"
                                           "And nobody asked us to stay\n0\n\nA\n");
    EXPECT_EQ(clean(chunked), kVerse);

    // One short line among many is a word of the song.
    const QString song = kVerse + QStringLiteral("\nBe\nAnd the tide came in");
    EXPECT_TRUE(cleanLines(song).contains(QStringLiteral("Be")));
}

TEST(LyricsCleanerTest, TextShorterThanAHundredCharactersIsNoLyrics)
{
    const QString ninetyNine = QString(99, QLatin1Char('x'));
    EXPECT_TRUE(clean(QStringLiteral("X") + ninetyNine.mid(1)).isNull());
    EXPECT_EQ(clean(QStringLiteral("X") + ninetyNine).size(), 100);
    EXPECT_TRUE(clean(QString()).isNull());
    EXPECT_TRUE(clean(QString(LyricsCleaner::kMaxInputLength + 1, QLatin1Char('a'))).isNull());
}
