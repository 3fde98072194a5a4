#include "AppActions.h"

#include "AppIcons.h"

#include "support/LocalizedStrings.h"

#include <QAction>
#include <QKeySequence>

AppActions::AppActions(QObject* parent) : QObject(parent)
{
    for (const char* identifier :
         {"BeginAdd", "Stop", "Play", "Rescan", "Reveal", "Lyrics", "Drawer", "SetLibrary"})
        addToolbarAction(QLatin1String(identifier));
    setBeginAddMode(mBeginAddMode);
    action(QStringLiteral("BeginAdd"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_B));
    action(QStringLiteral("Stop"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Period));
    action(QStringLiteral("Play"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    action(QStringLiteral("Rescan"))->setShortcut(QKeySequence::Refresh);
    action(QStringLiteral("Reveal"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    action(QStringLiteral("SetLibrary"))->setShortcut(QKeySequence::Open);
    action(QStringLiteral("Lyrics"))->setCheckable(true);
    action(QStringLiteral("Drawer"))->setCheckable(true);

    add(QStringLiteral("Preferences"), LocalizedStrings::text(QStringLiteral("MenuPreferences")))
        ->setShortcut(QKeySequence::Preferences);
    add(QStringLiteral("Quit"), LocalizedStrings::text(QStringLiteral("MenuQuit")))
        ->setShortcut(QKeySequence::Quit);
    add(QStringLiteral("About"), LocalizedStrings::text(QStringLiteral("MenuAbout")));
    add(QStringLiteral("CustomizeToolbar"), LocalizedStrings::text(QStringLiteral("MenuCustomizeToolbar")));
    add(QStringLiteral("Find"), LocalizedStrings::text(QStringLiteral("MenuFind")))
        ->setShortcut(QKeySequence::Find);
    add(QStringLiteral("SelectAll"), LocalizedStrings::text(QStringLiteral("MenuSelectAll")))
        ->setShortcut(QKeySequence::SelectAll);
    add(QStringLiteral("ShowLog"), LocalizedStrings::text(QStringLiteral("MenuShowLog")))->setCheckable(true);
    add(QStringLiteral("ShowLogFile"), LocalizedStrings::text(QStringLiteral("MenuShowLogFile")));
    add(QStringLiteral("Minimize"), LocalizedStrings::text(QStringLiteral("MenuMinimize")))
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    add(QStringLiteral("Zoom"), LocalizedStrings::text(QStringLiteral("MenuZoom")));
    add(QStringLiteral("MainWindow"), LocalizedStrings::text(QStringLiteral("MenuMainWindow")));
    add(QStringLiteral("CloseWindow"), LocalizedStrings::text(QStringLiteral("MenuCloseWindow")))
        ->setShortcut(QKeySequence::Close);
    add(QStringLiteral("Undo"), LocalizedStrings::text(QStringLiteral("MenuUndo")))
        ->setShortcut(QKeySequence::Undo);
    add(QStringLiteral("Redo"), LocalizedStrings::text(QStringLiteral("MenuRedo")))
        ->setShortcut(QKeySequence::Redo);
    add(QStringLiteral("History"), LocalizedStrings::text(QStringLiteral("MenuHistory")));

    // The artwork and lyrics commands, the genres, the manual searches and
    // the windows beside the main window.
    add(QStringLiteral("Artwork"), LocalizedStrings::text(QStringLiteral("MenuArtwork")))->setCheckable(true);
    for (const char* identifier : {"PasteArtwork", "RemoveArtwork", "RemoveLyrics", "StandardizeGenres",
                                   "SearchArtwork", "SearchLyrics", "Regenerate", "Requests"})
        add(QLatin1String(identifier),
            LocalizedStrings::text(QStringLiteral("Menu") + QLatin1String(identifier)));
}

QAction* AppActions::add(const QString& identifier, const QString& text, const QString& icon)
{
    auto* action = new QAction(text, this);
    action->setObjectName(identifier);
    if (!icon.isEmpty())
        action->setIcon(AppIcons::icon(icon));
    mActions.insert(identifier, action);
    return action;
}

void AppActions::addToolbarAction(const QString& identifier)
{
    QAction* action = add(identifier, label(identifier), iconName(identifier));
    action->setToolTip(toolTip(identifier));
    action->setIconText(label(identifier));
}

QAction* AppActions::action(const QString& identifier) const
{
    return mActions.value(identifier);
}

void AppActions::setBeginAddMode(const QString& mode)
{
    mBeginAddMode = mode;
    QAction* begin = action(QStringLiteral("BeginAdd"));
    begin->setText(label(mode));
    begin->setIconText(label(mode));
    begin->setToolTip(toolTip(mode));
    begin->setIcon(
        AppIcons::icon(mode == QLatin1String("Add") ? QStringLiteral("Add") : QStringLiteral("Begin")));
}

QString AppActions::label(const QString& identifier)
{
    return LocalizedStrings::text(identifier + QStringLiteral("Label"));
}

QString AppActions::paletteLabel(const QString& identifier)
{
    return LocalizedStrings::text(identifier + QStringLiteral("PaletteLabel"));
}

QString AppActions::toolTip(const QString& identifier)
{
    return LocalizedStrings::text(identifier + QStringLiteral("ToolTip"));
}

QString AppActions::iconName(const QString& identifier)
{
    if (identifier == QLatin1String("BeginAdd"))
        return QStringLiteral("Begin");
    if (identifier == QLatin1String("Drawer"))
        return QStringLiteral("drawer");
    if (identifier == QLatin1String("SetLibrary"))
        return QStringLiteral("library");
    return identifier;
}
