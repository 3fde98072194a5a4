// Redirects followed by the HTTP queue itself, and the "Retry-After" reader.
#include "QueueTestOwner.h"
#include "TestHttpServer.h"

#include "web/HTTPReplyReader.h"
#include "web/WMHTTPQueue.h"

#include <gtest/gtest.h>

namespace {

class WMHTTPQueueRedirectTest : public QueueTest
{
protected:
    void SetUp() override
    {
        QueueTest::SetUp();
        QObject::connect(&queue, &WMHTTPQueue::redirectNotification,
                         [this](const QVariantMap& info) { notifications.append(info); });
    }

    QList<QVariantMap> notifications;
};

} // namespace

TEST_F(WMHTTPQueueRedirectTest, RedirectReachesTheSameOwnerUnderTheNewURL)
{
    server.route(QStringLiteral("/old"), Response::redirect("/new?x=1"));
    server.route(QStringLiteral("/new"), Response::html("<p>moved here</p>"));
    QueueTestOwner owner;
    add(QStringLiteral("/old"), owner);
    const QVariantMap answer = owner.waitForAnswer();
    EXPECT_FALSE(WMHTTPQueue::answerHasError(answer));
    EXPECT_EQ(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl(), server.url(QStringLiteral("/new?x=1")));
    EXPECT_EQ(answerData(answer), QByteArray("<p>moved here</p>"));
    ASSERT_EQ(notifications.size(), 1);
    EXPECT_EQ(notifications.at(0).value(QStringLiteral("old")).toUrl(), server.url(QStringLiteral("/old")));
    EXPECT_EQ(notifications.at(0).value(QStringLiteral("new")).toUrl(),
              server.url(QStringLiteral("/new?x=1")));
    idle(100);
    EXPECT_EQ(owner.answers.size(), 1);
    EXPECT_EQ(queue.count(), 0);
}

TEST_F(WMHTTPQueueRedirectTest, EveryRedirectStatusIsFollowedAndA303PostBecomesAGet)
{
    server.setHandler([](const TestHttpServer::Request& request) {
        if (request.path.startsWith(QStringLiteral("/r")))
            return Response::redirect("/target", request.path.mid(2).toInt());
        return Response::text(request.method + ' ' + request.body);
    });
    QueueTestOwner owner;
    const int statuses[] = {301, 302, 303, 307, 308};
    for (int status : statuses) {
        add(QStringLiteral("/r%1").arg(status), owner);
        EXPECT_EQ(answerData(owner.waitForAnswer(owner.answers.size() + 1)), QByteArray("GET ")) << status;
    }
    queue.postURL(server.url(QStringLiteral("/r303")), &owner, "got", "a=1");
    EXPECT_EQ(answerData(owner.waitForAnswer(6)), QByteArray("GET "));
    queue.postURL(server.url(QStringLiteral("/r307")), &owner, "got", "a=1");
    EXPECT_EQ(answerData(owner.waitForAnswer(7)), QByteArray("POST a=1"));
}

TEST_F(WMHTTPQueueRedirectTest, RedirectLoopEndsInOneError)
{
    server.route(QStringLiteral("/ping"), Response::redirect("/pong"));
    server.route(QStringLiteral("/pong"), Response::redirect("/ping"));
    QueueTestOwner owner;
    add(QStringLiteral("/ping"), owner);
    const QVariantMap answer = owner.waitForAnswer();
    EXPECT_EQ(WMHTTPQueue::errorCode(answer), -1007);
    EXPECT_EQ(server.requests().size(), WMHTTPQueue::kMaxRedirects + 1);
    idle(100);
    EXPECT_EQ(owner.answers.size(), 1);
    EXPECT_EQ(queue.count(), 0);
}

TEST_F(WMHTTPQueueRedirectTest, RedirectWithoutLocationIsDeliveredAsIs)
{
    server.route(QStringLiteral("/odd"), Response::text("no location", "text/plain", 302));
    const QVariantMap answer = fetch(QStringLiteral("/odd"));
    EXPECT_FALSE(WMHTTPQueue::answerHasError(answer));
    EXPECT_EQ(answerData(answer), QByteArray("no location"));
    EXPECT_TRUE(notifications.isEmpty());
}

TEST(HTTPReplyReaderTest, RetryAfterSecondsAndDates)
{
    const QDateTime now(QDate(2015, 10, 21), QTime(7, 28, 0), Qt::UTC);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds(" 120 ", now), 120);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("0", now), 0);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("99999999999999999999999", now),
              HTTPReplyReader::kMaxRetryAfterSeconds);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Wed, 21 Oct 2015 07:29:30 GMT", now), 90);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Wednesday, 21-Oct-15 07:30:00 GMT", now), 120);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Wed Oct 21 07:28:10 2015", now), 10);
    // A date in the past means at once; one far ahead is clamped.
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Tue, 20 Oct 2015 07:28:00 GMT", now), 0);
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Tue, 21 Oct 2025 07:28:00 GMT", now),
              HTTPReplyReader::kMaxRetryAfterSeconds);
    EXPECT_FALSE(HTTPReplyReader::retryAfterSeconds("", now));
    EXPECT_FALSE(HTTPReplyReader::retryAfterSeconds("-5", now));
    EXPECT_FALSE(HTTPReplyReader::retryAfterSeconds("soon", now));
    EXPECT_FALSE(HTTPReplyReader::retryAfterSeconds("Wed,", now));
    // A wrong weekday does not cost the date.
    EXPECT_EQ(HTTPReplyReader::retryAfterSeconds("Mon, 21 Oct 2015 07:28:05 GMT", now), 5);
    EXPECT_FALSE(HTTPReplyReader::retryAfterSeconds("Wed, 32 Oct 2015 07:28:00 GMT", now));
}
