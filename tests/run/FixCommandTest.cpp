// quillbeat-cli fix, run as a program over a folder of real MP3 files, its
// one web source, a stand-in of the open music database, sent to the local
// test server through QUILLBEAT_RESOURCES: values lent between the songs of
// an album, one release search and lookup per album wherever its songs stand
// in the table, a dry run, Ctrl-C, and other writers of the folder meanwhile.
#include "CliProcess.h"
#include "ID3TestData.h"
#include "LoadTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/ID3Image.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrlQuery>

#include <gtest/gtest.h>

#include <csignal>

namespace {

const QString kLights = QStringLiteral("Harbour Lights");
const QString kLowTide = QStringLiteral("Low Tide");

struct Album
{
    QString artist;
    QString name;
    QString year;
    QStringList tracks;
};

QString releaseID(qsizetype index)
{
    return QStringLiteral("00000000-0000-4000-8000-%1").arg(index, 12, 10, QLatin1Char('0'));
}

QJsonArray credit(const QString& artist)
{
    return QJsonArray{QJsonObject{{QStringLiteral("name"), artist}}};
}

// A release as searches list it, or as a lookup gives it, with its tracks.
QJsonObject release(qsizetype index, const Album& album, bool lookup)
{
    QJsonObject release{{QStringLiteral("id"), releaseID(index)},
                        {QStringLiteral("title"), album.name},
                        {QStringLiteral("status"), QStringLiteral("Official")},
                        {QStringLiteral("date"), album.year},
                        {QStringLiteral("artist-credit"), credit(album.artist)}};
    QJsonArray tracks;
    for (qsizetype i = 0; lookup && i < album.tracks.size(); ++i)
        tracks.append(
            QJsonObject{{QStringLiteral("position"), i + 1}, {QStringLiteral("title"), album.tracks.at(i)}});
    if (lookup)
        release.insert(QStringLiteral("media"), QJsonArray{QJsonObject{{QStringLiteral("tracks"), tracks}}});
    return release;
}

TestHttpServer::Response json(const QJsonObject& object)
{
    return TestHttpServer::Response::text(QJsonDocument(object).toJson(QJsonDocument::Compact),
                                          "application/json");
}

class FixCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mServer.setHandler([this](const TestHttpServer::Request& request) { return answer(request); });
        const QString name =
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name());
        useAlbums({}, name);
        mResources = CliProcess::musicBrainzResources(QStringLiteral("fix-") + name,
                                                      mServer.url(QString()).toString());
        ASSERT_FALSE(mResources.isEmpty());
    }

    // Answers from mAlbums (names and artists compared but for case) and
    // counts each album's searches and lookups; without albums, nothing is
    // found.
    TestHttpServer::Response answer(const TestHttpServer::Request& request)
    {
        const QRegularExpressionMatch terms =
            QRegularExpression(
                QStringLiteral("(release|recording):\"([^\"]*)\"(?: AND artist:\"([^\"]*)\")?"))
                .match(QUrlQuery(QUrl(request.pathAndQuery))
                           .queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded));
        const auto same = [](const QString& a, const QString& b) {
            return !a.compare(b, Qt::CaseInsensitive);
        };
        QJsonArray found;
        for (qsizetype i = 0; i < mAlbums.size(); ++i) {
            const Album& album = mAlbums.at(i);
            if (request.path == QStringLiteral("/ws/2/release/") + releaseID(i)) {
                ++mLookups[i];
                return json(release(i, album, true));
            }
            if (!terms.hasMatch() || !same(album.artist, terms.captured(3)))
                continue;
            if (terms.captured(1) == QStringLiteral("release") && same(album.name, terms.captured(2))) {
                ++mSearches[i];
                found.append(release(i, album, false));
            } else if (terms.captured(1) == QStringLiteral("recording") &&
                       album.tracks.contains(terms.captured(2))) {
                found.append(QJsonObject{{QStringLiteral("title"), terms.captured(2)},
                                         {QStringLiteral("artist-credit"), credit(album.artist)},
                                         {QStringLiteral("releases"), QJsonArray{release(i, album, false)}}});
            }
        }
        if (!terms.hasMatch())
            return json({{QStringLiteral("releases"), found}, {QStringLiteral("recordings"), found}});
        return json({{terms.captured(1) + QLatin1Char('s'), found}});
    }

    void useAlbums(const QList<Album>& albums, const QString& folder)
    {
        mAlbums = albums;
        mSearches = mLookups = QList<int>(albums.size(), 0);
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-") + folder);
    }

    // An MP3 in the test's folder with the values given.
    QString song(const QString& name, const QString& title, const QString& artist = kLights,
                 const QString& album = kLowTide, const QString& year = {}, const QString& genre = {},
                 const QByteArray& png = {}, bool compilation = false)
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(LoadTestFiles::writeSong(path, title, artist, album));
        auto tag = AudioInfoTag::tagWithPath(path);
        tag->setYear(year);
        tag->setGenres(genre);
        tag->setIsPartOfCompilation(compilation);
        if (!png.isEmpty())
            tag->addImage(*ID3Image::imageWithData(png, QStringLiteral("image/png")));
        QString error;
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        return path;
    }

    QStringList fixArguments(const char* arguments) const
    {
        return QStringList{QStringLiteral("fix"), QStringLiteral("--folder"), mFolder} +
               CliProcess::words(arguments);
    }

    // Runs fix with `arguments` (split at blanks) to its end; answers its
    // exit status and standard output.
    int run(const char* arguments, QString* out, QString* err = nullptr)
    {
        const CliProcess::Outcome fix = CliProcess::runServing(fixArguments(arguments), mResources, 120000);
        EXPECT_TRUE(fix.finished);
        *out = QString::fromUtf8(fix.out);
        if (err)
            *err = QString::fromUtf8(fix.err);
        return fix.status;
    }

    int check(const char* checks, QString* out, QString* err = nullptr)
    {
        return run(QByteArray("--check ").append(checks).constData(), out, err);
    }

    TestHttpServer mServer;
    QString mFolder;
    QString mResources;
    QList<Album> mAlbums;
    QList<int> mSearches;
    QList<int> mLookups;
};

} // namespace

