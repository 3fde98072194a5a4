// quillbeat-cli fix, run as a program over a folder of real MP3 files, its
// one web source sent to the local test server through QUILLBEAT_RESOURCES.
#include "ID3TestData.h"
#include "LoadTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/ID3Image.h"

#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>

namespace {

class FixCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mFolder = LoadTestFiles::freshFolder(
            QStringLiteral("fix-") +
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        const QString root = mServer.url(QString()).toString();
        const auto url = [&](const char* path) -> QString {
            return QStringLiteral("<string>") + root + QLatin1String(path) + QStringLiteral("</string>");
        };
        const QString resources =
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
                           "<key>sourcelist</key><array><string>MusicBrainzInterface</string></array>\n"
                           "<key>res_MusicBrainzInterface</key><dict>"
                           "<key>releaseSearchURL</key>%1<key>recordingSearchURL</key>%2"
                           "<key>releaseLookupURL</key>%3<key>coverArtURL</key>%4"
                           "<key>minIntervalSeconds</key><integer>0</integer></dict>\n"
                           "</dict>\n</plist>\n")
                .arg(url("/ws/2/release"), url("/ws/2/recording"), url("/ws/2/release/%@?fmt=json"),
                     url("/cover/%@/front-%@"));
        mResources = mFolder + QStringLiteral(".resources.plist");
        ASSERT_TRUE(TestSupport::writeFile(mResources, resources.toUtf8()));
    }

    // An MP3 of "Low Tide" by "Harbour Lights", with a year, genre and
    // picture when given.
    QString song(const QString& name, const QString& title, const QString& year = {},
                 const QString& genre = {}, const QByteArray& png = {})
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(LoadTestFiles::writeSong(path, title, QStringLiteral("Harbour Lights"),
                                             QStringLiteral("Low Tide")));
        if (!year.isEmpty() || !genre.isEmpty() || !png.isEmpty()) {
            auto tag = AudioInfoTag::tagWithPath(path);
            tag->setYear(year);
            tag->setGenres(genre);
            if (!png.isEmpty())
                tag->addImage(*ID3Image::imageWithData(png, QStringLiteral("image/png")));
            QString error;
            EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        }
        return path;
    }

    void start(QProcess& cli, const QStringList& arguments)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), mResources);
        cli.setProcessEnvironment(env);
        cli.start(QStringLiteral(QB_CLI_PATH),
                  QStringList{QStringLiteral("fix"), QStringLiteral("--folder"), mFolder} + arguments);
        ASSERT_TRUE(cli.waitForStarted());
    }

    // Runs fix to its end; answers its exit status and standard output.
    int run(const QStringList& arguments, QString* out)
    {
        QProcess cli;
        start(cli, arguments);
        // The server answers from this thread's event loop while fix runs.
        EXPECT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 60000));
        *out = QString::fromUtf8(cli.readAllStandardOutput());
        return cli.exitCode();
    }

    // Stores a setting the way a user would, with `quillbeat-cli prefs`.
    void setPreference(const QString& key, const QString& value)
    {
        QProcess prefs;
        prefs.start(QStringLiteral(QB_CLI_PATH), {QStringLiteral("prefs"), key, value});
        ASSERT_TRUE(prefs.waitForFinished(30000));
        ASSERT_EQ(prefs.exitCode(), 0) << prefs.readAllStandardError().toStdString();
    }

    TestHttpServer mServer;
    QString mFolder;
    QString mResources;
};

QString yearOf(const QString& path)
{
    auto tag = AudioInfoTag::tagWithPath(path);
    return tag ? tag->year() : QStringLiteral("<unreadable>");
}

} // namespace

