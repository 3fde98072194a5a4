#pragma once

#include "MainWindow.h"
#include "SongColumns.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <ostream>

class QMessageBox;

#ifndef QB_PRINT_QSTRING
#define QB_PRINT_QSTRING
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}
#endif

// A main window for the window's tests, shown offscreen and read as a user
// (or a screen reader) would: the table's cells through the accessibility
// interfaces, the log, the notices and the status line as shown.
class AppTestWindow
{
public:
    AppTestWindow();
    ~AppTestWindow();

    MainWindow& window() const { return *mWindow; }

    // A fresh folder of the scratch area.
    static QString folder(const QString& name);
    // An MP3 song in `folder` with the tag values given (as SongTestFiles).
    static QString writeSong(const QString& folder, const QString& name, const QVariantMap& values);

    // Opens the folder and waits until its songs are listed.
    bool load(const QString& folder);

    // ---- what the table shows
    int rowCount() const;
    // A cell's text as a screen reader says it.
    QString cell(int row, SongColumn column) const;
    QStringList column(SongColumn column) const;
    int rowOfTitle(const QString& title) const;
    // Clicks the header of a column.
    void clickHeader(SongColumn column);
    // Types `text` into the cell of the song's row, as a user does: F2, the
    // text over what is there, then `finish` (Enter or Escape).
    void editCell(const QString& title, SongColumn column, const QString& text,
                  Qt::Key finish = Qt::Key_Return);

    // The question the window shows now (a window-modal message box), or null.
    QMessageBox* openQuestion() const;
    // Clicks the button of that text; false when there is none.
    static bool answerQuestion(QMessageBox* box, const QString& button);
    // Selects the rows of these titles (as a click and Ctrl-clicks do).
    void selectTitles(const QStringList& titles);
    // Answers the question the window shows (OK or Cancel); false when
    // none is shown.
    bool answerQuestion(bool accept);

    QString logText() const;
    QString noticeText() const;
    QString countsText() const;

    // Runs the event loop until `condition` holds (a guard, not a measure).
    static bool waitFor(const std::function<bool()>& condition, int timeoutMs = 15000);

private:
    std::unique_ptr<MainWindow> mWindow;
};
