#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "text/WendmarkTextExtensions.h"
#include "web/WendmarkInterface.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Response = TestHttpServer::Response;

const QString kCheckKey = QStringLiteral("wmidigestcheckstr");

class WendmarkInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        QFile::remove(WendmarkInterface::wmdigestPath());
        WendmarkInterface::setSeedPath(QStringLiteral(":/wmdigest.gz"));
        WendmarkInterface::dropAlbumsDict();
        QSettings().remove(kCheckKey);
        mResources = {{QStringLiteral("digestURL"),
                       QString(AlbumSourceTestKit::root(mServer) + QStringLiteral("/wmdigest.gz"))},
                      {QStringLiteral("artBaseURL"), QStringLiteral("https://art.example/covers/")}};
    }

    std::unique_ptr<WendmarkInterface> makeSource(const QString& artist, const QString& album)
    {
        auto source = AlbumSourceTestKit::source<WendmarkInterface>(mResources, artist,
                                                                    QStringLiteral("Any Song"), album);
        source->setMinimumAcceptableImageSize(0);
        return source;
    }

    // Runs one update check to its end.
    bool runCheck()
    {
        WendmarkInterface checker(mResources);
        bool ended = false;
        QObject::connect(&checker, &WendmarkInterface::digestCheckEnded, [&ended] { ended = true; });
        checker.getDigestUpdateIfNecessary();
        return TestHttpServer::waitFor([&ended] { return ended; });
    }

    int requests(const QByteArray& method) const
    {
        int count = 0;
        for (const auto& request : mServer.requests())
            count += request.method == method ? 1 : 0;
        return count;
    }

    TestHttpServer mServer;
    QVariantMap mResources;
};

} // namespace

TEST_F(WendmarkInterfaceTest, CompilationsFallBackToVariousThenTheAlbumAlone)
{
    for (const QString& album :
         {QStringLiteral("Summer Signals"), QStringLiteral("Rooftop Radio Sessions")}) {
        auto compilation = makeSource(QStringLiteral("Someone"), album);
        compilation->setIsCompilation(true);
        ASSERT_TRUE(AlbumSourceTestKit::runOnce(*compilation));
        EXPECT_EQ(compilation->albums().size(), 1) << album.toStdString();

        auto single = makeSource(QStringLiteral("Someone"), album);
        ASSERT_TRUE(AlbumSourceTestKit::runOnce(*single));
        EXPECT_TRUE(single->albums().isEmpty());
    }
}

TEST_F(WendmarkInterfaceTest, ADamagedDigestIsAnEmptyOne)
{
    QDir().mkpath(QFileInfo(WendmarkInterface::wmdigestPath()).absolutePath());
    ASSERT_TRUE(TestSupport::writeFile(WendmarkInterface::wmdigestPath(), QByteArray(2000, 'x')));
    EXPECT_TRUE(WendmarkInterface::albumsDict().isEmpty());
    auto source = makeSource(QStringLiteral("The Lantern Choir"), QStringLiteral("Harbour Lights"));
    EXPECT_EQ(source->resourcesPossiblyAvailable(), AlbumAssets());
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_TRUE(source->albums().isEmpty());
}

TEST_F(WendmarkInterfaceTest, WithoutADigestURLOnlyTheSeedIsUsed)
{
    mResources.remove(QStringLiteral("digestURL"));
    ASSERT_TRUE(runCheck());
    EXPECT_TRUE(QFileInfo::exists(WendmarkInterface::wmdigestPath()));
    EXPECT_TRUE(mServer.requests().isEmpty());
}

TEST_F(WendmarkInterfaceTest, SmallAnswersNeverReplaceTheDigest)
{
    WendmarkInterface::installSeedIfMissing();
    const QByteArray seed = TestSupport::readFile(WendmarkInterface::wmdigestPath());
    ASSERT_FALSE(seed.isEmpty());

    mServer.route(QStringLiteral("/wmdigest.gz"), Response::text(QByteArray(1000, 'a')));
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(requests("GET"), 1);
    EXPECT_EQ(TestSupport::readFile(WendmarkInterface::wmdigestPath()), seed);

    QSettings().remove(kCheckKey);
    mServer.route(QStringLiteral("/wmdigest.gz"), Response::text(QByteArray(1001, 'b')));
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(requests("GET"), 2);
    EXPECT_EQ(TestSupport::readFile(WendmarkInterface::wmdigestPath()), QByteArray(1001, 'b'));
}

TEST(WendmarkCheckTimeTest, StoredTimesReadBackWithTheirOffset)
{
    const auto time = WendmarkInterface::parsedCheckTime(QStringLiteral("2024-05-01 10:00:00 +0200"));
    ASSERT_TRUE(time.has_value());
    EXPECT_EQ(*time, QDateTime(QDate(2024, 5, 1), QTime(8, 0), Qt::UTC));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    EXPECT_EQ(WendmarkInterface::parsedCheckTime(WendmarkInterface::checkTimeString(now))->toSecsSinceEpoch(),
              now.toSecsSinceEpoch());
    EXPECT_FALSE(WendmarkInterface::parsedCheckTime(QStringLiteral("yesterday")).has_value());
    EXPECT_FALSE(WendmarkInterface::parsedCheckTime(QStringLiteral("2024-05-01 10:00:00 *0200")).has_value());
}
