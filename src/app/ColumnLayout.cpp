#include "ColumnLayout.h"

#include "SongColumns.h"

#include "support/LocalizedStrings.h"

#include <QFontMetrics>
#include <QHeaderView>
#include <QMenu>
#include <QSettings>

ColumnLayout::ColumnLayout(QHeaderView* header) : QObject(header), mHeader(header)
{
    mHeader->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(mHeader, &QHeaderView::customContextMenuRequested, this, &ColumnLayout::showMenu);
    if (!restore())
        reset();
    // Every change is kept at once: a crash loses no arrangement.
    connect(mHeader, &QHeaderView::sectionResized, this, &ColumnLayout::save);
    connect(mHeader, &QHeaderView::sectionMoved, this, &ColumnLayout::save);
}

bool ColumnLayout::restore()
{
    const QByteArray state = QSettings().value(QLatin1String(kSettingsKey)).toByteArray();
    if (state.isEmpty() || !mHeader->restoreState(state) || mHeader->count() != SongColumns::kCount)
        return false;
    // A saved layout never hides every column.
    return mHeader->hiddenSectionCount() < mHeader->count();
}

void ColumnLayout::save() const
{
    QSettings().setValue(QLatin1String(kSettingsKey), mHeader->saveState());
}

void ColumnLayout::reset()
{
    const int characterWidth = QFontMetrics(mHeader->font()).averageCharWidth();
    for (int logical = 0; logical < mHeader->count(); ++logical) {
        mHeader->moveSection(mHeader->visualIndex(logical), logical);
        const SongColumn column = SongColumns::at(logical);
        mHeader->setSectionHidden(logical, SongColumns::isHiddenByDefault(column));
        const int minimum = SongColumns::isIconColumn(column) ? 24 : 0;
        mHeader->resizeSection(
            logical, std::max(minimum, SongColumns::defaultWidthInCharacters(column) * characterWidth));
    }
    save();
}

void ColumnLayout::fillMenu(QMenu* menu) const
{
    menu->clear();
    for (int logical = 0; logical < mHeader->count(); ++logical) {
        QAction* action = menu->addAction(SongColumns::accessibleTitle(SongColumns::at(logical)));
        action->setCheckable(true);
        action->setChecked(!mHeader->isSectionHidden(logical));
        // The last column shown stays.
        action->setEnabled(mHeader->isSectionHidden(logical) ||
                           mHeader->count() - mHeader->hiddenSectionCount() > 1);
        connect(action, &QAction::toggled, this, [this, logical](bool shown) {
            mHeader->setSectionHidden(logical, !shown);
            save();
        });
    }
    menu->addSeparator();
    connect(menu->addAction(LocalizedStrings::text(QStringLiteral("ResetColumns"))), &QAction::triggered,
            this, &ColumnLayout::reset);
}

void ColumnLayout::showMenu(const QPoint& position)
{
    auto* menu = new QMenu(mHeader);
    fillMenu(menu);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(mHeader->viewport()->mapToGlobal(position));
}
