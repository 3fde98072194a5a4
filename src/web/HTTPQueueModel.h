#pragma once

#include <QAbstractTableModel>
#include <QPointer>

class WMHTTPQueue;

// The queue as a table for a view: one row per queued or loading URL, the
// columns "url" and "status" ("-Queued-", "-Wait-", "%ld bytes"), then
// "host" and "bytes" (the number received so far). The status column also
// answers the request's state as a number under StateRole. Reset whenever
// the queue changes.
class HTTPQueueModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    // A request's state, as StateRole answers it.
    enum class State : int
    {
        Queued = 0,     // waiting for a free connection
        Connecting = 1, // a connection is open, nothing has arrived
        Receiving = 2   // the answer is arriving
    };
    static constexpr int StateRole = Qt::UserRole + 1;

    explicit HTTPQueueModel(WMHTTPQueue* queue);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // The value of a row in the column "url" (the URL's text) or "status"
    // ("-Queued-" without a connection, "-Wait-" with a connection and no
    // data, "%ld bytes" once data arrive); invalid for a row beyond the list.
    QVariant objectValue(const QString& column, int row) const;
    // The column identifiers, "url", "status", "host" and "bytes".
    static QString columnName(int column);

private:
    State stateOf(int row) const;

    QPointer<WMHTTPQueue> mQueue;
};
