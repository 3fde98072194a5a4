#include "WindowHistory.h"

#include "HistoryUndoCommand.h"

#include "run/MainController.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"

#include <QAction>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QSet>
#include <QUndoStack>

WindowHistory::WindowHistory(MainController& controller, QWidget* window, ChangeHistory& history)
    : QObject(window), mController(controller), mWindow(window), mHistory(history),
      mStack(new QUndoStack(this))
{
    connect(mStack, &QUndoStack::indexChanged, this, &WindowHistory::updateActions);
    connect(mStack, &QUndoStack::cleanChanged, this, &WindowHistory::updateActions);
    connect(&controller, &MainController::runStarted, this, &WindowHistory::updateActions);
    connect(&controller, &MainController::runEnded, this, &WindowHistory::updateActions);
    connect(&controller, &MainController::historyProblem, this, &WindowHistory::notice);
    connect(&controller, &MainController::historyRecorded, this, [this](qint64 operation) {
        operationDone(operation, nameOf(OperationKind::Run, mController.sourceDescription()));
    });
}

WindowHistory::~WindowHistory() = default;

void WindowHistory::setActions(QAction* undo, QAction* redo)
{
    mUndo = undo;
    mRedo = redo;
    connect(undo, &QAction::triggered, this, &WindowHistory::undo);
    connect(redo, &QAction::triggered, this, &WindowHistory::redo);
    updateActions();
}

void WindowHistory::tellStartNotices()
{
    QString problem;
    if (!mHistory.open(&problem))
        emit notice(LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem));
    const QString setAside = mHistory.takeSetAsideNotice();
    if (!setAside.isEmpty())
        emit notice(setAside);
}

void WindowHistory::updateActions()
{
    const bool idle = !mController.isRunning();
    const struct
    {
        QAction* action;
        bool can;
        QString text;
        const char* plain;
        const char* named;
    } commands[] = {{mUndo, mStack->canUndo(), mStack->undoText(), "MenuUndo", "MenuUndoNamed"},
                    {mRedo, mStack->canRedo(), mStack->redoText(), "MenuRedo", "MenuRedoNamed"}};
    for (const auto& command : commands) {
        if (!command.action)
            continue;
        command.action->setEnabled(command.can && idle);
        command.action->setText(command.can
                                    ? LocalizedStrings::format(QLatin1String(command.named), command.text)
                                    : LocalizedStrings::text(QLatin1String(command.plain)));
    }
}

void WindowHistory::undo()
{
    step(false);
}

void WindowHistory::redo()
{
    step(true);
}

void WindowHistory::step(bool again)
{
    if ((mQuestion && mQuestion->isVisible()) || mController.isRunning())
        return;
    const int index = again ? mStack->index() : mStack->index() - 1;
    const auto* command = dynamic_cast<const HistoryUndoCommand*>(mStack->command(index));
    if (!command)
        return;
    const auto go = [this, again] {
        if (again)
            mStack->redo();
        else
            mStack->undo();
    };
    // A look first: which files were changed since, by the user or another
    // program.
    const HistoryUndo::Result look = again ? HistoryUndo::redo(mHistory, command->operation(), true, false)
                                           : HistoryUndo::undo(mHistory, command->operation(), true, false);
    QStringList changed;
    for (const HistoryUndo::FileResult& file : look.files) {
        if (file.outcome == HistoryUndo::Outcome::ChangedSince)
            changed.append(LocalizedStrings::format(QStringLiteral("HistoryLineChangedSince"), file.path,
                                                    attributeNames(file.attributes)));
    }
    if (changed.isEmpty()) {
        go();
        return;
    }
    mQuestion = new QMessageBox(QMessageBox::Warning,
                                LocalizedStrings::text(QStringLiteral("HistoryChangedSinceTitle")),
                                LocalizedStrings::format(again ? QStringLiteral("HistoryChangedSinceRedo")
                                                               : QStringLiteral("HistoryChangedSinceUndo"),
                                                         command->text(), changed.join(QLatin1Char('\n'))),
                                QMessageBox::NoButton, mWindow);
    mQuestion->setAttribute(Qt::WA_DeleteOnClose);
    mQuestion->setWindowModality(Qt::WindowModal);
    QPushButton* anyway =
        mQuestion->addButton(LocalizedStrings::text(again ? QStringLiteral("HistoryRedoAnyway")
                                                          : QStringLiteral("HistoryUndoAnyway")),
                             QMessageBox::DestructiveRole);
    QPushButton* leave = mQuestion->addButton(LocalizedStrings::text(QStringLiteral("HistoryLeaveAlone")),
                                              QMessageBox::AcceptRole);
    QPushButton* cancel =
        mQuestion->addButton(LocalizedStrings::text(QStringLiteral("CancelButton")), QMessageBox::RejectRole);
    mQuestion->setDefaultButton(leave);
    mQuestion->setEscapeButton(cancel);
    QMessageBox* box = mQuestion;
    connect(box, &QMessageBox::finished, this, [this, box, anyway, leave, command, index, again, go] {
        const QAbstractButton* answer = box->clickedButton();
        // The stack may have moved meanwhile (a run ended): then nothing.
        const int now = again ? mStack->index() : mStack->index() - 1;
        if ((answer != anyway && answer != leave) || now != index || mStack->command(index) != command)
            return;
        mForceNext = answer == anyway;
        go();
        mForceNext = false;
    });
    mQuestion->open();
}

