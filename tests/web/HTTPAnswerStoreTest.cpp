// A run's answer store in the HTTP queue: what it answers again without the
// network, what it never keeps, redirects, and its limit.
#include "QueueTestOwner.h"
#include "TestHttpServer.h"

#include "web/HTTPAnswerStore.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace {

using Response = TestHttpServer::Response;

class HTTPAnswerStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        server.route(QStringLiteral("/found"), Response::text("{\"releases\":[]}", "application/json"));
        server.route(QStringLiteral("/missing"), Response::text("{}", "application/json", 404));
        server.route(QStringLiteral("/old"), Response::redirect("/new"));
        server.route(QStringLiteral("/new"), Response::text("moved"));
        queue.setAnswerStore(store);
        QObject::connect(&queue, &WMHTTPQueue::redirectNotification,
                         [this](const QVariantMap& info) { notifications.append(info); });
    }

    TestHttpServer server;
    WMHTTPQueue queue;
    std::shared_ptr<HTTPAnswerStore> store = std::make_shared<HTTPAnswerStore>();
    QList<QVariantMap> notifications;
};

} // namespace

TEST_F(HTTPAnswerStoreTest, ASecondGetIsAnsweredFromTheStoreUnlessTheFirstFailedOrWasTakenOut)
{
    struct Row
    {
        const char* name;
        const char* path;
        bool usingCache;
        bool removedFromCache; // by the first answer's owner
        int requests;          // the server saw for both
    };
    const Row rows[] = {
        {"an answer", "/found", true, false, 1},
        {"an error status", "/missing", true, false, 2},
        {"an answer its owner found unusable", "/found", true, true, 2},
        {"a get that bypasses the cache", "/found", false, false, 2},
    };
    for (const Row& row : rows) {
        server.clearRequests();
        store = std::make_shared<HTTPAnswerStore>();
        queue.setAnswerStore(store);
        const QUrl url = server.url(QLatin1String(row.path));
        QueueTestOwner owner;
        owner.onAnswer = [&](const QVariantMap& answer) {
            if (row.removedFromCache)
                queue.removeURLFromCache(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl());
        };
        queue.addURL(url, &owner, "got", false, row.usingCache);
        const QVariantMap first = owner.waitForAnswer(1);
        queue.addURL(url, &owner, "got", false, row.usingCache);
        // Never from inside the call that asked.
        EXPECT_EQ(owner.answers.size(), 1) << row.name;
        const QVariantMap second = owner.waitForAnswer(2);
        EXPECT_EQ(server.requests().size(), row.requests) << row.name;
        EXPECT_EQ(answerData(second), answerData(first)) << row.name;
        EXPECT_EQ(WMHTTPQueue::answerHasError(second), WMHTTPQueue::answerHasError(first)) << row.name;
    }
}

TEST_F(HTTPAnswerStoreTest, ARedirectedAnswerComesAgainWithItsRedirect)
{
    QueueTestOwner owner;
    const QUrl old = server.url(QStringLiteral("/old"));
    queue.addURL(old, &owner, "got", false, true);
    owner.waitForAnswer(1);
    queue.addURL(old, &owner, "got", false, true);
    const QVariantMap again = owner.waitForAnswer(2);
    EXPECT_EQ(server.requests().size(), 2); // /old and /new, once each
    EXPECT_EQ(again.value(QStringLiteral("WMHTTPURLKey")).toUrl(), server.url(QStringLiteral("/new")));
    EXPECT_EQ(answerData(again), QByteArray("moved"));
    ASSERT_EQ(notifications.size(), 2);
    EXPECT_EQ(notifications.at(1), notifications.at(0));

    // Found unusable under the address it came from, it is asked for again.
    queue.removeURLFromCache(server.url(QStringLiteral("/new")));
    queue.addURL(old, &owner, "got", false, true);
    owner.waitForAnswer(3);
    EXPECT_EQ(server.requests().size(), 4);

    // An answer from the store is cancelled as a request would be.
    queue.addURL(old, &owner, "got", false, true);
    queue.cancelURL(old);
    TestHttpServer::waitFor([] { return false; }, 100);
    EXPECT_EQ(owner.answers.size(), 3);
}

TEST_F(HTTPAnswerStoreTest, TheAnswersUsedLeastRecentlyMakeRoom)
{
    HTTPAnswerStore small(8 * 4096);
    const auto answer = [](const char* path) {
        return QVariantMap{{QStringLiteral("WMHTTPURLKey"), QUrl(QLatin1String(path))},
                           {QStringLiteral("WMHTTPDataKey"), QByteArray(2048, 'x')}};
    };
    const char* const paths[] = {"http://a/1", "http://a/2", "http://a/3", "http://a/4",
                                 "http://a/5", "http://a/6", "http://a/7", "http://a/8"};
    // Each counts 3 KB with what it holds besides its body: 10 fit.
    for (const char* path : paths)
        small.keep(QUrl(QLatin1String(path)), answer(path));
    EXPECT_EQ(small.count(), 8);
    EXPECT_TRUE(small.answerFor(QUrl(QStringLiteral("http://a/1"))));
    small.keep(QUrl(QStringLiteral("http://a/9")), answer("http://a/9"));
    small.keep(QUrl(QStringLiteral("http://a/10")), answer("http://a/10"));
    small.keep(QUrl(QStringLiteral("http://a/11")), answer("http://a/11"));
    EXPECT_EQ(small.count(), 10);
    EXPECT_LE(small.bytes(), small.capacity());
    EXPECT_TRUE(small.answerFor(QUrl(QStringLiteral("http://a/1"))));
    EXPECT_FALSE(small.answerFor(QUrl(QStringLiteral("http://a/2"))));
    EXPECT_TRUE(small.answerFor(QUrl(QStringLiteral("http://a/11"))));
    // Nothing larger than an eighth of the whole is kept.
    small.keep(QUrl(QStringLiteral("http://a/big")),
               {{QStringLiteral("WMHTTPDataKey"), QByteArray(4096, 'x')}});
    EXPECT_FALSE(small.answerFor(QUrl(QStringLiteral("http://a/big"))));
}
