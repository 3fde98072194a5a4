#pragma once

#include <QHash>
#include <QMultiHash>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <list>
#include <optional>

// The answers of one gathering run, by the URL asked for. While a run keeps
// a store installed in the HTTP queue (WMHTTPQueue::setAnswerStore), a GET
// that may come from the cache and was answered before is answered from
// here on the next turn of the event loop, without a connection and without
// waiting for the host's turn: within the run each source asks each distinct
// question once, and the songs of an album share the searches, album
// lookups and covers fetched for the first of them, wherever they stand in
// the table. What each song makes of an answer (the album it chooses, its
// track number, its lyrics) stays its own.
//
// Only answers without an error are kept; an answer its owner finds unusable
// leaves again through WMHTTPQueue::removeURLFromCache(), as it leaves the
// HTTP cache. Beyond the capacity the answers used least recently go first.
class HTTPAnswerStore
{
public:
    static constexpr qint64 kDefaultCapacity = 64LL * 1024 * 1024;

    explicit HTTPAnswerStore(qint64 capacityBytes = kDefaultCapacity);

    // The answer kept for a GET of `url` (as asked for, before any
    // redirect); it becomes the most recently used.
    std::optional<QVariantMap> answerFor(const QUrl& url);
    // Keeps the answer to a GET of `asked`; its "WMHTTPURLKey" names where
    // it came from after redirects. Answers with "WMHTTPErrorKey", and
    // answers larger than an eighth of the capacity, are not kept.
    void keep(const QUrl& asked, const QVariantMap& answer);
    // Forgets the answer asked for as `url` or answered from `url`.
    void forget(const QUrl& url);

    int count() const { return int(mAnswers.size()); }
    qint64 bytes() const { return mBytes; }
    qint64 capacity() const { return mCapacity; }

private:
    struct Entry
    {
        QVariantMap answer;
        QString answeredFrom; // key of the URL after redirects
        qint64 bytes = 0;
        std::list<QString>::iterator use;
    };

    void drop(const QString& key);

    qint64 mCapacity;
    qint64 mBytes = 0;
    QHash<QString, Entry> mAnswers;
    // Key of the URL an answer came from -> the keys it was asked for, when
    // they differ.
    QMultiHash<QString, QString> mAskedAs;
    // Keys, the most recently used first.
    std::list<QString> mUse;
};
