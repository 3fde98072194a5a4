// Song lookups end to end: 200 generated MP3 songs, each looked up by a
// SongInfoTask against three sources that answer from the local test server
// (in this process), one task after another as a run does. Reports the
// process CPU time per song (the task, the sources, the queue and the
// server together) and the requests per second through the queue.
#include "MpegTestFiles.h"
#include "TestHttpServer.h"

#include "songs/SongFile.h"
#include "support/BundleInfo.h"
#include "tags/AudioInfoTag.h"
#include "web/SongInfoTask.h"
#include "web/WebDBInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrlQuery>

#include <benchmark/benchmark.h>

#include <ctime>

namespace {

QUrl gBase;

// Asks "/<name>?artist=..&album=.." and makes an album of each object of
// the JSON array answered.
class BenchSource : public WebDBInterface
{
    Q_OBJECT
public:
    BenchSource(const QVariantMap& resources, QString path)
        : WebDBInterface(resources), mPath(std::move(path))
    {}

    void beginSearch() override
    {
        WebDBInterface::beginSearch();
        QUrl url = gBase.resolved(QUrl(mPath));
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("artist"), artist());
        query.addQueryItem(QStringLiteral("album"), albumTitle());
        url.setQuery(query);
        addSearchURL(url, "answered", false);
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
    }

    Q_INVOKABLE void answered(const QVariantMap& answer)
    {
        finishedSearch(answer);
        const QJsonArray list =
            QJsonDocument::fromJson(answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray()).array();
        for (const QJsonValue& value : list) {
            const QJsonObject o = value.toObject();
            AlbumInfo album(o.value(QStringLiteral("artist")).toString(),
                            o.value(QStringLiteral("name")).toString());
            album.setYear(o.value(QStringLiteral("year")).toString());
            album.setGenres(o.value(QStringLiteral("genre")).toString());
            QStringList tracks;
            for (const QJsonValue& t : o.value(QStringLiteral("tracks")).toArray())
                tracks.append(t.toString());
            album.setTracks(tracks);
            album.setSourceInterfaceName(mPath);
            mAlbums.append(album);
        }
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
    }

private:
    QString mPath;
};

class Owner : public QObject
{
    Q_OBJECT
public:
    int done = 0;
    Q_INVOKABLE void taskDone(SongInfoTask*) { ++done; }
};

double processCpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

QByteArray albumsAnswer(const QString& artist, const QString& album)
{
    QJsonArray albums;
    for (int i = 0; i < 3; ++i) {
        QJsonArray tracks;
        for (int t = 1; t <= 12; ++t)
            tracks.append(QStringLiteral("Song %1").arg(t));
        albums.append(
            QJsonObject{{QStringLiteral("artist"), artist},
                        {QStringLiteral("name"), i == 0 ? album : album + QStringLiteral(" (Live)")},
                        {QStringLiteral("year"), QString::number(1980 + i)},
                        {QStringLiteral("genre"), QStringLiteral("Rock")},
                        {QStringLiteral("tracks"), tracks}});
    }
    return QJsonDocument(albums).toJson(QJsonDocument::Compact);
}

void BM_SongLookups(benchmark::State& state)
{
    const int songs = int(state.range(0));
    TestHttpServer server;
    if (!server.start()) {
        state.SkipWithError("cannot listen on 127.0.0.1");
        return;
    }
    gBase = server.url(QStringLiteral("/"));
    server.setHandler([](const TestHttpServer::Request& request) {
        const QUrlQuery query(QUrl(request.pathAndQuery));
        return TestHttpServer::Response::text(albumsAnswer(query.queryItemValue(QStringLiteral("artist")),
                                                           query.queryItemValue(QStringLiteral("album"))),
                                              "application/json");
    });
    const QStringList sourceNames = {QStringLiteral("BenchSourceA"), QStringLiteral("BenchSourceB"),
                                     QStringLiteral("BenchSourceC")};
    QVariantMap resources;
    for (const QString& name : sourceNames) {
        const QString path = QLatin1Char('/') + name;
        WebDBInterface::registerInterfaceClass(name, [path](const QVariantMap& r) {
            return std::unique_ptr<WebDBInterface>(std::make_unique<BenchSource>(r, path));
        });
        resources.insert(QStringLiteral("res_") + name, QVariantMap());
    }

    QTemporaryDir folder;
    QList<std::shared_ptr<SongFile>> library;
    for (int i = 0; i < songs; ++i) {
        const QString path = folder.path() + QStringLiteral("/song%1.mp3").arg(i);
        MpegTestFiles::writeSimpleMp3(path, 30);
        auto tag = AudioInfoTag::tagWithPath(path);
        tag->setArtist(QStringLiteral("Artist %1").arg(i % 20));
        tag->setAlbum(QStringLiteral("Album %1").arg(i % 20));
        tag->setTitle(QStringLiteral("Song %1").arg(i % 12 + 1));
        QString error;
        tag->modifySongFileAtPath(path, &error);
        library.append(SongFile::songWithPath(path));
    }

    double cpu = 0.0;
    int requests = 0;
    double wall = 0.0;
    for (auto _ : state) {
        server.clearRequests();
        QElapsedTimer clock;
        clock.start();
        const double start = processCpuSeconds();
        for (const auto& song : std::as_const(library)) {
            song->uncacheInfotag();
            // Songs of the same album never lend each other values here:
            // every lookup goes to the sources.
            SongInfoTask task(song, {song}, {}, sourceNames, resources);
            task.setGatherFlags(AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre | AlbumAsset::Track);
            task.setAlbumSelectionMethod(AlbumChooser::Method::EarliestYear);
            Owner owner;
            task.gatherNotifyingObject(&owner, "taskDone");
            if (!TestHttpServer::waitFor([&] { return owner.done > 0; }, 60000)) {
                state.SkipWithError("a lookup did not end");
                return;
            }
        }
        cpu += processCpuSeconds() - start;
        wall += double(clock.nsecsElapsed()) / 1e9;
        requests += int(server.requests().size());
    }
    const double rounds = double(state.iterations());
    state.counters["cpu_ms_per_song"] = cpu / rounds / songs * 1000.0;
    state.counters["requests_per_s"] = requests / wall;
    state.counters["requests_per_song"] = double(requests) / rounds / songs;
}

BENCHMARK(BM_SongLookups)->Arg(200)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    BundleInfo::applyToApplication();
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#include "bench_song_lookup.moc"
