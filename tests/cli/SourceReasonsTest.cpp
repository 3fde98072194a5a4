// Why a web source gave nothing, as lookup and fix say it on screen, against
// the local test server: a server that answers with an error, one that
// accepted and went quiet, a port nobody listens on, a source without its
// key. When every source failed for every song, both end with status 4.
#include "CliProcess.h"
#include "LoadTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>

#include <gtest/gtest.h>

namespace {

// A port of this machine that nobody listens on.
quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}

} // namespace

TEST(SourceReasons, LookupAndFixSayWhyEachSourceGaveNothing)
{
    // Whole answers may take one second: the quiet server is given up on then.
    ASSERT_TRUE(CliProcess::setPreference(QStringLiteral("httpDeadlineSeconds"), QStringLiteral("1")));
    const struct Row
    {
        const char* name;
        std::function<TestHttpServer::Response()> answer; // none: nobody listens
        const char* reason;
        int status;
    } rows[] = {
        {"an HTTP error", [] { return TestHttpServer::Response::text("busy", "text/plain", 500); },
         "127.0.0.1 answered with the HTTP error 500", 4},
        {"a server that went quiet", [] { return CliProcess::silence(); }, "127.0.0.1 did not answer in time",
         4},
        {"nobody listening", nullptr, "127.0.0.1 refused the connection", 4},
        {"an answer without albums",
         [] {
             return TestHttpServer::Response::text("{\"releases\":[],\"recordings\":[]}", "application/json");
         },
         nullptr, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestHttpServer server;
        ASSERT_TRUE(server.start());
        QString root = server.url(QString()).toString();
        if (row.answer)
            server.setHandler([&row](const TestHttpServer::Request&) { return row.answer(); });
        else
            root = QStringLiteral("http://127.0.0.1:%1").arg(closedPort());
        const QString resources = CliProcess::musicBrainzResources(
            QString::fromLatin1(row.name).replace(QLatin1Char(' '), QLatin1Char('-')), root);
        const QString reason = row.reason ? QString::fromUtf8(row.reason) : QString();

        // lookup, as text: one line per source; Discogs has no key.
        const QStringList album = {QStringLiteral("Harbour Lights"), QStringLiteral("Low Tide")};
        const CliProcess::Outcome text = CliProcess::runServing(
            CliProcess::words("lookup --artist %1 --album %2 --sources musicbrainz,discogs", album),
            resources);
        const QString shown = QString::fromUtf8(text.out) + QString::fromUtf8(text.err);
        ASSERT_TRUE(text.finished);
        EXPECT_EQ(text.status, row.status) << shown.toStdString();
        EXPECT_TRUE(shown.contains(row.reason ? QStringLiteral("MusicBrainz: nothing: ") + reason
                                              : QStringLiteral("MusicBrainz: 0 albums")))
            << shown.toStdString();
        EXPECT_TRUE(shown.contains(QStringLiteral("Discogs:     not asked: it needs an API key")))
            << shown.toStdString();
        EXPECT_FALSE(row.reason && !QString::fromUtf8(row.reason).contains(QStringLiteral("refused")) &&
                     shown.contains(QStringLiteral("refused")));

        // lookup --json: the same reason under the source.
        const CliProcess::Outcome json = CliProcess::runServing(
            CliProcess::words("lookup --artist %1 --album %2 --sources musicbrainz --json", album),
            resources);
        const QJsonObject answer = QJsonDocument::fromJson(json.out).object();
        EXPECT_EQ(json.status, row.status);
        const QJsonObject source = answer.value(QStringLiteral("sources")).toArray().at(0).toObject();
        EXPECT_EQ(source.value(QStringLiteral("source")).toString(), QStringLiteral("musicbrainz"));
        EXPECT_EQ(source.value(QStringLiteral("error")).toString(), reason);
        EXPECT_EQ(answer.value(QStringLiteral("error")).isNull(), row.reason == nullptr);

        // fix: both songs name the reason (the second one too, though the
        // host is then avoided), and the run says that no source answered.
        const QString folder = LoadTestFiles::freshFolder(QStringLiteral("reasons-fix"));
        for (const QString& title : {QStringLiteral("1 First Light"), QStringLiteral("2 Undertow")})
            ASSERT_TRUE(LoadTestFiles::writeSong(
                folder + QStringLiteral("/Low Tide/") + title + QStringLiteral(".mp3"), title.mid(2),
                QStringLiteral("Harbour Lights"), QStringLiteral("Low Tide")));
        const CliProcess::Outcome fix =
            CliProcess::runServing(CliProcess::words("fix --folder %1 --check year", {folder}), resources);
        const QString out = QString::fromUtf8(fix.out);
        const QString err = QString::fromUtf8(fix.err);
        ASSERT_TRUE(fix.finished);
        EXPECT_EQ(fix.status, row.status) << out.toStdString() << err.toStdString();
        for (const char* song : {"Low Tide/1 First Light.mp3  (Harbour Lights – First Light)",
                                 "Low Tide/2 Undertow.mp3  (Harbour Lights – Undertow)"}) {
            const QString block =
                out.section(QString::fromUtf8(song), 1).section(QStringLiteral(".mp3  ("), 0, 0);
            EXPECT_TRUE(out.contains(QString::fromUtf8(song))) << out.toStdString();
            EXPECT_TRUE(block.contains(QStringLiteral("    nothing found"))) << out.toStdString();
            if (row.reason) {
                EXPECT_TRUE(block.contains(QStringLiteral("    MusicBrainz: ") + reason))
                    << song << "\n"
                    << out.toStdString();
            }
        }
        EXPECT_TRUE(out.contains(QStringLiteral("Done: 0 songs changed, 2 with nothing found, 0 failed")))
            << out.toStdString();
        EXPECT_EQ(err.contains(QStringLiteral("No web source answered for any song.")), row.reason != nullptr)
            << err.toStdString();
    }
    EXPECT_TRUE(CliProcess::setPreference(QStringLiteral("httpDeadlineSeconds"), QString()));
}
