#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "web/MusicBrainzInterface.h"

#include <QHash>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

using Kit = AlbumSourceTestKit;

QString releaseID(int n)
{
    return QStringLiteral("aaaaaaaa-0000-0000-0000-%1").arg(n, 12, 10, QLatin1Char('0'));
}

// A search entry for an official album release.
QString searchEntry(int n, const QString& artist, const QString& title, const QString& group)
{
    return QStringLiteral(
               R"({"id": "%1", "title": "%2", "status": "Official", "artist-credit": [{"name": "%3"}],
  "release-group": {"id": "%4", "primary-type": "Album"}})")
        .arg(releaseID(n), title, artist, group);
}

// A release lookup answer with recordings, artist credits and genres.
QByteArray lookupJSON(int n, const QString& artist, const QString& title, const QStringList& tracks,
                      bool front = true, bool media = true)
{
    QStringList trackList;
    for (int i = 0; i < tracks.size(); ++i)
        trackList.append(QStringLiteral(R"({"position": %1, "title": "%2", "recording": {"title": "%2"}})")
                             .arg(i + 1)
                             .arg(tracks.at(i)));
    return QStringLiteral(
               R"({"id": "%1", "title": "%2", "date": "2003-04-05", "artist-credit": [{"name": "%3"}],
  "genres": [{"name": "post-rock", "count": 3}], "cover-art-archive": {"front": %4}%5})")
        .arg(releaseID(n), title, artist, front ? QStringLiteral("true") : QStringLiteral("false"),
             media ? QStringLiteral(R"(, "media": [{"position": 1, "tracks": [%1]}])")
                         .arg(trackList.join(QLatin1Char(',')))
                   : QString())
        .toUtf8();
}

QString decodedQuery(const TestHttpServer::Request& request)
{
    return QUrlQuery(QUrl(request.pathAndQuery)).queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded);
}

class MusicBrainzInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mResources = Kit::shippedSection(QStringLiteral("MusicBrainzInterface"), mServer,
                                         {{"releaseSearchURL", "/ws/2/release"},
                                          {"recordingSearchURL", "/ws/2/recording"},
                                          {"releaseLookupURL", "/ws/2/release/%@?fmt=json"}});
        ASSERT_FALSE(mResources.isEmpty());
        mServer.setHandler([this](const TestHttpServer::Request& request) {
            const QString prefix = QStringLiteral("/ws/2/release/");
            if (request.path.startsWith(prefix) && mLookups.contains(request.path.mid(prefix.size())))
                return Kit::json(mLookups.value(request.path.mid(prefix.size())));
            return Kit::json("{\"error\": \"Not Found\"}", 404);
        });
    }

    void serveSearch(const QStringList& entries)
    {
        mServer.route(QStringLiteral("/ws/2/release"),
                      Kit::json(QStringLiteral(R"({"count": %1, "releases": [%2]})")
                                    .arg(entries.size())
                                    .arg(entries.join(QLatin1Char(',')))
                                    .toUtf8()));
    }

    std::unique_ptr<MusicBrainzInterface> makeSource(const QString& album = QStringLiteral("Paper Lanterns"))
    {
        return Kit::source<MusicBrainzInterface>(mResources, QStringLiteral("Quiet Engines"),
                                                 QStringLiteral("Slow Tide"), album);
    }

    int lookups() const
    {
        int count = 0;
        for (const auto& request : mServer.requests())
            count += request.path.startsWith(QStringLiteral("/ws/2/release/")) ? 1 : 0;
        return count;
    }

    TestHttpServer mServer;
    QVariantMap mResources;
    QHash<QString, QByteArray> mLookups;
};

} // namespace

