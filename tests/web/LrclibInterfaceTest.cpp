#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "text/WendmarkTextExtensions.h"
#include "web/LrclibInterface.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

using Reader = LrclibAnswerReader;
using Kit = AlbumSourceTestKit;

QString verse(const QString& word)
{
    return QStringLiteral("The %1 is rolling over the harbour wall\nand every lantern on the pier goes dark\n"
                          "we keep on singing till the morning comes\nslow tide, slow tide, carry me home")
        .arg(word);
}

QJsonObject record(const QString& track, const QString& artist, const QString& album, double duration,
                   const QString& lyrics, bool instrumental = false)
{
    return QJsonObject{{QStringLiteral("id"), 1},
                       {QStringLiteral("trackName"), track},
                       {QStringLiteral("artistName"), artist},
                       {QStringLiteral("albumName"), album},
                       {QStringLiteral("duration"), duration},
                       {QStringLiteral("instrumental"), instrumental},
                       {QStringLiteral("plainLyrics"), lyrics.isEmpty() ? QJsonValue() : QJsonValue(lyrics)},
                       {QStringLiteral("syncedLyrics"), QJsonValue()}};
}

TestHttpServer::Response json(const QJsonObject& object)
{
    return Kit::json(QJsonDocument(object).toJson());
}

TestHttpServer::Response json(const QJsonArray& array)
{
    return Kit::json(QJsonDocument(array).toJson());
}

Reader::Wanted wantedSong(const char* artist, const char* title, const char* album, double duration)
{
    Reader::Wanted wanted;
    wanted.artists = {WendmarkTextExtensions::simplified(QString::fromUtf8(artist))};
    wanted.title = WendmarkTextExtensions::simplified(QString::fromUtf8(title));
    wanted.album = WendmarkTextExtensions::simplified(QString::fromUtf8(album));
    wanted.duration = duration;
    return wanted;
}

QByteArray fixture(const char* name)
{
    return Kit::readFixture(QStringLiteral("lrclib/") + QLatin1String(name));
}

class LrclibInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mResources = Kit::shippedSection(QStringLiteral("LrclibInterface"), mServer,
                                         {{"getURL", "/api/get"}, {"searchURL", "/api/search"}});
        ASSERT_FALSE(mResources.isEmpty());
        mServer.route(
            QStringLiteral("/api/get"),
            Kit::json(
                R"({"message":"Failed to find specified track","name":"TrackNotFound","statusCode":404})",
                404));
        mServer.route(QStringLiteral("/api/search"), Kit::json("[]"));
    }

    std::unique_ptr<LrclibInterface> makeSource(double duration,
                                                const QString& title = QStringLiteral("Slow Tide"),
                                                const QString& artist = QStringLiteral("Quiet Engines"),
                                                const QString& album = QStringLiteral("Paper Lanterns"))
    {
        auto source = Kit::source<LrclibInterface>(mResources, artist, title, album);
        source->setSongDuration(duration);
        return source;
    }

    static QString lyricsOf(const WebDBInterface& source)
    {
        if (source.albums().size() != 1)
            return QString();
        const QString key = WendmarkTextExtensions::simplified(QStringLiteral("Slow Tide"));
        return source.albums().first().lyrics().value(key).toString();
    }

    TestHttpServer mServer;
    QVariantMap mResources;
};

} // namespace

