// Pages per second through the album readers of two web sources: an
// encyclopedia article through WikipediaInterface::albumFromHTMLData and a
// record-database release through DiscogsInterface::createAlbumWithJSONDict
// (JSON parsing included). The pages are made here in the shape of the real
// ones; when the shared answer fixtures are present (QB_FIXTURES or
// /work/shared/fixtures) the real pages are timed as well, read at run time.
#include "run/PrefsController.h"
#include "web/DiscogsInterface.h"
#include "web/WikipediaInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

QVariantMap section(const char* name)
{
    return PrefsController::sharedInstance().liveResources().value(QLatin1String(name)).toMap();
}

// An article of about 120 KB: information box, prose with links and
// citations, a track table of 14 rows, references.
QByteArray generatedArticle()
{
    QString page = QStringLiteral(
        "<!DOCTYPE html><html><head><title>Paper Lanterns</title></head><body>\n"
        "<div id=\"mw-content-text\" class=\"mw-body-content\"><div class=\"mw-parser-output\">\n"
        "<table class=\"infobox vevent haudio\"><tbody><tr><th colspan=\"2\" class=\"infobox-above summary "
        "album\">"
        "Paper Lanterns</th></tr><tr><td colspan=\"2\" class=\"infobox-image\"><a href=\"/wiki/File:C.jpg\" "
        "class=\"mw-file-description\"><img src=\"//upload.example.org/thumb/c.jpg/220px-c.jpg\" "
        "width=\"220\" "
        "/></a></td></tr><tr><td colspan=\"2\" class=\"infobox-header description\"><a "
        "href=\"/wiki/Album\">Studio "
        "album</a> by <div class=\"contributor\" style=\"display:inline\"><a href=\"/wiki/QE\">The Quiet "
        "Engines</a>"
        "</div></td></tr><tr><th scope=\"row\" class=\"infobox-label\">Released</th><td "
        "class=\"infobox-data\">"
        "March 3, 1999</td></tr><tr><th scope=\"row\" class=\"infobox-label\"><a "
        "href=\"/wiki/Music_genre\">Genre"
        "</a></th><td class=\"infobox-data category hlist\"><ul><li><a href=\"/wiki/Art_rock\">Art "
        "rock</a></li>"
        "<li><a href=\"/wiki/Dream_pop\">dream pop</a><sup class=\"reference\"><a "
        "href=\"#cite_note-1\">&#91;1"
        "&#93;</a></sup></li></ul></td></tr></tbody></table>\n");
    for (int i = 0; i < 300; ++i)
        page +=
            QStringLiteral("<p>The band recorded <a href=\"/wiki/Song_%1\" title=\"Song %1\">song %1</a> in "
                           "<a href=\"/wiki/Place_%1\">a studio</a> during the winter of 1998.<sup "
                           "class=\"reference\"><a href=\"#cite_note-%1\">&#91;%1&#93;</a></sup></p>\n")
                .arg(i);
    page += QStringLiteral(
        "<div class=\"mw-heading mw-heading2\"><h2 id=\"Track_listing\">Track listing</h2></div>"
        "<table class=\"tracklist\"><tbody><tr><th class=\"tracklist-number-header\" scope=\"col\">"
        "<abbr title=\"Number\">No.</abbr></th><th scope=\"col\">Title</th><th scope=\"col\">"
        "Writer(s)</th><th scope=\"col\">Length</th></tr>\n");
    for (int i = 1; i <= 14; ++i)
        page +=
            QStringLiteral("<tr><th id=\"track%1\" scope=\"row\">%1.</th><td>\"<a href=\"/wiki/T%1\">Track "
                           "number %1</a>\"</td><td>A. Writer, B. Writer</td><td class=\"tracklist-length\">"
                           "3:%1</td></tr>\n")
                .arg(i);
    page +=
        QStringLiteral("<tr class=\"tracklist-total-length\"><th colspan=\"3\" scope=\"row\">Total length:"
                       "</th><td>50:00</td></tr></tbody></table>\n<div class=\"mw-heading mw-heading2\">"
                       "<h2 id=\"References\">References</h2></div><ol class=\"references\">\n");
    for (int i = 0; i < 300; ++i)
        page +=
            QStringLiteral("<li id=\"cite_note-%1\"><a href=\"https://news.example/%1\">Review %1</a></li>\n")
                .arg(i);
    page += QStringLiteral("</ol></div></div></body></html>\n");
    return page.toUtf8();
}

