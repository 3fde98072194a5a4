#include "HTTPQueueModel.h"

#include "support/WMFormat.h"
#include "web/WMHTTPQueue.h"

HTTPQueueModel::HTTPQueueModel(WMHTTPQueue* queue) : mQueue(queue)
{
    connect(queue, &WMHTTPQueue::queueChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int HTTPQueueModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !mQueue ? 0 : static_cast<int>(mQueue->mURLs.size());
}

int HTTPQueueModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 4;
}

QString HTTPQueueModel::columnName(int column)
{
    switch (column) {
    case 0:
        return QStringLiteral("url");
    case 1:
        return QStringLiteral("status");
    case 2:
        return QStringLiteral("host");
    case 3:
        return QStringLiteral("bytes");
    default:
        return {};
    }
}

QVariant HTTPQueueModel::data(const QModelIndex& index, int role) const
{
    if (!mQueue || !index.isValid())
        return {};
    if (role == StateRole && index.row() < mQueue->mURLs.size())
        return int(stateOf(index.row()));
    if (role != Qt::DisplayRole)
        return {};
    return objectValue(columnName(index.column()), index.row());
}

HTTPQueueModel::State HTTPQueueModel::stateOf(int row) const
{
    const QString key = WMHTTPQueue::keyFor(mQueue->mURLs.at(row));
    if (!mQueue->mConnections.contains(key))
        return State::Queued;
    return mQueue->mData.value(key).isEmpty() ? State::Connecting : State::Receiving;
}

QVariant HTTPQueueModel::objectValue(const QString& column, int row) const
{
    if (!mQueue || row < 0 || row >= mQueue->mURLs.size())
        return {};
    const QUrl& url = mQueue->mURLs.at(row);
    if (column == QStringLiteral("url"))
        return url.toString();
    if (column == QStringLiteral("host"))
        return url.host();
    const qsizetype size = mQueue->mData.value(WMHTTPQueue::keyFor(url)).size();
    if (column == QStringLiteral("bytes"))
        return qint64(size);
    if (column != QStringLiteral("status"))
        return {};
    switch (stateOf(row)) {
    case State::Queued:
        return QStringLiteral("-Queued-");
    case State::Connecting:
        return QStringLiteral("-Wait-");
    default:
        return WMFormat::string("%ld bytes", static_cast<long>(size));
    }
}

QVariant HTTPQueueModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return columnName(section);
}
