#include "GenrePanel.h"

#include "support/LocalizedStrings.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

GenrePanel::GenrePanel(const QList<TagChanges::GenreMapping>& mappings, QWidget* parent)
    : QDialog(parent), mList(new QTreeWidget)
{
    setObjectName(QStringLiteral("GenrePanel"));
    setWindowTitle(text("GenresTitle"));
    auto* message = new QLabel(text(mappings.isEmpty() ? "GenresNone" : "GenresMessage"));
    message->setWordWrap(true);
    mList->setRootIsDecorated(false);
    mList->setHeaderLabels({text("GenresFrom"), text("GenresTo"), text("GenresSongs")});
    mList->setAccessibleName(text("GenresTitle"));
    for (const TagChanges::GenreMapping& mapping : mappings) {
        auto* item = new QTreeWidgetItem({mapping.from, mapping.to, QString::number(mapping.songs)});
        item->setCheckState(0, Qt::Checked);
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        mList->addTopLevelItem(item);
    }
    mList->header()->setStretchLastSection(false);
    mList->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    mList->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    mList->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    mList->setVisible(!mappings.isEmpty());

    auto* buttons =
        new QDialogButtonBox(mappings.isEmpty() ? QDialogButtonBox::Close : QDialogButtonBox::Cancel);
    if (!mappings.isEmpty())
        buttons->addButton(text("GenresApply"), QDialogButtonBox::AcceptRole)->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(message);
    layout->addWidget(mList, 1);
    layout->addWidget(buttons);
    resize(480, mappings.isEmpty() ? 140 : 340);
}

QHash<QString, QString> GenrePanel::chosen() const
{
    QHash<QString, QString> genres;
    for (int row = 0; row < mList->topLevelItemCount(); ++row) {
        const QTreeWidgetItem* item = mList->topLevelItem(row);
        if (item->checkState(0) == Qt::Checked)
            genres.insert(item->text(0), item->text(1));
    }
    return genres;
}
