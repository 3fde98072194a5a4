// quillbeat-cli scan and regenerate, run in process over songs made here.
#include "CommandCapture.h"
#include "LoadTestFiles.h"
#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "cli/RegenerateCommand.h"
#include "cli/ScanCommand.h"
#include "songs/SongFileInfoCache.h"
#include "tags/AudioInfoTag.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

TEST(ScanCommand, ListsSongsAndWhatTheyLack)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("scan"));
    const QString full = folder + QStringLiteral("/full.mp3");
    const QString bare = folder + QStringLiteral("/bare.mp3");
    const QString hurt = folder + QStringLiteral("/hurt.mp3");
    ASSERT_TRUE(
        LoadTestFiles::writeSong(full, QStringLiteral("Full"), QStringLiteral("Band"), QStringLiteral("LP")));
    ASSERT_TRUE(LoadTestFiles::writeSong(bare, QStringLiteral("Bare")));
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(hurt, QStringLiteral("Hurt")));

    CommandCapture scan =
        CommandCapture::run<ScanCommand>({QStringLiteral("--folder"), folder, QStringLiteral("--json")});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    // One object per song and line, then the summary.
    QJsonObject answer;
    QHash<QString, QJsonObject> byPath;
    for (const QString& line : scan.out.trimmed().split(QLatin1Char('\n'))) {
        const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
        if (object.value(QStringLiteral("kind")).toString() == QLatin1String("summary"))
            answer = object;
        else
            byPath.insert(object.value(QStringLiteral("path")).toString(), object);
    }
    EXPECT_EQ(answer.value(QStringLiteral("count")).toInt(), 3);
    EXPECT_EQ(answer.value(QStringLiteral("damaged")).toInt(), 1);
    ASSERT_EQ(byPath.size(), 3);
    const auto lacks = [&](const QString& path) {
        return byPath.value(path).value(QStringLiteral("lacks")).toArray();
    };
    EXPECT_EQ(byPath.value(full).value(QStringLiteral("artist")).toString(), QStringLiteral("Band"));
    EXPECT_EQ(lacks(full),
              QJsonArray({QStringLiteral("artwork"), QStringLiteral("genre"), QStringLiteral("track"),
                          QStringLiteral("year"), QStringLiteral("lyrics")}));
    EXPECT_TRUE(lacks(bare).contains(QStringLiteral("album")));
    EXPECT_EQ(byPath.value(hurt).value(QStringLiteral("status")).toString(), QStringLiteral("damaged"));
    EXPECT_FALSE(lacks(hurt).contains(QStringLiteral("artwork")));
    // The entries were written out.
    EXPECT_FALSE(SongFileInfoCache::sharedCache().isDirty());

    scan = CommandCapture::run<ScanCommand>({QStringLiteral("--folder"), folder});
    ASSERT_EQ(scan.status, 0);
    EXPECT_TRUE(scan.out.contains(
        QStringLiteral("3 songs: 0 complete, 3 lacking something, 0 read-only, 1 with a damaged tag")))
        << scan.out.toStdString();
    EXPECT_TRUE(scan.out.contains(hurt + QStringLiteral("  [damaged tag]"))) << scan.out.toStdString();
}

TEST(ScanCommand, BadArgumentsAndSources)
{
    const QString none = TestSupport::scratchFolder() + QStringLiteral("/none");
    EXPECT_EQ(CommandCapture::run<ScanCommand>({QStringLiteral("--folder")}).status, 2);
    EXPECT_EQ(CommandCapture::run<ScanCommand>({QStringLiteral("--folder"), none}).status, 1);
    const CommandCapture xml = CommandCapture::run<ScanCommand>(
        {QStringLiteral("--library"), QStringLiteral("--xml"), none + QStringLiteral(".xml")});
    EXPECT_EQ(xml.status, 1);
    EXPECT_TRUE(xml.err.contains(QStringLiteral("could not be read"))) << xml.err.toStdString();
}

TEST(RegenerateCommand, RegeneratesFilesAndReportsMissingOnes)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("regencli"));
    const QString hurt = folder + QStringLiteral("/hurt.mp3");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(hurt, QStringLiteral("Hurt")));
    CommandCapture regenerate = CommandCapture::run<RegenerateCommand>({hurt});
    EXPECT_EQ(regenerate.status, 0) << regenerate.err.toStdString();
    EXPECT_TRUE(regenerate.out.contains(QStringLiteral("(2 pictures)"))) << regenerate.out.toStdString();
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(hurt);
    ASSERT_TRUE(tag);
    EXPECT_FALSE(tag->encounteredProblemDecoding());

    regenerate = CommandCapture::run<RegenerateCommand>({hurt, folder + QStringLiteral("/none.mp3")});
    EXPECT_EQ(regenerate.status, 1);
    EXPECT_TRUE(regenerate.out.contains(QStringLiteral("1 of 2 files regenerated")))
        << regenerate.out.toStdString();
    EXPECT_EQ(CommandCapture::run<RegenerateCommand>({}).status, 2);
}

// An MPEG-4 file without a tag is regenerated (it is given an item list);
// one that cannot hold a tag is refused with the reason.
TEST(RegenerateCommand, UntaggedMpeg4FilesAndRefusalsWithTheirReason)
{
    using F = Mp4TestFiles;
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("regenmp4"));
    const QString untagged = folder + QStringLiteral("/untagged.m4a");
    F::Options o;
    o.withUdta = false;
    ASSERT_TRUE(TestSupport::writeFile(untagged, F::m4a(o)));
    CommandCapture regenerate = CommandCapture::run<RegenerateCommand>({untagged});
    EXPECT_EQ(regenerate.status, 0) << regenerate.err.toStdString();
    EXPECT_TRUE(regenerate.out.contains(QStringLiteral("1 of 1 file regenerated")))
        << regenerate.out.toStdString();

    const QString noMovie = folder + QStringLiteral("/nomovie.m4a");
    const QByteArray bytes = F::atom(QStringLiteral("ftyp"), QByteArray("M4A ") + F::be32(0)) +
                             F::atom(QStringLiteral("mdat"), F::chunkBytes(0, 4000));
    ASSERT_TRUE(TestSupport::writeFile(noMovie, bytes));
    regenerate = CommandCapture::run<RegenerateCommand>({noMovie});
    EXPECT_EQ(regenerate.status, 1);
    EXPECT_TRUE(regenerate.err.contains(QStringLiteral("no movie atom"))) << regenerate.err.toStdString();
    EXPECT_EQ(TestSupport::readFile(noMovie), bytes);
}
