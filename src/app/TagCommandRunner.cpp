#include "TagCommandRunner.h"

#include "WindowHistory.h"
#include "WindowOperation.h"

#include "run/MainController.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"

#include <QColor>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>

namespace {

// A short batch never shows its panel.
constexpr int kPanelDelayMs = 300;

QString text(const QString& key)
{
    return LocalizedStrings::text(key);
}

} // namespace

TagCommandRunner::TagCommandRunner(WindowHistory& history, QWidget* window)
    : QObject(window), mHistory(history), mWindow(window)
{}

void TagCommandRunner::confirmThen(const QString& alertKey, qsizetype count,
                                   const std::function<void()>& proceed)
{
    if (count < 2) {
        proceed();
        return;
    }
    if (mQuestion)
        mQuestion->reject();
    auto* box = new QMessageBox(QMessageBox::Warning, text(alertKey + QStringLiteral("Title")),
                                LocalizedStrings::format(alertKey + QStringLiteral("Message"), qint64(count)),
                                QMessageBox::NoButton, mWindow);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    QPushButton* ok = box->addButton(text(alertKey + QStringLiteral("OK")), QMessageBox::AcceptRole);
    QPushButton* cancel = box->addButton(text(alertKey + QStringLiteral("Cancel")), QMessageBox::RejectRole);
    box->setDefaultButton(ok);
    box->setEscapeButton(cancel);
    connect(box, &QMessageBox::finished, this, [box, ok, proceed] {
        if (box->clickedButton() == ok)
            proceed();
    });
    mQuestion = box;
    box->open();
}

SongChangeBatch::Result TagCommandRunner::run(OperationKind kind, const QString& panelKey,
                                              const QString& logKey, const SongChangeBatch::SongList& songs,
                                              const SongChangeBatch::Change& change)
{
    if (mRunning || songs.isEmpty())
        return {};
    mRunning = true;
    QStringList paths;
    for (const std::shared_ptr<SongFile>& song : songs)
        paths.append(song ? song->path() : QString());
    WindowOperation operation(mHistory, kind, {}, paths);
    SongChangeBatch batch(mHistory.controller(), kind);
    connect(&batch, &SongChangeBatch::problem, this, &TagCommandRunner::problem);
    QPointer<QProgressDialog> panel;
    if (songs.size() > 1) {
        panel = new QProgressDialog(text(panelKey), text(QStringLiteral("CancelButton")), 0,
                                    int(songs.size()), mWindow);
        panel->setWindowModality(Qt::WindowModal);
        panel->setMinimumDuration(kPanelDelayMs);
        panel->setAutoClose(false);
        panel->setAutoReset(false);
        connect(panel, &QProgressDialog::canceled, &batch, &SongChangeBatch::cancel);
        connect(&batch, &SongChangeBatch::progress, panel,
                [panel](qint64 done, qint64) { panel->setValue(int(done)); });
    }
    const SongChangeBatch::Result result = batch.apply(songs, change, &operation.recorder());
    operation.finish();
    if (panel)
        panel->deleteLater();
    const auto total = qint64(songs.size());
    const QString name = text(logKey);
    const QString line =
        result.cancelled
            ? LocalizedStrings::format(QStringLiteral("BatchLogStopped"), name, qint64(result.written), total)
            : LocalizedStrings::format(QStringLiteral("BatchLogLine"), name, qint64(result.written), total);
    // One song's change shows in its row; a batch's end is told.
    if (total > 1)
        emit logLine(line, result.problems.isEmpty() ? QColor(Qt::blue) : QColor(Qt::red));
    mRunning = false;
    if (result.written > 0 || !result.problems.isEmpty())
        emit songsWritten();
    return result;
}
