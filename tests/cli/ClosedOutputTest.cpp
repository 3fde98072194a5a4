// Commands whose standard output is piped into a reader that closes after
// two lines (`quillbeat-cli fix | head -2`): they stop instead of working on.
#include "CliProcess.h"
#include "LoadTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include <QUrl>

#include <gtest/gtest.h>

namespace {

constexpr int kClosedOutputStatus = 141;
// Generous: a guard against a program that works on, not a measurement.
constexpr int kWaitMs = 30000;

struct PipedRun
{
    bool readerDone = false;
    bool finished = false;
    bool crashed = false;
    int status = -1;
    QStringList readerLines;
    QByteArray err;
};

// Runs the program with its standard output piped into `head -n 2`. The
// test's event loop turns meanwhile (for a local server).
PipedRun runIntoHead(const QStringList& arguments, const QString& resources = QString())
{
    PipedRun run;
    QProcess cli;
    QProcess head;
    cli.setStandardOutputProcess(&head);
    head.start(QStringLiteral("head"), {QStringLiteral("-n"), QStringLiteral("2")});
    if (!CliProcess::start(cli, arguments, resources) || !head.waitForStarted())
        return run;
    run.readerDone = TestHttpServer::waitFor([&] { return head.state() == QProcess::NotRunning; }, kWaitMs);
    run.finished = TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, kWaitMs);
    if (!run.finished) {
        cli.kill();
        cli.waitForFinished();
    }
    run.crashed = cli.exitStatus() == QProcess::CrashExit;
    run.status = cli.exitCode();
    run.readerLines =
        QString::fromUtf8(head.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    run.err = cli.readAllStandardError();
    return run;
}

} // namespace

TEST(ClosedOutput, FixStopsAfterTheCurrentSong)
{
    // The database never answers: the songs that need it wait for it.
    TestHttpServer server;
    ASSERT_TRUE(server.start());
    server.setHandler([](const TestHttpServer::Request&) { return CliProcess::silence(); });
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("closed-fix"));
    const QString resources =
        CliProcess::musicBrainzResources(QStringLiteral("closed-fix"), server.url(QString()).toString());

    // The second song takes its year from the first at once (two lines of
    // output); the others are of an album nobody knows and wait.
    const auto song = [&](const QString& name, const QString& title, const QString& album,
                          const QString& year) {
        const QString path = folder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(LoadTestFiles::writeSong(path, title, QStringLiteral("Harbour Lights"), album, year));
        return path;
    };
    song(QStringLiteral("1"), QStringLiteral("First Light"), QStringLiteral("Low Tide"),
         QStringLiteral("1994"));
    const QString second =
        song(QStringLiteral("2"), QStringLiteral("Undertow"), QStringLiteral("Low Tide"), {});
    QStringList waiting;
    QList<QByteArray> before;
    for (int i = 3; i <= 6; ++i) {
        waiting.append(
            song(QString::number(i), QStringLiteral("Song %1").arg(i), QStringLiteral("High Water"), {}));
        before.append(TestSupport::readFile(waiting.last()));
    }

    const PipedRun run = runIntoHead(QStringList{QStringLiteral("fix"), QStringLiteral("--folder"), folder,
                                                 QStringLiteral("--check"), QStringLiteral("year")},
                                     resources);
    ASSERT_TRUE(run.readerDone);
    ASSERT_EQ(run.readerLines.size(), 2);
    EXPECT_TRUE(run.readerLines.first().startsWith(QStringLiteral("2.mp3  (Harbour Lights – Undertow)")))
        << run.readerLines.first().toStdString();
    EXPECT_TRUE(run.finished) << "fix went on after its output was closed";
    EXPECT_FALSE(run.crashed);
    EXPECT_EQ(run.status, kClosedOutputStatus) << run.err.constData();
    EXPECT_EQ(LoadTestFiles::yearOf(second), QStringLiteral("1994"));
    // The song being looked up when the reader left was the last one.
    for (const TestHttpServer::Request& request : server.requests())
        EXPECT_FALSE(
            QUrl::fromPercentEncoding(request.pathAndQuery.toUtf8()).contains(QStringLiteral("Song 4")))
            << request.pathAndQuery.toStdString();
    for (qsizetype i = 0; i < waiting.size(); ++i)
        EXPECT_EQ(TestSupport::readFile(waiting.at(i)), before.at(i)) << waiting.at(i).toStdString();
}

TEST(ClosedOutput, TagsStopsAtTheFailedWrite)
{
    // Far more output than a pipe holds, so the program is still writing
    // when the reader goes; the last file, which does not exist, would be
    // reported on standard error if it went on to the end.
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("closed-tags"));
    const QString path = folder + QStringLiteral("/song.mp3");
    ASSERT_TRUE(LoadTestFiles::writeSong(path, QStringLiteral("Undertow"), QStringLiteral("Harbour Lights")));
    QStringList arguments{QStringLiteral("tags")};
    for (int i = 0; i < 4000; ++i)
        arguments.append(path);
    arguments.append(folder + QStringLiteral("/missing.mp3"));

    const PipedRun run = runIntoHead(arguments);
    ASSERT_TRUE(run.readerDone);
    EXPECT_EQ(run.readerLines.size(), 2);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.status, kClosedOutputStatus);
    EXPECT_FALSE(run.err.contains("missing.mp3")) << run.err.constData();
}
