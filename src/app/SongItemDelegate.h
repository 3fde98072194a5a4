#pragma once

#include <QStyledItemDelegate>

// Draws the song table's cells: icons and artwork centred in their column,
// the rest as usual. While a cell is edited, Enter commits the value and
// asks for the row below; Escape leaves the value as it was.
class SongItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

signals:
    // An edit was committed with Enter.
    void committedWithEnter();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
};
