// The HTTP queue against the local test server: answers, the connection
// limit, failing and pausing hosts, the HTML cut-off, the cache, pacing,
// HEAD and POST, time-outs and owners that go away.
#include "QueueTestOwner.h"
#include "TestHttpServer.h"

#include "support/LocalizedStrings.h"
#include "support/ProgressIndicator.h"
#include "web/HTTPQueueModel.h"
#include "web/WMHTTPQueue.h"

#include <QAbstractItemModel>
#include <QTcpServer>

#include <gtest/gtest.h>

#include <memory>

namespace {

class WMHTTPQueueTest : public QueueTest
{
protected:
    // A port on which nothing listens.
    static quint16 closedPort()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        const quint16 port = probe.serverPort();
        probe.close();
        return port;
    }

    // A server path answered with `body` one chunk at a time.
    void routeTrickle(const QString& path, const QByteArray& body, int chunkSize, int chunkDelayMs,
                      const QByteArray& type = "text/plain")
    {
        Response trickle = Response::text(body, type);
        trickle.chunkSize = chunkSize;
        trickle.chunkDelayMs = chunkDelayMs;
        server.route(path, trickle);
    }
};

} // namespace

TEST_F(WMHTTPQueueTest, NinthURLWaitsWhileEightAreOpen)
{
    server.setHandler([&](const TestHttpServer::Request&) { return delayed("slow", 150); });
    QAbstractItemModel* model = queue.tableModel();
    QueueTestOwner owner;
    int ninthRequestsAtFirstAnswer = -1;
    owner.onAnswer = [&](const QVariantMap&) {
        if (ninthRequestsAtFirstAnswer < 0)
            ninthRequestsAtFirstAnswer = server.requestCount(QStringLiteral("/slow8"));
    };
    for (int i = 0; i < 9; ++i)
        add(QStringLiteral("/slow%1").arg(i), owner);

    EXPECT_EQ(queue.currentNumberOfConnections(), 8);
    ASSERT_EQ(model->rowCount(), 9);
    EXPECT_EQ(model->data(model->index(0, 0)).toString(), server.url(QStringLiteral("/slow0")).toString());
    EXPECT_EQ(model->data(model->index(0, 1)).toString(), QStringLiteral("-Wait-"));
    EXPECT_EQ(model->data(model->index(8, 1)).toString(), QStringLiteral("-Queued-"));
    EXPECT_EQ(model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("status"));

    ASSERT_TRUE(TestHttpServer::waitFor([&] { return owner.answers.size() == 9; }));
    EXPECT_EQ(ninthRequestsAtFirstAnswer, 0);
    EXPECT_EQ(server.requestCount(QStringLiteral("/slow8")), 1);
    EXPECT_EQ(queue.currentNumberOfConnections(), 0);
    EXPECT_EQ(model->rowCount(), 0);
}

TEST_F(WMHTTPQueueTest, ModelShowsBytesWhileABodyArrives)
{
    routeTrickle(QStringLiteral("/trickle"), QByteArray(4000, 'x'), 1000, 300);
    QAbstractItemModel* model = queue.tableModel();
    QueueTestOwner owner;
    add(QStringLiteral("/trickle"), owner);
    ASSERT_TRUE(TestHttpServer::waitFor(
        [&] { return model->data(model->index(0, 1)).toString().endsWith(QStringLiteral(" bytes")); }));
    // The request window's columns: host, bytes so far, and the state.
    EXPECT_EQ(model->data(model->index(0, 2)).toString(), server.url(QStringLiteral("/")).host());
    EXPECT_GT(model->data(model->index(0, 3)).toLongLong(), 0);
    EXPECT_EQ(model->data(model->index(0, 1), HTTPQueueModel::StateRole).toInt(),
              int(HTTPQueueModel::State::Receiving));
    ASSERT_EQ(answerData(owner.waitForAnswer()).size(), 4000);
}

TEST_F(WMHTTPQueueTest, FailedHostIsPausedAndItsURLsFailAtOnce)
{
    QueueTestOwner owner;
    queue.addURL(QUrl(QStringLiteral("http://127.0.0.1:%1/x").arg(closedPort())), &owner, "got", false,
                 false);
    const QVariantMap refused = owner.waitForAnswer();
    EXPECT_EQ(WMHTTPQueue::errorCode(refused), -1004);
    EXPECT_EQ(answerError(refused).value(QStringLiteral("domain")).toString(),
              QStringLiteral("NSURLErrorDomain"));

    server.route(QStringLiteral("/ok"), Response::text("ok"));
    const QVariantMap paused = fetch(QStringLiteral("/ok"));
    EXPECT_EQ(WMHTTPQueue::errorCode(paused), -1004);
    EXPECT_EQ(server.requestCount(QStringLiteral("/ok")), 0);

    queue.removeFailureForHostOfURL(server.url(QStringLiteral("/ok")));
    EXPECT_EQ(answerData(fetch(QStringLiteral("/ok"))), QByteArray("ok"));
}

