// quillbeat-screenshots: renders the main window (demo songs, a lookup half
// done, the drawer open) and the welcome sheet into PNG files for the
// README, with the offscreen platform, the Fusion style and a pinned font,
// so that the pictures come out the same on every machine.
#include "AppActions.h"
#include "DemoLibraryWriter.h"
#include "DrawerPanel.h"
#include "LogPane.h"
#include "MainWindow.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "WelcomeSheet.h"

#include "run/MainController.h"
#include "songs/SongFile.h"
#include "support/WMLog.h"
#include "web/SongInfoTask.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

namespace {

const char* const kFontFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

bool waitFor(const std::function<bool()>& condition, int timeoutMs = 30000)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

int fail(const QString& message)
{
    std::fprintf(stderr, "quillbeat-screenshots: %s\n", qPrintable(message));
    return 1;
}

bool save(QWidget& widget, const QString& path)
{
    return widget.grab().save(path, "PNG");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: quillbeat-screenshots OUTDIR\n");
        return 2;
    }
    // A home of its own: no setting, cache or log of the user's is touched.
    QTemporaryDir home;
    if (!home.isValid())
        return fail(QStringLiteral("no temporary folder"));
    qputenv("HOME", QFile::encodeName(home.path()));
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
        qunsetenv(variable);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QUILLBEAT_RESOURCES", QB_SOURCE_DIR "/tools/demo-resources.plist");
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Wendmark"));
    QCoreApplication::setApplicationName(QStringLiteral("Quillbeat"));
    QApplication::setStyle(QStringLiteral("Fusion"));
    const int font = QFontDatabase::addApplicationFont(QLatin1String(kFontFile));
    if (font < 0)
        return fail(
            QStringLiteral("the font %1 is missing (fonts-dejavu-core)").arg(QLatin1String(kFontFile)));
    QFont pinned(QFontDatabase::applicationFontFamilies(font).first());
    pinned.setPixelSize(12);
    QApplication::setFont(pinned);
    WMLogSetLocation(home.path() + QStringLiteral("/log/Log-screenshots.txt"));

    const QString out = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    QDir().mkpath(out);
    const QString songs = home.path() + QStringLiteral("/Music");
    DemoLibraryWriter::Options options;
    options.albums = 5;
    DemoLibraryWriter writer(options);
    QString error;
    if (!writer.write(songs, &error))
        return fail(error);

    WelcomeSheet::markShown();
    MainWindow window;
    window.resize(1240, 720);
    window.show();
    window.openFolder(songs);
    if (!waitFor([&] { return !window.model()->allSongs().isEmpty(); }))
        return fail(QStringLiteral("the demo songs were not listed"));
    window.drawer()->show();

    // The lookup is caught half way: every other song done, one being
    // looked up, the rest waiting.
    MainController& run = window.controller();
    const auto total = quint32(window.model()->allSongs().size());
    bool taken = false;
    bool saved = false;
    QObject::connect(&run, &MainController::tableReloadRequested, &window, [&] {
        if (taken || run.songsProcessed() < total / 2 || !run.currentInfoTask() ||
            run.currentInfoTask()->song()->activityStatus() != SongActivityStatus::Gathering)
            return;
        window.table()->selectRow(2);
        taken = true;
        window.logPane()->flush();
        saved = save(window, out + QStringLiteral("/main-window.png"));
    });
    window.actions()->action(QStringLiteral("BeginAdd"))->trigger();
    if (!waitFor([&] { return taken || !run.isRunning(); }) || !saved)
        return fail(QStringLiteral("the main window could not be caught during the lookup"));
    waitFor([&] { return !run.isRunning(); });

    auto* sheet = new WelcomeSheet(songs, false, &window);
    sheet->show();
    waitFor([&] { return sheet->isVisible(); }, 2000);
    if (!save(*sheet, out + QStringLiteral("/welcome.png")))
        return fail(QStringLiteral("the welcome sheet could not be saved"));
    std::printf("%s/main-window.png\n%s/welcome.png\n", qPrintable(out), qPrintable(out));
    window.shutDown();
    return 0;
}
