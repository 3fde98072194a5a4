#include "SongItemDelegate.h"

#include "SongColumns.h"

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

constexpr int kIconSize = 16;

} // namespace

void SongItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const
{
    if (!SongColumns::isIconColumn(SongColumns::at(index.column()))) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    // The cell's background and selection as the style draws them ...
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    const QVariant decoration = index.data(Qt::DecorationRole);
    background.icon = QIcon();
    background.features &= ~QStyleOptionViewItem::HasDecoration;
    background.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

    // ... and the icon or picture centred in it, fitted to its height.
    const QRect cell = option.rect.adjusted(2, 2, -2, -2);
    if (decoration.canConvert<QImage>() && decoration.typeId() == QMetaType::QImage) {
        const QImage image = decoration.value<QImage>();
        QSize size = image.size();
        size.scale(cell.size(), Qt::KeepAspectRatio);
        const QRect target(
            QPoint(cell.center().x() - size.width() / 2 + 1, cell.center().y() - size.height() / 2 + 1),
            size);
        painter->save();
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, image);
        painter->restore();
        return;
    }
    const QIcon icon = decoration.value<QIcon>();
    if (icon.isNull())
        return;
    const int side = std::min(kIconSize, std::min(cell.width(), cell.height()));
    const QRect target(cell.center().x() - side / 2 + 1, cell.center().y() - side / 2 + 1, side, side);
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    icon.paint(painter, target, Qt::AlignCenter, selected ? QIcon::Selected : QIcon::Normal);
}

bool SongItemDelegate::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        auto* editor = qobject_cast<QWidget*>(object);
        if (editor && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
            (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
            emit commitData(editor);
            emit closeEditor(editor, QAbstractItemDelegate::NoHint);
            emit committedWithEnter();
            return true;
        }
    }
    return QStyledItemDelegate::eventFilter(object, event);
}
