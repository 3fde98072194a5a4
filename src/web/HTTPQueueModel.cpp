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
    return parent.isValid() ? 0 : 2;
}

QString HTTPQueueModel::columnName(int column)
{
    switch (column) {
    case 0:
        return QStringLiteral("url");
    case 1:
        return QStringLiteral("status");
    default:
        return {};
    }
}

QVariant HTTPQueueModel::data(const QModelIndex& index, int role) const
{
    if (!mQueue || !index.isValid() || role != Qt::DisplayRole)
        return {};
    return objectValue(columnName(index.column()), index.row());
}

QVariant HTTPQueueModel::objectValue(const QString& column, int row) const
{
    if (!mQueue || row < 0 || row >= mQueue->mURLs.size())
        return {};
    const QUrl& url = mQueue->mURLs.at(row);
    if (column == QStringLiteral("url"))
        return url.toString();
    if (column != QStringLiteral("status"))
        return {};
    const QString key = WMHTTPQueue::keyFor(url);
    if (!mQueue->mConnections.contains(key))
        return QStringLiteral("-Queued-");
    const qsizetype size = mQueue->mData.value(key).size();
    if (size == 0)
        return QStringLiteral("-Wait-");
    return WMFormat::string("%ld bytes", static_cast<long>(size));
}

QVariant HTTPQueueModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return columnName(section);
}
