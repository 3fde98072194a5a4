#pragma once

#include <QDialog>

class QLabel;
class QListWidget;
class QPushButton;
class RegenerateController;

// The window of songs whose tag is damaged, filled while a source is loaded
// and its tags are read: it shows itself (without taking the focus) when
// songs are added, rebuilds the selected tags (all are selected when the
// list fills) with a bar and Cancel, and closes when its list is empty. The
// list and the rebuilding are the core's RegenerateController.
class RegenerateWindow : public QDialog
{
    Q_OBJECT

public:
    RegenerateWindow(RegenerateController& controller, QWidget* parent = nullptr);

    // The rows as they read.
    QStringList rows() const;
    // Rebuilds the selected songs' tags.
    void regenerateSelected();

private:
    void fill();

    RegenerateController& mController;
    QLabel* mMessage;
    QListWidget* mList;
    QPushButton* mRegenerate;
};
