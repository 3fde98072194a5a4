#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

class QAction;

// The window's commands, one QAction each, named by identifier: the
// toolbar items ("BeginAdd", "Stop", "Play", "Rescan", "Reveal", "Lyrics",
// "Drawer", "SetLibrary") and the menu commands. A toolbar item's label,
// palette label and tool tip are the localised texts under its identifier
// followed by "Label", "PaletteLabel" and "ToolTip"; Begin uses "Begin" or,
// while a run runs, "Add".
class AppActions : public QObject
{
    Q_OBJECT

public:
    explicit AppActions(QObject* parent = nullptr);

    // The action of an identifier (the object's name); null for none.
    QAction* action(const QString& identifier) const;
    // "Begin" or "Add".
    void setBeginAddMode(const QString& mode);
    QString beginAddMode() const { return mBeginAddMode; }

    static QString label(const QString& identifier);
    static QString paletteLabel(const QString& identifier);
    static QString toolTip(const QString& identifier);
    // The picture of a toolbar item.
    static QString iconName(const QString& identifier);

private:
    QAction* add(const QString& identifier, const QString& text, const QString& icon = QString());
    void addToolbarAction(const QString& identifier);

    QHash<QString, QAction*> mActions;
    QString mBeginAddMode = QStringLiteral("Begin");
};
