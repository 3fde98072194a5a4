#include "MainToolBar.h"

#include "AppActions.h"
#include "AppIcons.h"

#include "support/LocalizedStrings.h"

#include <QSettings>
#include <QWidgetAction>

namespace {

const QString kSeparator = QStringLiteral("Separator");
const QString kSpace = QStringLiteral("Space");
const QString kFlexibleSpace = QStringLiteral("FlexibleSpace");

} // namespace

MainToolBar::MainToolBar(AppActions& actions, QWidget* source, QWidget* search, QWidget* parent)
    : QToolBar(LocalizedStrings::text(QStringLiteral("ToolbarName")), parent), mActions(actions),
      mSource(new QWidgetAction(this)), mSearch(new QWidgetAction(this))
{
    setObjectName(QStringLiteral("MainToolBar"));
    setMovable(false);
    setFloatable(false);
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    setIconSize(QSize(24, 24));
    setContextMenuPolicy(Qt::PreventContextMenu);
    mSource->setDefaultWidget(source);
    mSource->setText(paletteLabel(QStringLiteral("Source")));
    mSearch->setDefaultWidget(search);
    mSearch->setText(paletteLabel(QStringLiteral("Search")));
    const QStringList saved = QSettings().value(QLatin1String(kSettingsKey)).toStringList();
    setItems(saved.isEmpty() ? defaultItems() : saved);
}

QStringList MainToolBar::defaultItems()
{
    return {QStringLiteral("BeginAdd"), QStringLiteral("Stop"),   QStringLiteral("Play"),   kSeparator,
            QStringLiteral("Source"),   QStringLiteral("Rescan"), QStringLiteral("Reveal"), kFlexibleSpace,
            QStringLiteral("Search"),   QStringLiteral("Lyrics"), QStringLiteral("Drawer")};
}

QStringList MainToolBar::allowedItems()
{
    return {QStringLiteral("BeginAdd"),
            QStringLiteral("Stop"),
            QStringLiteral("Play"),
            QStringLiteral("Source"),
            QStringLiteral("Rescan"),
            QStringLiteral("Reveal"),
            QStringLiteral("Search"),
            QStringLiteral("Lyrics"),
            QStringLiteral("Drawer"),
            QStringLiteral("SetLibrary"),
            kSeparator,
            kSpace,
            kFlexibleSpace};
}

bool MainToolBar::isRepeatable(const QString& item)
{
    return item == kSeparator || item == kSpace || item == kFlexibleSpace;
}

QString MainToolBar::paletteLabel(const QString& item)
{
    return AppActions::paletteLabel(item == QLatin1String("BeginAdd") ? QStringLiteral("Begin") : item);
}

QIcon MainToolBar::itemIcon(const QString& item)
{
    return AppIcons::icon(AppActions::iconName(item));
}

QAction* MainToolBar::makeSpacer(bool flexible)
{
    auto* spacer = new QWidget;
    if (flexible)
        spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    else
        spacer->setFixedWidth(16);
    auto* action = new QWidgetAction(this);
    action->setDefaultWidget(spacer);
    return action;
}

void MainToolBar::setItems(const QStringList& items)
{
    clear();
    qDeleteAll(mMade);
    mMade.clear();
    mItems.clear();
    const QStringList allowed = allowedItems();
    for (const QString& item : items) {
        if (!allowed.contains(item) || (!isRepeatable(item) && mItems.contains(item)))
            continue;
        mItems.append(item);
        if (item == kSeparator) {
            mMade.append(addSeparator());
        } else if (item == kSpace || item == kFlexibleSpace) {
            QAction* spacer = makeSpacer(item == kFlexibleSpace);
            addAction(spacer);
            mMade.append(spacer);
        } else if (item == QLatin1String("Source")) {
            addAction(mSource);
        } else if (item == QLatin1String("Search")) {
            addAction(mSearch);
        } else if (QAction* action = mActions.action(item)) {
            addAction(action);
        }
    }
    QSettings().setValue(QLatin1String(kSettingsKey), mItems);
}
