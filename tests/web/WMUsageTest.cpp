// Usage statistics: nothing leaves the machine unless the user allows it and
// an endpoint is configured; the report is an XML property list.
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "run/PrefsController.h"
#include "web/WMUsage.h"
#include "web/WMUtility.h"

#include <QSettings>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class WMUsageTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(server.start()); }

    void TearDown() override
    {
        QSettings().remove(QStringLiteral("postStatistics"));
        unsetenv("QUILLBEAT_RESOURCES");
        PrefsController::sharedInstance().getUserPreferences();
    }

    void useEndpoint(const QUrl& url)
    {
        const QString path = TestSupport::scratchFolder() + QStringLiteral("/usage-res.plist");
        ASSERT_TRUE(TestSupport::writeFile(
            path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>statisticsEndpoint</key><string>" +
                      url.toEncoded() + "</string></dict></plist>\n"));
        setenv("QUILLBEAT_RESOURCES", path.toLocal8Bit().constData(), 1);
        PrefsController::sharedInstance().getUserPreferences();
    }

    TestHttpServer server;
};

} // namespace

TEST_F(WMUsageTest, EqualNotesQueueOnceAndNothingIsPostedByDefault)
{
    useEndpoint(server.url(QStringLiteral("/stats")));
    WMUsage usage;
    usage.addUsageNoteForClass(QStringLiteral("WikipediaInterface"), QStringLiteral("found"),
                               QStringLiteral("k"), QVariantList{1, 2});
    usage.addUsageNoteForClass(QStringLiteral("WikipediaInterface"), QStringLiteral("found"),
                               QStringLiteral("k"), QVariantList{1, 2});
    EXPECT_EQ(usage.queuedNotes().size(), 1);
    EXPECT_TRUE(usage.isTimerActive());

    usage.purgeQueue(); // "postStatistics" is off
    TestHttpServer::waitFor([] { return false; }, 200);
    EXPECT_TRUE(server.requests().isEmpty());
    EXPECT_TRUE(usage.hasQueue());
    EXPECT_TRUE(usage.hasTimer()); // stays recorded: no new timer this run
}

TEST_F(WMUsageTest, WithoutAnEndpointNothingIsPostedAndItRetriesLater)
{
    QSettings().setValue(QStringLiteral("postStatistics"), true);
    PrefsController::sharedInstance().getUserPreferences();
    EXPECT_TRUE(WMUsage::endpoint().isEmpty());
    WMUsage usage;
    usage.addUsageNoteForClass(QStringLiteral("A"), QStringLiteral("b"), QStringLiteral("c"), 1);
    usage.purgeQueue();
    EXPECT_TRUE(usage.hasQueue());
    EXPECT_TRUE(usage.isTimerActive());
}

TEST_F(WMUsageTest, PostsTheReportWhenAllowedAndClearsTheQueue)
{
    server.route(QStringLiteral("/stats"), TestHttpServer::Response::text("thanks"));
    useEndpoint(server.url(QStringLiteral("/stats")));
    QSettings().setValue(QStringLiteral("postStatistics"), true);
    WMUsage usage;
    usage.addUsageNoteForClass(QStringLiteral("DiscogsInterface"), QStringLiteral("Image Not Found"),
                               QStringLiteral("artist-album"), QVariantList{QStringLiteral("Artist"), 300});
    usage.purgeQueue();
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return !usage.hasQueue(); }));
    EXPECT_FALSE(usage.hasTimer());

    ASSERT_EQ(server.requests().size(), 1);
    const TestHttpServer::Request request = server.requests().at(0);
    EXPECT_EQ(request.method, QByteArray("POST"));
    EXPECT_FALSE(request.body.contains('\n'));
    EXPECT_TRUE(request.body.contains('\r'));
    QByteArray xml = request.body;
    const QVariantMap report = WMUtility::mutablePropertyListFromData(xml.replace('\r', '\n'), false).toMap();
    EXPECT_FALSE(report.value(QStringLiteral("quillbeat")).toString().isEmpty());
    EXPECT_TRUE(report.value(QStringLiteral("os")).toString().contains(QLatin1Char('.')));
    const QVariantList submissions = report.value(QStringLiteral("submissions")).toList();
    ASSERT_EQ(submissions.size(), 1);
    const QVariantList note = submissions.at(0).toList();
    ASSERT_EQ(note.size(), 4);
    EXPECT_EQ(note.at(0).toString(), QStringLiteral("DiscogsInterface"));
    EXPECT_EQ(note.at(1).toString(), QStringLiteral("Image Not Found"));
    EXPECT_EQ(note.at(3).toList().value(1).toInt(), 300);
}

TEST_F(WMUsageTest, FailedPostKeepsTheNotesForALaterTry)
{
    server.route(QStringLiteral("/stats"), TestHttpServer::Response::text("no", "text/plain", 500));
    useEndpoint(server.url(QStringLiteral("/stats")));
    QSettings().setValue(QStringLiteral("postStatistics"), true);
    WMUsage usage;
    usage.addUsageNoteForClass(QStringLiteral("A"), QStringLiteral("b"), QStringLiteral("c"), 1);
    usage.purgeQueue();
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return server.requests().size() == 1; }));
    TestHttpServer::waitFor([] { return false; }, 200);
    EXPECT_TRUE(usage.hasQueue());
    EXPECT_TRUE(usage.isTimerActive());
}
