// How the window looks to every user: icons drawn sharply at pixel ratio 2,
// log colours readable on a dark and a light background, a name for every
// control that shows only an icon, a toolbar and columns arranged by the user
// kept for the next start, and our own dialog for reporting an exception.
#include "AppTestWindow.h"

#include "AppActions.h"
#include "AppIcons.h"
#include "ColumnLayout.h"
#include "LogPane.h"
#include "MainToolBar.h"
#include "NoticeBar.h"
#include "ReadableColors.h"
#include "ReportExceptionDialog.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "ToolbarCustomizeDialog.h"

#include "support/WMExceptionDelegate.h"

#include <QAccessible>
#include <QApplication>
#include <QDir>
#include <QHeaderView>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTextBlock>
#include <QTimer>
#include <QToolButton>

TEST(AppearanceTest, EveryPictureIsDrawnSharplyAtPixelRatioTwo)
{
    const QStringList pictures = QDir(QStringLiteral(":/images")).entryList({QStringLiteral("*.svg")});
    ASSERT_GE(pictures.size(), 20);
    for (const QString& file : pictures) {
        SCOPED_TRACE(file.toStdString());
        const QIcon icon = AppIcons::icon(file.chopped(4));
        ASSERT_FALSE(icon.isNull());
        const QPixmap single = icon.pixmap(QSize(16, 16), 1.0);
        const QPixmap twice = icon.pixmap(QSize(16, 16), 2.0);
        EXPECT_EQ(twice.size(), QSize(32, 32));
        EXPECT_EQ(twice.deviceIndependentSize(), QSizeF(16, 16));
        // Drawn anew at the finer grid, not the coarse picture enlarged.
        const QImage enlarged =
            single.toImage().scaled(32, 32).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        EXPECT_NE(twice.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied), enlarged);
    }
}

TEST(AppearanceTest, LogColoursStayReadableOnDarkAndLightBackgrounds)
{
    // The colours the run and the loading use for their lines.
    const QColor lines[] = {QColor(255, 0, 0), QColor(0, 0, 255), QColor(255, 128, 0),
                            QColor::fromRgbF(0.0f, 0.5f, 0.0f, 1.0f), QColor(Qt::black)};
    const QColor backgrounds[] = {QColor(0x1e, 0x1e, 0x1e), QColor(0x2b, 0x2b, 0x35), QColor(Qt::white),
                                  QColor(0xf4, 0xf4, 0xf0)};
    for (const QColor& background : backgrounds) {
        LogPane pane;
        QPalette palette = pane.palette();
        palette.setColor(QPalette::Base, background);
        palette.setColor(QPalette::Text, ReadableColors::readableOn(QColor(Qt::black), background));
        pane.setPalette(palette);
        for (const QColor& line : lines)
            pane.addLine(line.name(), line);
        pane.flush();
        int checked = 0;
        for (QTextBlock block = pane.document()->begin(); block.isValid(); block = block.next(), ++checked) {
            const QColor shown = block.begin().fragment().charFormat().foreground().color();
            EXPECT_GE(ReadableColors::contrast(shown, background), ReadableColors::kMinimumContrast)
                << block.text().toStdString() << " on " << background.name().toStdString();
        }
        EXPECT_EQ(checked, 5);
    }
}

TEST(AppearanceTest, EveryIconOnlyControlHasAName)
{
    AppTestWindow app;
    QList<QWidget*> controls;
    for (QToolButton* button : app.window().findChildren<QToolButton*>()) {
        if (button->isVisibleTo(&app.window()) || button->parent() == app.window().noticeBar())
            controls.append(button);
    }
    ASSERT_GE(controls.size(), 8);
    for (QWidget* control : controls) {
        QAccessibleInterface* face = QAccessible::queryAccessibleInterface(control);
        ASSERT_NE(face, nullptr);
        EXPECT_FALSE(face->text(QAccessible::Name).trimmed().isEmpty())
            << control->metaObject()->className() << " " << control->objectName().toStdString();
    }
    // The status column shows no title, but says what it is.
    EXPECT_EQ(app.window().model()->headerData(0, Qt::Horizontal, Qt::AccessibleTextRole).toString(),
              text("SongsTableName_active"));
}

