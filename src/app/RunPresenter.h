#pragma once

#include <QObject>
#include <QPointer>

class MainController;
class QMessageBox;
class QProgressDialog;
class QWidget;
class SongTableView;

// Begins and stops the gathering run from the window and puts the run's
// questions and warnings on screen: replacing titles asks first, preparing
// many songs shows a panel with a bar and Cancel, the compilation warning
// and the warning that iTunes must run for artwork come with a "don't show
// again" box.
class RunPresenter : public QObject
{
    Q_OBJECT

public:
    RunPresenter(MainController& controller, SongTableView& table, QWidget* window);

    // Starts a run over the selected songs (all shown songs when none are
    // selected), or adds them to the run that runs.
    void begin();
    void stop();

private:
    bool confirmOverwriteTitle();
    void showPreparing(qint64 done, qint64 total);
    void showCompilationWarning(const QString& text);
    void showiTunesArtworkWarning();

    MainController& mController;
    SongTableView& mTable;
    QWidget* mWindow;
    QPointer<QProgressDialog> mPreparing;
    QPointer<QMessageBox> mCompilationWarning;
};
