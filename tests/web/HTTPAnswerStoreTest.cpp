// A run's answer store in the HTTP queue: what it answers again without the
// network, what it never keeps, redirects, cancelling, and its limit.
#include "QueueTestOwner.h"
#include "TestHttpServer.h"

#include "web/HTTPAnswerStore.h"
#include "web/WMHTTPQueue.h"

#include <gtest/gtest.h>

namespace {

class HTTPAnswerStoreTest : public QueueTest
{
protected:
    void SetUp() override
    {
        QueueTest::SetUp();
        server.route(QStringLiteral("/found"), Response::text("{\"releases\":[]}", "application/json"));
        server.route(QStringLiteral("/missing"), Response::text("{}", "application/json", 404));
        server.route(QStringLiteral("/old"), Response::redirect("/new"));
        server.route(QStringLiteral("/new"), Response::text("moved"));
        queue.setAnswerStore(store);
    }

    std::shared_ptr<HTTPAnswerStore> store = std::make_shared<HTTPAnswerStore>();
};

} // namespace

TEST_F(HTTPAnswerStoreTest, ASecondGetIsAnsweredFromTheStoreUnlessTheFirstFailedOrWasTakenOut)
{
    const struct
    {
        const char* name;
        const char* path;
        bool usingCache;
        bool takenOut; // by the owner of the first answer
        int requests;  // the server saw for both
    } rows[] = {
        {"an answer", "/found", true, false, 1},
        {"an error status", "/missing", true, false, 2},
        {"an answer its owner found unusable", "/found", true, true, 2},
        {"a get that bypasses the cache", "/found", false, false, 2},
        {"a redirected answer, asked for where it was sent", "/old", true, false, 2},
    };
    for (const auto& row : rows) {
        server.clearRequests();
        queue.setAnswerStore(store = std::make_shared<HTTPAnswerStore>());
        QList<QVariantMap> redirects;
        const auto connection = QObject::connect(&queue, &WMHTTPQueue::redirectNotification,
                                                 [&](const QVariantMap& info) { redirects.append(info); });
        QueueTestOwner owner;
        owner.onAnswer = [&](const QVariantMap& answer) {
            if (row.takenOut)
                queue.removeURLFromCache(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl());
        };
        add(QLatin1String(row.path), owner, row.usingCache);
        const QVariantMap first = owner.waitForAnswer(1);
        add(QLatin1String(row.path), owner, row.usingCache);
        EXPECT_EQ(owner.answers.size(), 1) << row.name << ": answered inside the call that asked";
        const QVariantMap second = owner.waitForAnswer(2);
        EXPECT_EQ(server.requests().size(), row.requests) << row.name;
        EXPECT_EQ(answerData(second), answerData(first)) << row.name;
        EXPECT_EQ(answerError(second), answerError(first)) << row.name;
        // Every owner hears of the redirect, so that it knows the answer.
        EXPECT_EQ(redirects.size(), QLatin1String(row.path) == QLatin1String("/old") ? 2 : 0) << row.name;
        QObject::disconnect(connection);
    }

    // Taken out under the address it came from, a redirected answer is
    // asked for again.
    queue.removeURLFromCache(server.url(QStringLiteral("/new")));
    EXPECT_FALSE(store->answerFor(server.url(QStringLiteral("/old"))));

    // An answer from the store is cancelled as a request would be.
    QueueTestOwner owner;
    add(QStringLiteral("/found"), owner, true);
    owner.waitForAnswer(1);
    add(QStringLiteral("/found"), owner, true);
    queue.cancelURL(server.url(QStringLiteral("/found")));
    idle(100);
    EXPECT_EQ(owner.answers.size(), 1);
}
