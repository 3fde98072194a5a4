#include "ToolbarCustomizeDialog.h"

#include "MainToolBar.h"

#include "support/LocalizedStrings.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kItemRole = Qt::UserRole + 1;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

ToolbarCustomizeDialog::ToolbarCustomizeDialog(const QStringList& current, QWidget* parent)
    : QDialog(parent), mAvailable(new QListWidget), mToolbar(new QListWidget)
{
    setWindowTitle(text("CustomizeToolbarTitle"));
    mAvailable->setAccessibleName(text("CustomizeAvailable"));
    mToolbar->setAccessibleName(text("CustomizeCurrent"));
    mToolbar->setDragDropMode(QAbstractItemView::InternalMove);
    for (const QString& item : MainToolBar::allowedItems())
        mAvailable->addItem(makeItem(item));

    auto* add = new QPushButton(text("CustomizeAdd"));
    auto* remove = new QPushButton(text("CustomizeRemove"));
    auto* up = new QPushButton(text("CustomizeUp"));
    auto* down = new QPushButton(text("CustomizeDown"));
    auto* defaults = new QPushButton(text("CustomizeDefaults"));
    connect(add, &QPushButton::clicked, this, &ToolbarCustomizeDialog::addChosen);
    connect(mAvailable, &QListWidget::itemDoubleClicked, this, &ToolbarCustomizeDialog::addChosen);
    connect(remove, &QPushButton::clicked, this, &ToolbarCustomizeDialog::removeChosen);
    connect(up, &QPushButton::clicked, this, [this] { moveChosen(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveChosen(1); });
    connect(defaults, &QPushButton::clicked, this, [this] { fill(MainToolBar::defaultItems()); });

    auto* buttons = new QVBoxLayout;
    for (QPushButton* button : {add, remove, up, down})
        buttons->addWidget(button);
    buttons->addStretch(1);
    buttons->addWidget(defaults);

    auto* grid = new QGridLayout;
    grid->addWidget(new QLabel(text("CustomizeAvailable")), 0, 0);
    grid->addWidget(new QLabel(text("CustomizeCurrent")), 0, 2);
    grid->addWidget(mAvailable, 1, 0);
    grid->addLayout(buttons, 1, 1);
    grid->addWidget(mToolbar, 1, 2);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(box);
    fill(current);
}

QListWidgetItem* ToolbarCustomizeDialog::makeItem(const QString& item) const
{
    auto* entry = new QListWidgetItem(MainToolBar::itemIcon(item), MainToolBar::paletteLabel(item));
    entry->setData(kItemRole, item);
    return entry;
}

void ToolbarCustomizeDialog::fill(const QStringList& items)
{
    mToolbar->clear();
    for (const QString& item : items)
        mToolbar->addItem(makeItem(item));
}

QStringList ToolbarCustomizeDialog::items() const
{
    QStringList items;
    for (int row = 0; row < mToolbar->count(); ++row)
        items.append(mToolbar->item(row)->data(kItemRole).toString());
    return items;
}

void ToolbarCustomizeDialog::addChosen()
{
    const QListWidgetItem* chosen = mAvailable->currentItem();
    if (!chosen)
        return;
    const QString item = chosen->data(kItemRole).toString();
    // A command appears once; separators and spaces as often as wanted.
    if (!MainToolBar::isRepeatable(item) && items().contains(item))
        return;
    const int row = mToolbar->currentRow() < 0 ? mToolbar->count() : mToolbar->currentRow() + 1;
    mToolbar->insertItem(row, makeItem(item));
    mToolbar->setCurrentRow(row);
}

void ToolbarCustomizeDialog::removeChosen()
{
    delete mToolbar->takeItem(mToolbar->currentRow());
}

void ToolbarCustomizeDialog::moveChosen(int by)
{
    const int row = mToolbar->currentRow();
    const int target = row + by;
    if (row < 0 || target < 0 || target >= mToolbar->count())
        return;
    QListWidgetItem* item = mToolbar->takeItem(row);
    mToolbar->insertItem(target, item);
    mToolbar->setCurrentRow(target);
}
