// What fix shows, run as a program over folders of songs our own writers
// make, its web source sent to the local test server: each song by its path
// with artist and title, the reason of every failure, the closing counts;
// songs without tags looked up by their path; a dry run that names the songs
// a real run could not write; a question declined; and JSON lines that carry
// every key.
#include "CliProcess.h"
#include "ID3TestData.h"
#include "LoadTestFiles.h"
#include "Mp4TestFiles.h"
#include "MpegTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

class FixOutput : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        // The database knows nothing: what is found comes from siblings.
        mServer.setHandler([](const TestHttpServer::Request&) {
            return TestHttpServer::Response::text("{\"releases\":[],\"recordings\":[]}", "application/json");
        });
        const QString name =
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name());
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-output-") + name);
        mResources = CliProcess::musicBrainzResources(name, mServer.url(QString()).toString());
    }

    // An MP3 by Harbour Lights on Low Tide (unless other names are given),
    // with a year when given.
    QString song(const QString& relative, const char* title, const char* year = "",
                 const char* artist = "Harbour Lights", const char* album = "Low Tide")
    {
        const QString path = mFolder + QLatin1Char('/') + relative;
        EXPECT_TRUE(LoadTestFiles::writeSong(path, QString::fromUtf8(title), QString::fromUtf8(artist),
                                             QString::fromUtf8(album), QString::fromUtf8(year)));
        return path;
    }

    // fix over the test's folder, given as it is or relative to the
    // program's working folder, with `arguments` split at blanks.
    CliProcess::Outcome fix(const char* arguments, bool relativeFolder = false)
    {
        const QString folder = relativeFolder ? QDir::current().relativeFilePath(mFolder) : mFolder;
        return CliProcess::runServing(
            CliProcess::words("fix --folder %1", {folder}) + CliProcess::words(arguments), mResources);
    }

    TestHttpServer mServer;
    QString mFolder;
    QString mResources;
};

// `text` stands at the start of a line of `output`.
bool startsALine(const QString& output, const QString& text)
{
    return output.startsWith(text) || output.contains(QLatin1Char('\n') + text);
}

QSet<QString> keysOf(const QJsonObject& object)
{
    const QStringList keys = object.keys();
    return QSet<QString>(keys.cbegin(), keys.cend());
}

QSet<QString> keySet(const char* keys)
{
    const QStringList list = QString::fromLatin1(keys).split(QLatin1Char(' '));
    return QSet<QString>(list.cbegin(), list.cend());
}

} // namespace

TEST_F(FixOutput, NamesEachSongWithTheReasonAndEndsWithTheCounts)
{
    song(QStringLiteral("Harbour Lights/Low Tide/1 First Light.mp3"), "First Light", "1994");
    const QString undertow = song(QStringLiteral("Harbour Lights/Low Tide/2 Undertow.mp3"), "Undertow");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(
        mFolder + QStringLiteral("/Harbour Lights/Low Tide/3 Salt Lines.mp3"), QStringLiteral("Salt Lines")));
    song(QStringLiteral("Others/4 Kelp.mp3"), "Kelp", "", "Nobody Known", "Nowhere");
    const QByteArray before = TestSupport::readFile(undertow);

    const struct Run
    {
        const char* arguments;
        bool relativeFolder;
        const char* summary;
    } runs[] = {
        {"--check year --dry-run", false,
         "Dry run: 1 song would change, 1 with nothing found, 0 would fail, 1 skipped (1 damaged), 1 "
         "complete "
         "already. No file was changed."},
        {"--check year", true,
         "Done: 1 song changed, 1 with nothing found, 0 failed, 1 skipped (1 damaged), 1 complete already."},
    };
    for (const Run& run : runs) {
        const CliProcess::Outcome outcome = fix(run.arguments, run.relativeFolder);
        const QString out = QString::fromUtf8(outcome.out);
        SCOPED_TRACE(out.toStdString() + outcome.err.toStdString());
        ASSERT_TRUE(outcome.finished);
        EXPECT_EQ(outcome.status, 0);
        for (const char* expected :
             {"Harbour Lights/Low Tide/2 Undertow.mp3  (Harbour Lights – Undertow)\n"
              "    year: \"\" → \"1994\"  (from sibling 1 First Light.mp3)\n",
              "Harbour Lights/Low Tide/3 Salt Lines.mp3  ((no artist) – Salt Lines)\n"
              "    skipped: its tag is damaged (quillbeat-cli regenerate FILE rebuilds it)\n",
              "Others/4 Kelp.mp3  (Nobody Known – Kelp)\n    nothing found\n"})
            EXPECT_TRUE(startsALine(out, QString::fromUtf8(expected))) << expected;
        EXPECT_TRUE(out.endsWith(QString::fromUtf8(run.summary) + QLatin1Char('\n')));
        // The song that lacked nothing is not listed.
        EXPECT_FALSE(out.contains(QStringLiteral("1 First Light.mp3  (")));
        if (QByteArray(run.arguments).contains("--dry-run")) {
            EXPECT_EQ(TestSupport::readFile(undertow), before);
        }
    }
    EXPECT_EQ(LoadTestFiles::yearOf(undertow), QStringLiteral("1994"));
}

