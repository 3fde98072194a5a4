#include "AppTestWindow.h"

#include "AppActions.h"
#include "LogPane.h"
#include "NoticeBar.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "SongTestFiles.h"
#include "StatusLine.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "cli/SongSourceOptions.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QHeaderView>
#include <QItemSelection>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QSettings>
#include <QTest>

AppTestWindow::AppTestWindow()
{
    // Each window starts from the first arrangement, without the welcome.
    QSettings settings;
    settings.clear();
    settings.setValue(QStringLiteral("_welcomed"), true);
    mWindow = std::make_unique<MainWindow>();
    mWindow->resize(1100, 700);
    mWindow->show();
    if (!QTest::qWaitForWindowExposed(mWindow.get()))
        qWarning("the test window was not shown");
}

AppTestWindow::~AppTestWindow()
{
    mWindow->shutDown();
}

QString AppTestWindow::folder(const QString& name)
{
    const QString path =
        TestSupport::scratchFolder() + QStringLiteral("/app/") +
        (name.isEmpty() ? QLatin1String(::testing::UnitTest::GetInstance()->current_test_info()->name())
                        : name);
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

QString AppTestWindow::writeSong(const QString& folder, const QString& name, const QVariantMap& values)
{
    return SongTestFiles::writeMp3(folder + QLatin1Char('/') + name + QStringLiteral(".mp3"), values);
}

QStringList AppTestWindow::writeSongs(const QString& folder, const QStringList& titles,
                                      const QVariantMap& values)
{
    QStringList paths;
    for (const QString& title : titles) {
        QVariantMap tag = values;
        tag.insert(QStringLiteral("title"), title);
        paths.append(writeSong(folder, title, tag));
        if (paths.last().isEmpty())
            ADD_FAILURE() << "could not write " << title.toStdString();
    }
    return paths;
}

QString AppTestWindow::inFile(const QString& path, QString (AudioInfoTag::*value)() const)
{
    const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(path);
    return tag ? (tag.get()->*value)() : QStringLiteral("<unreadable>");
}

QAction* AppTestWindow::action(const char* identifier) const
{
    return mWindow->actions()->action(QLatin1String(identifier));
}

void AppTestWindow::choose(const char* identifier)
{
    QAction* command = action(identifier);
    EXPECT_TRUE(command->isEnabled()) << identifier;
    command->trigger();
    QCoreApplication::processEvents();
}

bool AppTestWindow::drop(QWidget* target, const QList<QUrl>& urls)
{
    QMimeData mime;
    mime.setUrls(urls);
    const QPoint at(target->width() / 2, target->height() / 2);
    QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return false;
    QDragMoveEvent move(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent dropped(QPointF(at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &dropped);
    QCoreApplication::processEvents();
    return true;
}

bool AppTestWindow::load(const QString& folder)
{
    SongTableModel* model = mWindow->model();
    bool loaded = false;
    const auto connection = QObject::connect(model, &SongTableModel::modelReset, [&] { loaded = true; });
    mWindow->openFolder(folder);
    const bool done = waitFor([&] { return loaded; });
    QObject::disconnect(connection);
    return done;
}

int AppTestWindow::rowCount() const
{
    QAccessibleInterface* table = QAccessible::queryAccessibleInterface(mWindow->table());
    return table && table->tableInterface() ? table->tableInterface()->rowCount() : -1;
}

QString AppTestWindow::cell(int row, SongColumn column) const
{
    return cell(mWindow->table(), row, int(column));
}

QString AppTestWindow::cell(const char* title, SongColumn column) const
{
    return cell(rowOfTitle(QLatin1String(title)), column);
}

QString AppTestWindow::cell(QAbstractItemView* view, int row, int column)
{
    QAccessibleInterface* table = QAccessible::queryAccessibleInterface(view);
    if (!table || !table->tableInterface())
        return QStringLiteral("<no table>");
    // With a screen reader running, the view tells the accessibility layer
    // when its rows change; without one (offscreen) the test does.
    QAccessibleTableModelChangeEvent reset(view, QAccessibleTableModelChangeEvent::ModelReset);
    table->tableInterface()->modelChange(&reset);
    QAccessibleInterface* cell = table->tableInterface()->cellAt(row, column);
    return cell ? cell->text(QAccessible::Name) : QStringLiteral("<no cell>");
}

QStringList AppTestWindow::column(SongColumn column) const
{
    QStringList values;
    for (int row = 0; row < rowCount(); ++row)
        values.append(cell(row, column));
    return values;
}

int AppTestWindow::rowOfTitle(const QString& title) const
{
    return int(column(SongColumn::Title).indexOf(title));
}

void AppTestWindow::clickHeader(SongColumn column)
{
    QHeaderView* header = mWindow->table()->horizontalHeader();
    const QPoint point(header->sectionViewportPosition(int(column)) + header->sectionSize(int(column)) / 2,
                       header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, point);
}

void AppTestWindow::editCell(const QString& title, SongColumn column, const QString& text, Qt::Key finish)
{
    SongTableView* table = mWindow->table();
    const int row = rowOfTitle(title);
    if (row < 0) {
        qWarning("no row titled %s", qPrintable(title));
        return;
    }
    table->setCurrentIndex(table->model()->index(row, int(column)));
    QTest::keyClick(table, Qt::Key_F2);
    auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (!editor)
        editor = table->viewport()->findChild<QLineEdit*>();
    if (!editor) {
        qWarning("no editor opened on %s", qPrintable(title));
        return;
    }
    editor->selectAll();
    QTest::keyClick(editor, Qt::Key_Delete);
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, finish);
    QCoreApplication::processEvents();
}

QMessageBox* AppTestWindow::openQuestion() const
{
    for (QMessageBox* box : mWindow->findChildren<QMessageBox*>()) {
        if (box->isVisible())
            return box;
    }
    return nullptr;
}

bool AppTestWindow::answerQuestion(QMessageBox* box, const QString& button)
{
    for (QAbstractButton* candidate : box ? box->buttons() : QList<QAbstractButton*>()) {
        if (candidate->text() == button) {
            QTest::mouseClick(candidate, Qt::LeftButton);
            return true;
        }
    }
    return false;
}

void AppTestWindow::selectTitles(const QStringList& titles)
{
    SongTableView* table = mWindow->table();
    QItemSelection selection;
    for (const QString& title : titles) {
        const int row = rowOfTitle(title);
        if (row >= 0)
            selection.select(table->model()->index(row, 0),
                             table->model()->index(row, table->model()->columnCount() - 1));
    }
    table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    QCoreApplication::processEvents();
}

bool AppTestWindow::answerQuestion(bool accept)
{
    for (QMessageBox* box : mWindow->findChildren<QMessageBox*>()) {
        if (!box->isVisible())
            continue;
        for (QAbstractButton* button : box->buttons()) {
            const QMessageBox::ButtonRole role = box->buttonRole(button);
            if ((accept && role == QMessageBox::AcceptRole) || (!accept && role == QMessageBox::RejectRole)) {
                button->click();
                QCoreApplication::processEvents();
                return true;
            }
        }
    }
    return false;
}

QString AppTestWindow::logText() const
{
    mWindow->logPane()->flush();
    return mWindow->logPane()->toPlainText();
}

QString AppTestWindow::noticeText() const
{
    return mWindow->noticeBar()->isVisible() ? mWindow->noticeBar()->notices().join(QLatin1Char('\n'))
                                             : QString();
}

QString AppTestWindow::countsText() const
{
    return mWindow->statusLine()->countsText();
}

bool AppTestWindow::waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    return TestHttpServer::waitFor(condition, timeoutMs);
}