HistoryUndo::Result WindowHistory::stackStep(qint64 operation, bool again, const QString& what)
{
    return apply(operation, again, mForceNext, what);
}

HistoryUndo::Result WindowHistory::apply(qint64 operation, bool again, bool force, const QString& what)
{
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const HistoryUndo::Result result = again ? HistoryUndo::redo(mHistory, operation, false, force)
                                             : HistoryUndo::undo(mHistory, operation, false, force);
    QGuiApplication::restoreOverrideCursor();
    if (!result.found)
        emit notice(LocalizedStrings::format(QStringLiteral("HistoryOperationGone"), what));
    for (const QString& line : leftAlone(result, what))
        emit notice(line);
    if (!result.historyProblem.isEmpty())
        emit notice(result.historyProblem);

    const QStringList written = result.writtenPaths();
    if (!written.isEmpty()) {
        const QSet<QString> paths(written.cbegin(), written.cend());
        for (const std::shared_ptr<SongFile>& song : mController.allSongs()) {
            if (paths.contains(song->path()))
                MainController::takeValuesFromFile(*song);
        }
        emit songsChanged();
    }
    if (result.undoOperation > 0)
        emit historyChanged();
    return result;
}

HistoryUndo::Result WindowHistory::takeBack(const HistoryOperation& operation, bool force)
{
    const QString name = nameOf(operation.kind, operation.source);
    const HistoryUndo::Result result =
        apply(operation.id, false, force, LocalizedStrings::format(QStringLiteral("MenuUndoNamed"), name));
    if (result.undoOperation > 0)
        operationDone(result.undoOperation,
                      LocalizedStrings::format(QStringLiteral("HistoryNameUndoOf"), name));
    return result;
}

void WindowHistory::operationDone(qint64 operation, const QString& name)
{
    if (operation <= 0)
        return;
    mStack->push(new HistoryUndoCommand(*this, operation, name));
    emit historyChanged();
}

// ---- texts

QString WindowHistory::shortSource(const QString& source)
{
    const QString name = source.startsWith(QLatin1Char('/')) ? QFileInfo(source).fileName() : source;
    return name.isEmpty() ? source : name;
}

QString WindowHistory::nameOf(OperationKind kind, const QString& source)
{
    HistoryOperation operation;
    operation.kind = kind;
    return LocalizedStrings::format(QStringLiteral("HistoryNameOn"), kindText(operation),
                                    shortSource(source));
}

QString WindowHistory::kindText(const HistoryOperation& operation)
{
    switch (operation.kind) {
    case OperationKind::Run:
        return LocalizedStrings::text(QStringLiteral("HistoryKindRun"));
    case OperationKind::Set:
        return LocalizedStrings::text(QStringLiteral("HistoryKindSet"));
    case OperationKind::Regenerate:
        return LocalizedStrings::text(QStringLiteral("HistoryKindRegenerate"));
    case OperationKind::Edit:
        return LocalizedStrings::text(QStringLiteral("HistoryKindEdit"));
    case OperationKind::Artwork:
        return LocalizedStrings::text(QStringLiteral("HistoryKindArtwork"));
    case OperationKind::Lyrics:
        return LocalizedStrings::text(QStringLiteral("HistoryKindLyrics"));
    case OperationKind::Undo:
        return LocalizedStrings::format(QStringLiteral("HistoryKindUndo"), operation.undoes);
    case OperationKind::Redo:
        return LocalizedStrings::format(QStringLiteral("HistoryKindRedo"), operation.undoes);
    }
    return QString();
}

QString WindowHistory::attributeNames(const QList<TagAttribute>& attributes)
{
    QStringList names;
    for (TagAttribute attribute : attributes)
        names.append(TagSnapshot::nameOf(attribute));
    return names.join(QStringLiteral(", "));
}

QStringList WindowHistory::leftAlone(const HistoryUndo::Result& result, const QString& what)
{
    QStringList lines;
    for (const HistoryUndo::FileResult& file : result.files) {
        switch (file.outcome) {
        case HistoryUndo::Outcome::ChangedSince:
            lines.append(LocalizedStrings::format(QStringLiteral("HistoryLeftAloneChanged"), what, file.path,
                                                  attributeNames(file.attributes)));
            break;
        case HistoryUndo::Outcome::Vanished:
            lines.append(LocalizedStrings::format(QStringLiteral("HistoryLeftAloneGone"), what, file.path));
            break;
        case HistoryUndo::Outcome::Failed:
            lines.append(
                LocalizedStrings::format(QStringLiteral("HistoryNotWritten"), what, file.path, file.reason));
            break;
        default:
            break;
        }
    }
    return lines;
}
