#include "TestHttpServer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

namespace {

constexpr qsizetype kMaxHeaderBytes = 64 * 1024;
constexpr qint64 kMaxBodyBytes = 64 * 1024 * 1024;

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 304:
        return "Not Modified";
    case 307:
        return "Temporary Redirect";
    case 308:
        return "Permanent Redirect";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

bool hasHeader(const TestHttpServer::Response& response, const QByteArray& name)
{
    for (const auto& header : response.headers)
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

} // namespace

TestHttpServer::Response TestHttpServer::Response::text(const QByteArray& body, const QByteArray& contentType,
                                                        int status)
{
    Response response;
    response.status = status;
    response.body = body;
    response.headers.append({QByteArrayLiteral("Content-Type"), contentType});
    return response;
}

TestHttpServer::Response TestHttpServer::Response::redirect(const QByteArray& location, int status)
{
    Response response = text(QByteArrayLiteral("moved"), "text/plain", status);
    return response.header(QByteArrayLiteral("Location"), location);
}

TestHttpServer::Response& TestHttpServer::Response::header(const QByteArray& name, const QByteArray& value)
{
    headers.append({name, value});
    return *this;
}

TestHttpServer::TestHttpServer(QObject* parent) : QObject(parent)
{
    connect(&mServer, &QTcpServer::newConnection, this, &TestHttpServer::acceptConnections);
}

TestHttpServer::~TestHttpServer()
{
    mServer.close();
    const auto sockets = mBuffers.keys();
    for (QTcpSocket* socket : sockets) {
        socket->disconnect(this);
        socket->abort();
    }
}

bool TestHttpServer::start()
{
    mClock.start();
    return mServer.listen(QHostAddress::LocalHost, 0);
}

quint16 TestHttpServer::port() const
{
    return mServer.serverPort();
}

QUrl TestHttpServer::url(const QString& pathAndQuery) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(pathAndQuery));
}

void TestHttpServer::serveFile(const QString& path, const QString& filePath, const QByteArray& contentType)
{
    mFiles.insert(path, {filePath, contentType});
}

void TestHttpServer::route(const QString& pathOrPathWithQuery, const Response& response)
{
    mRoutes.insert(pathOrPathWithQuery, response);
}

void TestHttpServer::setHandler(Handler handler)
{
    mHandler = std::move(handler);
}

int TestHttpServer::requestCount(const QString& path) const
{
    int count = 0;
    for (const Request& request : mRequests)
        if (request.path == path || request.pathAndQuery == path)
            ++count;
    return count;
}

bool TestHttpServer::waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    if (condition())
        return true;
    const QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(2);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition() || deadline.hasExpired())
            loop.quit();
    });
    poll.start();
    loop.exec();
    return condition();
}

void TestHttpServer::acceptConnections()
{
    while (QTcpSocket* socket = mServer.nextPendingConnection()) {
        mBuffers.insert(socket, QByteArray());
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            mBuffers.remove(socket);
            socket->deleteLater();
        });
    }
}

void TestHttpServer::readFrom(QTcpSocket* socket)
{
    QByteArray& buffer = mBuffers[socket];
    buffer.append(socket->readAll());
    for (;;) {
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0) {
            if (buffer.size() > kMaxHeaderBytes)
                socket->abort();
            return;
        }
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        if (requestLine.size() < 2) {
            socket->abort();
            return;
        }
        Request request;
        request.method = requestLine.at(0);
        request.pathAndQuery = QString::fromLatin1(requestLine.at(1));
        request.path = request.pathAndQuery.section(QLatin1Char('?'), 0, 0);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                                       lines.at(i).mid(colon + 1).trimmed());
        }
        const qint64 length = request.headers.value("content-length", "0").toLongLong();
        if (length < 0 || length > kMaxBodyBytes) {
            socket->abort();
            return;
        }
        if (buffer.size() < headerEnd + 4 + length)
            return; // the body is still coming
        request.body = buffer.mid(headerEnd + 4, length);
        buffer.remove(0, headerEnd + 4 + length);
        request.receivedMs = mClock.elapsed();
        request.receivedAt = QDateTime::currentDateTimeUtc();
        mRequests.append(request);
        answer(socket, request);
        if (!mBuffers.contains(socket))
            return;
    }
}