TEST_F(WMHTTPQueueTest, HostThatNeverAnswersTimesOutAndIsPaused)
{
    server.route(QStringLiteral("/silent"), silent());
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    queue.setTimeoutForTests(300);
    EXPECT_EQ(WMHTTPQueue::errorCode(fetch(QStringLiteral("/silent"))), -1001);
    // Avoided with the reason it is avoided: it went quiet, it refused nothing.
    EXPECT_EQ(WMHTTPQueue::errorCode(fetch(QStringLiteral("/ok"))), -1001);
    EXPECT_EQ(server.requestCount(QStringLiteral("/ok")), 0);
}

TEST_F(WMHTTPQueueTest, DroppedConnectionIsAnErrorButDoesNotPauseTheHost)
{
    Response reset;
    reset.closeWithoutAnswer = true;
    server.route(QStringLiteral("/reset"), reset);
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    const QVariantMap answer = fetch(QStringLiteral("/reset"));
    EXPECT_TRUE(WMHTTPQueue::answerHasError(answer));
    EXPECT_NE(WMHTTPQueue::errorCode(answer), -1004);
    EXPECT_EQ(answerData(fetch(QStringLiteral("/ok"))), QByteArray("ok"));
}

TEST_F(WMHTTPQueueTest, CutsLongHTMLButNotOtherTypes)
{
    routeTrickle(QStringLiteral("/long.html"), QByteArray(100000, 'h'), 1000, 5, "text/html");
    routeTrickle(QStringLiteral("/long.txt"), QByteArray(100000, 'h'), 1000, 5);
    queue.setMaximumHTMLLength(3000);

    const QVariantMap html = fetch(QStringLiteral("/long.html"));
    EXPECT_FALSE(WMHTTPQueue::answerHasError(html));
    EXPECT_GE(answerData(html).size(), 3000);
    EXPECT_LT(answerData(html).size(), 100000);
    EXPECT_EQ(answerData(fetch(QStringLiteral("/long.txt"))).size(), 100000);
}

TEST_F(WMHTTPQueueTest, MinimumIntervalSpacesRequestsToAHost)
{
    server.setHandler([](const TestHttpServer::Request&) { return Response::text("paced"); });
    queue.setMinimumIntervalForHost(QStringLiteral("127.0.0.1"), 0.25);
    QueueTestOwner owner;
    for (int i = 0; i < 3; ++i)
        add(QStringLiteral("/paced%1").arg(i), owner);
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return owner.answers.size() == 3; }));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(requests.at(i).path, QStringLiteral("/paced%1").arg(i));
    // Starts are 250 ms apart in the queue, so the third can't begin before
    // 500 ms after the first; arrival on a busy machine may lag a little.
    EXPECT_GE(requests.at(2).receivedMs - requests.at(0).receivedMs, 400);
}

TEST_F(WMHTTPQueueTest, RetryAfterPausesTheHostAndRetries)
{
    int calls = 0;
    server.setHandler([&](const TestHttpServer::Request&) {
        return ++calls == 1 ? Response::text("busy", "text/plain", 429).header("Retry-After", "1")
                            : Response::text("done");
    });
    const QVariantMap answer = fetch(QStringLiteral("/busy"));
    EXPECT_FALSE(WMHTTPQueue::answerHasError(answer));
    EXPECT_EQ(answerData(answer), QByteArray("done"));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_GE(requests.at(1).receivedMs - requests.at(0).receivedMs, 900);
}

TEST_F(WMHTTPQueueTest, RetryAfterGivesUpAfterThreeRetries)
{
    server.route(QStringLiteral("/down"),
                 Response::text("down", "text/plain", 503).header("Retry-After", "0"));
    server.route(QStringLiteral("/plain429"), Response::text("no", "text/plain", 429));
    const QVariantMap answer = fetch(QStringLiteral("/down"));
    EXPECT_EQ(WMHTTPQueue::errorCode(answer), 503);
    EXPECT_EQ(answerData(answer), QByteArray("down"));
    EXPECT_EQ(server.requestCount(QStringLiteral("/down")), 4);
    // Without Retry-After a 429 is answered at once.
    EXPECT_EQ(WMHTTPQueue::errorCode(fetch(QStringLiteral("/plain429"))), 429);
    EXPECT_EQ(server.requestCount(QStringLiteral("/plain429")), 1);
}