QByteArray generatedRelease()
{
    QJsonArray tracks;
    for (int i = 1; i <= 14; ++i)
        tracks.append(QJsonObject{{QStringLiteral("position"), QString::number(i)},
                                  {QStringLiteral("type_"), QStringLiteral("track")},
                                  {QStringLiteral("title"), QStringLiteral("Track number %1").arg(i)},
                                  {QStringLiteral("duration"), QStringLiteral("3:%1").arg(10 + i)}});
    QJsonArray images;
    for (int i = 0; i < 6; ++i)
        images.append(QJsonObject{
            {QStringLiteral("type"), i == 0 ? QStringLiteral("primary") : QStringLiteral("secondary")},
            {QStringLiteral("width"), 600},
            {QStringLiteral("height"), 600},
            {QStringLiteral("resource_url"), QStringLiteral("https://img.example/R-%1.jpg").arg(i)}});
    const QJsonObject release{
        {QStringLiteral("id"), 4711},
        {QStringLiteral("artists"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("Quiet Engines, The")},
                                {QStringLiteral("id"), 12}}}},
        {QStringLiteral("title"), QStringLiteral("Paper Lanterns")},
        {QStringLiteral("tracklist"), tracks},
        {QStringLiteral("images"), images},
        {QStringLiteral("genres"), QJsonArray{QStringLiteral("Rock"), QStringLiteral("Pop")}},
        {QStringLiteral("styles"), QJsonArray{QStringLiteral("Art Rock"), QStringLiteral("Dream Pop")}},
        {QStringLiteral("year"), 1999},
        {QStringLiteral("notes"), QString(2000, QLatin1Char('n'))}};
    return QJsonDocument(release).toJson();
}

QString fixturesFolder()
{
    const QString fromEnvironment = qEnvironmentVariable("QB_FIXTURES");
    const QString folder =
        fromEnvironment.isEmpty() ? QStringLiteral("/work/shared/fixtures") : fromEnvironment;
    return QDir(folder).exists() ? folder : QString();
}

QList<QByteArray> filesIn(const QString& folder, const QString& pattern)
{
    QList<QByteArray> pages;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({pattern}, QDir::Files, QDir::Name)) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            pages.append(file.readAll());
    }
    return pages;
}

void timeWikipedia(benchmark::State& state, const QList<QByteArray>& pages)
{
    if (pages.isEmpty()) {
        state.SkipWithError("no pages");
        return;
    }
    const WikipediaInterface source(section("res_WikipediaInterface"));
    qsizetype index = 0;
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray& page = pages.at(index++ % pages.size());
        auto album = source.albumFromHTMLData(page);
        benchmark::DoNotOptimize(album);
        bytes += page.size();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(bytes);
}

void timeDiscogs(benchmark::State& state, const QList<QByteArray>& releases)
{
    if (releases.isEmpty()) {
        state.SkipWithError("no releases");
        return;
    }
    const DiscogsInterface source(section("res_DiscogsInterface"));
    qsizetype index = 0;
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray& data = releases.at(index++ % releases.size());
        auto album = source.createAlbumWithJSONDict(QJsonDocument::fromJson(data).object().toVariantMap());
        benchmark::DoNotOptimize(album);
        bytes += data.size();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(bytes);
}

void BM_WikipediaGeneratedArticle(benchmark::State& state)
{
    static const QList<QByteArray> pages = {generatedArticle()};
    timeWikipedia(state, pages);
}
BENCHMARK(BM_WikipediaGeneratedArticle);

void BM_WikipediaRealArticles(benchmark::State& state)
{
    const QString folder = fixturesFolder();
    static const QList<QByteArray> pages =
        folder.isEmpty() ? QList<QByteArray>()
                         : filesIn(folder + QStringLiteral("/web/wikipedia"), QStringLiteral("*.html"));
    timeWikipedia(state, pages);
}
BENCHMARK(BM_WikipediaRealArticles);

void BM_DiscogsGeneratedRelease(benchmark::State& state)
{
    static const QList<QByteArray> releases = {generatedRelease()};
    timeDiscogs(state, releases);
}
BENCHMARK(BM_DiscogsGeneratedRelease);

void BM_DiscogsRealReleases(benchmark::State& state)
{
    const QString folder = fixturesFolder();
    static const QList<QByteArray> releases =
        folder.isEmpty() ? QList<QByteArray>()
                         : filesIn(folder + QStringLiteral("/web/discogs"), QStringLiteral("release_*.json"));
    timeDiscogs(state, releases);
}
BENCHMARK(BM_DiscogsRealReleases);

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
