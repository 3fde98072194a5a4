#pragma once

#include "MainWindow.h"
#include "SongColumns.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

class QAbstractItemView;
class QAction;
class QMessageBox;
class QMimeData;

#ifndef QB_PRINT_QSTRING
#define QB_PRINT_QSTRING
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}
#endif

// A text of the string table.
inline QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

// A main window for the window's tests, shown offscreen and read as a user
// (or a screen reader) would: the table's cells through the accessibility
// interfaces, the log, the notices and the status line as shown.
class AppTestWindow
{
public:
    AppTestWindow();
    ~AppTestWindow();

    MainWindow& window() const { return *mWindow; }

    // A fresh folder of the scratch area (by default named after the test).
    static QString folder(const QString& name = QString());
    // An MP3 song in `folder` with the tag values given (as SongTestFiles).
    static QString writeSong(const QString& folder, const QString& name, const QVariantMap& values);
    // A song "<title>.mp3" for each title, with that title and `values`.
    static QStringList writeSongs(const QString& folder, const QStringList& titles,
                                  const QVariantMap& values);
    // A value of the tag in the file now, or "<unreadable>".
    static QString inFile(const QString& path, QString (AudioInfoTag::*value)() const);

    // A command of the menus and the toolbar; triggered as a user chooses it.
    QAction* action(const char* identifier) const;
    void choose(const char* identifier);
    // The child of `parent` whose text or accessible name is `name`, or null.
    template <typename Widget> static Widget* named(QObject* parent, const QString& name)
    {
        for (Widget* widget : parent->findChildren<Widget*>()) {
            if (widget->accessibleName() == name || widget->property("text").toString() == name)
                return widget;
        }
        return nullptr;
    }
    // Drags `urls` from a file manager and lets go over `target`; false when
    // the target refuses them.
    static bool drop(QWidget* target, const QList<QUrl>& urls);

    // Opens the folder and waits until its songs are listed.
    bool load(const QString& folder);

    // ---- what the table shows
    int rowCount() const;
    // A cell's text as a screen reader says it.
    QString cell(int row, SongColumn column) const;
    QString cell(const char* title, SongColumn column) const;
    static QString cell(QAbstractItemView* view, int row, int column);
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
    bool answerQuestion(const char* buttonKey) { return answerQuestion(openQuestion(), text(buttonKey)); }
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

// A window over a folder of its own holding songs of these titles, with
// these values.
class AppTest : public ::testing::Test
{
protected:
    void writeSongs(const QStringList& titles, const QVariantMap& values)
    {
        mFolder = AppTestWindow::folder();
        mPaths = AppTestWindow::writeSongs(mFolder, titles, values);
    }

    QString mFolder;
    QStringList mPaths;
    AppTestWindow mApp;
};
