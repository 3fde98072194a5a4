#pragma once

#include "history/HistoryOperation.h"

#include <QDialog>
#include <QList>
#include <QPointer>

#include <optional>

class QLabel;
class QMessageBox;
class QPushButton;
class QTreeWidget;
class WindowHistory;

// The History window (Window > History): the operations of the change
// history, newest first (time, kind, what it ran on, files changed), and
// for the chosen one each file's changes with where every new value came
// from. Undo Operation… first shows what the undo would write and which
// files it would leave alone and why (a dry run), then takes the operation
// back when the user agrees, and tells the outcome below the lists.
class HistoryWindow : public QDialog
{
    Q_OBJECT

public:
    HistoryWindow(WindowHistory& history, QWidget* parent = nullptr);

    // Lists the operations again, keeping the chosen one.
    void reload();

private:
    std::optional<HistoryOperation> chosen() const;
    void showChanges();
    void undoChosen();
    // The dialog that says what the undo would do; its answer undoes.
    void confirmUndo(const HistoryOperation& operation);
    void updateUndoButton();

    WindowHistory& mHistory;
    QTreeWidget* mOperations;
    QTreeWidget* mChanges;
    QLabel* mStatus;
    QPushButton* mUndo;
    QList<HistoryOperation> mListed;
    QPointer<QMessageBox> mConfirm;
};
