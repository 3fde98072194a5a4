// quillbeat-cli run as programs: two writers of one file at the same time,
// and names that are not regular files.
#include "ID3TestData.h"
#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>

#include <functional>
#include <iterator>

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
    // Padding after the item list: every write keeps the file's length.
    Mp4TestFiles::Options o;
    o.items = {Mp4TestFiles::textItem(QStringLiteral("\u00A9nam"), QStringLiteral("Old Title")),
               Mp4TestFiles::textItem(QStringLiteral("\u00A9ART"), QStringLiteral("Old Artist"))};
    o.freeInMeta = 2000;
    return TestSupport::writeFile(path, Mp4TestFiles::m4a(o)) ? path : QString();
}

} // namespace

TEST(CliWriters, SetProcessesOnOneFileLoseNoChange)
{
    // Four writers at once, each changing a value of its own; a race shows
    // within a few rounds where it exists.
    constexpr int kRounds = 20;
    const struct
    {
        const char* name;
        std::function<QString(const QString&)> make;
    } formats[] = {{"race.mp3", mp3File}, {"race.m4a", m4aFile}};
    const struct
    {
        const char* option;
        QString (AudioInfoTag::*value)() const;
    } changes[] = {{"--title", &AudioInfoTag::title},
                   {"--artist", &AudioInfoTag::artist},
                   {"--album", &AudioInfoTag::album},
                   {"--genre", &AudioInfoTag::genres}};
    for (const auto& format : formats) {
        const QString path = T::scratchPath(QString::fromLatin1(format.name));
        for (int round = 0; round < kRounds; ++round) {
            const std::string row = std::string(format.name) + " round " + std::to_string(round);
            ASSERT_FALSE(format.make(path).isEmpty()) << row;
            QProcess writers[std::size(changes)];
            for (size_t i = 0; i < std::size(changes); ++i)
                start(writers[i], {QStringLiteral("set"), path, QLatin1String(changes[i].option),
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
                const std::string writer = row + " " + changes[i].option;
                if (done[i].status == 0) {
                    ++wrote;
                    // Called through a copy: GCC's bounds check misreads a call
                    // through the array element itself.
                    const auto value = changes[i].value;
                    EXPECT_EQ((tag.get()->*value)().toStdString(),
                              QStringLiteral("Value %1.%2").arg(round).arg(i).toStdString())
                        << writer << ": a change reported written is lost";
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
    const QString folder = T::scratchPath(QStringLiteral("special"));
    QDir(folder).removeRecursively();
    ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/folder.mp3")));
    const QString fifo = folder + QStringLiteral("/x.mp3");
    const QString fifoM4a = folder + QStringLiteral("/x.m4a");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifoM4a).constData(), 0600), 0);
    const QString song = mp3File(folder + QStringLiteral("/song.mp3"));
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
    const QString home = TestSupport::scratchFolder() + QStringLiteral("/readonly-home");
    QDir(home).removeRecursively();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/cache"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/data"));
    // A genre by number: reading it loads the resources, which logs, so the
    // first run makes the log and remembers its folder in the settings.
    const QString song = TestSupport::scratchFolder() + QStringLiteral("/readonly/song.mp3");
    ASSERT_TRUE(
        TestSupport::writeFile(song, T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("Title"))),
                                                T::frame("TCON", T::textBody(QStringLiteral("(17)")))}) +
                                         T::audio()));
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
        cli.setProcessEnvironment(environment);
        start(cli, arguments);
        const Finished done = finish(cli);
        ASSERT_EQ(done.status, 0) << done.err.toStdString();
        if (first.isEmpty())
            first = files();
        else
            EXPECT_EQ(files(), first) << arguments.join(QLatin1Char(' ')).toStdString();
    }
    EXPECT_TRUE(first.join(QLatin1Char('\n')).contains(QStringLiteral("Quillbeat.conf")))
        << first.join(QLatin1Char('\n')).toStdString();
}