TEST(LrclibReader, RecordsAndTheirText)
{
    const auto found = Reader::recordOfGetAnswer(
        QJsonDocument(record(QStringLiteral("Slow Tide"), QStringLiteral("Quiet Engines"), QString(), 201.5,
                             verse(QStringLiteral("x"))))
            .toJson());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->duration, 201.5);
    EXPECT_FALSE(
        Reader::recordOfGetAnswer(R"({"message":"Failed","name":"TrackNotFound","statusCode":404})"));
    EXPECT_FALSE(Reader::recordOfGetAnswer("[{\"trackName\": \"x\"}]"));
    EXPECT_FALSE(Reader::recordOfGetAnswer("{\"trackName\": "));
    EXPECT_TRUE(Reader::recordsOfSearchAnswer("{\"trackName\": \"x\"}").isEmpty());
    EXPECT_EQ(Reader::recordsOfSearchAnswer(
                  "[1, \"a\", {\"trackName\": 5}, {\"trackName\": \"Song\", \"duration\": \"long\"}]")
                  .size(),
              1);

    Reader::Record synced;
    synced.syncedLyrics =
        QStringLiteral("[ar: Quiet Engines]\n[00:01.00] One\n[00:02.10][00:09.00] Two\n[00:04.00]\n"
                       "[00:05.00] [Chorus]\n[broken");
    EXPECT_EQ(Reader::lyricsText(synced), QStringLiteral("One\nTwo\n\n[Chorus]\n[broken"));
    synced.plainLyrics = QStringLiteral("Plain wins");
    EXPECT_EQ(Reader::lyricsText(synced), QStringLiteral("Plain wins"));
    synced.instrumental = true;
    EXPECT_TRUE(Reader::lyricsText(synced).isNull());
}

TEST(LrclibReader, RankingPrefersEqualTitleThenAlbumThenNearerDuration)
{
    const QString text = verse(QStringLiteral("sea"));
    const QString artist = QStringLiteral("Quiet Engines");
    QList<Reader::Record> records;
    for (const QJsonObject& object :
         {record(QStringLiteral("Slow Tide (Live)"), artist, QStringLiteral("Paper Lanterns"), 200, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Singles"), 201, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Paper Lanterns"), 202, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Paper Lanterns"), 200.5, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Paper Lanterns"), 197.9, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Paper Lanterns"), 200, QString(), true),
          record(QStringLiteral("Slow Tide"), QStringLiteral("Someone Else"),
                 QStringLiteral("Paper Lanterns"), 200, text),
          record(QStringLiteral("Slow Tide"), artist, QStringLiteral("Paper Lanterns"), 200, QString())})
        records.append(*Reader::recordFromObject(object));

    const Reader::Wanted wanted = wantedSong("Quiet Engines", "Slow Tide", "Paper Lanterns", 200.0);
    EXPECT_EQ(Reader::rankedCandidates(records, wanted), QList<qsizetype>({3, 2, 1, 0}))
        << "2.1 s away, instrumental, another artist and no text are out";

    Reader::Wanted unknownLength = wanted;
    unknownLength.duration = 0.0;
    EXPECT_EQ(Reader::rankedCandidates(records, unknownLength), QList<qsizetype>({2, 3, 4, 1, 0}));
}

TEST_F(LrclibInterfaceTest, NotFoundOrTooFarOffFallsBackToTheSearch)
{
    const QString artist = QStringLiteral("Quiet Engines");
    mServer.route(
        QStringLiteral("/api/search"),
        json(QJsonArray{
            record(QStringLiteral("Slow Tide"), artist, QString(), 150, verse(QStringLiteral("a"))),
            record(QStringLiteral("Slow Tide"), artist, QString(), 200, QString(), true),
            record(QStringLiteral("Slow Tide"), artist, QString(), 201, verse(QStringLiteral("sea")))}));
    auto source = makeSource(200);
    ASSERT_TRUE(Kit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/api/get")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/api/search")), 1);
    EXPECT_TRUE(lyricsOf(*source).startsWith(QStringLiteral("The sea is rolling")));
    const QUrlQuery query(QUrl(mServer.requests().last().pathAndQuery));
    EXPECT_EQ(query.queryItemValue(QStringLiteral("track_name")), QStringLiteral("Slow Tide"));

    // The exact answer is 5 seconds off: another recording.
    mServer.route(QStringLiteral("/api/get"), json(record(QStringLiteral("Slow Tide"), artist, QString(), 206,
                                                          verse(QStringLiteral("wrong")))));
    auto tooLong = makeSource(201);
    ASSERT_TRUE(Kit::runOnce(*tooLong));
    EXPECT_TRUE(lyricsOf(*tooLong).startsWith(QStringLiteral("The sea is rolling")));
}

