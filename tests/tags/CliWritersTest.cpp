// quillbeat-cli run as programs: writers of the same files at the same
// time, a writer killed at random moments, and names that are not regular
// files.
#include "ID3TestData.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <iterator>
#include <limits>
#include <random>

#include <signal.h>

#include <sys/stat.h>

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

// Starts the program; given a home folder, with that home and the standard
// folders in it.
void start(QProcess& cli, const QStringList& arguments, const QString& home = QString())
{
    if (!home.isNull()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
            environment.remove(QString::fromLatin1(name));
        cli.setProcessEnvironment(environment);
    }
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

// A small song whose writes keep its length: padding after the item list.
QString smallSong(const QString& path)
{
    return T::song(path, {.artist = QStringLiteral("Old Artist"), .freeSpace = 2000});
}

} // namespace

TEST(CliWriters, SetKilledAtAnyMomentLeavesEveryFileAsItWasOrCompletelyWritten)
{
    // The program's own next start puts right what a killed set left.
    const QString folder = TestSupport::testFolder(QStringLiteral("cli"));
    const auto run = [&](QProcess& cli, const QStringList& arguments) {
        start(cli, arguments, folder + QStringLiteral("/home"));
    };
    QStringList paths;
    QList<QByteArray> originals, complete;
    for (int i = 0; i < 16; ++i) {
        // About a megabyte, so that rewriting it takes a moment.
        const QString path = folder + (i % 2 ? QStringLiteral("/%1.m4a") : QStringLiteral("/%1.mp3")).arg(i);
        paths.append(i % 2 ? T::song(path, {.length = 256, .freeSpace = 100, .chunkBytes = 4096})
                           : T::song(path, {.length = 2500}));
        ASSERT_FALSE(paths.last().isEmpty());
        originals.append(TestSupport::readFile(paths.last()));
    }
    // Every file grows: its audio moves.
    const QStringList setTitle = QStringList{QStringLiteral("set")} + paths +
                                 QStringList{QStringLiteral("--title"), QString(5000, QLatin1Char('T'))};
    // Kills fall between the end of the program's start and the end of a
    // whole run (the quickest of three).
    const auto timed = [&](const QStringList& arguments) {
        qint64 quickest = std::numeric_limits<qint64>::max();
        for (int i = 0; i < 3; ++i) {
            for (qsizetype f = 0; f < paths.size() && !originals.isEmpty(); ++f)
                TestSupport::writeFile(paths[f], originals[f]);
            QElapsedTimer clock;
            clock.start();
            QProcess cli;
            run(cli, arguments);
            const Finished done = finish(cli);
            EXPECT_EQ(done.status, 0) << done.err.toStdString();
            quickest = qMin(quickest, clock.nsecsElapsed() / 1000);
        }
        return quickest;
    };
    const qint64 startUs = timed({QStringLiteral("tags"), paths.first()});
    const qint64 wholeUs = timed(setTitle);
    for (const QString& path : std::as_const(paths))
        complete.append(TestSupport::readFile(path));

    // The journal the runs use: while it is valid, files are being written.
    QDirIterator slotFiles(folder + QStringLiteral("/home"), {QStringLiteral("*.journal")},
                           QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    ASSERT_TRUE(slotFiles.hasNext());
    QFile journal(slotFiles.next());
    const auto journalIsValid = [&journal] {
        journal.open(QIODevice::ReadOnly);
        const bool valid = journal.read(8) == "QBJOURNL";
        journal.close();
        return valid;
    };

    // Every second round is killed at any moment of the run, the others a
    // moment after the files' writing began.
    constexpr int kRounds = 16;
    std::mt19937 random(20240917);
    int interrupted = 0;
    for (int round = 0; round < kRounds; ++round) {
        for (qsizetype i = 0; i < paths.size(); ++i)
            ASSERT_TRUE(TestSupport::writeFile(paths[i], originals[i]));
        const bool whileWriting = round % 2 == 1;
        const qint64 delayUs = whileWriting ? std::uniform_int_distribution<qint64>(0, 5000)(random)
                                            : std::uniform_int_distribution<qint64>(startUs, wholeUs)(random);
        const std::string row = "round " + std::to_string(round) + ", killed " + std::to_string(delayUs) +
                                (whileWriting ? " us after the writing began" : " us after the start");
        QProcess cli;
        run(cli, setTitle);
        QElapsedTimer waited;
        waited.start();
        while (whileWriting && !journalIsValid() && waited.elapsed() < kCommandLimitMs &&
               !cli.waitForFinished(0))
            QThread::usleep(100);
        QThread::usleep(static_cast<unsigned long>(delayUs));
        ::kill(static_cast<pid_t>(cli.processId()), SIGKILL);
        finish(cli);
        interrupted += journalIsValid() ? 1 : 0;

        QProcess next;
        run(next, QStringList{QStringLiteral("tags")} + paths);
        const Finished started = finish(next);
        ASSERT_TRUE(started.ended) << row;
        for (qsizetype i = 0; i < paths.size(); ++i) {
            const QByteArray now = TestSupport::readFile(paths[i]);
            EXPECT_TRUE(now == originals[i] || TestSupport::isCompleteWrite(now, complete[i]))
                << row << ": " << paths[i].toStdString() << " is neither as it was nor completely written";
        }
    }
    ::testing::Test::RecordProperty("roundsWithAJournalLeft", interrupted);
}

TEST(CliWriters, SetProcessesOverTheSameFilesInOppositeOrderBothWrite)
{
    // Each batches its files and holds their locks until its commit; neither
    // may wait for the other while holding them.
    const QString folder = TestSupport::testFolder(QStringLiteral("cli"));
    QStringList paths;
    for (int i = 0; i < 8; ++i)
        paths.append(
            smallSong(folder + (i % 2 ? QStringLiteral("/%1.m4a") : QStringLiteral("/%1.mp3")).arg(i)));
    QStringList reversed = paths;
    std::reverse(reversed.begin(), reversed.end());
    for (int round = 0; round < 5; ++round) {
        const QString title = QStringLiteral("Title %1").arg(round);
        const QString artist = QStringLiteral("Artist %1").arg(round);
        QProcess forward, backward;
        start(forward,
              QStringList{QStringLiteral("set")} + paths + QStringList{QStringLiteral("--title"), title});
        start(backward, QStringList{QStringLiteral("set")} + reversed +
                            QStringList{QStringLiteral("--artist"), artist});
        const Finished one = finish(forward);
        const Finished other = finish(backward);
        ASSERT_EQ(one.status, 0) << "round " << round << ": " << one.err.toStdString();
        ASSERT_EQ(other.status, 0) << "round " << round << ": " << other.err.toStdString();
        for (const QString& path : std::as_const(paths)) {
            const auto tag = AudioInfoTag::tagFromFileAtPath(path, false);
            ASSERT_TRUE(tag) << path.toStdString();
            EXPECT_EQ(tag->title(), title) << "round " << round << " " << path.toStdString();
            EXPECT_EQ(tag->artist(), artist) << "round " << round << " " << path.toStdString();
        }
    }
}

TEST(CliWriters, SetProcessesOnOneFileLoseNoChange)
{
    // Four writers at once, each changing a value of its own; a race shows
    // within a few rounds where it exists.
    constexpr int kRounds = 20;
    const char* changes[] = {"title", "artist", "album", "genre"};
    for (const char* name : {"race.mp3", "race.m4a"}) {
        const QString path = T::scratchPath(QString::fromLatin1(name));
        for (int round = 0; round < kRounds; ++round) {
            const std::string row = std::string(name) + " round " + std::to_string(round);
            ASSERT_FALSE(smallSong(path).isEmpty()) << row;
            QProcess writers[std::size(changes)];
            for (size_t i = 0; i < std::size(changes); ++i)
                start(writers[i],
                      {QStringLiteral("set"), path, QStringLiteral("--") + QLatin1String(changes[i]),
                       QStringLiteral("Value %1.%2").arg(round).arg(i)});
            Finished done[std::size(changes)];
            for (size_t i = 0; i < std::size(changes); ++i)
                done[i] = finish(writers[i]);

            // Each writer either wrote and its change is there, or said it
            // left the file alone and failed.
            const auto tag = AudioInfoTag::tagFromFileAtPath(path, false);
            ASSERT_TRUE(tag) << row << ": the file no longer reads";
            int wrote = 0;
            for (size_t i = 0; i < std::size(changes); ++i) {
                ASSERT_TRUE(done[i].ended) << row;
                const std::string writer = row + " " + changes[i];
                if (done[i].status == 0) {
                    ++wrote;
                    SCOPED_TRACE(writer + ": a change reported written is lost");
                    TestSupport::expectTagValues(
                        *tag, {{changes[i], QStringLiteral("Value %1.%2").arg(round).arg(i)}});
                } else {
                    EXPECT_TRUE(done[i].err.contains(path)) << writer << ": " << done[i].err.toStdString();
                }
            }
            EXPECT_GE(wrote, 1) << row;
        }
    }
}

TEST(CliWriters, NamesThatAreNotRegularFilesAreRefusedWithoutWaiting)
{
    const QString folder = TestSupport::testFolder(QStringLiteral("cli"));
    ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/folder.mp3")));
    const QString fifo = folder + QStringLiteral("/x.mp3");
    const QString fifoM4a = folder + QStringLiteral("/x.m4a");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifoM4a).constData(), 0600), 0);
    const QString song = smallSong(folder + QStringLiteral("/song.mp3"));
    const QString directory = folder + QStringLiteral("/folder.mp3");
    const auto refused = [](const QString& path) {
        return LocalizedStrings::format(QStringLiteral("ErrorNotRegularFile"), path);
    };

    // Nothing ever writes to the pipes: a command that opens one for
    // reading waits forever, and is stopped after the limit.
    const struct
    {
        QStringList arguments;
        int status;
        QString said; // on standard error
    } rows[] = {
        {{QStringLiteral("tags"), fifo}, 1, refused(fifo)},
        {{QStringLiteral("tags"), QStringLiteral("--json"), fifo, song}, 1, refused(fifo)},
        {{QStringLiteral("tags"), fifoM4a}, 1, refused(fifoM4a)},
        {{QStringLiteral("set"), fifo, QStringLiteral("--title"), QStringLiteral("T")}, 1, refused(fifo)},
        {{QStringLiteral("set"), fifoM4a, QStringLiteral("--artist"), QStringLiteral("A")},
         1,
         refused(fifoM4a)},
        {{QStringLiteral("set"), directory, QStringLiteral("--title"), QStringLiteral("T")},
         1,
         refused(directory)},
        {{QStringLiteral("regenerate"), fifo}, 1, fifo},
        {{QStringLiteral("scan"), QStringLiteral("--folder"), folder}, 0, QString()},
    };
    const QByteArray songBytes = TestSupport::readFile(song);
    for (const auto& row : rows) {
        const std::string name = row.arguments.join(QLatin1Char(' ')).toStdString();
        QProcess cli;
        start(cli, row.arguments);
        const Finished done = finish(cli, 10000);
        ASSERT_TRUE(done.ended) << name << ": still waiting on the pipe";
        EXPECT_EQ(done.status, row.status) << name << ": " << done.err.toStdString();
        EXPECT_TRUE(done.err.contains(row.said)) << name << ": " << done.err.toStdString();
    }
    EXPECT_EQ(TestSupport::readFile(song), songBytes);
}

