// Song files whose names are not UTF-8 (a Latin-1 "é" is the byte 0xE9):
// Qt has no QString that opens them, so every command that meets one says so,
// by the name as the user's shell shows it.
#include "CliProcess.h"
#include "LoadTestFiles.h"

#include "support/LocalizedStrings.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

namespace {

// The folder's own path is plain; its song and subfolder are not UTF-8.
QString folderWithLatin1Names()
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("latin1"));
    QDir().mkpath(folder + QStringLiteral("/sub"));
    EXPECT_TRUE(LoadTestFiles::writeSong(folder + QStringLiteral("/ok.mp3"), QStringLiteral("Fine")));
    EXPECT_TRUE(LoadTestFiles::writeSong(folder + QStringLiteral("/cafe.mp3"), QStringLiteral("Cafe")));
    EXPECT_TRUE(LoadTestFiles::writeSong(folder + QStringLiteral("/sub/inner.mp3"), QStringLiteral("Inner")));
    const QByteArray raw = QFile::encodeName(folder);
    const auto rename = [&](const char* from, const char* to) {
        EXPECT_EQ(std::rename(QByteArray(raw + from).constData(), QByteArray(raw + to).constData()), 0) << to;
    };
    rename("/cafe.mp3", "/caf\xe9.mp3");
    rename("/sub", "/dossier\xe9");
    return folder;
}

// Runs the program through bash, which turns $'\351' into the byte itself
// (the arguments of a QProcess are always UTF-8).
CliProcess::Outcome runInBash(const QString& script, const QString& folder)
{
    return CliProcess::run(
        {QStringLiteral("-c"), QStringLiteral("exec \"$0\" ") + script, QStringLiteral(QB_CLI_PATH), folder},
        60000, QStringLiteral("bash"));
}

} // namespace

TEST(FileNames, NamesThatAreNotUtf8AreReportedAsTheShellShowsThem)
{
    const QString folder = folderWithLatin1Names();
    const QString song = folder + QStringLiteral("/caf$'\\351'.mp3");
    const QString subfolder = folder + QStringLiteral("/dossier$'\\351'");
    const QString reason = LocalizedStrings::text(QStringLiteral("NameNotUtf8"));
    const QString songLine = LocalizedStrings::format(QStringLiteral("SongNameNotUtf8"), song);

    struct Row
    {
        const char* name;
        QString script;
        QStringList onScreen;
        std::function<void(const QByteArray&)> checkOutput;
    };
    const Row rows[] = {
        {"scan",
         QStringLiteral("scan --folder \"$1\" --json"),
         {songLine, LocalizedStrings::format(QStringLiteral("FolderNameNotUtf8"), subfolder)},
         [&](const QByteArray& out) {
             const QJsonObject answer = QJsonDocument::fromJson(out).object();
             EXPECT_EQ(answer.value(QStringLiteral("count")).toInt(), 1);
             EXPECT_EQ(
                 answer.value(QStringLiteral("unreadable")).toArray(),
                 QJsonArray(
                     {QJsonObject{{QStringLiteral("path"), song}, {QStringLiteral("reason"), reason}},
                      QJsonObject{{QStringLiteral("path"), subfolder}, {QStringLiteral("reason"), reason}}}));
         }},
        {"fix", QStringLiteral("fix --folder \"$1\" --dry-run --check year"), {songLine}, nullptr},
        {"tags",
         QStringLiteral("tags --json \"$1\"/caf$'\\351'.mp3 \"$1\"/ok.mp3"),
         {songLine},
         [&](const QByteArray& out) {
             const QList<QByteArray> lines = out.trimmed().split('\n');
             ASSERT_EQ(lines.size(), 2);
             const QJsonObject bad = QJsonDocument::fromJson(lines.first()).object();
             EXPECT_EQ(bad.value(QStringLiteral("path")).toString(), song);
             EXPECT_FALSE(bad.value(QStringLiteral("readable")).toBool());
             EXPECT_EQ(bad.value(QStringLiteral("error")).toString(), reason);
             EXPECT_TRUE(
                 QJsonDocument::fromJson(lines.last()).object().value(QStringLiteral("readable")).toBool());
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        CliProcess::Outcome outcome = runInBash(row.script, folder);
        ASSERT_TRUE(outcome.finished);
        const QString err = QString::fromUtf8(outcome.err);
        for (const QString& line : row.onScreen)
            EXPECT_TRUE(err.contains(line)) << err.toStdString();
        if (row.checkOutput)
            row.checkOutput(outcome.out);
    }
}