TEST_F(LrclibInterfaceTest, InstrumentalTrackGivesNoLyrics)
{
    mServer.route(QStringLiteral("/api/get"),
                  json(record(QStringLiteral("Slow Tide"), QStringLiteral("Quiet Engines"), QString(), 200,
                              QString(), true)));
    auto source = makeSource(200);
    ASSERT_TRUE(Kit::runOnce(*source));
    EXPECT_TRUE(source->albums().isEmpty());
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/api/search")), 0);
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("'Slow Tide' is instrumental")));
}

TEST_F(LrclibInterfaceTest, BadAnswersGiveNoLyricsAndALogLine)
{
    mServer.route(QStringLiteral("/api/search"), Kit::json("{\"unexpected\": true}"));
    auto odd = makeSource(0);
    ASSERT_TRUE(Kit::runOnce(*odd));
    EXPECT_TRUE(odd->albums().isEmpty());
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("0 of 0 records fit")));

    mServer.route(QStringLiteral("/api/search"),
                  TestHttpServer::Response::text("busy", "text/plain", 503).header("Retry-After", "0"));
    auto busy = makeSource(0, QStringLiteral("Slow Tide Busy"));
    ASSERT_TRUE(Kit::runOnce(*busy));
    EXPECT_TRUE(busy->albums().isEmpty());
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("lrclib: search error")));
}

// Real answers of the service.
TEST(LrclibReader, RealAnswers)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const auto exact = Reader::recordOfGetAnswer(fixture("get_i_want_to_live_borislav_slavov.json"));
    ASSERT_TRUE(exact);
    const Reader::Wanted wanted = wantedSong("Borislav Slavov", "I Want to Live", "Baldur's Gate 3", 233.0);
    EXPECT_TRUE(Reader::recordFits(*exact, wanted));
    EXPECT_TRUE(Reader::lyricsText(*exact).startsWith(QStringLiteral("I feel your breath upon my neck")));
    EXPECT_FALSE(Reader::recordOfGetAnswer(fixture("get_not_found_404.json")));

    const QList<Reader::Record> byFields =
        Reader::recordsOfSearchAnswer(fixture("search_track_and_artist_i_want_to_live.json"));
    ASSERT_EQ(byFields.size(), 20);
    const QList<qsizetype> ranked = Reader::rankedCandidates(byFields, wanted);
    ASSERT_FALSE(ranked.isEmpty());
    EXPECT_EQ(byFields.at(ranked.first()).albumName, QStringLiteral("Baldur's Gate 3"));
    for (const qsizetype index : ranked) {
        EXPECT_FALSE(byFields.at(index).instrumental);
        EXPECT_LE(qAbs(byFields.at(index).duration - 233.0), 2.0);
    }

    const QList<Reader::Record> byQuery =
        Reader::recordsOfSearchAnswer(fixture("search_q_i_want_to_live.json"));
    const QList<qsizetype> denver =
        Reader::rankedCandidates(byQuery, wantedSong("John Denver", "I Want to Live", "", 230.0));
    ASSERT_EQ(denver.size(), 2) << "226 s and 164 s are other recordings";
    EXPECT_EQ(byQuery.at(denver.at(0)).trackName, QStringLiteral("I Want to Live"));
    EXPECT_EQ(byQuery.at(denver.at(1)).trackName, QStringLiteral("I Want To Live (Remastered)"));
}

// The real exact answer through the whole source, with the shipped resources.
TEST_F(LrclibInterfaceTest, RealExactAnswerThroughTheSource)
{
    QB_SKIP_WITHOUT_FIXTURES();
    mServer.route(QStringLiteral("/api/get"), Kit::json(fixture("get_i_want_to_live_borislav_slavov.json")));
    auto source = makeSource(233.4, QStringLiteral("I Want to Live"), QStringLiteral("Borislav Slavov"),
                             QStringLiteral("Baldur's Gate 3 (Original Game Soundtrack)"));
    ASSERT_TRUE(Kit::runOnce(*source));
    ASSERT_EQ(source->albums().size(), 1) << Kit::logText().right(600).toStdString();
    const QString lyrics = source->albums()
                               .first()
                               .lyrics()
                               .value(WendmarkTextExtensions::simplified(QStringLiteral("I Want to Live")))
                               .toString();
    EXPECT_TRUE(lyrics.startsWith(QStringLiteral("I feel your breath upon my neck")))
        << lyrics.left(80).toStdString();
}
