#include "RunPresenter.h"

#include "SongTableView.h"

#include "run/MainController.h"
#include "support/LocalizedStrings.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSettings>
#include <QTimer>

namespace {

constexpr int kHidePanelDelayMs = 200;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

RunPresenter::RunPresenter(MainController& controller, SongTableView& table, QWidget* window)
    : QObject(window), mController(controller), mTable(table), mWindow(window)
{
    mController.setConfirmOverwriteTitle([this] { return confirmOverwriteTitle(); });
    connect(&mController, &MainController::preparingProgress, this, &RunPresenter::showPreparing);
    connect(&mController, &MainController::compilationWarning, this, &RunPresenter::showCompilationWarning);
    connect(&mController, &MainController::iTunesArtworkWarning, this,
            &RunPresenter::showiTunesArtworkWarning);
}

void RunPresenter::begin()
{
    // An edit in progress is written first: the run reads the files.
    mTable.commitOpenEditor();
    mTable.setFocus();
    mController.beginGathering(mTable.selectedSongs());
}

void RunPresenter::stop()
{
    mController.stopGathering();
}

bool RunPresenter::confirmOverwriteTitle()
{
    QMessageBox box(QMessageBox::Critical, text("OverwriteTitleTitle"), text("OverwriteTitleMessage"),
                    QMessageBox::NoButton, mWindow);
    QPushButton* proceed = box.addButton(text("OverwriteTitleProceed"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box.addButton(text("OverwriteTitleCancel"), QMessageBox::RejectRole);
    box.setDefaultButton(cancel);
    box.setWindowModality(Qt::WindowModal);
    box.exec();
    return box.clickedButton() == proceed;
}

void RunPresenter::showPreparing(qint64 done, qint64 total)
{
    if (!mPreparing) {
        mPreparing = new QProgressDialog(text("PreparingToGather"), text("CancelButton"), 0, 1, mWindow);
        mPreparing->setWindowModality(Qt::WindowModal);
        mPreparing->setMinimumDuration(0);
        mPreparing->setAutoClose(false);
        mPreparing->setAutoReset(false);
        connect(mPreparing, &QProgressDialog::canceled, this, [this] { mController.cancelPreparing(); });
    }
    mPreparing->setMaximum(int(std::min<qint64>(total, INT_MAX)));
    mPreparing->setValue(int(std::min<qint64>(done, INT_MAX)));
    if (done >= total) {
        QPointer<QProgressDialog> panel = mPreparing;
        mPreparing = nullptr;
        QTimer::singleShot(kHidePanelDelayMs, this, [panel] {
            if (panel)
                panel->deleteLater();
        });
    }
}

void RunPresenter::showCompilationWarning(const QString& message)
{
    if (mCompilationWarning && mCompilationWarning->isVisible()) {
        mCompilationWarning->setText(message);
        return;
    }
    auto* box = new QMessageBox(QMessageBox::Information, text("CompilationWarningTitle"), message,
                                QMessageBox::Ok, mWindow);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setCheckBox(new QCheckBox(text("DontShowAgain")));
    connect(box, &QMessageBox::finished, this,
            [this, box] { mController.compWarningDontShow(box->checkBox()->isChecked()); });
    mCompilationWarning = box;
    box->open();
}

void RunPresenter::showiTunesArtworkWarning()
{
    auto* box = new QMessageBox(QMessageBox::Warning, text("iTunesArtworkWarningTitle"),
                                text("iTunesArtworkWarning"), QMessageBox::Ok, mWindow);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setCheckBox(new QCheckBox(text("DontShowAgain")));
    mController.setiTunesWarningVisible(true);
    connect(box, &QMessageBox::finished, this, [this, box] {
        if (box->checkBox()->isChecked())
            QSettings().setValue(QStringLiteral("noShowiTunesWarning"), true);
        mController.setiTunesWarningVisible(false);
    });
    box->open();
}
