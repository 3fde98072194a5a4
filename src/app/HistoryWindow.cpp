#include "HistoryWindow.h"

#include "WindowHistory.h"

#include "history/ChangeHistory.h"
#include "history/ChangeText.h"
#include "history/HistoryUndo.h"
#include "run/MainController.h"
#include "support/LocalizedStrings.h"

#include <QDialogButtonBox>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

// Files listed at most: in the changes of an operation, and in the
// question before an undo.
constexpr qsizetype kListedFiles = 1000;
constexpr qsizetype kAskedFiles = 15;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QTreeWidget* makeTree(const char* name, const QStringList& headers)
{
    auto* tree = new QTreeWidget;
    tree->setAccessibleName(text(name));
    tree->setHeaderLabels(headers);
    tree->setUniformRowHeights(true);
    tree->setAlternatingRowColors(true);
    tree->header()->setStretchLastSection(true);
    return tree;
}

// Lines of a list, the files beyond `limit` counted in a last line.
QString listed(const QStringList& lines, qsizetype limit)
{
    if (lines.size() <= limit)
        return lines.join(QLatin1Char('\n'));
    return QStringList(lines.mid(0, limit)).join(QLatin1Char('\n')) + QLatin1Char('\n') +
           LocalizedStrings::format(
               QStringLiteral("HistoryMoreFiles"),
               LocalizedStrings::count(QStringLiteral("CountFiles"), lines.size() - limit));
}

} // namespace

HistoryWindow::HistoryWindow(WindowHistory& history, QWidget* parent)
    : QDialog(parent), mHistory(history),
      mOperations(
          makeTree("HistoryOperationsName", {text("HistoryColumnTime"), text("HistoryColumnKind"),
                                             text("HistoryColumnSource"), text("HistoryColumnFiles")})),
      mChanges(makeTree("HistoryChangesName", {text("HistoryColumnChange"), text("HistoryColumnOrigin")})),
      mStatus(new QLabel), mUndo(new QPushButton(text("HistoryUndoButton")))
{
    setObjectName(QStringLiteral("HistoryWindow"));
    setWindowTitle(text("HistoryWindowTitle"));
    setAccessibleName(windowTitle());
    setModal(false);
    resize(760, 520);
    mOperations->setObjectName(QStringLiteral("HistoryOperations"));
    mOperations->setRootIsDecorated(false);
    mOperations->setSelectionMode(QAbstractItemView::SingleSelection);
    mChanges->setObjectName(QStringLiteral("HistoryChanges"));
    mChanges->setSelectionMode(QAbstractItemView::NoSelection);
    mStatus->setWordWrap(true);
    mStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mStatus->setAccessibleName(text("HistoryStatusName"));
    mUndo->setObjectName(QStringLiteral("HistoryUndo"));

    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(mOperations);
    splitter->addWidget(mChanges);
    splitter->setChildrenCollapsible(false);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(mUndo, QDialogButtonBox::ActionRole);
    QPushButton* close = buttons->addButton(text("HistoryCloseButton"), QDialogButtonBox::RejectRole);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addWidget(mStatus);
    layout->addWidget(buttons);

    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    connect(mUndo, &QPushButton::clicked, this, &HistoryWindow::undoChosen);
    connect(mOperations, &QTreeWidget::currentItemChanged, this, [this] {
        showChanges();
        updateUndoButton();
    });
    connect(&history, &WindowHistory::historyChanged, this, [this] {
        if (isVisible())
            reload();
    });
    connect(&history.controller(), &MainController::runStarted, this, &HistoryWindow::updateUndoButton);
    connect(&history.controller(), &MainController::runEnded, this, &HistoryWindow::updateUndoButton);
    reload();
}

void HistoryWindow::reload()
{
    const std::optional<HistoryOperation> was = chosen();
    QString problem;
    mListed = mHistory.history().operations(1000, &problem);
    if (!problem.isEmpty())
        mStatus->setText(LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem));
    const QSignalBlocker quiet(mOperations);
    mOperations->clear();
    QTreeWidgetItem* current = nullptr;
    for (const HistoryOperation& operation : std::as_const(mListed)) {
        auto* item = new QTreeWidgetItem(
            mOperations, {operation.time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                          WindowHistory::kindText(operation), operation.source,
                          LocalizedStrings::count(QStringLiteral("CountFiles"), operation.files)});
        item->setData(0, Qt::UserRole, operation.id);
        item->setToolTip(2, operation.note.isEmpty() ? operation.source
                                                     : operation.source + QLatin1Char('\n') + operation.note);
        if (was && was->id == operation.id)
            current = item;
    }
    for (int column = 0; column < mOperations->columnCount() - 1; ++column)
        mOperations->resizeColumnToContents(column);
    mOperations->setCurrentItem(current ? current : mOperations->topLevelItem(0));
    showChanges();
    updateUndoButton();
}

std::optional<HistoryOperation> HistoryWindow::chosen() const
{
    const QTreeWidgetItem* item = mOperations->currentItem();
    if (!item)
        return std::nullopt;
    const qint64 id = item->data(0, Qt::UserRole).toLongLong();
    for (const HistoryOperation& operation : mListed) {
        if (operation.id == id)
            return operation;
    }
    return std::nullopt;
}

void HistoryWindow::updateUndoButton()
{
    mUndo->setEnabled(chosen().has_value() && !mHistory.controller().isRunning());
}