TEST_F(MusicBrainzInterfaceTest, SearchesReleasesThenLooksUpTheFittingOnes)
{
    const QString artist = QStringLiteral("Quiet Engines");
    const QString title = QStringLiteral("Paper Lanterns");
    const QString deluxe = QStringLiteral("Paper Lanterns (Deluxe)");
    serveSearch({searchEntry(1, artist, title, QStringLiteral("g1")),
                 searchEntry(2, artist, title, QStringLiteral("g1")),
                 searchEntry(3, QStringLiteral("Loud Engines Tribute Band"), title, QStringLiteral("g3")),
                 searchEntry(4, artist, deluxe, QStringLiteral("g4")),
                 searchEntry(5, artist, QStringLiteral("Other Record"), QStringLiteral("g5"))});
    const QStringList tracks{QStringLiteral("Open Window"), QStringLiteral("Slow Tide")};
    mLookups.insert(releaseID(1), lookupJSON(1, artist, title, tracks));
    mLookups.insert(releaseID(2), lookupJSON(2, artist, title, tracks));
    mLookups.insert(releaseID(4), lookupJSON(4, artist, deluxe, tracks, false));
    mResources.insert(QStringLiteral("maximumMatches"), 2);

    auto source = makeSource();
    ASSERT_TRUE(Kit::runOnce(*source));

    const auto search = mServer.requests().value(0);
    EXPECT_EQ(search.path, QStringLiteral("/ws/2/release"));
    EXPECT_EQ(decodedQuery(search),
              QStringLiteral("release:\"Paper Lanterns\" AND artist:\"Quiet Engines\""));
    EXPECT_EQ(QUrlQuery(QUrl(search.pathAndQuery)).queryItemValue(QStringLiteral("fmt")),
              QStringLiteral("json"));
    EXPECT_EQ(lookups(), 2) << "maximumMatches bounds the lookups";
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/ws/2/release/") + releaseID(2)), 0)
        << "a second release of one group waits behind other groups";

    ASSERT_EQ(source->albums().size(), 2);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("MusicBrainzInterface"));
    EXPECT_EQ(album.artist(), artist);
    EXPECT_EQ(album.name(), title);
    EXPECT_EQ(album.year(), QStringLiteral("2003"));
    EXPECT_EQ(album.genre(), QStringLiteral("Post-rock"));
    EXPECT_EQ(album.trackNames(), tracks);
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Slow Tide"), false), 2);
    EXPECT_EQ(album.artURLString(), QStringLiteral("https://coverartarchive.org/release/") + releaseID(1) +
                                        QStringLiteral("/front-500"));
    EXPECT_TRUE(source->albums().at(1).artURLString().isEmpty()) << "the archive has no front cover for it";
}

TEST_F(MusicBrainzInterfaceTest, BadAnswersGiveNoAlbumAndALogLine)
{
    // Always too many requests: the queue gives up after its retries.
    mServer.route(QStringLiteral("/ws/2/release"), Kit::json("{}", 429).header("Retry-After", "0"));
    auto limited = makeSource();
    ASSERT_TRUE(Kit::runOnce(*limited));
    EXPECT_TRUE(limited->albums().isEmpty());
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("musicbrainz: search results error")));

    // A search answer of another shape, a release without media, a release that is a list.
    const QString artist = QStringLiteral("Quiet Engines");
    const QString title = QStringLiteral("Paper Lanterns");
    serveSearch({searchEntry(1, artist, title, QStringLiteral("g1")),
                 searchEntry(2, artist, title, QStringLiteral("g2"))});
    mLookups.insert(releaseID(1), lookupJSON(1, artist, title, {QStringLiteral("x")}, true, false));
    mLookups.insert(releaseID(2), "[{\"title\": \"Paper Lanterns\"}]");
    auto damaged = makeSource(QStringLiteral("Paper Lanterns Again"));
    damaged->setAllowSubstringTrackMatches(true);
    ASSERT_TRUE(Kit::runOnce(*damaged));
    EXPECT_EQ(lookups(), 2);
    EXPECT_TRUE(damaged->albums().isEmpty());
    EXPECT_TRUE(
        Kit::logText().contains(QStringLiteral("musicbrainz: no album in release, release without media")));
    EXPECT_TRUE(
        Kit::logText().contains(QStringLiteral("musicbrainz: release error answer is no JSON object")));

    mServer.route(QStringLiteral("/ws/2/release"), Kit::json("{\"releases\": {\"id\": 5}}"));
    auto odd = makeSource(QStringLiteral("Paper Lanterns Odd"));
    ASSERT_TRUE(Kit::runOnce(*odd));
    EXPECT_TRUE(odd->albums().isEmpty());
}

// The real lookup answer served for a search of our own making, with the shipped resources.
TEST_F(MusicBrainzInterfaceTest, RealReleaseLookupThroughTheSource)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const QString id = QStringLiteral("b84ee12a-09ef-421b-82de-0441a926375b");
    serveSearch({searchEntry(0, QStringLiteral("Pink Floyd"), QStringLiteral("The Dark Side of the Moon"),
                             QStringLiteral("g"))
                     .replace(releaseID(0), id)});
    mLookups.insert(
        id, Kit::readFixture(QStringLiteral("musicbrainz/release_lookup_dark_side_of_the_moon.json")));
    auto source =
        Kit::source<MusicBrainzInterface>(mResources, QStringLiteral("Pink Floyd"), QStringLiteral("Money"),
                                          QStringLiteral("Dark Side of the Moon"));
    source->setMinimumAcceptableImageSize(800);
    ASSERT_TRUE(Kit::runOnce(*source));
    ASSERT_EQ(source->albums().size(), 1);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.year(), QStringLiteral("1973"));
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Money"), false), 6);
    EXPECT_EQ(album.artURLString(),
              QStringLiteral("https://coverartarchive.org/release/") + id + QStringLiteral("/front-1200"));
}
