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

#include <cstdio>

namespace {

// Runs a command with its output caught in temporary files.
template <typename Command> int runCommand(const QStringList& arguments, QByteArray* out, QByteArray* err)
{
    std::FILE* outFile = std::tmpfile();
    std::FILE* errFile = std::tmpfile();
    const int code = Command(arguments, outFile, errFile).run();
    for (auto [file, bytes] : {std::pair{outFile, out}, std::pair{errFile, err}}) {
        std::rewind(file);
        char buffer[4096];
        size_t n = 0;
        while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
            bytes->append(buffer, static_cast<qsizetype>(n));
        std::fclose(file);
    }
    return code;
}

} // namespace

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

    QByteArray out, err;
    ASSERT_EQ(
        runCommand<ScanCommand>({QStringLiteral("--folder"), folder, QStringLiteral("--json")}, &out, &err),
        0)
        << err.constData();
    // One object per song and line, then the summary.
    QJsonObject answer;
    QHash<QString, QJsonObject> byPath;
    for (const QByteArray& line : out.trimmed().split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object.value(QStringLiteral("kind")).toString() == QLatin1String("summary"))
            answer = object;
        else
            byPath.insert(object.value(QStringLiteral("path")).toString(), object);
    }
    EXPECT_EQ(answer.value(QStringLiteral("count")).toInt(), 3);
    EXPECT_EQ(answer.value(QStringLiteral("damaged")).toInt(), 1);
    ASSERT_EQ(byPath.size(), 3);
    EXPECT_EQ(byPath.value(full).value(QStringLiteral("artist")).toString(), QStringLiteral("Band"));
    EXPECT_EQ(byPath.value(full).value(QStringLiteral("lacks")).toArray(),
              QJsonArray({QStringLiteral("artwork"), QStringLiteral("genre"), QStringLiteral("track"),
                          QStringLiteral("year"), QStringLiteral("lyrics")}));
    EXPECT_TRUE(
        byPath.value(bare).value(QStringLiteral("lacks")).toArray().contains(QStringLiteral("album")));
    EXPECT_EQ(byPath.value(hurt).value(QStringLiteral("status")).toString(), QStringLiteral("damaged"));
    EXPECT_FALSE(
        byPath.value(hurt).value(QStringLiteral("lacks")).toArray().contains(QStringLiteral("artwork")));
    // The entries were written out.
    EXPECT_FALSE(SongFileInfoCache::sharedCache().isDirty());

    out.clear();
    err.clear();
    ASSERT_EQ(runCommand<ScanCommand>({QStringLiteral("--folder"), folder}, &out, &err), 0);
    EXPECT_TRUE(out.contains("3 songs: 0 complete, 3 lacking something, 0 read-only, 1 with a damaged tag"))
        << out.constData();
    EXPECT_TRUE(out.contains(QByteArray(hurt.toUtf8() + "  [damaged tag]"))) << out.constData();
}

TEST(ScanCommand, BadArgumentsAndSources)
{
    QByteArray out, err;
    EXPECT_EQ(runCommand<ScanCommand>({QStringLiteral("--folder")}, &out, &err), 2);
    EXPECT_EQ(
        runCommand<ScanCommand>(
            {QStringLiteral("--folder"), TestSupport::scratchFolder() + QStringLiteral("/no")}, &out, &err),
        1);
    EXPECT_EQ(runCommand<ScanCommand>({QStringLiteral("--library"), QStringLiteral("--xml"),
                                       TestSupport::scratchFolder() + QStringLiteral("/none.xml")},
                                      &out, &err),
              1);
    EXPECT_TRUE(err.contains("could not be read")) << err.constData();
}

TEST(RegenerateCommand, RegeneratesFilesAndReportsMissingOnes)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("regencli"));
    const QString hurt = folder + QStringLiteral("/hurt.mp3");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(hurt, QStringLiteral("Hurt")));
    QByteArray out, err;
    EXPECT_EQ(runCommand<RegenerateCommand>({hurt}, &out, &err), 0) << err.constData();
    EXPECT_TRUE(out.contains("(2 pictures)")) << out.constData();
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(hurt);
    ASSERT_TRUE(tag);
    EXPECT_FALSE(tag->encounteredProblemDecoding());

    out.clear();
    err.clear();
    EXPECT_EQ(runCommand<RegenerateCommand>({hurt, folder + QStringLiteral("/none.mp3")}, &out, &err), 1);
    EXPECT_TRUE(out.contains("1 of 2 files regenerated")) << out.constData();
    EXPECT_EQ(runCommand<RegenerateCommand>({}, &out, &err), 2);
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
    QByteArray out, err;
    EXPECT_EQ(runCommand<RegenerateCommand>({untagged}, &out, &err), 0) << err.constData();
    EXPECT_TRUE(out.contains("1 of 1 file regenerated")) << out.constData();

    const QString noMovie = folder + QStringLiteral("/nomovie.m4a");
    const QByteArray bytes = F::atom(QStringLiteral("ftyp"), QByteArray("M4A ") + F::be32(0)) +
                             F::atom(QStringLiteral("mdat"), F::chunkBytes(0, 4000));
    ASSERT_TRUE(TestSupport::writeFile(noMovie, bytes));
    out.clear();
    err.clear();
    EXPECT_EQ(runCommand<RegenerateCommand>({noMovie}, &out, &err), 1);
    EXPECT_TRUE(err.contains("no movie atom")) << err.constData();
    EXPECT_EQ(TestSupport::readFile(noMovie), bytes);
}
