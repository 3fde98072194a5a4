#include "web/WebDBInterface.h"
#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

const QString URLKey = QStringLiteral("WMHTTPURLKey");

// A source that loads the URLs it is given and counts what happens.
class ScriptedSource : public WebDBInterface
{
    Q_OBJECT
public:
    using WebDBInterface::WebDBInterface;

    void beginSearch() override
    {
        WebDBInterface::beginSearch();
        ++begins;
        for (const QUrl& url : urlsToLoad)
            addSearchURL(url, "pageLoaded", false);
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
    }

    Q_INVOKABLE void pageLoaded(const QVariantMap& answer)
    {
        finishedSearch(answer);
        answered.append(answer.value(URLKey).toUrl());
        bodies.append(answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray());
        if (onAnswer)
            onAnswer(this);
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
    }

    using WebDBInterface::addPlaceholderSearch;
    using WebDBInterface::addSearchURL;
    using WebDBInterface::finishedSearch;
    using WebDBInterface::notifyIfCompleteOrTryAgainWithoutTitleParentheses;
    using WebDBInterface::notifySearchComplete;
    QList<QUrl> loading() const
    {
        QList<QUrl> urls;
        for (const QVariant& v : mLoadingURLs)
            urls.append(v.toUrl());
        return urls;
    }

    QList<QUrl> urlsToLoad;
    QList<QUrl> answered;
    QList<QByteArray> bodies;
    int begins = 0;
    std::function<void(ScriptedSource*)> onAnswer;
};

// Destroys its source in the completion answer, which takes a QObject*.
class DestroyingOwner : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void sourceDone(QObject* source)
    {
        ++count;
        if (source == this->source.get())
            this->source.reset();
    }
    std::unique_ptr<WebDBInterface> source;
    int count = 0;
};

QUrl pageURL(int n)
{
    return QUrl(QStringLiteral("http://frame.test/page%1").arg(n));
}

// The queue is paused so that nothing leaves the machine; answers are fed by
// hand through finishedSearch().
class WebDBInterfaceScheduling : public ::testing::Test
{
protected:
    void SetUp() override { WMHTTPQueue::queue()->setPaused(true); }
    void TearDown() override
    {
        WMHTTPQueue::queue()->cancelAll();
        WMHTTPQueue::queue()->setPaused(false);
    }
    static QVariantMap answerFor(const QVariant& url) { return {{URLKey, url}}; }
};

} // namespace

TEST_F(WebDBInterfaceScheduling, SourcesAreMadeByRegisteredClassName)
{
    WebDBInterface::registerInterfaceClass<ScriptedSource>();
    const QVariantMap resources{{QStringLiteral("simulConns"), 2}};
    auto source = WebDBInterface::interfaceWithName(QStringLiteral("ScriptedSource"), resources);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->resources(), resources);
    EXPECT_EQ(source->resourcesPossiblyAvailable(), AllAlbumAssets);
    EXPECT_EQ(WebDBInterface::interfaceWithName(QString(), resources), nullptr);
    EXPECT_EQ(WebDBInterface::interfaceWithName(QStringLiteral("NoSuchInterface"), resources), nullptr);

    source->setArtist(QStringLiteral("Band"));
    source->setSongTitle(QStringLiteral("Song"));
    source->setAlbumTitle(QStringLiteral("Album (Deluxe Edition)"));
    EXPECT_EQ(source->albumTitle(), QStringLiteral("Album"));
    const QString text = source->description();
    EXPECT_TRUE(text.startsWith(QStringLiteral("<ScriptedSource 0x"))) << text.toStdString();
    EXPECT_TRUE(text.endsWith(QStringLiteral(" artist='Band' song='Song' album='Album' gathered=0>")))
        << text.toStdString();
}

TEST_F(WebDBInterfaceScheduling, LimitOfURLsInFlight)
{
    const QList<QVariant> settings{QVariant(), 0, -2, 3, QStringLiteral("3")};
    const QList<int> limits{8, 8, 8, 3, 3};
    for (qsizetype i = 0; i < settings.size(); ++i) {
        QVariantMap resources;
        if (settings[i].isValid())
            resources.insert(QStringLiteral("simulConns"), settings[i]);
        ScriptedSource source(resources);
        for (int n = 0; n < 12; ++n)
            source.urlsToLoad.append(pageURL(n));
        source.beginSearch();
        EXPECT_EQ(source.numberOfLoadingSearches(), limits[i]) << i;
        EXPECT_EQ(source.numberOfWaitingSearches(), 12 - limits[i]) << i;
        EXPECT_EQ(source.totalSearches(), 12);
        // An answer frees a slot for the next waiting URL, in order.
        source.finishedSearch(answerFor(pageURL(0)));
        EXPECT_EQ(source.numberOfLoadingSearches(), limits[i]) << i;
        EXPECT_EQ(source.loading().last(), pageURL(limits[i])) << i;
    }
}

TEST_F(WebDBInterfaceScheduling, RedirectKeepsTheSearchMatched)
{
    ScriptedSource source;
    AlbumSourceTestKit counter;
    source.setNotify("sourceDone", &counter);
    source.urlsToLoad.append(pageURL(1));
    source.beginSearch();
    const QUrl moved(QStringLiteral("https://frame.test/moved"));
    emit WMHTTPQueue::queue()->redirectNotification(
        {{QStringLiteral("old"), pageURL(1)}, {QStringLiteral("new"), moved}});
    EXPECT_EQ(source.loading(), QList<QUrl>{moved});
    source.pageLoaded(answerFor(moved));
    QCoreApplication::processEvents();
    EXPECT_EQ(counter.mCompletions, 1);
}