TEST(AppearanceTest, ACustomizedToolbarIsKeptForTheNextStart)
{
    QStringList arranged;
    {
        AppTestWindow app;
        QTimer::singleShot(0, [&] {
            auto* dialog = app.window().findChild<ToolbarCustomizeDialog*>();
            ASSERT_NE(dialog, nullptr);
            auto* toolbar = dialog->findChildren<QListWidget*>().value(1);
            ASSERT_NE(toolbar, nullptr);
            // The first item goes, then the arrangement is accepted.
            toolbar->setCurrentRow(0);
            AppTestWindow::named<QPushButton>(dialog, text("CustomizeRemove"))->click();
            dialog->accept();
        });
        app.action("CustomizeToolbar")->trigger();
        arranged = app.window().toolBar()->items();
        EXPECT_EQ(arranged, MainToolBar::defaultItems().mid(1));
        EXPECT_FALSE(app.window().toolBar()->actions().contains(app.action("BeginAdd")));
    }
    EXPECT_EQ(QSettings().value(QLatin1String(MainToolBar::kSettingsKey)).toStringList(), arranged);
    AppActions actions;
    // The toolbar owns the widgets of its items.
    MainToolBar nextStart(actions, new QWidget, new QWidget);
    EXPECT_EQ(nextStart.items(), arranged);
}

TEST(AppearanceTest, HiddenColumnsAndWidthsAreKeptUntilReset)
{
    QSettings().remove(QLatin1String(ColumnLayout::kSettingsKey));
    const auto menuItem = [](SongTableView& table, const QString& text) -> QAction* {
        QMenu menu;
        table.columnLayout()->fillMenu(&menu);
        for (QAction* item : menu.actions()) {
            if (item->text() == text) {
                item->trigger();
                return item;
            }
        }
        ADD_FAILURE() << "no menu item " << text.toStdString();
        return nullptr;
    };
    const int album = int(SongColumn::Album);
    const int title = int(SongColumn::Title);
    {
        SongTableModel model;
        SongTableView table(&model);
        EXPECT_FALSE(table.isColumnHidden(album));
        menuItem(table, SongColumns::accessibleTitle(SongColumn::Album));
        EXPECT_TRUE(table.isColumnHidden(album));
        table.horizontalHeader()->resizeSection(title, 333);
        table.horizontalHeader()->moveSection(table.horizontalHeader()->visualIndex(title), 1);
    }
    SongTableModel model;
    SongTableView table(&model);
    EXPECT_TRUE(table.isColumnHidden(album));
    EXPECT_EQ(table.columnWidth(title), 333);
    EXPECT_EQ(table.horizontalHeader()->visualIndex(title), 1);
    menuItem(table, text("ResetColumns"));
    EXPECT_FALSE(table.isColumnHidden(album));
    EXPECT_EQ(table.horizontalHeader()->visualIndex(title), title);
    EXPECT_TRUE(table.isColumnHidden(int(SongColumn::BPM)));
}

TEST(AppearanceTest, AnExceptionIsOfferedForAReportInOurDialog)
{
    ReportExceptionDialog::install();
    QString shownText;
    QTimer::singleShot(0, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        shownText = box->text();
        AppTestWindow::answerQuestion(box, text("Do Not Report"));
    });
    EXPECT_FALSE(WMExceptionDelegate::reportException(QStringLiteral("Error Encountered"),
                                                      QStringLiteral("An exception of type X occurred: Y")));
    EXPECT_EQ(shownText, QStringLiteral("An exception of type X occurred: Y"));
    WMExceptionDelegate::setReportExceptionHandler({});
}
