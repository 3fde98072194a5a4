#include "RequestQueueModel.h"

#include "support/LocalizedStrings.h"
#include "web/HTTPQueueModel.h"

namespace {

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QString bytesText(qint64 bytes)
{
    if (bytes < 1024)
        return LocalizedStrings::count(QStringLiteral("CountBytes"), bytes);
    return LocalizedStrings::format(QStringLiteral("ArtworkKilobytes"), (bytes + 512) / 1024);
}

} // namespace

RequestQueueModel::RequestQueueModel(QAbstractItemModel* queueTable, QObject* parent)
    : QIdentityProxyModel(parent)
{
    setSourceModel(queueTable);
}

QVariant RequestQueueModel::data(const QModelIndex& index, int role) const
{
    if (role == Qt::TextAlignmentRole && index.column() == Received)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)
        return QIdentityProxyModel::data(index, role);
    switch (index.column()) {
    case State:
        switch (HTTPQueueModel::State(QIdentityProxyModel::data(index, HTTPQueueModel::StateRole).toInt())) {
        case HTTPQueueModel::State::Queued:
            return text("RequestQueued");
        case HTTPQueueModel::State::Connecting:
            return text("RequestConnecting");
        default:
            return text("RequestReceiving");
        }
    case Received: {
        const qint64 bytes = QIdentityProxyModel::data(index, Qt::DisplayRole).toLongLong();
        return bytes > 0 ? bytesText(bytes) : QString();
    }
    default:
        return QIdentityProxyModel::data(index, Qt::DisplayRole);
    }
}

QVariant RequestQueueModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QIdentityProxyModel::headerData(section, orientation, role);
    switch (section) {
    case Address:
        return text("RequestsAddress");
    case State:
        return text("RequestsState");
    case Host:
        return text("RequestsHost");
    case Received:
        return text("RequestsBytes");
    default:
        return {};
    }
}
