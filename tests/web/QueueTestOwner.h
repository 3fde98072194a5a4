#pragma once

#include "TestHttpServer.h"
#include "web/WMHTTPQueue.h"

#include <QList>
#include <QObject>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <functional>

// An owner for HTTP queue answers that keeps every answer it gets.
class QueueTestOwner : public QObject
{
    Q_OBJECT
public:
    QList<QVariantMap> answers;
    std::function<void(const QVariantMap&)> onAnswer;

    Q_INVOKABLE void got(const QVariantMap& answer)
    {
        answers.append(answer);
        if (onAnswer)
            onAnswer(answer);
    }

    // Waits for the n-th answer (1-based) and answers it, or an empty map.
    QVariantMap waitForAnswer(int n = 1)
    {
        if (!TestHttpServer::waitFor([&] { return answers.size() >= n; }))
            return {};
        return answers.at(n - 1);
    }
};

inline QByteArray answerData(const QVariantMap& answer)
{
    return answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
}

inline QVariantMap answerError(const QVariantMap& answer)
{
    return answer.value(QStringLiteral("WMHTTPErrorKey")).toMap();
}

// A queue of its own against a started local server.
class QueueTest : public ::testing::Test
{
protected:
    using Response = TestHttpServer::Response;

    void SetUp() override { ASSERT_TRUE(server.start()); }

    // Queues the server's `path` for `owner`'s got().
    void add(const QString& path, QueueTestOwner& owner, bool usingCache = false)
    {
        queue.addURL(server.url(path), &owner, "got", false, usingCache);
    }

    // The answer to one request of `path`.
    QVariantMap fetch(const QString& path, bool usingCache = false)
    {
        QueueTestOwner owner;
        add(path, owner, usingCache);
        return owner.waitForAnswer();
    }

    // Lets the event loop run for `ms`, for answers that must not come.
    static void idle(int ms)
    {
        TestHttpServer::waitFor([] { return false; }, ms);
    }

    static Response delayed(const QByteArray& body, int delayMs)
    {
        Response response = Response::text(body);
        response.delayMs = delayMs;
        return response;
    }

    static Response silent()
    {
        Response response;
        response.neverAnswer = true;
        return response;
    }

    TestHttpServer server;
    WMHTTPQueue queue;
};
