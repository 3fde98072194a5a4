// What a user sees of the command line itself: help for every command, made
// from the same table as the parser, the manual page and the completion, and
// argument errors that say what is wrong and what would be right.
#include "CliProcess.h"
#include "LoadTestFiles.h"

#include "cli/CommandTable.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>

#include <gtest/gtest.h>

namespace {

QString fileText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

TEST(CommandLine, ArgumentErrorsSayWhatIsWrongAndWhatWouldBeRight)
{
    const struct Row
    {
        const char* arguments; // split at blanks
        int status;
        const char* says;
    } rows[] = {
        {"fix --folde /tmp", 2, "quillbeat-cli fix: unknown option --folde; did you mean --folder?"},
        {"fix --frobnicate", 2, "unknown option --frobnicate (quillbeat-cli fix --help lists the options)"},
        {"fix --folder", 2, "quillbeat-cli fix: --folder needs a folder"},
        {"fix --folder --dry-run", 2, "--folder needs a folder"},
        {"scan --folder /tmp --library", 2, "--folder and --library can't be combined"},
        {"fix --check year,albm", 2,
         "unknown attribute 'albm'; one of album, title, artwork, genre, track, year, lyrics"},
        {"fix --method newest", 2, "unknown method 'newest'; one of earliest, duplicates"},
        {"lookup --artist A --album B --sources musicbrainz,lrclb", 2,
         "unknown source 'lrclb'; one of musicbrainz, lrclib, wikipedia, discogs"},
        {"lookup --artist A", 2, "give the artist (--artist) and the album (--album) or the song (--title)"},
        {"set a.mp3 --title A --title B", 2, "--title is given twice"},
        {"set a.mp3 --compilation maybe", 2, "unknown answer 'maybe'; one of yes, no"},
        {"set a.mp3 --lyrics-file l.txt --no-lyrics", 2, "--lyrics-file and --no-lyrics can't be combined"},
        {"scan --json=yes", 2, "--json takes no value"},
        {"tags", 2, "quillbeat-cli tags needs a file"},
        {"history seven", 2, "ID is a whole number, not 'seven'"},
        {"undo", 2, "needs the number of an operation"},
        {"undo 3 --last", 2, "give an operation's number or --last, not both"},
        {"library extra", 2, "unexpected argument 'extra'"},
        {"frobnicate", 2, "unknown command 'frobnicate'; one of tags, set, library"},
        {"fx", 2, "unknown command 'fx'; did you mean fix?"},
        {"prefs minImgSize", 2, "there is no setting 'minImgSize'; did you mean minImageSize?"},
        {"prefs httpDeadlineSeconds 0", 2, "takes a whole number from 1 to 3600"},
        {"prefs minImageSize huge", 2, "takes a number from 0 to 32767"},
        {"prefs _source 7", 2, "takes a whole number from 0 to 2"},
        // "--" ends the options: what follows is a file's name.
        {"tags -- --json", 1, "--json: there is no such file"},
    };
    for (const Row& row : rows) {
        const std::string shown = row.arguments;
        const CliProcess::Outcome outcome = CliProcess::run(CliProcess::words(row.arguments));
        ASSERT_TRUE(outcome.finished) << shown;
        EXPECT_EQ(outcome.status, row.status) << shown;
        EXPECT_TRUE(QString::fromUtf8(outcome.err).contains(QString::fromUtf8(row.says)))
            << shown << "\n"
            << QString::fromUtf8(outcome.err).toStdString();
        EXPECT_TRUE(outcome.out.isEmpty()) << shown;
    }
}

TEST(CommandLine, EveryCommandHasItsHelpManualPageAndCompletion)
{
    const QString manual = fileText(QStringLiteral(QB_CLI_MANUAL));
    const QString completion = fileText(QStringLiteral(QB_CLI_COMPLETION));
    ASSERT_FALSE(manual.isEmpty());
    ASSERT_FALSE(completion.isEmpty());
    for (const CommandSpec& spec : CommandTable::commands()) {
        const std::string name = spec.name.toStdString();
        const CliProcess::Outcome asked = CliProcess::run({spec.name, QStringLiteral("--help")});
        const CliProcess::Outcome viaHelp = CliProcess::run({QStringLiteral("help"), spec.name});
        EXPECT_EQ(asked.status, 0) << name;
        EXPECT_EQ(viaHelp.status, 0) << name;
        EXPECT_EQ(asked.out, viaHelp.out) << name;
        const QString help = QString::fromUtf8(asked.out);
        EXPECT_TRUE(help.startsWith(QStringLiteral("Usage: quillbeat-cli ") + spec.name))
            << help.toStdString();
        EXPECT_TRUE(help.contains(QStringLiteral("Example:\n  quillbeat-cli ") + spec.name))
            << help.toStdString();
        for (const OptionSpec& option : spec.options) {
            EXPECT_TRUE(help.contains(QStringLiteral("  ") + option.name))
                << name << " " << option.name.toStdString();
            QString roff = option.name;
            EXPECT_TRUE(manual.contains(roff.replace(QLatin1Char('-'), QStringLiteral("\\-"))))
                << name << " " << option.name.toStdString();
            EXPECT_TRUE(completion.contains(option.name)) << name << " " << option.name.toStdString();
            if (option.choices) {
                for (const QString& choice : option.choices())
                    EXPECT_TRUE(help.contains(choice)) << name << " " << choice.toStdString();
            }
        }
        for (ExitStatus status : spec.statuses)
            EXPECT_TRUE(help.contains(QStringLiteral("\n  %1 ").arg(exitCode(status))))
                << name << " " << exitCode(status);
        EXPECT_TRUE(manual.contains(QStringLiteral(".SS ") + spec.name)) << name;
    }

    // Nothing asked: the overview, on standard error, with status 2.
    const CliProcess::Outcome bare = CliProcess::run({});
    EXPECT_EQ(bare.status, 2);
    const QString overview = QString::fromUtf8(bare.err);
    for (const CommandSpec& spec : CommandTable::commands())
        EXPECT_TRUE(overview.contains(QStringLiteral("\n  ") + spec.name + QLatin1Char(' ')))
            << spec.name.toStdString();
    for (const QString& source : CommandTable::sourceNames())
        EXPECT_TRUE(overview.contains(source)) << source.toStdString();
    for (int status : {0, 1, 2, 3, 4, 130, 141})
        EXPECT_TRUE(overview.contains(QStringLiteral("\n  %1 ").arg(status))) << status;
    const CliProcess::Outcome asked = CliProcess::run({QStringLiteral("--help")});
    EXPECT_EQ(asked.status, 0);
    EXPECT_EQ(QString::fromUtf8(asked.out), overview);
}

// Qt's own messages (a colour profile it can't read in a cover, a plugin
// loaded) are details for the activity log, never lines in a command's
// output.
TEST(CommandLine, QtMessagesGoToTheActivityLog)
{
    const QString logFolder = QDir::homePath() + QStringLiteral("/.local/share/Wendmark/Quillbeat");
    // A picture in a format that only one of Qt's image plugins reads.
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("qt-messages"));
    const QString song = folder + QStringLiteral("/pictures.mp3");
    ASSERT_TRUE(LoadTestFiles::writeSong(song, QStringLiteral("Pictures")));
    const QString icon = folder + QStringLiteral("/cover.ico");
    QImage cover(16, 16, QImage::Format_ARGB32);
    cover.fill(Qt::darkCyan);
    ASSERT_TRUE(cover.save(icon, "ICO"));
    // Every message of Qt's plugin loading, as a warning would come.
    qputenv("QT_LOGGING_RULES", "qt.core.library.debug=true");
    const CliProcess::Outcome set =
        CliProcess::run({QStringLiteral("set"), song, QStringLiteral("--add-picture"), icon}, 30000);
    qunsetenv("QT_LOGGING_RULES");
    ASSERT_TRUE(set.finished);
    const QByteArray shown = set.out + set.err;
    EXPECT_FALSE(shown.contains("qt.core")) << shown.constData();
    QString logged;
    QDirIterator logs(logFolder, {QStringLiteral("Log-*.txt")}, QDir::Files, QDirIterator::Subdirectories);
    while (logs.hasNext())
        logged += fileText(logs.next());
    EXPECT_TRUE(logged.contains(QStringLiteral("Qt qt.core.library"))) << logFolder.toStdString();
}
