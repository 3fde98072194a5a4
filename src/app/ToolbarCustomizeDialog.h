#pragma once

#include <QDialog>
#include <QStringList>

class QListWidget;
class QListWidgetItem;

// "Customize Toolbar": the items the toolbar may hold on one side, the
// toolbar's items in their order on the other; items are added, removed and
// moved with the buttons (or by dragging within the toolbar's list), and
// "Use Default Set" puts the first arrangement back.
class ToolbarCustomizeDialog : public QDialog
{
    Q_OBJECT

public:
    ToolbarCustomizeDialog(const QStringList& current, QWidget* parent = nullptr);

    QStringList items() const;

private:
    void fill(const QStringList& items);
    void addChosen();
    void removeChosen();
    void moveChosen(int by);
    QListWidgetItem* makeItem(const QString& item) const;

    QListWidget* mAvailable;
    QListWidget* mToolbar;
};
