#include "SearchField.h"

#include "AppIcons.h"

#include "run/PrefsController.h"
#include "support/LocalizedStrings.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>

SearchField::SearchField(QWidget* parent) : QLineEdit(parent)
{
    setMaximumWidth(kMaximumWidth);
    setMinimumWidth(120);
    setClearButtonEnabled(true);
    setAccessibleName(LocalizedStrings::text(QStringLiteral("SearchLabel")));
    setToolTip(LocalizedStrings::text(QStringLiteral("SearchToolTip")));

    auto* menu = new QMenu(this);
    auto* group = new QActionGroup(menu);
    mTagsItem = menu->addAction(LocalizedStrings::text(QStringLiteral("SearchTags")));
    mLyricsItem = menu->addAction(LocalizedStrings::text(QStringLiteral("SearchLyrics")));
    for (QAction* item : {mTagsItem, mLyricsItem}) {
        item->setCheckable(true);
        group->addAction(item);
    }
    connect(mTagsItem, &QAction::triggered, this, [this] { setSearchesLyrics(false); });
    connect(mLyricsItem, &QAction::triggered, this, [this] { setSearchesLyrics(true); });
    QAction* searchMenu = addAction(AppIcons::icon(QStringLiteral("search")), QLineEdit::LeadingPosition);
    searchMenu->setText(LocalizedStrings::text(QStringLiteral("SearchMenuName")));
    searchMenu->setToolTip(searchMenu->text());
    connect(searchMenu, &QAction::triggered, this,
            [this, menu] { menu->popup(mapToGlobal(QPoint(0, height()))); });

    mDeferral.setSingleShot(true);
    mDeferral.setInterval(kDeferralMs);
    connect(&mDeferral, &QTimer::timeout, this, [this] { emit searchRequested(text(), mLyrics); });
    connect(this, &QLineEdit::textChanged, this, [this] { mDeferral.start(); });

    mLyrics = PrefsController::sharedInstance().filterLyrics();
    updatePlaceholder();
}

void SearchField::setSearchesLyrics(bool lyrics)
{
    if (lyrics != mLyrics) {
        mLyrics = lyrics;
        PrefsController::sharedInstance().setFilterLyrics(lyrics);
        emit searchRequested(text(), mLyrics);
    }
    updatePlaceholder();
}

void SearchField::searchNow()
{
    if (!mDeferral.isActive())
        return;
    mDeferral.stop();
    emit searchRequested(text(), mLyrics);
}

void SearchField::updatePlaceholder()
{
    mTagsItem->setChecked(!mLyrics);
    mLyricsItem->setChecked(mLyrics);
    setPlaceholderText(LocalizedStrings::text(mLyrics ? QStringLiteral("SearchLyricsPlaceholder")
                                                      : QStringLiteral("SearchTagsPlaceholder")));
}
