// quillbeat-cli run as programs: two writers of one file at the same time.
#include "ID3TestData.h"
#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "tags/AudioInfoTag.h"

#include <QProcess>

#include <functional>

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

// Long enough for any command here; a command still running then is stuck.
constexpr int kCommandLimitMs = 30000;

struct Finished
{
    bool ended = false;
    int status = -1;
    QString out, err;
};

void start(QProcess& cli, const QStringList& arguments)
{
    cli.start(QStringLiteral(QB_CLI_PATH), arguments);
    ASSERT_TRUE(cli.waitForStarted());
}

Finished finish(QProcess& cli, int limitMs = kCommandLimitMs)
{
    Finished done;
    done.ended = cli.waitForFinished(limitMs);
    if (!done.ended) {
        cli.kill();
        cli.waitForFinished();
    }
    done.status = cli.exitStatus() == QProcess::NormalExit ? cli.exitCode() : -1;
    done.out = QString::fromUtf8(cli.readAllStandardOutput());
    done.err = QString::fromUtf8(cli.readAllStandardError());
    return done;
}

QString mp3File(const QString& path)
{
    const QByteArray bytes = T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("Old Title"))),
                                        T::frame("TPE1", T::textBody(QStringLiteral("Old Artist")))});
    return TestSupport::writeFile(path, bytes + T::audio()) ? path : QString();
}

QString m4aFile(const QString& path)
{
    // Padding after the item list: both writes keep the file's length.
    Mp4TestFiles::Options o;
    o.items = {Mp4TestFiles::textItem(QStringLiteral("\u00A9nam"), QStringLiteral("Old Title")),
               Mp4TestFiles::textItem(QStringLiteral("\u00A9ART"), QStringLiteral("Old Artist"))};
    o.freeInMeta = 2000;
    return TestSupport::writeFile(path, Mp4TestFiles::m4a(o)) ? path : QString();
}

} // namespace

TEST(CliWriters, TwoSetProcessesOnOneFileLoseNoChange)
{
    // A race shows within a few rounds where it exists.
    constexpr int kRounds = 25;
    const struct
    {
        const char* name;
        std::function<QString(const QString&)> make;
    } formats[] = {{"race.mp3", mp3File}, {"race.m4a", m4aFile}};
    for (const auto& format : formats) {
        const QString path = T::scratchPath(QString::fromLatin1(format.name));
        for (int round = 0; round < kRounds; ++round) {
            const std::string row = std::string(format.name) + " round " + std::to_string(round);
            ASSERT_FALSE(format.make(path).isEmpty()) << row;
            const QString title = QStringLiteral("Title %1").arg(round);
            const QString artist = QStringLiteral("Artist %1").arg(round);
            QProcess first, second;
            start(first, {QStringLiteral("set"), path, QStringLiteral("--title"), title});
            start(second, {QStringLiteral("set"), path, QStringLiteral("--artist"), artist});
            const Finished a = finish(first);
            const Finished b = finish(second);
            ASSERT_TRUE(a.ended && b.ended) << row;

            // Each writer either wrote and its change is there, or said it
            // left the file alone and failed.
            const auto tag = AudioInfoTag::tagFromFileAtPath(path, false);
            ASSERT_TRUE(tag) << row << ": the file no longer reads";
            const struct
            {
                const Finished& run;
                QString value;
                QString inFile;
            } writers[] = {{a, title, tag->title()}, {b, artist, tag->artist()}};
            int wrote = 0;
            for (const auto& writer : writers) {
                if (writer.run.status == 0) {
                    ++wrote;
                    EXPECT_EQ(writer.inFile, writer.value) << row << ": a change reported written is lost";
                } else {
                    EXPECT_TRUE(writer.run.err.contains(path)) << row << ": " << writer.run.err.toStdString();
                }
            }
            EXPECT_GE(wrote, 1) << row;
        }
    }
}
