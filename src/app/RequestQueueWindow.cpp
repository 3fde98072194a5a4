#include "RequestQueueWindow.h"

#include "RequestQueueModel.h"

#include "support/LocalizedStrings.h"
#include "web/WMHTTPQueue.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

RequestQueueWindow::RequestQueueWindow(QWidget* parent)
    : QDialog(parent), mModel(new RequestQueueModel(WMHTTPQueue::queue()->tableModel(), this)),
      mTable(new QTableView), mCount(new QLabel)
{
    setObjectName(QStringLiteral("RequestQueueWindow"));
    setWindowTitle(LocalizedStrings::text(QStringLiteral("RequestsTitle")));
    mTable->setModel(mModel);
    mTable->setAccessibleName(windowTitle());
    mTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    mTable->setEditTriggers(QAbstractItemView::NoEditTriggers);
    mTable->setWordWrap(false);
    mTable->setTextElideMode(Qt::ElideMiddle);
    mTable->verticalHeader()->hide();
    mTable->verticalHeader()->setDefaultSectionSize(mTable->fontMetrics().height() + 6);
    QHeaderView* header = mTable->horizontalHeader();
    // Host, state and bytes first: the address is long.
    const int order[] = {RequestQueueModel::Host, RequestQueueModel::State, RequestQueueModel::Received};
    for (int visual = 0; visual < 3; ++visual)
        header->moveSection(header->visualIndex(order[visual]), visual);
    header->resizeSection(RequestQueueModel::Host, 170);
    header->resizeSection(RequestQueueModel::State, 100);
    header->resizeSection(RequestQueueModel::Received, 90);
    header->setStretchLastSection(true);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::hide);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mTable, 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(mCount, 1);
    bottom->addWidget(buttons);
    layout->addLayout(bottom);
    resize(720, 300);

    connect(mModel, &QAbstractItemModel::modelReset, this, &RequestQueueWindow::updateCount);
    updateCount();
}

void RequestQueueWindow::updateCount()
{
    const int count = mModel->rowCount();
    mCount->setText(count == 0 ? LocalizedStrings::text(QStringLiteral("RequestsNone"))
                               : LocalizedStrings::count(QStringLiteral("CountRequests"), count));
}
