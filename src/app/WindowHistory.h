#pragma once

#include "history/ChangeHistory.h"
#include "history/HistoryOperation.h"
#include "history/HistoryUndo.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class MainController;
class QAction;
class QMessageBox;
class QUndoStack;
class QWidget;

// The change history as the window uses it. Every edit and command of the
// window is one operation of the history (see WindowOperation), and so is a
// run started from the window (recorded by the run itself); each goes on the
// undo stack under its name ("Edit Year", "Run on Music"), which Edit > Undo
// and Edit > Redo walk: undo takes the operation back and redo does it
// again, both through HistoryUndo. A file changed since is left alone
// unless the user, asked first, says otherwise. What was left alone, and
// what the history could not record, is told on the notice bar; songs whose
// files were written take their new values.
class WindowHistory : public QObject
{
    Q_OBJECT

public:
    WindowHistory(MainController& controller, QWidget* window,
                  ChangeHistory& history = ChangeHistory::shared());
    ~WindowHistory() override;

    ChangeHistory& history() const { return mHistory; }
    MainController& controller() const { return mController; }
    QUndoStack* undoStack() const { return mStack; }

    // Edit > Undo and Edit > Redo: their texts name what they would do;
    // they are enabled when there is something to do and no run runs.
    void setActions(QAction* undo, QAction* redo);
    // Tells what the history had to say when it was opened (a damaged
    // history set aside).
    void tellStartNotices();

    // Takes back the operation on top of the undo stack, or does the next
    // one again. When files were changed since, the user is asked first
    // whether to write them anyway, leave them alone or do nothing.
    void undo();
    void redo();

    // Takes an operation back (or does it again), tells what was left alone
    // under the name of what the user chose (`what`: "Undo Edit Year"), and
    // has the songs of the files written take their new values.
    HistoryUndo::Result apply(qint64 operation, bool again, bool force, const QString& what);
    // A step of the undo stack (HistoryUndoCommand): as apply(), writing
    // files changed since when the user said so.
    HistoryUndo::Result stackStep(qint64 operation, bool again, const QString& what);
    // The History window's undo of any operation: also put on the undo
    // stack, so that Edit > Undo takes the undo back.
    HistoryUndo::Result takeBack(const HistoryOperation& operation, bool force);

    // An operation of the window (or its run) was recorded: it goes on the
    // undo stack as done.
    void operationDone(qint64 operation, const QString& name);

    // "Run on Music", "Set on Alpha.mp3": an operation as the menus name it.
    static QString nameOf(OperationKind kind, const QString& source);
    // "Run", "Edit", "Undo of 12": an operation's kind as the History window lists it.
    static QString kindText(const HistoryOperation& operation);
    // What a source is called in a name: a file's or folder's own name.
    static QString shortSource(const QString& source);
    // One line per file that a result left alone or could not write, with
    // the reason; `what` is what did it ("Undo Edit Year").
    static QStringList leftAlone(const HistoryUndo::Result& result, const QString& what);
    static QString attributeNames(const QList<TagAttribute>& attributes);

signals:
    // Something the user should read on the notice bar.
    void notice(const QString& text);
    // Songs whose files were written took their new values.
    void songsChanged();
    // The history holds a new operation.
    void historyChanged();

private:
    void step(bool again);
    void updateActions();

    MainController& mController;
    QWidget* mWindow;
    ChangeHistory& mHistory;
    QUndoStack* mStack;
    QPointer<QAction> mUndo;
    QPointer<QAction> mRedo;
    QPointer<QMessageBox> mQuestion;
    // The next step of the undo stack writes files changed since.
    bool mForceNext = false;
};