TEST_F(FixOutput, SongsWithoutTagsAreLookedUpByTheirPath)
{
    // MPEG audio without any tag.
    const QString path = mFolder + QStringLiteral("/Harbour Lights/Low Tide/03 Undertow.mp3");
    ASSERT_TRUE(MpegTestFiles::writeFile(path, QByteArray(), ID3TestData::audio(60)));

    const CliProcess::Outcome scan = CliProcess::run(CliProcess::words("scan --folder %1", {mFolder}));
    EXPECT_TRUE(QString::fromUtf8(scan.out).contains(
        QStringLiteral("    from its path: artist “Harbour Lights”, album “Low Tide”, "
                       "title “Undertow”, track 3\n")))
        << scan.out.constData();

    const CliProcess::Outcome dryRun = fix("--check album,title,track,year --dry-run");
    const QString out = QString::fromUtf8(dryRun.out);
    SCOPED_TRACE(out.toStdString());
    for (const char* expected : {"03 Undertow.mp3  (Harbour Lights – Undertow)\n",
                                 "    artist: \"\" → \"Harbour Lights\"  (from the file's path)\n",
                                 "    album: \"\" → \"Low Tide\"  (from the file's path)\n",
                                 "    track: \"\" → \"3\"  (from the file's path)\n"})
        EXPECT_TRUE(out.contains(QString::fromUtf8(expected))) << expected;
    EXPECT_TRUE(out.startsWith(QStringLiteral("Harbour Lights/Low Tide/03 Undertow.mp3")));
    // The database was asked with what the path gave.
    bool askedByPath = false;
    for (const TestHttpServer::Request& request : mServer.requests()) {
        const QString query = QUrl::fromPercentEncoding(request.pathAndQuery.toUtf8());
        askedByPath = askedByPath || (query.contains(QStringLiteral("Low Tide")) &&
                                      query.contains(QStringLiteral("Harbour Lights")));
    }
    EXPECT_TRUE(askedByPath);
    EXPECT_EQ(AudioInfoTag::tagWithPath(path)->artist(), QString());

    const CliProcess::Outcome real = fix("--check album,title,track,year");
    EXPECT_TRUE(QString::fromUtf8(real.out).contains(QStringLiteral("Done: 1 song changed")))
        << real.out.constData();
    auto tag = AudioInfoTag::tagWithPath(path);
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->artist(), QStringLiteral("Harbour Lights"));
    EXPECT_EQ(tag->album(), QStringLiteral("Low Tide"));
    EXPECT_EQ(tag->title(), QStringLiteral("Undertow"));
    EXPECT_EQ(tag->trackNumber(), 3);
}

