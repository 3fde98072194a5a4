#include "web/AlbumChooser.h"
#include "web/ArtworkFitter.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>

#include <gtest/gtest.h>

namespace {

AlbumInfo album(const QString& name, const QString& year, int tracks, int duplicates = 0)
{
    AlbumInfo a(QStringLiteral("Artist"), name);
    a.setYear(year);
    QStringList names;
    for (int i = 1; i <= tracks; ++i)
        names.append(QStringLiteral("Track %1").arg(i));
    a.setTracks(names);
    for (int i = 0; i < duplicates; ++i)
        a.incDuplicates();
    return a;
}

QByteArray png(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    // Noise, so that a JPEG of it is not trivially small.
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb((x * 37 + y * 11) % 256, (x * y) % 256, (x ^ y) % 256));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

TEST(AlbumChooserTest, EarliestYearPrefersTheOldestThenTheLongest)
{
    const QList<AlbumInfo> pool = {album(QStringLiteral("A"), QStringLiteral("1994"), 10),
                                   album(QStringLiteral("B"), QStringLiteral("1994"), 12),
                                   album(QStringLiteral("C"), QStringLiteral("1992"), 9)};
    QString error;
    auto chosen = AlbumChooser::chooseAlbum(pool, AlbumChooser::Method::EarliestYear, {}, {}, &error);
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->name(), QStringLiteral("C"));

    // Without 1992, the longer of the two 1994 albums; a tie keeps the first.
    chosen = AlbumChooser::chooseAlbum(pool.mid(0, 2), AlbumChooser::Method::EarliestYear, {}, {}, &error);
    EXPECT_EQ(chosen->name(), QStringLiteral("B"));
    const QList<AlbumInfo> tie = {album(QStringLiteral("X"), QStringLiteral("2001"), 5),
                                  album(QStringLiteral("Y"), QStringLiteral("2001"), 5)};
    EXPECT_EQ(AlbumChooser::chooseAlbum(tie, AlbumChooser::Method::EarliestYear, {}, {}, &error)->name(),
              QStringLiteral("X"));
    EXPECT_TRUE(error.isEmpty());
}

TEST(AlbumChooserTest, EarliestYearWithoutUsableYearsNamesTheCandidates)
{
    const QList<AlbumInfo> pool = {album(QStringLiteral("Two Digits"), QStringLiteral("94"), 3),
                                   album(QStringLiteral("Wordy"), QStringLiteral("soon"), 3),
                                   album(QStringLiteral("Ancient"), QStringLiteral("1700"), 3)};
    QString error;
    EXPECT_FALSE(AlbumChooser::chooseAlbum(pool, AlbumChooser::Method::EarliestYear,
                                           QStringLiteral("Someone"), QStringLiteral("Song"), &error));
    EXPECT_TRUE(error.contains(QStringLiteral("'Two Digits'"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("'Wordy'")));
    EXPECT_TRUE(error.contains(QStringLiteral("Someone")));
}

TEST(AlbumChooserTest, MostDuplicatesAndNoMethod)
{
    const QList<AlbumInfo> pool = {album(QStringLiteral("A"), {}, 1, 0), album(QStringLiteral("B"), {}, 1, 2),
                                   album(QStringLiteral("C"), {}, 1, 2)};
    EXPECT_EQ(AlbumChooser::chooseAlbum(pool, AlbumChooser::Method::MostDuplicates, {}, {}, nullptr)->name(),
              QStringLiteral("B"));
    // Without a method only a single candidate is taken.
    EXPECT_FALSE(AlbumChooser::chooseAlbum(pool, AlbumChooser::Method::None, {}, {}, nullptr));
    EXPECT_EQ(AlbumChooser::chooseAlbum(pool.mid(2), AlbumChooser::Method::None, {}, {}, nullptr)->name(),
              QStringLiteral("C"));
    EXPECT_FALSE(AlbumChooser::chooseAlbum({}, AlbumChooser::Method::MostDuplicates, {}, {}, nullptr));
}

TEST(AlbumChooserTest, AlbumsOfTheSongsOwnNameAreKept)
{
    QList<AlbumInfo> pool = {album(QStringLiteral("Blue Train"), {}, 1),
                             album(QStringLiteral("Blue Train (Remastered)"), {}, 1),
                             album(QStringLiteral("Giant Steps"), {}, 1)};
    QList<AlbumInfo> exact = pool;
    AlbumChooser::eliminateAlbumsWithoutDesiredName(exact, QStringLiteral("blue train"), true);
    ASSERT_EQ(exact.size(), 1);
    EXPECT_EQ(exact.first().name(), QStringLiteral("Blue Train"));

    // No exact name: substrings decide, and only when allowed.
    QList<AlbumInfo> partial = pool.mid(1);
    AlbumChooser::eliminateAlbumsWithoutDesiredName(partial, QStringLiteral("Blue Train"), false);
    EXPECT_EQ(partial.size(), 2);
    AlbumChooser::eliminateAlbumsWithoutDesiredName(partial, QStringLiteral("Blue Train"), true);
    ASSERT_EQ(partial.size(), 1);
    EXPECT_EQ(partial.first().name(), QStringLiteral("Blue Train (Remastered)"));

    // Nothing related: the pool is left alone.
    QList<AlbumInfo> unrelated = pool;
    AlbumChooser::eliminateAlbumsWithoutDesiredName(unrelated, QStringLiteral("Kind of Blue"), true);
    EXPECT_EQ(unrelated.size(), 3);
}

TEST(ArtworkFitterTest, RefusesWhatTheRulesExclude)
{
    EXPECT_FALSE(ArtworkFitter::adjustedImage(QByteArray("not a picture"), 0, 500, true));
    EXPECT_FALSE(ArtworkFitter::adjustedImage(png(90, 90), 100, 500, true));
    // Too far from square, unless non-square pictures are allowed.
    EXPECT_FALSE(ArtworkFitter::adjustedImage(png(200, 100), 0, 500, false));
    EXPECT_TRUE(ArtworkFitter::adjustedImage(png(200, 100), 0, 500, true));
    EXPECT_TRUE(ArtworkFitter::adjustedImage(png(120, 100), 0, 500, false));
}

TEST(ArtworkFitterTest, KeepsTheOriginalWhenNoJpegIsSmaller)
{
    // A tiny, flat PNG beats any JPEG of the scaled picture.
    QImage flat(800, 800, QImage::Format_RGB32);
    flat.fill(Qt::white);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    flat.save(&buffer, "PNG", 9);
    auto fitted = ArtworkFitter::adjustedImage(bytes, 0, 400, false);
    ASSERT_TRUE(fitted);
    EXPECT_FALSE(fitted->reencoded);
    EXPECT_EQ(fitted->data, bytes);
}
