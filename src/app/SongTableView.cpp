#include "SongTableView.h"

#include "ColumnLayout.h"
#include "SongColumns.h"
#include "SongItemDelegate.h"
#include "SongTableModel.h"

#include "support/LocalizedStrings.h"

#include <QDragEnterEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QTimer>
#include <QUrl>

#include <algorithm>

SongTableView::SongTableView(SongTableModel* model, QWidget* parent)
    : QTableView(parent), mModel(model), mDelegate(new SongItemDelegate(this))
{
    setModel(model);
    setItemDelegate(mDelegate);
    setAccessibleName(LocalizedStrings::text(QStringLiteral("SongsTableName")));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setTextElideMode(Qt::ElideRight);
    setShowGrid(false);
    setCornerButtonEnabled(false);
    setTabKeyNavigation(false);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DropOnly);
    setDropIndicatorShown(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);

    // Every row is as high as the others: the view never asks the rows
    // for their sizes, however many there are.
    QHeaderView* rows = verticalHeader();
    rows->hide();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() + 6);
    rows->setMinimumSectionSize(fontMetrics().height() + 6);

    QHeaderView* header = horizontalHeader();
    header->setSectionsMovable(true);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicatorClearable(true);
    header->setHighlightSections(false);
    header->setStretchLastSection(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    mColumns = new ColumnLayout(header);
    connect(header, &QHeaderView::sectionClicked, this, [this](int column) {
        emit headerClicked(column);
        // The header flips its indicator by itself; the model's sort rules.
        updateSortIndicator(mModel->sortColumn(), mModel->sortDescending());
    });
    connect(model, &SongTableModel::sortChanged, this, &SongTableView::updateSortIndicator);
    connect(mDelegate, &SongItemDelegate::committedWithEnter, this, &SongTableView::moveDown,
            Qt::QueuedConnection);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &SongTableView::visibleRowsChanged);
    connect(model, &SongTableModel::modelReset, this, [this] {
        updateSortIndicator(mModel->sortColumn(), mModel->sortDescending());
        emit visibleRowsChanged();
    });
    updateSortIndicator(model->sortColumn(), model->sortDescending());
}

QList<std::shared_ptr<SongFile>> SongTableView::selectedSongs() const
{
    QModelIndexList rows = selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(),
              [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    QList<std::shared_ptr<SongFile>> songs;
    songs.reserve(rows.size());
    for (const QModelIndex& row : rows) {
        if (std::shared_ptr<SongFile> song = mModel->songAt(row.row()))
            songs.append(song);
    }
    return songs;
}

void SongTableView::commitOpenEditor()
{
    if (state() != QAbstractItemView::EditingState)
        return;
    if (QWidget* editor = indexWidget(currentIndex())) {
        commitData(editor);
        closeEditor(editor, QAbstractItemDelegate::NoHint);
    }
}

QPair<int, int> SongTableView::visibleRows() const
{
    const int rows = mModel->rowCount();
    if (rows == 0)
        return {0, 0};
    const int first = std::max(0, rowAt(0));
    int last = rowAt(viewport()->height() - 1);
    if (last < 0)
        last = rows - 1;
    return {first, last - first + 1};
}

void SongTableView::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && state() != QAbstractItemView::EditingState && currentIndex().isValid() &&
        (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        if (edit(currentIndex(), QAbstractItemView::EditKeyPressed, event))
            return;
    }
    QTableView::keyPressEvent(event);
}

void SongTableView::moveDown()
{
    const QModelIndex current = currentIndex();
    const QModelIndex below = mModel->index(current.row() + 1, current.column());
    if (!below.isValid())
        return;
    setCurrentIndex(below);
    scrollTo(below);
}

void SongTableView::updateSortIndicator(const QString& identifier, bool descending)
{
    const int column = SongColumns::indexOf(identifier);
    horizontalHeader()->setSortIndicator(column, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

// ---- a folder dropped on the table

QString SongTableView::droppedFolder(const QMimeData* mime)
{
    if (!mime || !mime->hasUrls())
        return {};
    const QList<QUrl> urls = mime->urls();
    for (auto it = urls.crbegin(); it != urls.crend(); ++it) {
        if (it->isLocalFile() && QFileInfo(it->toLocalFile()).isDir())
            return QFileInfo(it->toLocalFile()).absoluteFilePath();
    }
    return {};
}

void SongTableView::dragEnterEvent(QDragEnterEvent* event)
{
    if (droppedFolder(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    mIsDragFocus = true;
    viewport()->update();
    event->acceptProposedAction();
}

void SongTableView::dragMoveEvent(QDragMoveEvent* event)
{
    if (droppedFolder(event->mimeData()).isEmpty())
        event->ignore();
    else
        event->acceptProposedAction();
}

void SongTableView::dragLeaveEvent(QDragLeaveEvent* event)
{
    mIsDragFocus = false;
    viewport()->update();
    QTableView::dragLeaveEvent(event);
}

void SongTableView::dropEvent(QDropEvent* event)
{
    mIsDragFocus = false;
    viewport()->update();
    const QString folder = droppedFolder(event->mimeData());
    if (folder.isEmpty()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    // The drop ends first; the folder is loaded a moment later.
    QTimer::singleShot(kDropDelayMs, this, [this, folder] { emit folderDropped(folder); });
}

void SongTableView::resizeEvent(QResizeEvent* event)
{
    QTableView::resizeEvent(event);
    emit visibleRowsChanged();
}

void SongTableView::paintEvent(QPaintEvent* event)
{
    QTableView::paintEvent(event);
    if (!mIsDragFocus)
        return;
    QPainter painter(viewport());
    QPen pen(palette().color(QPalette::Highlight));
    pen.setWidth(3);
    painter.setPen(pen);
    painter.drawRect(viewport()->rect().adjusted(1, 1, -2, -2));
}
