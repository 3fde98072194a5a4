#pragma once

#include "run/TagChanges.h"

#include <QDialog>
#include <QHash>

class QTreeWidget;

// The genre standardising panel: the selection's genres that hold a name of
// the standard genre list, each with the name it becomes and how many
// songs have it, checked, before anything is written. Accepting it hands on
// the checked ones.
class GenrePanel : public QDialog
{
    Q_OBJECT

public:
    GenrePanel(const QList<TagChanges::GenreMapping>& mappings, QWidget* parent = nullptr);

    // Genre text -> standard name, for the rows left checked.
    QHash<QString, QString> chosen() const;

private:
    QTreeWidget* mList;
};