TEST(CliWriters, ReadingCommandsLeaveTheProgramsFilesAlone)
{
    // Once the first run has made its settings and log, a command that
    // changes nothing writes nothing but its log lines: no settings file
    // rewritten (and flushed), no journal, no history.
    const QString home = TestSupport::testFolder(QStringLiteral("cli"));
    // A genre by number: reading it loads the resources, which logs, so the
    // first run makes the log and remembers its folder in the settings.
    const QString song = TestSupport::scratchFile(
        QStringLiteral("readonly/song.mp3"),
        T::tag(3, {T::frame("TCON", T::textBody(QStringLiteral("(17)")))}) + T::audio());
    // Every file of the home but the log, with its inode, length and times.
    const auto files = [&home] {
        QStringList listed;
        QDirIterator it(home, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            struct stat st = {};
            ::stat(QFile::encodeName(path).constData(), &st);
            if (!path.contains(QStringLiteral("/Log-")))
                listed.append(QStringLiteral("%1 %2 %3 %4.%5")
                                  .arg(path)
                                  .arg(st.st_ino)
                                  .arg(st.st_size)
                                  .arg(st.st_mtim.tv_sec)
                                  .arg(st.st_mtim.tv_nsec));
        }
        listed.sort();
        return listed;
    };
    QStringList first;
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("tags"), QStringLiteral("--json"), song},
          QStringList{QStringLiteral("tags"), song}, QStringList{QStringLiteral("--version")}}) {
        QProcess cli;
        start(cli, arguments, home);
        const Finished done = finish(cli);
        ASSERT_EQ(done.status, 0) << done.err.toStdString();
        if (first.isEmpty())
            first = files();
        else
            EXPECT_EQ(files(), first) << arguments.join(QLatin1Char(' ')).toStdString();
    }
}
