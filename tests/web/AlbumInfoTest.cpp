#include "web/AlbumInfo.h"
#include "TestSupport.h"
#include "web/CDDBTextParser.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

AlbumInfo albumWithTracks(const QString& name, const QStringList& tracks)
{
    AlbumInfo album(QStringLiteral("Artist"), name);
    album.setTracks(tracks);
    return album;
}

QByteArray xmcd(const char* body)
{
    return QByteArray("# xmcd\n#\nDISCID=12345678\n") + body;
}

} // namespace

// Each entry read and shown as "artist / name / year / genre / tracks", a
// missing value as "-".
TEST(AlbumInfoCDDB, EntriesAreReadLineByLine)
{
    const struct
    {
        const char* name;
        const char* body;
        const char* album;
    } rows[] = {
        {"title split at a spaced slash, tracks run until the first gap",
         "DTITLE=Kraft/Werk / Back in Black\r\nDYEAR=1980\r\nDGENRE=Hard Rock / Metal\r\nTTITLE0=hells "
         "bells\r\n"
         "TTITLE1=Shoot to Thrill\r\nTTITLE1=second line ignored\r\nTTITLE3=after a gap\r\n",
         "Kraft/Werk / Back in Black / 1980 / Hard Rock/Metal / Hells Bells; Shoot to Thrill"},
        {"a leading space refuses the title but not year or genre",
         "DTITLE= Someone / Something\nDYEAR= 1999\nDGENRE= Jazz\n", "- / - /  1999 / Jazz / "},
        // Trailing stars go from the name only; the first line of a key counts.
        {"without a slash artist and name are both the whole title",
         "DTITLE=beatles, the**\nDTITLE=Other\nDYEAR=\n", "Beatles, The** / The Beatles / - / - / "},
        // Leading zeros are no track numbers; Latin-1 bytes are read as such.
        {"a track value starting below the space ends the list",
         "TTITLE0=Caf\xe9\nTTITLE01=x\nTTITLE1=\tTab\nTTITLE2=Three\n", "- / - / - / - / Caf\xc3\xa9"},
    };
    const auto shown = [](const QString& value) {
        return value.isNull() ? QStringLiteral("-") : value;
    };
    for (const auto& row : rows) {
        const auto album = AlbumInfo::albumWithFreeDBData(xmcd(row.body));
        ASSERT_TRUE(album.has_value()) << row.name;
        const QStringList parts{shown(album->artist()), shown(album->name()), shown(album->year()),
                                shown(album->genre()), album->trackNames().join(QStringLiteral("; "))};
        EXPECT_EQ(parts.join(QStringLiteral(" / ")), QString::fromUtf8(row.album)) << row.name;
    }
    EXPECT_FALSE(AlbumInfo::albumWithFreeDBData(QByteArray()).has_value());
    // Track numbers are bounded.
    QByteArray many = xmcd("DTITLE=A / B\n");
    for (int i = 0; i < CDDBTextParser::MaximumTracks + 50; ++i)
        many += "TTITLE" + QByteArray::number(i) + "=t" + QByteArray::number(i) + "\n";
    EXPECT_EQ(CDDBTextParser::parse(many).tracks.size(), CDDBTextParser::MaximumTracks);
}

TEST(AlbumInfoAssets, FlagsScoreAndSummary)
{
    AlbumInfo album(QString(), QStringLiteral("Name"));
    album.setArtURLString(QStringLiteral("//img.example/a.jpg"));
    EXPECT_EQ(album.artURLString(), QStringLiteral("http://img.example/a.jpg"));
    EXPECT_EQ(album.assets(), AlbumAssets(AlbumAsset::Artwork | AlbumAsset::AlbumName | AlbumAsset::Track));
    EXPECT_FLOAT_EQ(
        album.matchToDesiredAssets(AlbumAsset::AlbumName | AlbumAsset::Artwork | AlbumAsset::Lyrics),
        2.0f / 3.0f);
    EXPECT_FLOAT_EQ(album.matchToDesiredAssets(AlbumAssets()), -1.0f);
    EXPECT_FLOAT_EQ(album.matchToDesiredAssets(AlbumAsset::Tempo), 0.0f);
    album.lyrics().insert(QStringLiteral("song"), QStringLiteral("la la"));
    album.setYear(QStringLiteral("2001"));
    EXPECT_TRUE(album.assets().testFlag(AlbumAsset::Lyrics));
    EXPECT_FALSE(album.assets().testFlag(AlbumAsset::SongTitle));
    album.setArtURLString(QString());
    EXPECT_TRUE(album.artURLString().isEmpty());

    EXPECT_EQ(AlbumInfo::summaryOfAssets(AllAlbumAssets),
              QStringLiteral("Artist, Album, Title, Lyrics, Genre, Year, Track, Artwork"));
    EXPECT_EQ(AlbumInfo::summaryOfAssets(AlbumAsset::Year | AlbumAsset::Artist),
              QStringLiteral("Artist, Year"));
}

