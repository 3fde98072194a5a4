#include "RegenerateWindow.h"

#include "run/RegenerateController.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kPanelDelayMs = 300;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

RegenerateWindow::RegenerateWindow(RegenerateController& controller, QWidget* parent)
    : QDialog(parent), mController(controller), mMessage(new QLabel), mList(new QListWidget),
      mRegenerate(new QPushButton(text("RegenerateButton")))
{
    setObjectName(QStringLiteral("RegenerateWindow"));
    setWindowTitle(text("RegenerateTitle"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    mMessage->setWordWrap(true);
    mList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    mList->setAccessibleName(text("RegenerateTitle"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->addButton(mRegenerate, QDialogButtonBox::ActionRole);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mMessage);
    layout->addWidget(mList, 1);
    layout->addWidget(buttons);
    resize(520, 320);

    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::hide);
    connect(mRegenerate, &QPushButton::clicked, this, &RegenerateWindow::regenerateSelected);
    connect(mList, &QListWidget::itemSelectionChanged, this,
            [this] { mRegenerate->setEnabled(!mList->selectedItems().isEmpty()); });
    connect(&mController, &RegenerateController::rowsChanged, this, &RegenerateWindow::fill);
    connect(&mController, &RegenerateController::revealRequested, this, [this] {
        if (!isVisible())
            show();
    });
    connect(&mController, &RegenerateController::hideRequested, this, &QDialog::hide);
    fill();
}

void RegenerateWindow::fill()
{
    mList->clear();
    for (int row = 0; row < mController.numberOfRows(); ++row) {
        const QString rowText = mController.textForRow(row);
        auto* item =
            new QListWidgetItem(rowText.isEmpty() ? mController.songsArray().at(row)->filename() : rowText);
        item->setToolTip(mController.songsArray().at(row)->path());
        mList->addItem(item);
    }
    mList->selectAll();
    mMessage->setText(text(mController.numberOfRows() > 0 ? "RegenerateMessage" : "RegenerateEmpty"));
    mRegenerate->setEnabled(!mList->selectedItems().isEmpty());
}

QStringList RegenerateWindow::rows() const
{
    QStringList texts;
    for (int row = 0; row < mList->count(); ++row)
        texts.append(mList->item(row)->text());
    return texts;
}

void RegenerateWindow::regenerateSelected()
{
    QList<int> rows;
    for (const QListWidgetItem* item : mList->selectedItems())
        rows.append(mList->row(item));
    std::sort(rows.begin(), rows.end());
    if (rows.isEmpty())
        return;
    QPointer<QProgressDialog> panel =
        new QProgressDialog(text("Regenerating"), text("CancelButton"), 0, int(rows.size()), this);
    panel->setWindowModality(Qt::WindowModal);
    panel->setMinimumDuration(kPanelDelayMs);
    panel->setAutoClose(false);
    panel->setAutoReset(false);
    connect(panel, &QProgressDialog::canceled, &mController, &RegenerateController::cancel);
    const QMetaObject::Connection progress =
        connect(&mController, &RegenerateController::progress, panel,
                [panel](qint64 current, qint64) { panel->setValue(int(current)); });
    mRegenerate->setEnabled(false);
    mController.regenerateSelected(rows);
    disconnect(progress);
    delete panel;
    mRegenerate->setEnabled(!mList->selectedItems().isEmpty());
}
