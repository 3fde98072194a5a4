// quillbeat-screenshots: renders the main window (demo songs, a lookup half
// done, the drawer open; a song's artwork and its lyrics with the words of a
// lyrics search), the welcome sheet, the preferences, the damaged tags window
// and the web requests window into PNG files for the README, with the
// offscreen platform, the Fusion style and a pinned font, so that the
// pictures come out the same on every machine.
#include "AppActions.h"
#include "ArtworkPanel.h"
#include "DemoLibraryWriter.h"
#include "DrawerPanel.h"
#include "LogPane.h"
#include "LyricsPanel.h"
#include "MainWindow.h"
#include "PreferencesDialog.h"
#include "RegenerateWindow.h"
#include "RequestQueueWindow.h"
#include "SearchField.h"
#include "SongCommands.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "WelcomeSheet.h"

#include "run/MainController.h"
#include "songs/SongFile.h"
#include "support/WMLog.h"
#include "web/SongInfoTask.h"
#include "web/WMHTTPQueue.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
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

// Answers of the request window's picture: a page whose first part arrives
// and whose rest never does, or nothing at all.
class TricklingServer : public QTcpServer
{
public:
    TricklingServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    const QByteArray request = socket->readAll();
                    const int kilobytes = request.startsWith("GET /page/") ? request.mid(10, 2).toInt() : 0;
                    if (kilobytes == 0)
                        return;
                    socket->write(
                        "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 900000\r\n\r\n");
                    socket->write(QByteArray(kilobytes * 1024, 'x'));
                });
            }
        });
    }
};

// The owner of the requests of the request window's picture.
class RequestOwner : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void got(const QVariantMap&) {}
};

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
    sheet->close();
    QStringList written = {out + QStringLiteral("/main-window.png"), out + QStringLiteral("/welcome.png")};

    // A song's artwork and its lyrics, searched for two words.
    window.drawer()->hide();
    window.lyricsPanel()->show();
    window.artworkPanel()->show();
    window.searchField()->setSearchesLyrics(true);
    window.searchField()->setText(QStringLiteral("lights morning"));
    window.searchField()->searchNow();
    waitFor([&] { return window.model()->visibleSongs().size() > 1; }, 2000);
    window.table()->selectRow(1);
    waitFor([&] { return !window.lyricsPanel()->highlightedText().isEmpty(); }, 2000);
    const auto shoot = [&](QWidget& widget, const char* name) {
        QCoreApplication::processEvents();
        const QString path = out + QLatin1Char('/') + QLatin1String(name);
        written.append(path);
        return save(widget, path);
    };
    if (window.artworkPanel()->pictureCount() == 0 || !shoot(window, "artwork-and-lyrics.png"))
        return fail(QStringLiteral("the artwork and lyrics could not be caught"));

    PreferencesDialog preferences(&window);
    preferences.show();
    if (!shoot(preferences, "preferences.png"))
        return fail(QStringLiteral("the preferences could not be saved"));
    preferences.hide();

    // The demo's damaged song is listed at once.
    RegenerateWindow& regenerate = window.commands()->regenerateWindow();
    regenerate.show();
    if (regenerate.rows().isEmpty() || !shoot(regenerate, "regenerate.png"))
        return fail(QStringLiteral("the damaged tags window could not be caught with its song"));
    regenerate.hide();

    // Two pages arriving, one server that is slow to answer, and requests
    // waiting for a free connection (the queue is held, so that none of
    // them leaves the machine).
    TricklingServer server;
    if (!server.listen(QHostAddress::LocalHost))
        return fail(QStringLiteral("no local server for the requests window"));
    WMHTTPQueue* queue = WMHTTPQueue::queue();
    RequestOwner owner;
    const auto local = [&](const QString& path) {
        return QUrl(QStringLiteral("http://localhost:%1%2").arg(server.serverPort()).arg(path));
    };
    for (const char* path :
         {"/page/48/search?q=Copper+%26+Kite", "/page/12/release/glass-weather", "/lyrics/summer"})
        queue->addURL(local(QLatin1String(path)), &owner, "got", false, false);
    if (!waitFor([&] { return queue->currentNumberOfConnections() == 3; }, 5000))
        return fail(QStringLiteral("the local requests did not start"));
    queue->setPaused(true);
    for (const char* url : {"https://en.wikipedia.org/w/index.php?search=Lowland+Radio",
                            "https://musicbrainz.org/ws/2/release?query=Static+Orchards",
                            "https://coverartarchive.org/release/front-500"})
        queue->addURL(QUrl(QLatin1String(url)), &owner, "got", false, false);
    RequestQueueWindow& requests = window.commands()->requestWindow();
    requests.show();
    waitFor(
        [&] {
            return requests.table()
                ->model()
                ->data(requests.table()->model()->index(1, 3))
                .toString()
                .contains(QStringLiteral("KB"));
        },
        5000);
    const bool requestsSaved = shoot(requests, "requests.png");
    queue->cancelAll();
    queue->setPaused(false);
    if (!requestsSaved)
        return fail(QStringLiteral("the requests window could not be saved"));

    for (const QString& path : std::as_const(written))
        std::printf("%s\n", qPrintable(path));
    window.shutDown();
    return 0;
}

#include "screenshots_main.moc"
