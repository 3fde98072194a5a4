#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "WikipediaTestPages.h"

#include "web/WMHTTPQueue.h"
#include "web/WikipediaInterface.h"

#include <gtest/gtest.h>

namespace {

class WikipediaInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mResources = AlbumSourceTestKit::shippedSection(
            QStringLiteral("WikipediaInterface"), mServer,
            {{"queryAlbum", "/w/index.php?search=%@&title=Special:Search&go=Go"}, {"linkRoot", ""}});
        ASSERT_FALSE(mResources.isEmpty());
    }

    std::unique_ptr<WikipediaInterface> makeSource()
    {
        return AlbumSourceTestKit::source<WikipediaInterface>(mResources, QStringLiteral("The Quiet Engines"),
                                                              QStringLiteral("Slow Tide"),
                                                              QStringLiteral("Paper Lanterns"));
    }

    TestHttpServer mServer;
    QVariantMap mResources;
};

} // namespace

TEST_F(WikipediaInterfaceTest, AShortPageIsAFailureAndNotServedFromTheCacheAgain)
{
    mServer.route(
        QStringLiteral("/w/index.php"),
        TestHttpServer::Response::html(QByteArray(50, 'x')).header("Cache-Control", "max-age=3600"));
    auto first = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*first));
    EXPECT_TRUE(first->albums().isEmpty());

    mServer.route(QStringLiteral("/w/index.php"),
                  TestHttpServer::Response::html(WikipediaTestPages::articlePage({})));
    auto second = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*second));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/w/index.php")), 2);
    EXPECT_EQ(second->albums().size(), 1);
}

TEST_F(WikipediaInterfaceTest, ADisambiguationPageLinksEachAlbumOnceEvenWhenReachedTwice)
{
    QList<QStringList> links;
    for (const char* link : {"/wiki/PL_(album)|Paper Lanterns (album)|Paper Lanterns",
                             "/wiki/PL_(Other_album)|Paper Lanterns (Other album)|Paper Lanterns",
                             "/wiki/PL_(song)|Paper Lanterns (song)|Paper Lanterns",
                             "/wiki/PL_(disambiguation)|Paper Lanterns|Other albums called Paper Lanterns"})
        links.append(QString::fromUtf8(link).split(QLatin1Char('|')));
    const QByteArray disambiguation = WikipediaTestPages::linkPage(links, true);
    mServer.route(QStringLiteral("/w/index.php"), TestHttpServer::Response::html(disambiguation));
    mServer.route(QStringLiteral("/wiki/PL_(disambiguation)"),
                  TestHttpServer::Response::html(disambiguation));
    mServer.route(QStringLiteral("/wiki/PL_(album)"),
                  TestHttpServer::Response::html(WikipediaTestPages::articlePage({})));
    WikipediaTestPages::Article other;
    other.artist = QStringLiteral("Somebody Else");
    mServer.route(QStringLiteral("/wiki/PL_(Other_album)"),
                  TestHttpServer::Response::html(WikipediaTestPages::articlePage(other)));
    auto source = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/wiki/PL_(disambiguation)")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/wiki/PL_(album)")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/wiki/PL_(Other_album)")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/wiki/PL_(song)")), 0);
    ASSERT_EQ(source->albums().size(), 1);
    EXPECT_EQ(source->albums().first().artist(), QStringLiteral("The Quiet Engines"));
}

TEST_F(WikipediaInterfaceTest, CancellingWithdrawsThePagesAndCompletesOnce)
{
    TestHttpServer::Response silent;
    silent.neverAnswer = true;
    mServer.route(QStringLiteral("/w/index.php"), silent);
    auto source = makeSource();
    AlbumSourceTestKit kit;
    source->setNotify("sourceDone", &kit);
    source->beginSearch();
    ASSERT_TRUE(
        TestHttpServer::waitFor([&] { return mServer.requestCount(QStringLiteral("/w/index.php")) == 1; }));
    source->cancelSearch();
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return kit.mCompletions > 0; }));
    EXPECT_EQ(source->numberOfLoadingSearches(), 0);
    TestHttpServer::waitFor([] { return false; }, 200);
    EXPECT_EQ(kit.mCompletions, 1);
}