TEST_F(WMHTTPQueueTest, RetryAfterBeyondTheLongestWaitGivesUpOnTheHost)
{
    server.route(QStringLiteral("/busy"),
                 Response::text("busy", "text/plain", 429).header("Retry-After", "100000"));
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    QStringList told;
    QObject::connect(&queue, &WMHTTPQueue::importantLogNotification,
                     [&](const QString& message) { told.append(message); });
    const QVariantMap busy = fetch(QStringLiteral("/busy"));
    EXPECT_EQ(WMHTTPQueue::errorCode(busy), 429);
    EXPECT_EQ(answerData(busy), QByteArray("busy"));
    // The host's other URLs fail at once with its busy status.
    EXPECT_EQ(WMHTTPQueue::errorCode(fetch(QStringLiteral("/ok"))), 429);
    EXPECT_EQ(server.requests().size(), 1);
    EXPECT_EQ(told, QStringList({LocalizedStrings::format(QStringLiteral("ErrorHostAsksToWait"),
                                                          QStringLiteral("127.0.0.1"), qint64(100000))}));
}

TEST_F(WMHTTPQueueTest, AnswerThatOutlastsTheDeadlineIsATimeOutThatPausesTheHost)
{
    routeTrickle(QStringLiteral("/trickle"), QByteArray(100, 'x'), 1,
                 50); // never silent for long, 5 s in all
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    queue.setAnswerDeadline(400);
    const QVariantMap late = fetch(QStringLiteral("/trickle"));
    EXPECT_EQ(WMHTTPQueue::errorCode(late), -1001);
    EXPECT_EQ(answerError(late).value(QStringLiteral("description")).toString(),
              QStringLiteral("The request timed out."));
    EXPECT_EQ(WMHTTPQueue::errorCode(fetch(QStringLiteral("/ok"))), -1001);
    EXPECT_EQ(server.requestCount(QStringLiteral("/ok")), 0);
}

TEST_F(WMHTTPQueueTest, DeletedOwnerIsNotAnsweredAndTheQueueGoesOn)
{
    server.route(QStringLiteral("/late"), delayed("late", 100));
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    auto gone = std::make_unique<QueueTestOwner>();
    add(QStringLiteral("/late"), *gone);
    gone.reset();
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return queue.count() == 0; }));
    EXPECT_EQ(answerData(fetch(QStringLiteral("/ok"))), QByteArray("ok"));
}

TEST_F(WMHTTPQueueTest, RejectsIncompleteRequestsAndReplacesDuplicates)
{
    QueueTestOwner owner;
    queue.addURL(QUrl(), &owner, "got", false, false);
    queue.addURL(server.url(QStringLiteral("/x")), nullptr, "got", false, false);
    queue.addURL(server.url(QStringLiteral("/x")), &owner, QByteArray(), false, false);
    EXPECT_EQ(queue.count(), 0);

    server.route(QStringLiteral("/dup"), delayed("dup", 100));
    QueueTestOwner first;
    add(QStringLiteral("/dup"), first);
    add(QStringLiteral("/dup"), owner);
    EXPECT_EQ(queue.count(), 1);
    EXPECT_EQ(answerData(owner.waitForAnswer()), QByteArray("dup"));
    EXPECT_TRUE(first.answers.isEmpty());
}

TEST_F(WMHTTPQueueTest, UnknownMethodNameIsNotCalledAndCancelledURLsAreSilent)
{
    server.route(QStringLiteral("/ok"), Response::text("ok"));
    QueueTestOwner owner;
    queue.addURL(server.url(QStringLiteral("/ok")), &owner, "noSuchMethod", false, false);
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return queue.count() == 0; }));
    EXPECT_TRUE(owner.answers.isEmpty());

    server.route(QStringLiteral("/silent"), silent());
    add(QStringLiteral("/silent"), owner);
    add(QStringLiteral("/silent2"), owner);
    queue.cancelURL(server.url(QStringLiteral("/silent")));
    EXPECT_EQ(queue.count(), 1);
    queue.cancelAll();
    EXPECT_EQ(queue.count(), 0);
    EXPECT_EQ(queue.currentNumberOfConnections(), 0);
    idle(200);
    EXPECT_TRUE(owner.answers.isEmpty());
}

TEST_F(WMHTTPQueueTest, IndicatorFollowsTheDownload)
{
    server.route(QStringLiteral("/file"), Response::text(QByteArray(5000, 'f'), "application/octet-stream"));
    ProgressIndicator bar;
    QueueTestOwner owner;
    queue.addURL(server.url(QStringLiteral("/file")), &owner, "got", &bar);
    EXPECT_TRUE(bar.isIndeterminate());
    EXPECT_TRUE(bar.isAnimating());
    ASSERT_EQ(answerData(owner.waitForAnswer()).size(), 5000);
    EXPECT_FALSE(bar.isIndeterminate());
    EXPECT_EQ(bar.maxValue(), 5000.0);
    EXPECT_EQ(bar.doubleValue(), 5000.0);
}
