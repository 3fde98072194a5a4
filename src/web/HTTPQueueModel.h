#pragma once

#include <QAbstractTableModel>
#include <QPointer>

class WMHTTPQueue;

// The queue as a table for a view: one row per queued or loading URL, the
// columns "url" and "status" ("-Queued-", "-Wait-", "%ld bytes"). Reset
// whenever the queue changes.
class HTTPQueueModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    explicit HTTPQueueModel(WMHTTPQueue* queue);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // The value of a row in the column "url" (the URL's text) or "status"
    // ("-Queued-" without a connection, "-Wait-" with a connection and no
    // data, "%ld bytes" once data arrive); invalid for a row beyond the list.
    QVariant objectValue(const QString& column, int row) const;
    // The column identifiers, "url" and "status".
    static QString columnName(int column);

private:
    QPointer<WMHTTPQueue> mQueue;
};
