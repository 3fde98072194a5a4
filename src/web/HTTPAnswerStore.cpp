#include "web/HTTPAnswerStore.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>

namespace {

const QString kURLKey = QStringLiteral("WMHTTPURLKey");
const QString kDataKey = QStringLiteral("WMHTTPDataKey");
const QString kErrorKey = QStringLiteral("WMHTTPErrorKey");

// What an answer holds besides its body: URL, MIME type, headers.
constexpr qint64 kAnswerOverhead = 1024;

QString keyFor(const QUrl& url)
{
    return url.toString(QUrl::FullyEncoded);
}

} // namespace

HTTPAnswerStore::HTTPAnswerStore(qint64 capacityBytes) : mCapacity(std::max<qint64>(capacityBytes, 0)) {}

std::optional<QVariantMap> HTTPAnswerStore::answerFor(const QUrl& url)
{
    const auto found = mAnswers.find(keyFor(url));
    if (found == mAnswers.end())
        return std::nullopt;
    mUse.splice(mUse.begin(), mUse, found->use);
    return found->answer;
}

void HTTPAnswerStore::keep(const QUrl& asked, const QVariantMap& answer)
{
    if (answer.contains(kErrorKey))
        return;
    const qint64 bytes = answer.value(kDataKey).toByteArray().size() + kAnswerOverhead;
    if (bytes > mCapacity / 8)
        return;
    const QString key = keyFor(asked);
    drop(key);
    while (mBytes + bytes > mCapacity && !mUse.empty())
        drop(mUse.back());

    Entry entry;
    entry.answer = answer;
    entry.answeredFrom = keyFor(answer.value(kURLKey).toUrl());
    entry.bytes = bytes;
    mUse.push_front(key);
    entry.use = mUse.begin();
    if (entry.answeredFrom != key)
        mAskedAs.insert(entry.answeredFrom, key);
    mAnswers.insert(key, entry);
    mBytes += bytes;
}

void HTTPAnswerStore::forget(const QUrl& url)
{
    const QString key = keyFor(url);
    const QStringList asked = mAskedAs.values(key);
    drop(key);
    for (const QString& askedKey : asked)
        drop(askedKey);
}

void HTTPAnswerStore::drop(const QString& key)
{
    const auto found = mAnswers.find(key);
    if (found == mAnswers.end())
        return;
    mBytes -= found->bytes;
    mUse.erase(found->use);
    mAskedAs.remove(found->answeredFrom, key);
    mAnswers.erase(found);
}
