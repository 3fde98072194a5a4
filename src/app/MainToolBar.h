#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QToolBar>

class AppActions;
class QWidgetAction;

// The main window's toolbar, arranged by the user: its items in the order
// kept in the settings under "qbt1.5_toolbar" (the defaults until then).
// Items are the commands of AppActions, the source pop-up ("Source"), the
// search field ("Search") and the separators and spaces ("Separator",
// "Space", "FlexibleSpace").
class MainToolBar : public QToolBar
{
    Q_OBJECT

public:
    static constexpr const char* kSettingsKey = "qbt1.5_toolbar";

    MainToolBar(AppActions& actions, QWidget* source, QWidget* search, QWidget* parent = nullptr);

    static QStringList defaultItems();
    // Every item the toolbar can hold; separators and spaces may repeat.
    static QStringList allowedItems();
    static bool isRepeatable(const QString& item);
    static QString paletteLabel(const QString& item);
    static QIcon itemIcon(const QString& item);

    // Shows the items (unknown ones are left out) and keeps the order.
    void setItems(const QStringList& items);
    QStringList items() const { return mItems; }

private:
    QAction* makeSpacer(bool flexible);

    AppActions& mActions;
    QWidgetAction* mSource;
    QWidgetAction* mSearch;
    QStringList mItems;
    // Separators and spaces made for the current arrangement.
    QList<QAction*> mMade;
};