TEST_F(WebDBInterfaceScheduling, OneRetryWithoutParenthesesThenCompletionOnce)
{
    struct Case
    {
        QString title;
        bool substrings;
        int begins;
    };
    const QList<Case> cases{{QStringLiteral("Song (Live)"), true, 2},
                            {QStringLiteral("Song (Live)"), false, 1},
                            {QStringLiteral("Song"), true, 1}};
    for (const Case& c : cases) {
        ScriptedSource source;
        AlbumSourceTestKit counter;
        source.setNotify("sourceDone", &counter);
        source.setSongTitle(c.title);
        source.setAllowSubstringTrackMatches(c.substrings);
        source.beginSearch();
        EXPECT_EQ(source.begins, c.begins) << c.title.toStdString();
        EXPECT_EQ(source.isWithoutParentheses(), c.begins == 2);
        source.notifySearchComplete();
        source.notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
        QCoreApplication::processEvents();
        EXPECT_EQ(counter.mCompletions, 1) << c.title.toStdString();
        EXPECT_EQ(source.begins, c.begins);
    }
}

TEST_F(WebDBInterfaceScheduling, CancelledSourceCompletesOnceWhenInFlightURLsReturn)
{
    ScriptedSource source(QVariantMap{{QStringLiteral("simulConns"), 2}});
    AlbumSourceTestKit counter;
    source.setNotify("sourceDone", &counter);
    source.setSongTitle(QStringLiteral("Song (Live)"));
    source.setAllowSubstringTrackMatches(true);
    for (int n = 0; n < 5; ++n)
        source.urlsToLoad.append(pageURL(n));
    source.beginSearch();
    source.cancelSearch();
    EXPECT_TRUE(source.wasCancelled());
    EXPECT_EQ(source.numberOfWaitingSearches(), 0);
    source.addSearchURL(pageURL(9), "pageLoaded", false);
    EXPECT_EQ(source.numberOfLoadingSearches(), 2);

    source.pageLoaded(answerFor(pageURL(0)));
    QCoreApplication::processEvents();
    EXPECT_EQ(counter.mCompletions, 0);
    source.pageLoaded(answerFor(pageURL(1)));
    source.pageLoaded(answerFor(pageURL(1)));
    QCoreApplication::processEvents();
    EXPECT_EQ(counter.mCompletions, 1);
    EXPECT_EQ(source.begins, 1); // no retry after a cancel
}

TEST_F(WebDBInterfaceScheduling, CompletionSurvivesTheSourceOrItsDestructionByTheOwner)
{
    AlbumSourceTestKit counter;
    auto gone = std::make_unique<ScriptedSource>();
    gone->setNotify("sourceDone", &counter);
    gone->beginSearch();
    gone.reset(); // destroyed before the completion is delivered
    QCoreApplication::processEvents();
    EXPECT_EQ(counter.mCompletions, 0);

    DestroyingOwner owner;
    owner.source = std::make_unique<ScriptedSource>();
    owner.source->setNotify("sourceDone", &owner);
    owner.source->beginSearch();
    QCoreApplication::processEvents();
    EXPECT_EQ(owner.count, 1);
    EXPECT_EQ(owner.source, nullptr);
}

// The whole road: a source schedules URLs against the local server through
// the shared queue.
TEST(WebDBInterfaceServer, ScheduledPagesArriveOnceInOrderAndThroughRedirects)
{
    TestHttpServer server;
    ASSERT_TRUE(server.start());
    for (const char* path : {"/first", "/a", "/b", "/c", "/d", "/new"}) {
        TestHttpServer::Response response = TestHttpServer::Response::html(QByteArray("page ") + path);
        response.delayMs = 20;
        server.route(QLatin1String(path), response);
    }
    server.route(QStringLiteral("/old"), TestHttpServer::Response::redirect("/new"));

    ScriptedSource source(QVariantMap{{QStringLiteral("simulConns"), 1}});
    AlbumSourceTestKit counter;
    source.setNotify("sourceDone", &counter);
    source.urlsToLoad = {server.url(QStringLiteral("/first"))};
    int maxConnections = 0;
    source.onAnswer = [&](ScriptedSource* s) {
        maxConnections = std::max(maxConnections, WMHTTPQueue::queue()->currentNumberOfConnections());
        if (s->answered.size() == 1) {
            // Asked again, and from the answer: still fetched once.
            s->addSearchURL(server.url(QStringLiteral("/first")), "pageLoaded", true);
            s->addSearchURL(server.url(QStringLiteral("/old")), "pageLoaded", false);
        }
    };
    source.beginSearch();
    const std::pair<const char*, bool> added[] = {{"/b", false}, {"/c", true}, {"/d", true}, {"/b", true}};
    for (const auto& [path, atBeginning] : added)
        source.addSearchURL(server.url(QLatin1String(path)), "pageLoaded", atBeginning);

    ASSERT_TRUE(TestHttpServer::waitFor([&] { return counter.mCompletions > 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(counter.mCompletions, 1);
    EXPECT_EQ(source.numberOfLoadingSearches(), 0);
    EXPECT_LE(maxConnections, 1);
    QStringList paths;
    for (const TestHttpServer::Request& request : server.requests())
        paths.append(request.path);
    EXPECT_EQ(paths.join(QLatin1Char(' ')), QStringLiteral("/first /d /c /b /old /new"));
    ASSERT_EQ(source.answered.size(), 5);
    EXPECT_EQ(source.answered.last(), server.url(QStringLiteral("/new")));
    EXPECT_EQ(source.bodies.last(), QByteArray("page /new"));
}

#include "WebDBInterfaceTest.moc"