// An MPEG-4 file with a 64-bit chunk offset table and no free space: a tag
// that grows would move its media, which is refused. The dry run says so
// for the same file and with the same words as the real run.
TEST_F(FixOutput, ADryRunNamesTheSongsARealRunCannotWrite)
{
    const auto m4a = [&](const QString& name, const QString& title, const QString& year) {
        Mp4TestFiles::Options options;
        options.useCo64 = true;
        options.items = {
            Mp4TestFiles::textItem(QStringLiteral("\u00A9nam"), title),
            Mp4TestFiles::textItem(QStringLiteral("\u00A9ART"), QStringLiteral("Harbour Lights")),
            Mp4TestFiles::textItem(QStringLiteral("\u00A9alb"), QStringLiteral("Low Tide"))};
        if (!year.isEmpty())
            options.items.append(Mp4TestFiles::textItem(QStringLiteral("\u00A9day"), year));
        const QString path = mFolder + QLatin1Char('/') + name;
        EXPECT_TRUE(TestSupport::writeFile(path, Mp4TestFiles::m4a(options)));
        return path;
    };
    m4a(QStringLiteral("1 First Light.m4a"), QStringLiteral("First Light"), QStringLiteral("1994"));
    const QString refused = m4a(QStringLiteral("2 Undertow.m4a"), QStringLiteral("Undertow"), {});
    const QByteArray before = TestSupport::readFile(refused);

    const CliProcess::Outcome dryRun = fix("--check year --dry-run");
    const QString dryOut = QString::fromUtf8(dryRun.out);
    const QString wouldNot =
        dryOut.section(QStringLiteral("    would not be written: "), 1).section(QLatin1Char('\n'), 0, 0);
    {
        SCOPED_TRACE(dryOut.toStdString());
        // The status the real run will have.
        EXPECT_EQ(dryRun.status, 1);
        EXPECT_FALSE(wouldNot.isEmpty());
        EXPECT_TRUE(dryOut.contains(QStringLiteral("1 would fail")));
        EXPECT_TRUE(dryOut.contains(QStringLiteral("Would not be written:\n  2 Undertow.m4a: ") + wouldNot));
    }
    EXPECT_EQ(TestSupport::readFile(refused), before);

    const CliProcess::Outcome real = fix("--check year");
    const QString realOut = QString::fromUtf8(real.out);
    SCOPED_TRACE(realOut.toStdString());
    EXPECT_EQ(real.status, 1);
    EXPECT_TRUE(realOut.contains(QStringLiteral("2 Undertow.m4a  (Harbour Lights – Undertow)\n")));
    EXPECT_TRUE(realOut.contains(QStringLiteral("    not written: ") + wouldNot + QLatin1Char('\n')))
        << wouldNot.toStdString();
    EXPECT_TRUE(realOut.contains(QStringLiteral("1 failed")));
    EXPECT_EQ(TestSupport::readFile(refused), before);
}

TEST_F(FixOutput, ADeclinedQuestionIsNotAFailedWrite)
{
    const QString path = song(QStringLiteral("1 Undertow.mp3"), "Undertow");
    const QByteArray before = TestSupport::readFile(path);
    // No terminal to ask and no --yes: declined, nothing written.
    const CliProcess::Outcome asked = fix("--check title --overwrite title");
    EXPECT_EQ(asked.status, 3) << asked.err.constData();
    EXPECT_TRUE(asked.err.contains("Nothing was done")) << asked.err.constData();
    EXPECT_EQ(TestSupport::readFile(path), before);
    // A dry run asks nothing.
    const CliProcess::Outcome dryRun = fix("--check title --overwrite title --dry-run");
    EXPECT_EQ(dryRun.status, 0) << dryRun.err.constData();
    EXPECT_FALSE(dryRun.err.contains("Existing titles will be replaced")) << dryRun.err.constData();
    EXPECT_TRUE(dryRun.out.contains("Dry run: ")) << dryRun.out.constData();
}

