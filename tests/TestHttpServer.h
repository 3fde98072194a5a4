#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QString>
#include <QTcpServer>
#include <QUrl>

#include <functional>
#include <memory>

class QTcpSocket;

// A small HTTP/1.1 server for tests: 127.0.0.1, an ephemeral port, run by
// the test thread's event loop (wait with waitFor()). Answers come from
// routes (exact path with query first, then the path alone), then from the
// catch-all handler, else 404. Connections are kept alive.
//
//   TestHttpServer server;
//   ASSERT_TRUE(server.start());
//   server.route(QStringLiteral("/page"), TestHttpServer::Response::html("<p>hi</p>"));
//   queue.addURL(server.url(QStringLiteral("/page")), ...);
//   ASSERT_TRUE(TestHttpServer::waitFor([&] { return answered; }));
class TestHttpServer : public QObject
{
    Q_OBJECT
public:
    // One request as received. `receivedMs` counts from start().
    struct Request
    {
        QByteArray method;
        QString pathAndQuery;
        QString path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        qint64 receivedMs = 0;
        QDateTime receivedAt;
    };

    // One scripted answer.
    struct Response
    {
        int status = 200;
        QList<QPair<QByteArray, QByteArray>> headers; // include Content-Type here
        QByteArray body;
        int delayMs = 0;                 // wait before answering
        int chunkSize = 0;               // > 0: send the body in pieces of this size ...
        int chunkDelayMs = 0;            // ... this far apart
        bool closeWithoutAnswer = false; // reset the connection instead of answering
        bool neverAnswer = false;        // keep the connection open, say nothing
        bool wrongContentLength = false; // announce 100 bytes more than sent, then close
        // Send `body` as one chunk of a chunked answer again and again, every
        // chunkDelayMs, until the client goes away (or kMaxEndlessBytes).
        bool endlessChunks = false;

        static Response text(const QByteArray& body, const QByteArray& contentType = "text/plain",
                             int status = 200);
        static Response html(const QByteArray& body, int status = 200)
        {
            return text(body, "text/html", status);
        }
        static Response redirect(const QByteArray& location, int status = 302);
        Response& header(const QByteArray& name, const QByteArray& value);
    };
    using Handler = std::function<Response(const Request&)>;

    explicit TestHttpServer(QObject* parent = nullptr);
    ~TestHttpServer() override;

    bool start();
    quint16 port() const;
    // http://127.0.0.1:<port><pathAndQuery>
    QUrl url(const QString& pathAndQuery) const;

    // Answers `path` (with or without a query) with the file's bytes, read
    // when asked for.
    void serveFile(const QString& path, const QString& filePath, const QByteArray& contentType);
    void route(const QString& pathOrPathWithQuery, const Response& response);
    // Called for requests no route matches.
    void setHandler(Handler handler);

    // Requests whose path, or path with query, equals `path`.
    int requestCount(const QString& path) const;
    QList<Request> requests() const { return mRequests; }
    void clearRequests() { mRequests.clear(); }

    // Runs the event loop until `condition` holds or `timeoutMs` passes (a
    // guard against hangs, not a measurement). Answers the condition.
    static bool waitFor(const std::function<bool()>& condition, int timeoutMs = 15000);

    // An endless answer stops here, so that a client that never gives up
    // cannot take the machine's memory with it.
    static constexpr qint64 kMaxEndlessBytes = 256LL * 1024 * 1024;

private:
    void acceptConnections();
    void readFrom(QTcpSocket* socket);
    void answer(QTcpSocket* socket, const Request& request);
    Response responseFor(const Request& request) const;
    void send(QTcpSocket* socket, const Response& response, bool headOnly);
    void sendChunks(QTcpSocket* socket, QByteArray rest, int chunkSize, int chunkDelayMs, bool closeAfter);
    void sendEndlessChunks(QTcpSocket* socket, const QByteArray& chunk, int chunkDelayMs, qint64 sent);

    QTcpServer mServer;
    QElapsedTimer mClock;
    QHash<QString, Response> mRoutes;
    QHash<QString, QPair<QString, QByteArray>> mFiles; // path -> file, content type
    Handler mHandler;
    QList<Request> mRequests;
    QHash<QTcpSocket*, QByteArray> mBuffers;
};
