#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

class WebDBInterface;

// Why a web source gave nothing, in words the user is shown: the host was
// not found, there is no network, the server did not answer in time or
// refused the connection, it answered with an HTTP error, or the source is
// not set up (a key it needs is missing). Made from the error of the HTTP
// queue's answer dictionary.
class SourceFailure
{
public:
    enum class Kind : int
    {
        None = 0,
        // Nothing reached the server, or it did not answer.
        Network = 1,
        // The server answered with an error.
        Server = 2,
        // The source was not asked: something it needs is not set.
        NotConfigured = 3
    };

    SourceFailure() = default;

    // The failure an answer of the HTTP queue reports; none for an answer
    // that is not one (also for "not found", 404 and 410, which is how some
    // services say that they know nothing).
    static SourceFailure fromAnswer(const QVariantMap& answer);
    static SourceFailure notConfigured(const QString& reason);

    Kind kind() const { return mKind; }
    const QString& reason() const { return mReason; }
    // A search that failed, as opposed to one that was not made.
    bool isFailure() const { return mKind == Kind::Network || mKind == Kind::Server; }

private:
    SourceFailure(Kind kind, QString reason) : mKind(kind), mReason(std::move(reason)) {}

    Kind mKind = Kind::None;
    QString mReason;
};

// What one source of a lookup came back with.
struct SourceReport
{
    // The source's class name ("MusicBrainzInterface").
    QString source;
    qsizetype albums = 0;
    SourceFailure failure;

    static SourceReport of(const WebDBInterface& source);
    // Asked and failed, with nothing to show.
    bool failed() const { return albums == 0 && failure.isFailure(); }
};
