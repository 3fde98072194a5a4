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
#include <utility>

namespace {

// A folder whose own path is plain and whose song and subfolder are not
// UTF-8; they get their plain names back at the end, for Qt can't remove
// them otherwise.
class Latin1Folder
{
public:
    Latin1Folder()
        : mFolder(LoadTestFiles::freshFolder(QStringLiteral("latin1"))), mRaw(QFile::encodeName(mFolder))
    {
        QDir().mkpath(mFolder + QStringLiteral("/sub"));
        EXPECT_TRUE(LoadTestFiles::writeSong(mFolder + QStringLiteral("/ok.mp3"), QStringLiteral("Fine")));
        EXPECT_TRUE(LoadTestFiles::writeSong(mFolder + QStringLiteral("/cafe.mp3"), QStringLiteral("Cafe")));
        EXPECT_TRUE(
            LoadTestFiles::writeSong(mFolder + QStringLiteral("/sub/inner.mp3"), QStringLiteral("Inner")));
        for (const auto& [plain, latin1] : kNames)
            EXPECT_EQ(rename(plain, latin1), 0) << latin1;
    }
    ~Latin1Folder()
    {
        for (const auto& [plain, latin1] : kNames)
            rename(latin1, plain);
    }
    QString path() const { return mFolder; }

private:
    static constexpr std::pair<const char*, const char*> kNames[] = {{"/cafe.mp3", "/caf\xe9.mp3"},
                                                                     {"/sub", "/dossier\xe9"}};

    int rename(const char* from, const char* to) const
    {
        return std::rename(QByteArray(mRaw + from).constData(), QByteArray(mRaw + to).constData());
    }

    QString mFolder;
    QByteArray mRaw;
};

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
    const Latin1Folder latin1;
    const QString folder = latin1.path();
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
             const QJsonObject summary = CliProcess::jsonLineOfKind(out, QStringLiteral("summary"));
             EXPECT_EQ(summary.value(QStringLiteral("count")).toInt(), 1);
             EXPECT_EQ(summary.value(QStringLiteral("unreadable")).toInt(), 2);
             // Each with its reason, as the shell shows its name.
             QStringList unreadable;
             for (const QJsonObject& line : CliProcess::jsonLines(out)) {
                 if (line.value(QStringLiteral("status")).toString() == QLatin1String("unreadable")) {
                     unreadable.append(line.value(QStringLiteral("path")).toString());
                     EXPECT_EQ(line.value(QStringLiteral("error")).toString(), reason);
                 }
             }
             EXPECT_EQ(unreadable, (QStringList{song, subfolder}));
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