TEST_F(FixOutput, JsonLinesCarryEveryKey)
{
    const QString good =
        song(QStringLiteral("Harbour Lights/Low Tide/1 First Light.mp3"), "First Light", "1994");
    song(QStringLiteral("Harbour Lights/Low Tide/2 Undertow.mp3"), "Undertow");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(mFolder + QStringLiteral("/3 Salt Lines.mp3"),
                                                QStringLiteral("Salt Lines")));
    const QString xml = mFolder + QStringLiteral(".xml");
    ASSERT_TRUE(TestSupport::writeFile(
        xml, LoadTestFiles::libraryXml({LoadTestFiles::track(1, good, QStringLiteral("First Light"))},
                                       {LoadTestFiles::playlist(QStringLiteral("Road Trip"), {1})})));

    const char* tagKeys =
        "path type readable error readVersion writeVersion title artist album year genres track "
        "bpm compilation lyrics pictureCount pictures duration bitrate samplerate problem";
    const struct Row
    {
        const char* name;
        QStringList arguments;
        QList<std::pair<const char*, const char*>> kinds; // kind (or "" for all lines) -> keys
        int lines;
    } rows[] = {
        {"tags of a song and of a missing file",
         CliProcess::words("tags --json %1 %2", {good, mFolder + QStringLiteral("/missing.mp3")}),
         {{"", tagKeys}},
         2},
        {"scan",
         CliProcess::words("scan --json --folder %1", {mFolder}),
         {{"song", "kind path artist title album track status lacks fromPath error"},
          {"summary", "kind count complete lacking readOnly damaged unreadable cancelled error"}},
         4},
        {"fix",
         CliProcess::words("fix --json --dry-run --check year --folder %1", {mFolder}),
         {{"song", "kind path relativePath artist title outcome error changes fromPath sources note dryRun"},
          {"summary", "kind dryRun changed nothingFound failed skipped damaged readOnly unreadable vanished "
                      "complete cancelled notDone allSourcesFailed sourceErrors status"}},
         3},
        {"library",
         CliProcess::words("library --json --xml %1", {xml}),
         {{"", "library musicFolder persistentID tracks playlists playlistList error"}},
         1},
        {"lookup",
         CliProcess::words("lookup --json --artist A --title B"),
         {{"", "artist album title sources albums chosen error"}},
         1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const CliProcess::Outcome outcome = CliProcess::runServing(row.arguments, mResources);
        ASSERT_TRUE(outcome.finished);
        const QList<QByteArray> lines = outcome.out.trimmed().split('\n');
        EXPECT_EQ(lines.size(), row.lines) << outcome.out.constData();
        for (const QByteArray& line : lines) {
            QJsonParseError error;
            const QJsonObject object = QJsonDocument::fromJson(line, &error).object();
            ASSERT_EQ(error.error, QJsonParseError::NoError) << line.constData();
            const QString kind = object.value(QStringLiteral("kind")).toString();
            const char* expected = nullptr;
            for (const auto& [name, keys] : row.kinds) {
                if (QLatin1String(name).isEmpty() || kind == QLatin1String(name))
                    expected = keys;
            }
            ASSERT_TRUE(expected) << line.constData();
            EXPECT_EQ(keysOf(object), keySet(expected)) << line.constData();
        }
    }

    // What the keys hold where it matters: the reason of a file that could
    // not be read, the genres as a list.
    const CliProcess::Outcome tags =
        CliProcess::run(CliProcess::words("tags --json") << mFolder + QStringLiteral("/missing.mp3"));
    const QJsonObject missing = QJsonDocument::fromJson(tags.out).object();
    EXPECT_EQ(missing.value(QStringLiteral("error")).toString(), QStringLiteral("there is no such file"));
    EXPECT_TRUE(missing.value(QStringLiteral("title")).isNull());
    EXPECT_EQ(tags.status, 1);
    ASSERT_EQ(CliProcess::run({QStringLiteral("set"), good, QStringLiteral("--genre"),
                               QStringLiteral("Dream Pop/Shoegaze")})
                  .status,
              0);
    const QJsonObject withGenres =
        QJsonDocument::fromJson(CliProcess::run(CliProcess::words("tags --json") << good).out).object();
    EXPECT_EQ(withGenres.value(QStringLiteral("genres")).toVariant().toStringList(),
              (QStringList{QStringLiteral("Dream Pop"), QStringLiteral("Shoegaze")}));
}
