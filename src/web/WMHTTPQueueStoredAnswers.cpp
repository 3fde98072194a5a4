// The part of the HTTP queue that answers from a gathering run's answer
// store: the GETs it answered before in the run are answered again without
// the network, and the new answers are kept.
#include "WMHTTPQueue.h"

#include "web/HTTPAnswerStore.h"

#include <QTimer>

namespace {

const QString kURLKey = QStringLiteral("WMHTTPURLKey");

} // namespace

void WMHTTPQueue::setAnswerStore(std::shared_ptr<HTTPAnswerStore> store)
{
    mAnswerStore = std::move(store);
}

bool WMHTTPQueue::answerFromStore(const QUrl& url, QObject* owner, const QByteArray& returnMethod)
{
    if (!mAnswerStore)
        return false;
    std::optional<QVariantMap> answer = mAnswerStore->answerFor(url);
    if (!answer)
        return false;
    // Each on a turn of its own, as the network would answer, and cancelled
    // as a request would be.
    const quint64 id = ++mLastStoredDelivery;
    mStoredDeliveries.insert(id, StoredDelivery{url, owner, returnMethod, *answer});
    QTimer::singleShot(0, this, [this, id] { deliverStoredAnswer(id); });
    return true;
}

void WMHTTPQueue::deliverStoredAnswer(quint64 id)
{
    const StoredDelivery delivery = mStoredDeliveries.take(id);
    // Cancelled meanwhile, or its owner is gone.
    if (!delivery.owner)
        return;
    const QUrl answeredFrom = delivery.answer.value(kURLKey).toUrl();
    if (keyFor(answeredFrom) != keyFor(delivery.url))
        emit redirectNotification(
            {{QStringLiteral("old"), delivery.url}, {QStringLiteral("new"), answeredFrom}});
    invokeOwner(delivery.owner.data(), delivery.method, delivery.answer, delivery.url);
}

void WMHTTPQueue::dropStoredDeliveries(const QString& key)
{
    mStoredDeliveries.removeIf([&](const auto& entry) { return keyFor(entry.value().url) == key; });
}

void WMHTTPQueue::storeAnswer(const RequestInfo& info, const QVariantMap& answer)
{
    if (mAnswerStore && info.mayBeStored && info.verb == Verb::Get)
        mAnswerStore->keep(info.askedURL, answer);
}
