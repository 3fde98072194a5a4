#include "AlbumSourceTestKit.h"
#include "TestSupport.h"

#include "web/MusicBrainzReleaseReader.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

using Reader = MusicBrainzReleaseReader;

const QString kID = QStringLiteral("11111111-2222-3333-4444-555555555555");

QJsonObject object(const char* text)
{
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

QVariantMap coverResources()
{
    return {{QStringLiteral("coverArtURL"), QStringLiteral("https://covers.test/release/%@/front-%@")},
            {QStringLiteral("coverArtOriginalURL"), QStringLiteral("https://covers.test/release/%@/front")}};
}

// Two media given out of order, tracks out of order, one track named only by
// its recording.
const char* const kRelease = R"({
  "id": "11111111-2222-3333-4444-555555555555", "title": "Paper Lanterns",
  "date": "2004-05-01",
  "release-group": {"id": "g1", "first-release-date": "1999-10-12"},
  "artist-credit": [{"name": "Quiet Engines", "joinphrase": " feat. "}, {"artist": {"name": "Guest"}}],
  "genres": [{"name": "shoegaze", "count": 2}, {"name": "dream pop", "count": 7}, {"name": "", "count": 9}],
  "media": [
    {"position": 2, "tracks": [{"position": 1, "title": "Second Disc Opener"}]},
    {"position": 1, "tracks": [{"position": 2, "title": "Slow Tide"},
                               {"position": 1, "title": "", "recording": {"title": "Open Window"}},
                               {"position": 3}]}
  ]})";

QByteArray fixture(const char* name)
{
    return AlbumSourceTestKit::readFixture(QStringLiteral("musicbrainz/") + QLatin1String(name));
}

} // namespace

TEST(MusicBrainzReader, QueryTextIsQuotedAndSurvivesURLEncoding)
{
    EXPECT_EQ(Reader::quotedTerm(QStringLiteral("Say \"Hi\" \\o/")),
              QStringLiteral("\"Say \\\"Hi\\\" \\\\o/\""));
    const QString query = Reader::releaseQuery(QStringLiteral("A+B & C #1"), QStringLiteral("Ünder 100%"));
    EXPECT_EQ(query, QStringLiteral("release:\"A+B & C #1\" AND artist:\"Ünder 100%\""));
    EXPECT_EQ(Reader::releaseQuery(QStringLiteral("Hits"), QString()), QStringLiteral("release:\"Hits\""));

    const QUrl url = Reader::urlWithQuery(
        QStringLiteral("https://db.test/ws/2/release"),
        {{QStringLiteral("query"), query}, {QStringLiteral("fmt"), QStringLiteral("json")}});
    const QString encoded = url.toString(QUrl::FullyEncoded);
    EXPECT_TRUE(encoded.contains(QStringLiteral("%2B"))) << "a plus sign would be read as a blank";
    EXPECT_TRUE(encoded.contains(QStringLiteral("%26"))) << "an ampersand would end the value";
    EXPECT_EQ(QUrlQuery(url).queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded), query);
    EXPECT_EQ(QUrlQuery(url).queryItemValue(QStringLiteral("fmt")), QStringLiteral("json"));
    EXPECT_EQ(QUrl(url.toString(QUrl::FullyEncoded)), url) << "the queue's answer URL must equal it";
    EXPECT_TRUE(Reader::urlWithQuery(QStringLiteral("no scheme"), {}).isEmpty());
}

TEST(MusicBrainzReader, YearFallsBackToDateThenEarliestEvent)
{
    EXPECT_EQ(
        Reader::yearOfRelease(object(R"({"date": "1987", "release-group": {"first-release-date": ""}})")),
        QStringLiteral("1987"));
    EXPECT_EQ(Reader::yearOfRelease(object(R"({"date": "??", "release-events": [{"date": "2001-02"},
              {"date": "1995-01-01"}, {"date": null}, {"date": "x995"}]})")),
              QStringLiteral("1995"));
    EXPECT_TRUE(Reader::yearOfRelease(object(R"({"date": 1999})")).isNull());
}