TEST_F(FixCommandTest, SiblingSongsLendTheirValuesAndADryRunWritesNothing)
{
    // The database knows nothing; the album's other song has what is missing.
    song(QStringLiteral("1"), QStringLiteral("First Light"), kLights, kLowTide, QStringLiteral("1994"),
         QStringLiteral("Dream Pop"));
    const QString bare = song(QStringLiteral("2"), QStringLiteral("Undertow"));
    const QByteArray before = TestSupport::readFile(bare);

    QString out;
    ASSERT_EQ(run("--check year,genre --dry-run", &out), 0) << out.toStdString();
    EXPECT_EQ(TestSupport::readFile(bare), before);
    for (const char* line : {"2.mp3  (Harbour Lights – Undertow)\n", "    year: \"\" → \"1994\"",
                             "Dry run: 1 song would change", "No file was changed."})
        EXPECT_TRUE(out.contains(QString::fromUtf8(line))) << line << "\n" << out.toStdString();

    ASSERT_EQ(check("year,genre", &out), 0) << out.toStdString();
    EXPECT_EQ(LoadTestFiles::yearOf(bare), QStringLiteral("1994"));
    EXPECT_EQ(AudioInfoTag::tagWithPath(bare)->genres(), QStringLiteral("Dream Pop"));
    EXPECT_TRUE(out.contains(QStringLiteral("Done: 1 song changed"))) << out.toStdString();
    // Each change says where its value came from, and the run is in the
    // change history with that origin.
    EXPECT_TRUE(out.contains(QStringLiteral("    year: \"\" → \"1994\"  (from sibling 1.mp3)")))
        << out.toStdString();
    const CliProcess::Outcome history = CliProcess::run(CliProcess::words("history --json"), 30000);
    ASSERT_TRUE(history.finished);
    const QJsonObject recorded = QJsonDocument::fromJson(history.out.split('\n').first()).object();
    EXPECT_EQ(recorded.value(QStringLiteral("kind")).toString(), QStringLiteral("run"));
    EXPECT_EQ(recorded.value(QStringLiteral("source")).toString(), mFolder);
    EXPECT_EQ(recorded.value(QStringLiteral("files")).toInt(), 1);

    // Bad choices are refused before anything is loaded.
    EXPECT_EQ(check("year,colour", &out), 2);
    EXPECT_EQ(run("--overwrite album,title", &out), 2);
}

