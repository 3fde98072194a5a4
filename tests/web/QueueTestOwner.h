#pragma once

#include "TestHttpServer.h"
#include "web/WMHTTPQueue.h"

#include <QList>
#include <QObject>
#include <QVariantMap>

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