TEST(AlbumInfoPruning, SameNamesCollapseIntoTheFirstWithSharedValues)
{
    AlbumInfo first(QStringLiteral("Band"), QStringLiteral("The Album"));
    first.setYear(QStringLiteral("1999"));
    AlbumInfo second(QStringLiteral("Band"), QStringLiteral("album"));
    second.setYear(QStringLiteral("1987-06-01"));
    second.setGenres(QStringLiteral("Rock"));
    second.setArtURLString(QStringLiteral("http://x/cover.jpg"));
    AlbumInfo third(QStringLiteral("Band"), QStringLiteral("ALBUM!"));
    AlbumInfo other(QStringLiteral("Band"), QStringLiteral("Another One"));
    other.setYear(QStringLiteral("1500"));
    QList<AlbumInfo> albums{first, second, third, other};

    AlbumInfo::simplifyAlbumArray(albums, QString());
    ASSERT_EQ(albums.size(), 2);
    EXPECT_EQ(albums[0].name(), QStringLiteral("The Album"));
    EXPECT_EQ(albums[0].year(), QStringLiteral("1987"));
    EXPECT_EQ(albums[0].genre(), QStringLiteral("Rock"));
    EXPECT_EQ(albums[0].artURLString(), QStringLiteral("http://x/cover.jpg"));
    EXPECT_EQ(albums[0].duplicates(), 2);
    // A year of 1600 or less is never taken as the earliest.
    EXPECT_EQ(albums[1].year(), QStringLiteral("1500"));
    EXPECT_EQ(albums[1].duplicates(), 0);

    EXPECT_EQ(albums[0].copy().duplicates(), 0);
    EXPECT_TRUE(
        albums[0].description().contains(QStringLiteral(" AlbumInfo 'The Album' by Band year=1987 genre=Rock "
                                                        "dupes=2 cover=http://x/cover.jpg ()>")));
}

TEST(AlbumInfoPruning, AlbumsWithoutTheTitleGoWhenSomeAlbumHasIt)
{
    QList<AlbumInfo> albums{albumWithTracks(QStringLiteral("One"), {QStringLiteral("Nothing")}),
                            albumWithTracks(QStringLiteral("Two"), {QStringLiteral("My Song (Live)")}),
                            albumWithTracks(QStringLiteral("Three"), {QStringLiteral("Other")})};
    QList<AlbumInfo> none = albums;
    AlbumInfo::simplifyAlbumArray(albums, QStringLiteral("My Song"));
    ASSERT_EQ(albums.size(), 1);
    EXPECT_EQ(albums[0].name(), QStringLiteral("Two"));
    AlbumInfo::simplifyAlbumArray(none, QStringLiteral("Unknown"));
    EXPECT_EQ(none.size(), 3);

    QList<AlbumInfo> counted{
        albumWithTracks(QStringLiteral("A"), {QStringLiteral("x")}),
        albumWithTracks(QStringLiteral("B"), {QStringLiteral("x"), QStringLiteral("y")})};
    AlbumInfo::eliminateAlbumsFromArray(counted, 3);
    EXPECT_EQ(counted.size(), 2);
    AlbumInfo::eliminateAlbumsFromArray(counted, 2);
    ASSERT_EQ(counted.size(), 1);
    EXPECT_EQ(counted[0].name(), QStringLiteral("B"));
}