void HistoryWindow::showChanges()
{
    mChanges->clear();
    const std::optional<HistoryOperation> operation = chosen();
    if (!operation)
        return;
    const QList<FileChangeRecord> files = mHistory.history().filesOf(operation->id);
    for (qsizetype i = 0; i < files.size() && i < kListedFiles; ++i) {
        const FileChangeRecord& file = files.at(i);
        auto* item = new QTreeWidgetItem(mChanges, {file.path});
        item->setFirstColumnSpanned(true);
        for (TagAttribute attribute : file.attributes)
            new QTreeWidgetItem(item, {ChangeText::change(attribute, file.before, file.after),
                                       ChangeText::origin(file.originOf(attribute))});
    }
    if (files.size() > kListedFiles)
        new QTreeWidgetItem(mChanges,
                            {LocalizedStrings::format(QStringLiteral("HistoryMoreFiles"),
                                                      LocalizedStrings::count(QStringLiteral("CountFiles"),
                                                                              files.size() - kListedFiles))});
    mChanges->expandAll();
    mChanges->resizeColumnToContents(0);
}

void HistoryWindow::undoChosen()
{
    if (mConfirm && mConfirm->isVisible())
        return;
    if (const std::optional<HistoryOperation> operation = chosen())
        confirmUndo(*operation);
}

void HistoryWindow::confirmUndo(const HistoryOperation& operation)
{
    // What the undo would do, found by a dry run.
    const HistoryUndo::Result look = HistoryUndo::undo(mHistory.history(), operation.id, true, false);
    QHash<QString, FileChangeRecord> records;
    for (const FileChangeRecord& record : mHistory.history().filesOf(operation.id))
        records.insert(record.path, record);
    QStringList writes, alone;
    bool changedSince = false;
    for (const HistoryUndo::FileResult& file : look.files) {
        switch (file.outcome) {
        case HistoryUndo::Outcome::WouldRestore: {
            const FileChangeRecord record = records.value(file.path);
            QString line = file.path;
            for (TagAttribute attribute : file.attributes)
                line += QStringLiteral("\n    ") + ChangeText::change(attribute, record.after, record.before);
            writes.append(line);
            break;
        }
        case HistoryUndo::Outcome::ChangedSince:
            changedSince = true;
            alone.append(LocalizedStrings::format(QStringLiteral("HistoryLineChangedSince"), file.path,
                                                  WindowHistory::attributeNames(file.attributes)));
            break;
        case HistoryUndo::Outcome::Vanished:
            alone.append(LocalizedStrings::format(QStringLiteral("HistoryLineGone"), file.path));
            break;
        case HistoryUndo::Outcome::AlreadyRestored:
            alone.append(LocalizedStrings::format(QStringLiteral("HistoryLineAlready"), file.path));
            break;
        default:
            alone.append(
                LocalizedStrings::format(QStringLiteral("HistoryLineFailed"), file.path, file.reason));
            break;
        }
    }
    QString message = writes.isEmpty() ? text("HistoryConfirmNothing")
                                       : LocalizedStrings::format(QStringLiteral("HistoryConfirmWrites"),
                                                                  listed(writes, kAskedFiles));
    if (!alone.isEmpty())
        message +=
            QStringLiteral("\n\n") +
            LocalizedStrings::format(QStringLiteral("HistoryConfirmLeftAlone"), listed(alone, kAskedFiles));
    const QString name = WindowHistory::nameOf(operation.kind, operation.source);
    mConfirm = new QMessageBox(QMessageBox::Question,
                               LocalizedStrings::format(QStringLiteral("HistoryConfirmTitle"), name), message,
                               QMessageBox::NoButton, this);
    mConfirm->setAttribute(Qt::WA_DeleteOnClose);
    mConfirm->setWindowModality(Qt::WindowModal);
    QPushButton* undo =
        writes.isEmpty() ? nullptr : mConfirm->addButton(text("HistoryConfirmUndo"), QMessageBox::AcceptRole);
    QPushButton* anyway =
        changedSince ? mConfirm->addButton(text("HistoryUndoAnyway"), QMessageBox::DestructiveRole) : nullptr;
    QPushButton* cancel = mConfirm->addButton(text("CancelButton"), QMessageBox::RejectRole);
    mConfirm->setDefaultButton(undo ? undo : cancel);
    mConfirm->setEscapeButton(cancel);
    QMessageBox* box = mConfirm;
    connect(box, &QMessageBox::finished, this, [this, box, undo, anyway, operation, name] {
        const QAbstractButton* answer = box->clickedButton();
        if (!answer || (answer != undo && answer != anyway))
            return;
        const HistoryUndo::Result result = mHistory.takeBack(operation, answer == anyway);
        const QString what = LocalizedStrings::format(QStringLiteral("MenuUndoNamed"), name);
        QStringList outcome{LocalizedStrings::format(
            QStringLiteral("HistoryUndone"), what, qint64(result.writtenPaths().size()),
            LocalizedStrings::count(QStringLiteral("CountFiles"), result.files.size()))};
        outcome += WindowHistory::leftAlone(result, what);
        if (!result.historyProblem.isEmpty())
            outcome.append(result.historyProblem);
        reload();
        mStatus->setText(outcome.join(QLatin1Char('\n')));
    });
    mConfirm->open();
}