TEST_F(FixCommandTest, SiblingSongsLendTheirValuesAndADryRunWritesNothing)
{
    // The database knows nothing; the album's other song has what is missing.
    mServer.setHandler([](const TestHttpServer::Request&) {
        return TestHttpServer::Response::text("{\"releases\":[],\"recordings\":[]}", "application/json");
    });
    song(QStringLiteral("1"), QStringLiteral("First Light"), QStringLiteral("1994"),
         QStringLiteral("Dream Pop"));
    const QString bare = song(QStringLiteral("2"), QStringLiteral("Undertow"));
    const QByteArray before = TestSupport::readFile(bare);

    QString out;
    ASSERT_EQ(
        run({QStringLiteral("--check"), QStringLiteral("year,genre"), QStringLiteral("--dry-run")}, &out), 0)
        << out.toStdString();
    EXPECT_EQ(TestSupport::readFile(bare), before);
    EXPECT_TRUE(out.contains(QStringLiteral("2.mp3  (Harbour Lights – Undertow)\n"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("    year: \"\" → \"1994\""))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("Dry run: 1 song would change"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("No file was changed."))) << out.toStdString();

    ASSERT_EQ(run({QStringLiteral("--check"), QStringLiteral("year,genre")}, &out), 0) << out.toStdString();
    EXPECT_EQ(yearOf(bare), QStringLiteral("1994"));
    EXPECT_EQ(AudioInfoTag::tagWithPath(bare)->genres(), QStringLiteral("Dream Pop"));
    EXPECT_TRUE(out.contains(QStringLiteral("Done: 1 song changed"))) << out.toStdString();
    // Each change says where its value came from, and the run is in the
    // change history with that origin.
    EXPECT_TRUE(out.contains(QStringLiteral("    year: \"\" → \"1994\"  (from sibling 1.mp3)"))) << out.toStdString();
    QProcess history;
    history.start(QStringLiteral(QB_CLI_PATH), {QStringLiteral("history"), QStringLiteral("--json")});
    ASSERT_TRUE(history.waitForFinished(30000));
    const QJsonObject recorded =
        QJsonDocument::fromJson(history.readAllStandardOutput().split('\n').first()).object();
    EXPECT_EQ(recorded.value(QStringLiteral("kind")).toString(), QStringLiteral("run"));
    EXPECT_EQ(recorded.value(QStringLiteral("source")).toString(), mFolder);
    EXPECT_EQ(recorded.value(QStringLiteral("files")).toInt(), 1);

    // Bad choices are refused before anything is loaded.
    EXPECT_EQ(run({QStringLiteral("--check"), QStringLiteral("year,colour")}, &out), 2);
    EXPECT_EQ(run({QStringLiteral("--overwrite"), QStringLiteral("album,title")}, &out), 2);
}

TEST_F(FixCommandTest, CtrlCStopsTheRunAndLeavesTheFilesAsTheyWere)
{
    // The database never answers: the run waits on the first song.
    mServer.setHandler([](const TestHttpServer::Request&) {
        TestHttpServer::Response hang;
        hang.neverAnswer = true;
        return hang;
    });
    const QStringList paths = {song(QStringLiteral("1"), QStringLiteral("First Light")),
                               song(QStringLiteral("2"), QStringLiteral("Undertow"))};
    QList<QByteArray> before;
    for (const QString& path : paths)
        before.append(TestSupport::readFile(path));

    for (int interrupts : {1, 2}) {
        mServer.clearRequests();
        QProcess cli;
        start(cli, {QStringLiteral("--check"), QStringLiteral("year")});
        ASSERT_TRUE(TestHttpServer::waitFor([&] { return !mServer.requests().isEmpty(); }, 30000));
        for (int i = 0; i < interrupts; ++i)
            ::kill(static_cast<pid_t>(cli.processId()), SIGINT);
        ASSERT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 30000));
        // The second Ctrl-C may find the program already on its way out,
        // with SIGINT's own ending back in place.
        if (interrupts == 1 || cli.exitStatus() == QProcess::NormalExit) {
            EXPECT_EQ(cli.exitCode(), 130) << interrupts;
        }
        const QString out = QString::fromUtf8(cli.readAllStandardOutput());
        if (interrupts == 1) {
            // The song looked up when stopped, and the one after it, were not done.
            EXPECT_TRUE(out.contains(QStringLiteral("Stopped: 0 songs changed")) &&
                        out.contains(QStringLiteral(", 2 not done.")))
                << out.toStdString();
        }
        for (qsizetype i = 0; i < paths.size(); ++i)
            EXPECT_EQ(TestSupport::readFile(paths.at(i)), before.at(i)) << interrupts;
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
    const QString cli = QStringLiteral(QB_CLI_PATH);
    const struct
    {
        const char* name;
        const char* checks;
    } rows[] = {{"with-artwork", "year,genre,track,artwork"}, {"without-artwork", "year,genre,track"}};
    for (const auto& row : rows) {
        const std::string name = row.name;
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-writers-") + QLatin1String(row.name));
        const QString complete = song(QStringLiteral("9"), QStringLiteral("First Light"),
                                      QStringLiteral("1994"), QStringLiteral("Dream Pop"));
        {
            auto tag = AudioInfoTag::tagWithPath(complete);
            ASSERT_TRUE(tag && tag->addImage(*ID3Image::imageWithData(ID3TestData::png(320, 320),
                                                                      QStringLiteral("image/png"))));
            QString error;
            ASSERT_TRUE(tag->modifySongFileAtPath(complete, &error)) << error.toStdString();
        }
        const QStringList titles = {QStringLiteral("Undertow"), QStringLiteral("Slow Return"),
                                    QStringLiteral("Salt Lines"), QStringLiteral("Kelp Forest")};
        QStringList paths = {complete};
        for (int i = 0; i < titles.size(); ++i)
            paths.append(song(QString::number(i + 2), titles.at(i)));

        QHash<QString, QString> tempoWritten;
        int requests = 0;
        mServer.setHandler([&](const TestHttpServer::Request&) {
            if (requests++ % 2 == 0) {
                const QString tempo = QString::number(100 + requests);
                for (const QString& path : std::as_const(paths)) {
                    QProcess set;
                    set.start(cli, {QStringLiteral("set"), path, QStringLiteral("--bpm"), tempo});
                    if (set.waitForFinished(30000) && set.exitStatus() == QProcess::NormalExit &&
                        set.exitCode() == 0)
                        tempoWritten.insert(path, tempo);
                }
            }
            return TestHttpServer::Response::text("{\"releases\":[],\"recordings\":[]}", "application/json");
        });
        QProcess fix;
        start(fix, {QStringLiteral("--check"), QLatin1String(row.checks)});
        ASSERT_TRUE(TestHttpServer::waitFor([&] { return fix.state() == QProcess::NotRunning; }, 120000))
            << name;
        const QString out = QString::fromUtf8(fix.readAllStandardOutput());
        const QString err = QString::fromUtf8(fix.readAllStandardError());
        const std::string shown = name + "\n" + out.toStdString() + err.toStdString();

        // The run went to its end.
        EXPECT_NE(fix.exitCode(), 130) << shown;
        EXPECT_FALSE(err.contains(LocalizedStrings::text(QStringLiteral("iTunesArtworkWarning")))) << shown;
        EXPECT_TRUE(out.contains(QStringLiteral("Done: "))) << shown;

        // Nothing reported written is lost.
        EXPECT_FALSE(tempoWritten.isEmpty()) << name;
        for (const QString& path : std::as_const(paths)) {
            const auto tag = AudioInfoTag::tagWithPath(path);
            ASSERT_TRUE(tag) << shown;
            EXPECT_EQ(tag->bpm().toStdString(), tempoWritten.value(path, tag->bpm()).toStdString())
                << name << " " << path.toStdString();
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
            const bool year = changes.contains(QStringLiteral("    year: "));
            const bool genre = changes.contains(QStringLiteral("    genre: "));
            const bool artwork = changes.contains(QStringLiteral("    artwork: "));
            EXPECT_TRUE(!year || tag->year() == QStringLiteral("1994")) << shown;
            EXPECT_TRUE(!genre || tag->genres() == QStringLiteral("Dream Pop")) << shown;
            EXPECT_TRUE(!artwork || tag->numberOfImages() == 1) << shown;
        }
        // The songs looked up while the others wrote could not be written.
        EXPECT_GE(refused, 1) << shown;
        EXPECT_EQ(fix.exitCode(), refused > 0 ? 1 : 0) << shown;
    }
}

