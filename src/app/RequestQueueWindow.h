#pragma once

#include <QDialog>

class QLabel;
class QTableView;
class RequestQueueModel;

// The web requests waiting and running, live: host, state, bytes received
// and address of each, in the queue's order, with their count.
class RequestQueueWindow : public QDialog
{
    Q_OBJECT

public:
    explicit RequestQueueWindow(QWidget* parent = nullptr);

    QTableView* table() const { return mTable; }

private:
    void updateCount();

    RequestQueueModel* mModel;
    QTableView* mTable;
    QLabel* mCount;
};