// Each song still takes its own track number from the shared album.
TEST_F(FixCommandTest, TheSongsOfAnAlbumShareOneSearchAndOneLookup)
{
    const Album lowTide{
        kLights, kLowTide, QStringLiteral("1994"),
        QStringLiteral("Light,Undertow,Return,Salt,Kelp,Breakwater,Shoals,Ferry").split(u',')};
    const Album paperBoats{kLights, QStringLiteral("Paper Boats"), QStringLiteral("1997"),
                           QStringLiteral("Fold,Drift,Moor,Sink").split(u',')};
    const Album otherLowTide{QStringLiteral("Glass Atlas"), kLowTide, QStringLiteral("2001"),
                             QStringLiteral("Neap,Spring,Ebb,Flow").split(u',')};
    const struct
    {
        const char* name;
        QList<Album> albums;
        QList<int> albumOfSong; // in table order; each album's songs in track order
    } rows[] = {
        {"eight songs of one album", {lowTide}, {0, 0, 0, 0, 0, 0, 0, 0}},
        {"two albums whose songs alternate in the table", {lowTide, paperBoats}, {0, 1, 0, 1, 0, 1, 0, 1}},
        {"one album name by two artists", {lowTide, otherLowTide}, {0, 1, 1, 0, 0, 1, 1, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        useAlbums(row.albums, QLatin1String(row.name));
        QStringList paths, tracks;
        QList<int> count(mAlbums.size(), 0);
        for (int album : row.albumOfSong) {
            const Album& a = mAlbums.at(album);
            const int track = ++count[album];
            paths.append(song(QString::number(paths.size() + 1), a.tracks.at(track - 1), a.artist, a.name));
            tracks.append(QStringLiteral("%1/%2").arg(track).arg(a.tracks.size()));
        }
        QString out;
        ASSERT_EQ(check("year,track", &out), 0) << out.toStdString();
        EXPECT_EQ(mSearches, QList<int>(mAlbums.size(), 1)) << "searches\n" << out.toStdString();
        EXPECT_EQ(mLookups, QList<int>(mAlbums.size(), 1)) << "lookups\n" << out.toStdString();
        for (qsizetype i = 0; i < paths.size(); ++i) {
            const auto tag = AudioInfoTag::tagWithPath(paths.at(i));
            ASSERT_TRUE(tag);
            EXPECT_EQ(tag->year(), mAlbums.at(row.albumOfSong.at(i)).year) << "song " << i + 1;
            EXPECT_EQ(tag->track(), tracks.at(i)) << "song " << i + 1;
        }
    }
}

// A song lends to the songs of its album after it in the table, also what
// the run gave it; compilation songs lend across their artists.
TEST_F(FixCommandTest, SongsLendToTheSongsOfTheirAlbumAfterThem)
{
    const QString mix = QStringLiteral("Night Mix");
    const struct
    {
        const char* name;
        const char* checks;
        std::function<void()> makeSongs;
        QString year; // what the last song is given by song 1
    } rows[] = {
        {"the album found for the song before", "album,year",
         [&] {
             // Song 0 asks for its siblings before song 1 is given its album.
             song(QStringLiteral("0"), QStringLiteral("Fold"), kLights, QStringLiteral("Paper Boats"));
             song(QStringLiteral("1"), QStringLiteral("Light"), kLights, {});
             song(QStringLiteral("2"), QStringLiteral("Undertow"), kLights, kLowTide);
         },
         QStringLiteral("1994")},
        {"a compilation, not another album of its name", "year",
         [&] {
             song(QStringLiteral("0"), QStringLiteral("Elsewhere"), QStringLiteral("Someone Else"), mix,
                  QStringLiteral("1980"));
             song(QStringLiteral("1"), QStringLiteral("Afterglow"), kLights, mix, QStringLiteral("1999"), {},
                  {}, true);
             song(QStringLiteral("2"), QStringLiteral("Neon"), QStringLiteral("Glass Atlas"), mix, {}, {}, {},
                  true);
         },
         QStringLiteral("1999")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        useAlbums({{kLights, kLowTide, QStringLiteral("1994"), {QStringLiteral("Light")}}},
                  QLatin1String(row.name));
        row.makeSongs();
        QString out;
        ASSERT_EQ(check(row.checks, &out), 0) << out.toStdString();
        EXPECT_TRUE(
            out.contains(QStringLiteral("    year: \"\" → \"%1\"  (from sibling 1.mp3)").arg(row.year)))
            << out.toStdString();
    }
}

// Songs of one album lend their artwork to the songs without, whichever of
// them the run meets first, and only pictures that pass the size rules of
// artwork from the web.
TEST_F(FixCommandTest, SiblingSongsLendArtworkInAnyOrderWithinTheSizeRules)
{
    // Stored as a user would, with `quillbeat-cli prefs`.
    ASSERT_TRUE(CliProcess::setPreference(QStringLiteral("minImageSize"), QStringLiteral("100")));
    struct Row
    {
        const char* name;
        int songs;
        QList<int> withPicture; // songs (from 1) that have the picture
        int pictureWidth;
        QList<int> expected; // songs that have it after the run
    };
    const Row rows[] = {
        {"the first song lacks it", 4, {2, 3, 4}, 300, {1, 2, 3, 4}},
        {"a middle song lacks it", 4, {1, 2, 4}, 300, {1, 2, 3, 4}},
        {"a 2x2 picture is below the minimum", 6, {3}, 2, {3}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        useAlbums({}, QStringLiteral("artwork-") + QLatin1String(row.name));
        const QByteArray picture = ID3TestData::png(row.pictureWidth, row.pictureWidth);
        QStringList paths;
        for (int i = 1; i <= row.songs; ++i)
            paths.append(song(QString::number(i), QStringLiteral("Song %1").arg(i), kLights, kLowTide, {}, {},
                              row.withPicture.contains(i) ? picture : QByteArray()));
        QString out;
        ASSERT_EQ(check("artwork", &out), 0) << out.toStdString();
        for (int i = 1; i <= row.songs; ++i) {
            auto tag = AudioInfoTag::tagWithPath(paths.at(i - 1));
            ASSERT_TRUE(tag);
            const QList<ID3Image> images = tag->images();
            const qsizetype wanted = row.expected.contains(i) ? 1 : 0;
            EXPECT_EQ(images.size(), wanted) << "song " << i << "\n" << out.toStdString();
            if (wanted && !images.isEmpty()) {
                EXPECT_EQ(images.first().imageData(), picture) << "song " << i;
            }
        }
    }
}

TEST_F(FixCommandTest, CtrlCStopsTheRunAndLeavesTheFilesAsTheyWere)
{
    // The database never answers: the run waits on the first song.
    mServer.setHandler([](const TestHttpServer::Request&) { return CliProcess::silence(); });
    const QStringList paths = {song(QStringLiteral("1"), QStringLiteral("First Light")),
                               song(QStringLiteral("2"), QStringLiteral("Undertow"))};
    QList<QByteArray> before;
    for (const QString& path : paths)
        before.append(TestSupport::readFile(path));

    for (int interrupts : {1, 2}) {
        SCOPED_TRACE(interrupts);
        mServer.clearRequests();
        QProcess cli;
        ASSERT_TRUE(CliProcess::start(cli, fixArguments("--check year"), mResources));
        ASSERT_TRUE(TestHttpServer::waitFor([&] { return !mServer.requests().isEmpty(); }, 30000));
        for (int i = 0; i < interrupts; ++i)
            ::kill(static_cast<pid_t>(cli.processId()), SIGINT);
        ASSERT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 30000));
        // The second Ctrl-C may find the program already on its way out,
        // with SIGINT's own ending back in place.
        if (interrupts == 1 || cli.exitStatus() == QProcess::NormalExit) {
            EXPECT_EQ(cli.exitCode(), 130);
        }
        const QString out = QString::fromUtf8(cli.readAllStandardOutput());
        // The song looked up when stopped, and the one after it, were not done.
        EXPECT_TRUE(interrupts == 2 || (out.contains(QStringLiteral("Stopped: 0 songs changed")) &&
                                        out.contains(QStringLiteral(", 2 not done."))))
            << out.toStdString();
        for (qsizetype i = 0; i < paths.size(); ++i)
            EXPECT_EQ(TestSupport::readFile(paths.at(i)), before.at(i));
    }
}

TEST_F(FixCommandTest, OtherWritersOfTheFolderLoseNothingAndStopNothing)
{
    // While fix runs, other quillbeat-cli processes change the songs: on
    // every second request fix makes, a `set` of every song's tempo while
    // fix waits for the answer. Whatever anybody reports written must be in
    // the files afterwards, and no song changed under the run may stop it.
    // Siblings lend year, genre and artwork; track is asked for. The songs
    // of the album share one search, made by the first of them in the
    // table, which the complete song therefore follows.
    const struct
    {
        const char* name;
        const char* checks;
    } rows[] = {{"with-artwork", "year,genre,track,artwork"}, {"without-artwork", "year,genre,track"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        useAlbums({}, QStringLiteral("writers-") + QLatin1String(row.name));
        QStringList paths = {song(QStringLiteral("9"), QStringLiteral("First Light"), kLights, kLowTide,
                                  QStringLiteral("1994"), QStringLiteral("Dream Pop"),
                                  ID3TestData::png(320, 320))};
        const QStringList titles = {QStringLiteral("Undertow"), QStringLiteral("Slow Return"),
                                    QStringLiteral("Salt Lines"), QStringLiteral("Kelp Forest")};
        for (int i = 0; i < titles.size(); ++i)
            paths.append(song(QString::number(i + 2), titles.at(i)));

        QHash<QString, QString> tempoWritten;
        int requests = 0;
        mServer.setHandler([&](const TestHttpServer::Request& request) {
            if (requests++ % 2 == 0) {
                const QString tempo = QString::number(100 + requests);
                for (const QString& path : std::as_const(paths)) {
                    const CliProcess::Outcome set =
                        CliProcess::run({QStringLiteral("set"), path, QStringLiteral("--bpm"), tempo}, 30000);
                    if (set.finished && !set.crashed && set.status == 0)
                        tempoWritten.insert(path, tempo);
                }
            }
            return answer(request);
        });
        QString out, err;
        const int status = check(row.checks, &out, &err);
        const std::string shown = out.toStdString() + err.toStdString();

        // The run went to its end.
        EXPECT_NE(status, 130) << shown;
        EXPECT_FALSE(err.contains(LocalizedStrings::text(QStringLiteral("iTunesArtworkWarning")))) << shown;
        EXPECT_TRUE(out.contains(QStringLiteral("Done: "))) << shown;

        // Nothing reported written is lost.
        EXPECT_FALSE(tempoWritten.isEmpty());
        for (const QString& path : std::as_const(paths)) {
            const auto tag = AudioInfoTag::tagWithPath(path);
            ASSERT_TRUE(tag) << shown;
            EXPECT_EQ(tag->bpm().toStdString(), tempoWritten.value(path, tag->bpm()).toStdString())
                << path.toStdString();
        }
        // Every song fix changed holds the changes it reported; every other
        // one was named as left alone, with the reason.
        int refused = 0;
        for (int i = 0; i < titles.size(); ++i) {
            const QString path = paths.at(i + 1);
            const auto tag = AudioInfoTag::tagWithPath(path);
            // The song's block: its line, then the lines indented below it.
            const QString header = QString::number(i + 2) + QStringLiteral(".mp3  (Harbour Lights – ") +
                                   titles.at(i) + QStringLiteral(")\n");
            const qsizetype at = out.indexOf(header);
            QString changes;
            for (const QString& line : out.mid(at + header.size()).split(QLatin1Char('\n'))) {
                if (!line.startsWith(QStringLiteral("    ")))
                    break;
                changes += line + QLatin1Char('\n');
            }
            if (at < 0 || changes.contains(QStringLiteral("not written: "))) {
                ++refused;
                EXPECT_TRUE(
                    out.contains(LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path)))
                    << shown;
                continue;
            }
            EXPECT_TRUE(!changes.contains(QStringLiteral("    year: ")) ||
                        tag->year() == QStringLiteral("1994"))
                << shown;
            EXPECT_TRUE(!changes.contains(QStringLiteral("    genre: ")) ||
                        tag->genres() == QStringLiteral("Dream Pop"))
                << shown;
            EXPECT_TRUE(!changes.contains(QStringLiteral("    artwork: ")) || tag->numberOfImages() == 1)
                << shown;
        }
        // The songs looked up while the others wrote could not be written.
        EXPECT_GE(refused, 1) << shown;
        EXPECT_EQ(status, refused > 0 ? 1 : 0) << shown;
    }
}