// Songs of one album lend their artwork to the songs without, whichever of
// them the run meets first, and only pictures that pass the size rules of
// artwork from the web.
TEST_F(FixCommandTest, SiblingSongsLendArtworkInAnyOrderWithinTheSizeRules)
{
    mServer.setHandler([](const TestHttpServer::Request&) {
        return TestHttpServer::Response::text("{\"releases\":[],\"recordings\":[]}", "application/json");
    });
    setPreference(QStringLiteral("minImageSize"), QStringLiteral("100"));
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
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-artwork-") + QLatin1String(row.name));
        const QByteArray picture = ID3TestData::png(row.pictureWidth, row.pictureWidth);
        QStringList paths;
        for (int i = 1; i <= row.songs; ++i)
            paths.append(song(QString::number(i), QStringLiteral("Song %1").arg(i), {}, {},
                              row.withPicture.contains(i) ? picture : QByteArray()));
        QString out;
        ASSERT_EQ(run({QStringLiteral("--check"), QStringLiteral("artwork")}, &out), 0) << row.name << "\n"
                                                                                        << out.toStdString();
        for (int i = 1; i <= row.songs; ++i) {
            auto tag = AudioInfoTag::tagWithPath(paths.at(i - 1));
            ASSERT_TRUE(tag) << row.name;
            const QList<ID3Image> images = tag->images();
            const qsizetype wanted = row.expected.contains(i) ? 1 : 0;
            EXPECT_EQ(images.size(), wanted) << row.name << ": song " << i << "\n" << out.toStdString();
            if (wanted && !images.isEmpty()) {
                EXPECT_EQ(images.first().imageData(), picture) << row.name << ": song " << i;
            }
        }
    }
}
