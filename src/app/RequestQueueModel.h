#pragma once

#include <QIdentityProxyModel>

// The HTTP queue's table (the core's HTTPQueueModel) as the request window
// shows it: localised headers, the state in words ("Waiting", "Connecting",
// "Receiving") and the bytes received as a size.
class RequestQueueModel : public QIdentityProxyModel
{
    Q_OBJECT

public:
    // The queue's columns.
    enum Column
    {
        Address = 0,
        State = 1,
        Host = 2,
        Received = 3
    };

    explicit RequestQueueModel(QAbstractItemModel* queueTable, QObject* parent = nullptr);

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
};