TEST(MusicBrainzReader, CoverSizeFitsMinimumAndMaximum)
{
    const QList<int> sizes{1200, 250, 500};
    EXPECT_EQ(Reader::coverArtSize(0.0f, 0.0f, sizes, 500), 500);
    EXPECT_EQ(Reader::coverArtSize(0.0f, 300.0f, sizes, 500), 250);
    EXPECT_EQ(Reader::coverArtSize(0.0f, 100.0f, sizes, 500), 250) << "never nothing without a minimum";
    EXPECT_EQ(Reader::coverArtSize(250.0f, 0.0f, sizes, 500), 250);
    EXPECT_EQ(Reader::coverArtSize(501.0f, 0.0f, sizes, 500), 1200);
    EXPECT_EQ(Reader::coverArtSize(1500.0f, 0.0f, sizes, 500), 0) << "the original image";

    const QJsonObject release = object(kRelease);
    EXPECT_TRUE(Reader::albumFromRelease(release, coverResources(), 900.0f, 0.0f)
                    ->artURLString()
                    .endsWith(QStringLiteral("/front-1200")));
    EXPECT_TRUE(Reader::albumFromRelease(release, coverResources(), 2000.0f, 0.0f)
                    ->artURLString()
                    .endsWith(QStringLiteral("/front")));
    EXPECT_TRUE(Reader::albumFromRelease(release, QVariantMap(), 0.0f, 0.0f)->artURLString().isEmpty());

    QJsonObject noFront = release;
    noFront.insert(QStringLiteral("cover-art-archive"), object(R"({"front": false, "count": 0})"));
    const auto album = Reader::albumFromRelease(noFront, coverResources(), 0.0f, 0.0f);
    ASSERT_TRUE(album) << "an album without a cover is still an album";
    EXPECT_TRUE(album->artURLString().isEmpty());
}

TEST(MusicBrainzReader, DamagedReleasesGiveNoAlbumAndAReason)
{
    QString reason;
    EXPECT_FALSE(Reader::albumFromReleaseJSON("[1, 2]", coverResources(), 0, 0, &reason));
    EXPECT_FALSE(reason.isEmpty());
    EXPECT_FALSE(Reader::albumFromReleaseJSON("{\"title\": \"x\", ", coverResources(), 0, 0, &reason));
    EXPECT_FALSE(Reader::albumFromReleaseJSON(QByteArray(Reader::kMaxAnswerLength + 1, ' '), coverResources(),
                                              0, 0, &reason));
    EXPECT_TRUE(reason.contains(QStringLiteral("too long")));

    QJsonObject release = object(kRelease);
    release.remove(QStringLiteral("media"));
    EXPECT_FALSE(Reader::albumFromRelease(release, coverResources(), 0, 0, &reason));
    EXPECT_EQ(reason, QStringLiteral("release without media"));
    release.insert(
        QStringLiteral("media"),
        object(R"({"m": [{"tracks": "none"}, 7, {"tracks": [{"title": 3}]}]})").value(QStringLiteral("m")));
    EXPECT_FALSE(Reader::albumFromRelease(release, coverResources(), 0, 0, &reason));
    EXPECT_EQ(reason, QStringLiteral("release without tracks"));

    EXPECT_FALSE(Reader::albumFromRelease(object(R"({"title": 12, "artist-credit": "x", "media": {}})"),
                                          coverResources(), 0, 0));
}

TEST(MusicBrainzReader, ChoosesOfficialAlbumsAndOneReleasePerGroupFirst)
{
    const QJsonObject answer = object(R"({"releases": [
      {"id": "00000000-0000-0000-0000-000000000001", "status": "Bootleg", "release-group": {"id": "g1", "primary-type": "Album"}},
      {"id": "00000000-0000-0000-0000-000000000002", "status": "Official", "release-group": {"id": "g2", "primary-type": "Single"}},
      {"id": "00000000-0000-0000-0000-000000000003", "status": "Official", "release-group": {"id": "g3", "primary-type": "Album"}},
      {"id": "00000000-0000-0000-0000-000000000004", "status": "Official", "release-group": {"id": "g3", "primary-type": "Album"}},
      {"id": "00000000-0000-0000-0000-000000000005", "status": "Official",
       "release-group": {"id": "g5", "primary-type": "Album", "secondary-types": ["Live"]}},
      {"id": "../../../../admin?x=0000000000000000", "status": "Official", "release-group": {"id": "g6", "primary-type": "Album"}},
      "junk", {"title": "no id"}]})");
    const QList<Reader::Candidate> candidates = Reader::candidatesOfReleaseSearch(answer);
    ASSERT_EQ(candidates.size(), 5) << "entries without a proper identifier are dropped";
    const auto id = [](int n) {
        return QStringLiteral("00000000-0000-0000-0000-00000000000%1").arg(n);
    };
    EXPECT_EQ(Reader::chosenReleaseIDs(candidates, 10), QStringList({id(3), id(2), id(5), id(1), id(4)}));
    EXPECT_EQ(Reader::chosenReleaseIDs(candidates, 2), QStringList({id(3), id(2)}));
    EXPECT_TRUE(Reader::chosenReleaseIDs(candidates, 0).isEmpty());
}