TestHttpServer::Response TestHttpServer::responseFor(const Request& request) const
{
    for (const QString& key : {request.pathAndQuery, request.path}) {
        const auto route = mRoutes.constFind(key);
        if (route != mRoutes.constEnd())
            return *route;
        const auto file = mFiles.constFind(key);
        if (file != mFiles.constEnd()) {
            QFile source(file->first);
            if (!source.open(QIODevice::ReadOnly))
                return Response::text("no such file", "text/plain", 404);
            return Response::text(source.readAll(), file->second);
        }
    }
    if (mHandler)
        return mHandler(request);
    return Response::text("not found", "text/plain", 404);
}

void TestHttpServer::answer(QTcpSocket* socket, const Request& request)
{
    const Response response = responseFor(request);
    const bool headOnly = request.method == "HEAD";
    if (response.delayMs > 0) {
        QPointer<QTcpSocket> guarded(socket);
        QTimer::singleShot(response.delayMs, this, [this, guarded, response, headOnly] {
            if (guarded)
                send(guarded, response, headOnly);
        });
        return;
    }
    send(socket, response, headOnly);
}

void TestHttpServer::send(QTcpSocket* socket, const Response& response, bool headOnly)
{
    if (response.neverAnswer)
        return;
    if (response.closeWithoutAnswer) {
        mBuffers.remove(socket);
        socket->abort();
        socket->deleteLater();
        return;
    }
    QByteArray head =
        "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
    for (const auto& [name, value] : response.headers)
        head += name + ": " + value + "\r\n";
    if (response.endlessChunks && !headOnly && !response.body.isEmpty()) {
        socket->write(head + "Transfer-Encoding: chunked\r\nConnection: keep-alive\r\n\r\n");
        const QByteArray chunk =
            QByteArray::number(response.body.size(), 16) + "\r\n" + response.body + "\r\n";
        sendEndlessChunks(socket, chunk, response.chunkDelayMs, 0);
        return;
    }
    if (!hasHeader(response, "Content-Length")) {
        const qsizetype announced = response.body.size() + (response.wrongContentLength ? 100 : 0);
        head += "Content-Length: " + QByteArray::number(announced) + "\r\n";
    }
    head += response.wrongContentLength ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n";
    socket->write(head);
    const QByteArray body = headOnly ? QByteArray() : response.body;
    if (response.chunkSize > 0 && body.size() > response.chunkSize) {
        sendChunks(socket, body, response.chunkSize, response.chunkDelayMs, response.wrongContentLength);
        return;
    }
    socket->write(body);
    if (response.wrongContentLength)
        socket->disconnectFromHost();
}

void TestHttpServer::sendChunks(QTcpSocket* socket, QByteArray rest, int chunkSize, int chunkDelayMs,
                                bool closeAfter)
{
    socket->write(rest.left(chunkSize));
    rest.remove(0, chunkSize);
    if (rest.isEmpty()) {
        if (closeAfter)
            socket->disconnectFromHost();
        return;
    }
    QPointer<QTcpSocket> guarded(socket);
    QTimer::singleShot(chunkDelayMs, this, [this, guarded, rest, chunkSize, chunkDelayMs, closeAfter] {
        if (guarded && guarded->state() == QAbstractSocket::ConnectedState)
            sendChunks(guarded, rest, chunkSize, chunkDelayMs, closeAfter);
    });
}

void TestHttpServer::sendEndlessChunks(QTcpSocket* socket, const QByteArray& chunk, int chunkDelayMs,
                                       qint64 sent)
{
    // Only as fast as the client reads: unread chunks are not piled up here.
    if (socket->bytesToWrite() < 4 * chunk.size()) {
        socket->write(chunk);
        sent += chunk.size();
    }
    if (sent >= kMaxEndlessBytes)
        return; // the connection stays open, silent
    QPointer<QTcpSocket> guarded(socket);
    QTimer::singleShot(chunkDelayMs, this, [this, guarded, chunk, chunkDelayMs, sent] {
        if (guarded && guarded->state() == QAbstractSocket::ConnectedState)
            sendEndlessChunks(guarded, chunk, chunkDelayMs, sent);
    });
}
