// `library` and `scan --library` over hostile and damaged library exports.
#include "BinaryPlistBuilder.h"
#include "CliProcess.h"
#include "LoadTestFiles.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

constexpr int kHostileDepth = 300000;

QByteArray deepXmlExport()
{
    // A valid export whose root dictionary ends with the deep part.
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("deep-xml"));
    QByteArray xml = LoadTestFiles::libraryXml(
        {LoadTestFiles::track(1, folder + QStringLiteral("/one.mp3"), QStringLiteral("One"))});
    const qsizetype rootEnd = xml.lastIndexOf("</dict>");
    const QByteArray deep = "<key>Deep</key>" + QByteArray("<array>").repeated(kHostileDepth) +
                            QByteArray("</array>").repeated(kHostileDepth);
    return xml.insert(rootEnd, deep);
}

QByteArray deepBinaryExport()
{
    BinaryPlistBuilder builder;
    const int tracksKey = builder.string("Tracks");
    const int tracks = builder.dict({});
    const int deepKey = builder.string("Deep");
    const int deep = builder.nestedArrays(kHostileDepth);
    return builder.build(builder.dict({{tracksKey, tracks}, {deepKey, deep}}));
}

bool guardFlagIsSet()
{
    return QSettings(CliProcess::settingsPath(), QSettings::IniFormat)
        .value(QStringLiteral("noSystemDeserialize"))
        .toBool();
}

} // namespace

TEST(LibraryExport, DeeplyNestedExportsAreRefusedWithoutACrash)
{
    const std::pair<const char*, QByteArray (*)()> rows[] = {{"XML", deepXmlExport},
                                                             {"binary", deepBinaryExport}};
    for (const auto& [name, make] : rows) {
        const QString path = TestSupport::scratchFolder() + QStringLiteral("/deep-") + QLatin1String(name);
        ASSERT_TRUE(TestSupport::writeFile(path, make())) << name;
        // The second run would read with our own reader only, had the first
        // one died inside the platform parser.
        for (int run = 1; run <= 2; ++run) {
            SCOPED_TRACE(std::string(name) + " run " + std::to_string(run));
            const CliProcess::Outcome outcome = CliProcess::run(CliProcess::words("library --xml") << path);
            ASSERT_TRUE(outcome.finished);
            EXPECT_FALSE(outcome.crashed);
            EXPECT_EQ(outcome.status, 1);
            EXPECT_TRUE(outcome.err.contains("nested more than 512 levels deep")) << outcome.err.constData();
            EXPECT_FALSE(guardFlagIsSet());
        }
    }
}

TEST(LibraryExport, TruncatedExportsAreDamagedAndListWhatWasRead)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("truncated"));
    QList<QVariantMap> tracks;
    QStringList paths;
    for (int id = 1; id <= 3; ++id) {
        paths.append(folder + QStringLiteral("/song%1.mp3").arg(id));
        ASSERT_TRUE(LoadTestFiles::writeSong(paths.last(), QStringLiteral("Song %1").arg(id)));
        tracks.append(LoadTestFiles::track(id, paths.last(), QStringLiteral("Song %1").arg(id)));
    }
    const QByteArray full = LoadTestFiles::libraryXml(tracks);
    const auto after = [&](const char* marker, qsizetype from = 0) {
        return full.indexOf(marker, from);
    };
    const qsizetype second = after("<key>2</key>");
    const qsizetype third = after("<key>3</key>");

    struct Row
    {
        const char* name;
        qsizetype cut;
        int tracks; // read before the cut
    };
    const Row rows[] = {
        {"inside a track", after("<key>Name</key>", second), 2},
        {"inside a string", after("Song 3", third) + 3, 3},
        {"inside a tag", third + 3, 2},
        {"after a closing tag", after("</dict>", second) + 7, 2},
        {"before the root's closing tag", full.lastIndexOf("</dict>"), 3},
        {"without </plist>", full.lastIndexOf("</plist>"), 3},
    };
    const QString damaged = LocalizedStrings::text(QStringLiteral("LibraryDamaged"));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const QString path = folder + QStringLiteral("/cut.xml");
        ASSERT_TRUE(TestSupport::writeFile(path, full.left(row.cut)));

        const CliProcess::Outcome library =
            CliProcess::run(CliProcess::words("library --json --xml") << path);
        ASSERT_TRUE(library.finished);
        EXPECT_EQ(library.status, 1);
        const QJsonObject answer = QJsonDocument::fromJson(library.out).object();
        EXPECT_TRUE(answer.value(QStringLiteral("error")).toString().contains(QStringLiteral("truncated")))
            << library.out.constData();
        EXPECT_EQ(answer.value(QStringLiteral("tracks")).toInt(), row.tracks);

        const CliProcess::Outcome scan =
            CliProcess::run(CliProcess::words("scan --library --json --xml") << path);
        ASSERT_TRUE(scan.finished);
        EXPECT_TRUE(QString::fromUtf8(scan.err).contains(damaged)) << scan.err.constData();
        const QJsonObject summary = CliProcess::jsonLineOfKind(scan.out, QStringLiteral("summary"));
        EXPECT_TRUE(summary.value(QStringLiteral("error")).toString().contains(QStringLiteral("truncated")));
        const QJsonObject first = CliProcess::jsonLineOfKind(scan.out, QStringLiteral("song"));
        ASSERT_FALSE(first.isEmpty());
        EXPECT_EQ(CliProcess::jsonLines(scan.out).first().value(QStringLiteral("path")).toString(),
                  paths.first());
    }
}

TEST(LibraryExport, PlaylistsAreFoundByNameInAnyCase)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("playlist-case"));
    const QString song = folder + QStringLiteral("/song.mp3");
    ASSERT_TRUE(LoadTestFiles::writeSong(song, QStringLiteral("Undertow"), QStringLiteral("Harbour Lights")));
    const QString xml = folder + QStringLiteral("/Library.xml");
    ASSERT_TRUE(TestSupport::writeFile(
        xml, LoadTestFiles::libraryXml({LoadTestFiles::track(1, song, QStringLiteral("Undertow"))},
                                       {LoadTestFiles::playlist(QStringLiteral("Road Trip"), {1}),
                                        LoadTestFiles::playlist(QStringLiteral("Quiet"), {1})})));
    const QStringList scan = CliProcess::words("scan --xml") << xml << QStringLiteral("--playlist");
    const CliProcess::Outcome found = CliProcess::run(scan + QStringList{QStringLiteral("road TRIP")});
    EXPECT_EQ(found.status, 0) << found.err.constData();
    EXPECT_TRUE(found.out.contains(song.toUtf8())) << found.out.constData();

    const CliProcess::Outcome missing = CliProcess::run(scan + QStringList{QStringLiteral("Roadtrip")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(
        QString::fromUtf8(missing.err).contains(QStringLiteral("The playlists are: “Road Trip”, “Quiet”.")))
        << missing.err.constData();
}