// Real answers of the service, read with the shipped resources.
TEST(MusicBrainzReader, RealAnswers)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const QVariantMap shipped = AlbumSourceTestKit::shippedSection(QStringLiteral("MusicBrainzInterface"));
    ASSERT_FALSE(shipped.isEmpty());

    QString reason;
    const auto dark = Reader::albumFromReleaseJSON(fixture("release_lookup_dark_side_of_the_moon.json"),
                                                   shipped, 0, 0, &reason);
    ASSERT_TRUE(dark) << reason.toStdString();
    EXPECT_EQ(QStringList({dark->artist(), dark->name(), dark->year(), dark->genre()}).join(QLatin1Char('|')),
              QStringLiteral("Pink Floyd|The Dark Side of the Moon|1973|Genre1"));
    ASSERT_EQ(dark->trackNames().size(), 10);
    EXPECT_EQ(dark->trackNames().first(), QStringLiteral("Speak to Me"));
    EXPECT_EQ(
        dark->artURLString(),
        QStringLiteral("https://coverartarchive.org/release/b84ee12a-09ef-421b-82de-0441a926375b/front-500"));

    // Two media in order; the release names no artist, and its archive entry has no front cover.
    const QJsonObject careless = *Reader::jsonObject(fixture("release_lookup_multidisc_careless.json"));
    const QStringList tracks = Reader::trackNamesOfRelease(careless);
    ASSERT_EQ(tracks.size(), 7);
    EXPECT_EQ(tracks.at(3), QStringLiteral("ケアレス -Instrumental-"));
    EXPECT_EQ(tracks.at(4), QStringLiteral("ケアレス (Music Video)"));
    EXPECT_FALSE(Reader::hasFrontCover(careless));
    EXPECT_FALSE(Reader::albumFromRelease(careless, shipped, 0, 0, &reason));
    EXPECT_EQ(reason, QStringLiteral("release without artist credit"));

    EXPECT_FALSE(
        Reader::albumFromReleaseJSON(fixture("release_lookup_b84ee12a_no_inc.json"), shipped, 0, 0, &reason));
    EXPECT_EQ(reason, QStringLiteral("release without media"));

    const auto search = Reader::jsonObject(fixture("release_search_you_want_it_darker.json"));
    ASSERT_TRUE(search);
    const QList<Reader::Candidate> candidates = Reader::candidatesOfReleaseSearch(*search);
    ASSERT_EQ(candidates.size(), 25);
    EXPECT_EQ(candidates.first().artist, QStringLiteral("Leonard Cohen"));
    EXPECT_EQ(candidates.first().title, QStringLiteral("You Want It Darker"));
    const QStringList chosen = Reader::chosenReleaseIDs(candidates, 3);
    ASSERT_EQ(chosen.size(), 3);
    const auto chosenFirst =
        std::find_if(candidates.begin(), candidates.end(),
                     [&](const Reader::Candidate& c) { return c.releaseID == chosen.first(); });
    EXPECT_EQ(chosenFirst->rank, 0) << "an official album goes first, not the single ahead of it";
}

// The archive's index answers offer every thumbnail width we ask for.
TEST(MusicBrainzReader, RealCoverArchiveIndexesOfferTheShippedSizes)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const QVariantMap shipped = AlbumSourceTestKit::shippedSection(QStringLiteral("MusicBrainzInterface"));
    const QList<int> sizes = Reader::coverArtSizes(shipped);
    const QDir folder(AlbumSourceTestKit::fixture(QStringLiteral("coverartarchive")));
    int checked = 0;
    for (const QString& name : folder.entryList({QStringLiteral("release_*.json")})) {
        const auto index = Reader::jsonObject(TestSupport::readFile(folder.filePath(name)));
        ASSERT_TRUE(index) << name.toStdString();
        const QString id = index->value(QStringLiteral("release")).toString().section(QLatin1Char('/'), -1);
        EXPECT_TRUE(Reader::isReleaseID(id)) << name.toStdString();
        for (const QJsonValue image : index->value(QStringLiteral("images")).toArray()) {
            const QJsonObject thumbnails = image.toObject().value(QStringLiteral("thumbnails")).toObject();
            if (!image.toObject().value(QStringLiteral("front")).toBool() ||
                !thumbnails.contains(QStringLiteral("250")))
                continue; // older entries name only "small" and "large"
            for (const int size : sizes)
                EXPECT_TRUE(thumbnails.contains(QString::number(size))) << name.toStdString() << " " << size;
            EXPECT_EQ(Reader::coverArtURL(shipped, id, 500),
                      QStringLiteral("https://coverartarchive.org/release/") + id +
                          QStringLiteral("/front-500"));
            ++checked;
        }
    }
    EXPECT_GE(checked, 3);
}
