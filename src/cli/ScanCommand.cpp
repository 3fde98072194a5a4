#include "ScanCommand.h"

#include "ArgumentParser.h"
#include "ChangeJson.h"
#include "CliOutput.h"
#include "ClosedOutputNotifier.h"
#include "SongSourceOptions.h"
#include "run/Delazifier.h"
#include "run/RegenerateController.h"
#include "run/SongSourceLoader.h"
#include "run/WindowPrefs.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "songs/SongPathTags.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

namespace {

// The attributes in the order they are listed.
const std::pair<AlbumAsset, const char*> kLackable[] = {
    {AlbumAsset::AlbumName, "album"}, {AlbumAsset::SongTitle, "title"}, {AlbumAsset::Artwork, "artwork"},
    {AlbumAsset::Genre, "genre"},     {AlbumAsset::Track, "track"},     {AlbumAsset::Year, "year"},
    {AlbumAsset::Lyrics, "lyrics"}};

// "artist “X”, title “Y”, track 3".
QString pathText(const SongPathTags& tags)
{
    QStringList parts;
    const auto add = [&parts](const char* key, const QString& value) {
        if (!value.isEmpty())
            parts.append(LocalizedStrings::format(QLatin1String(key), value));
    };
    add("CliScanPathArtist", tags.artist);
    add("CliScanPathAlbum", tags.album);
    add("CliScanPathTitle", tags.title);
    if (tags.track > 0)
        add("CliScanPathTrack", QString::number(tags.track));
    return parts.join(QStringLiteral(", "));
}

// Output is gathered and written in pieces of about this many characters.
constexpr qsizetype kFlushAt = 64 * 1024;

QString statusName(SongActivityStatus status)
{
    switch (status) {
    case SongActivityStatus::Locked:
        return QStringLiteral("read-only");
    case SongActivityStatus::Problem:
        return QStringLiteral("damaged");
    default:
        return QStringLiteral("ok");
    }
}

} // namespace

ScanCommand::ScanCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

SongPathTags ScanCommand::pathValuesFor(const SongFile& song, AudioInfoTag& tag, AlbumAssets checked,
                                        const QString& root)
{
    const bool lacksTitle = tag.title().isEmpty() || SongPathTags::isFileNameTitle(tag.title(), song.path());
    if (!tag.artist().isEmpty() && !tag.album().isEmpty() && !lacksTitle && tag.trackNumber() > 0)
        return {};
    const SongPathTags path = SongPathTags::fromPath(song.path(), root);
    SongPathTags taken;
    if (tag.artist().isEmpty())
        taken.artist = path.artist;
    if (checked.testFlag(AlbumAsset::AlbumName) && tag.album().isEmpty())
        taken.album = path.album;
    if (checked.testFlag(AlbumAsset::SongTitle) && lacksTitle && path.title != tag.title())
        taken.title = path.title;
    if (checked.testFlag(AlbumAsset::Track) && tag.trackNumber() < 1)
        taken.track = path.track;
    return taken;
}

QStringList ScanCommand::lackingAttributes(SongFile& song, AlbumAssets checked)
{
    QStringList lacking;
    AudioInfoTag* tag = song.infotag();
    if (!tag)
        return lacking;
    for (const auto& [asset, name] : kLackable) {
        if (!checked.testFlag(asset))
            continue;
        bool lacks = false;
        switch (asset) {
        case AlbumAsset::AlbumName:
            lacks = tag->album().isEmpty();
            break;
        case AlbumAsset::SongTitle:
            lacks = tag->title().isEmpty();
            break;
        case AlbumAsset::Artwork:
            lacks = tag->numberOfImages() == 0 && song.hasiTunesArtwork() != 1;
            break;
        case AlbumAsset::Genre:
            lacks = tag->genres().isEmpty();
            break;
        case AlbumAsset::Track:
            lacks = tag->trackNumber() < 1;
            break;
        case AlbumAsset::Year:
            lacks = tag->year().isEmpty();
            break;
        default:
            lacks = tag->lyrics().isEmpty();
            break;
        }
        if (lacks)
            lacking.append(QLatin1String(name));
    }
    return lacking;
}

int ScanCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("scan"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    SongSourceOptions sourceOptions;
    sourceOptions.take(*parsed);
    const bool json = parsed->has(QStringLiteral("--json"));
    const bool readTags = parsed->has(QStringLiteral("--read-tags"));
    sourceOptions.useSavedSourceIfNone();

    RegenerateController regenerate;
    SongSourceLoader loader;
    loader.setRegenerateController(&regenerate);
    // Once nobody reads the listing, loading and reading tags stop too.
    ClosedOutputNotifier outputWatch(mOut);
    QObject::connect(&outputWatch, &ClosedOutputNotifier::closed, &loader, &SongSourceLoader::cancel);
    const bool loaded = sourceOptions.load(loader, mErr);
    if (outputWatch.isClosed() || (!loaded && loader.allSongs().isEmpty())) {
        SongFileInfoCache::sharedCache().detach();
        return outputWatch.isClosed() ? CliOutput::kClosedOutputStatus : 1;
    }
    const QList<std::shared_ptr<SongFile>>& songs = loader.allSongs();

    if (readTags) {
        Delazifier delazifier;
        delazifier.setAllSongs(songs);
        delazifier.setSourceKind(loader.sourceKind());
        delazifier.setRegenerateController(&regenerate);
        QEventLoop loop;
        QObject::connect(&delazifier, &Delazifier::finished, &loop, &QEventLoop::quit);
        QObject::connect(&outputWatch, &ClosedOutputNotifier::closed, &loop, &QEventLoop::quit);
        delazifier.startDelazification();
        if (delazifier.isActive())
            loop.exec();
        if (outputWatch.isClosed()) {
            delazifier.stopDelazification();
            SongFileInfoCache::sharedCache().detach();
            return CliOutput::kClosedOutputStatus;
        }
    }

    const AlbumAssets checked = WindowPrefs::readPrefs().checkFlags();
    const QString root = SongFile::songSourceRoot();
    qint64 complete = 0, lacking = 0, locked = 0, damaged = 0;
    QString text;
    // Written in pieces, also as JSON lines, so that nothing waits for the
    // end of a large library.
    const auto flushIfLarge = [&]() {
        if (text.size() < kFlushAt)
            return true;
        const bool written = CliOutput::print(mOut, text);
        text.clear();
        return written;
    };
    const auto line = [](const QJsonObject& object) -> QString {
        return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) + QLatin1Char('\n');
    };
    for (const std::shared_ptr<SongFile>& song : songs) {
        const QStringList lacks = lackingAttributes(*song, checked);
        AudioInfoTag* tag = song->infotag();
        const SongActivityStatus status = song->activityStatus();
        complete += lacks.isEmpty() ? 1 : 0;
        lacking += lacks.isEmpty() ? 0 : 1;
        locked += status == SongActivityStatus::Locked ? 1 : 0;
        damaged += status == SongActivityStatus::Problem ? 1 : 0;
        const QString artist = tag ? tag->artist() : QString();
        const QString title = tag ? tag->title() : QString();
        const QString album = tag ? tag->album() : QString();
        const SongPathTags fromPath = tag ? pathValuesFor(*song, *tag, checked, root) : SongPathTags();
        if (json) {
            text += line(
                QJsonObject{{QStringLiteral("kind"), QStringLiteral("song")},
                            {QStringLiteral("path"), song->path()},
                            {QStringLiteral("artist"), ChangeJson::orNull(artist)},
                            {QStringLiteral("title"), ChangeJson::orNull(title)},
                            {QStringLiteral("album"), ChangeJson::orNull(album)},
                            {QStringLiteral("track"), tag ? ChangeJson::orNull(tag->track()) : QJsonValue()},
                            {QStringLiteral("status"), statusName(status)},
                            {QStringLiteral("lacks"), QJsonArray::fromStringList(lacks)},
                            {QStringLiteral("fromPath"), ChangeJson::pathTags(fromPath)},
                            {QStringLiteral("error"), QJsonValue()}});
        } else {
            text += song->path();
            if (status == SongActivityStatus::Locked)
                text += LocalizedStrings::text(QStringLiteral("CliScanLocked"));
            else if (status == SongActivityStatus::Problem)
                text += LocalizedStrings::text(QStringLiteral("CliScanProblem"));
            text += QStringLiteral("\n    ") + artist + QStringLiteral(" | ") + title +
                    QStringLiteral(" | ") + album + QLatin1Char('\n');
            if (!lacks.isEmpty())
                text += LocalizedStrings::format(QStringLiteral("CliScanLacks"),
                                                 lacks.join(QStringLiteral(", "))) +
                        QLatin1Char('\n');
            if (!fromPath.isEmpty())
                text += LocalizedStrings::format(QStringLiteral("CliScanFromPath"), pathText(fromPath)) +
                        QLatin1Char('\n');
        }
        if (!flushIfLarge())
            break;
    }
    const QList<SongSourceLoader::UnopenedFile>& unopened = loader.unopenedFiles();
    if (json) {
        for (const SongSourceLoader::UnopenedFile& file : unopened)
            text += line(QJsonObject{{QStringLiteral("kind"), QStringLiteral("song")},
                                     {QStringLiteral("path"), file.path},
                                     {QStringLiteral("artist"), QJsonValue()},
                                     {QStringLiteral("title"), QJsonValue()},
                                     {QStringLiteral("album"), QJsonValue()},
                                     {QStringLiteral("track"), QJsonValue()},
                                     {QStringLiteral("status"), QStringLiteral("unreadable")},
                                     {QStringLiteral("lacks"), QJsonArray()},
                                     {QStringLiteral("fromPath"), QJsonValue()},
                                     {QStringLiteral("error"), file.reason}});
        text += line(QJsonObject{{QStringLiteral("kind"), QStringLiteral("summary")},
                                 {QStringLiteral("count"), static_cast<qint64>(songs.size())},
                                 {QStringLiteral("complete"), complete},
                                 {QStringLiteral("lacking"), lacking},
                                 {QStringLiteral("readOnly"), locked},
                                 {QStringLiteral("damaged"), damaged},
                                 {QStringLiteral("unreadable"), static_cast<qint64>(unopened.size())},
                                 {QStringLiteral("cancelled"), !loaded},
                                 {QStringLiteral("error"), ChangeJson::orNull(loader.sourceError())}});
    } else {
        text += LocalizedStrings::format(QStringLiteral("CliScanSummary"),
                                         LocalizedStrings::count(QStringLiteral("CountSongs"), songs.size()),
                                         complete, lacking, locked, damaged,
                                         static_cast<qint64>(unopened.size())) +
                QLatin1Char('\n');
    }
    CliOutput::print(mOut, text);
    SongFileInfoCache::sharedCache().detach();
    if (outputWatch.check())
        return CliOutput::kClosedOutputStatus;
    return loaded ? 0 : 1;
}
