#include "LookupCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "CommandHelp.h"
#include "CommandTable.h"

#include "run/PrefsController.h"
#include "support/LocalizedStrings.h"
#include "web/AlbumLookup.h"
#include "web/WMHTTPQueue.h"
#include "web/WebDBInterface.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>
#include <QSettings>
#include <QTimer>

#include <utility>

namespace {

// A lookup that has not ended after this long is given up: every request
// has its own deadline, so this only guards against a source that never ends.
constexpr int GiveUpMs = 5 * 60 * 1000;

} // namespace

LookupCommand::LookupCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

bool LookupCommand::parse(int* status)
{
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("lookup"), mArguments, mOut, mErr, status);
    if (!parsed)
        return false;
    mJson = parsed->has(QStringLiteral("--json"));
    mArtist = parsed->value(QStringLiteral("--artist")).trimmed();
    mAlbum = parsed->value(QStringLiteral("--album")).trimmed();
    mTitle = parsed->value(QStringLiteral("--title")).trimmed();
    // Checked by the parser: every name is a known source.
    for (const QString& name :
         parsed->value(QStringLiteral("--sources")).split(QLatin1Char(','), Qt::SkipEmptyParts))
        mSources.append(CommandTable::sourceClassForName(name.trimmed()));
    if (mArtist.isEmpty() || (mAlbum.isEmpty() && mTitle.isEmpty())) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliLookupNeeds")) + QLatin1Char('\n') +
                                   CommandHelp::usageText(*CommandTable::find(QStringLiteral("lookup"))) +
                                   QLatin1Char('\n'));
        *status = exitCode(ExitStatus::Usage);
        return false;
    }
    return true;
}

QJsonObject LookupCommand::jsonForAlbum(const AlbumInfo& album)
{
    const auto text = [](const QString& value) {
        return value.isEmpty() ? QJsonValue() : QJsonValue(value);
    };
    QJsonObject object;
    object.insert(QStringLiteral("artist"), text(album.artist()));
    object.insert(QStringLiteral("name"), text(album.name()));
    object.insert(QStringLiteral("year"), text(album.year()));
    object.insert(QStringLiteral("genre"), text(album.genre()));
    object.insert(QStringLiteral("tracks"), QJsonArray::fromStringList(album.trackNames()));
    object.insert(QStringLiteral("artworkURL"), text(album.artURLString()));
    object.insert(QStringLiteral("lyrics"), QJsonArray::fromStringList(album.lyrics().keys()));
    object.insert(QStringLiteral("source"), CommandTable::sourceNameOfClass(album.sourceInterfaceName()));
    object.insert(QStringLiteral("duplicates"), album.duplicates());
    return object;
}

QString LookupCommand::textForAlbum(const AlbumInfo& album)
{
    const auto line = [](const char* key, const QString& value) -> QString {
        return QStringLiteral("    ") +
               QString(LocalizedStrings::text(QLatin1String(key)) + QLatin1Char(':')).leftJustified(10) +
               value + QLatin1Char('\n');
    };
    const QString none = LocalizedStrings::text(QStringLiteral("ChangeNone"));
    const auto orNone = [&none](const QString& value) -> QString {
        return value.isEmpty() ? none : value;
    };
    QString text = QStringLiteral("  ") + orNone(album.name()) + QLatin1Char('\n');
    text += line("LookupArtist", orNone(album.artist()));
    text += line("LookupYear", orNone(album.year()));
    text += line("LookupGenre", orNone(album.genre()));
    const QStringList tracks = album.trackNames();
    text +=
        line("LookupTracks",
             tracks.isEmpty() ? none : LocalizedStrings::count(QStringLiteral("CountTracks"), tracks.size()));
    for (qsizetype i = 0; i < tracks.size(); ++i)
        text += QStringLiteral("      %1 %2\n").arg(i + 1, 2).arg(tracks.at(i));
    if (!album.lyrics().isEmpty())
        text += line("LookupLyrics",
                     LocalizedStrings::count(QStringLiteral("CountSongs"), album.lyrics().size()));
    text += line("LookupArtwork", orNone(album.artURLString()));
    QString source = WebDBInterface::displayName(album.sourceInterfaceName());
    if (album.duplicates() > 0)
        source += QLatin1Char(' ') +
                  LocalizedStrings::format(QStringLiteral("LookupDuplicates"), qint64(album.duplicates()));
    text += line("LookupSource", source);
    return text;
}

int LookupCommand::run()
{
    int status = 0;
    if (!parse(&status))
        return status;
    const QVariantMap resources = PrefsController::sharedInstance().liveResources();
    if (mSources.isEmpty())
        mSources = resources.value(QStringLiteral("sourcelist")).toStringList();

    QSettings settings;
    AlbumLookup lookup({mArtist, mAlbum, mTitle}, mSources, resources);
    lookup.setAlbumSelectionMethod(AlbumChooser::methodForPickingPreference(
        settings.value(QStringLiteral("albumPickingMethod"), 0).toInt()));
    lookup.setAllowSubstringTrackMatches(settings.value(QStringLiteral("allowSubstrings"), 0).toInt() > 0);
    lookup.setMinimumAcceptableImageSize(settings.value(QStringLiteral("minImageSize"), 100.0).toFloat());

    QEventLoop loop;
    QObject::connect(&lookup, &AlbumLookup::finished, &loop, &QEventLoop::quit);
    // Servers that fail the lookup are named on standard error, with why.
    QObject::connect(WMHTTPQueue::queue(), &WMHTTPQueue::importantLogNotification, &loop,
                     [this](const QString& message) { CliOutput::print(mErr, message + QLatin1Char('\n')); });
    QTimer giveUp;
    giveUp.setSingleShot(true);
    QObject::connect(&giveUp, &QTimer::timeout, &loop, [&]() {
        lookup.cancel();
        loop.quit();
    });
    giveUp.start(GiveUpMs);
    lookup.start();
    loop.exec();

    const std::optional<AlbumInfo>& chosen = lookup.chosenAlbum();
    // What each source said, and whether any could be asked at all.
    QJsonArray sources;
    QString sourceText;
    QStringList failures;
    bool anyAnswered = false;
    for (const SourceReport& report : lookup.sourceReports()) {
        const QString name = WebDBInterface::displayName(report.source);
        const SourceFailure& failure = report.failure;
        sources.append(
            QJsonObject{{QStringLiteral("source"), CommandTable::sourceNameOfClass(report.source)},
                        {QStringLiteral("albums"), report.albums},
                        {QStringLiteral("asked"), failure.kind() != SourceFailure::Kind::NotConfigured},
                        {QStringLiteral("error"),
                         failure.reason().isEmpty() ? QJsonValue() : QJsonValue(failure.reason())}});
        QString said;
        if (failure.kind() == SourceFailure::Kind::NotConfigured) {
            said = LocalizedStrings::format(QStringLiteral("LookupSourceNotAsked"), failure.reason());
            failures.append(name + QStringLiteral(": ") + said);
        } else if (report.failed()) {
            said = LocalizedStrings::format(QStringLiteral("LookupSourceFailed"), failure.reason());
            failures.append(name + QStringLiteral(": ") + failure.reason());
        } else {
            anyAnswered = true;
            said = LocalizedStrings::count(QStringLiteral("CountAlbums"), report.albums);
        }
        sourceText += QStringLiteral("  ") + QString(name + QLatin1Char(':')).leftJustified(13) + said +
                      QLatin1Char('\n');
    }
    const bool allFailed = !anyAnswered && !failures.isEmpty();
    QString error = lookup.errorMessage();
    if (allFailed)
        error = LocalizedStrings::format(QStringLiteral("LookupAllSourcesFailed"),
                                         failures.join(QStringLiteral("; ")));
    status = exitCode(allFailed ? ExitStatus::SourcesFailed : ExitStatus::Ok);

    if (mJson) {
        QJsonArray albums;
        for (const AlbumInfo& album : lookup.gatheredAlbums())
            albums.append(jsonForAlbum(album));
        const auto text = [](const QString& value) {
            return value.isEmpty() ? QJsonValue() : QJsonValue(value);
        };
        CliOutput::printJsonLine(
            mOut,
            QJsonObject{{QStringLiteral("artist"), mArtist},
                        {QStringLiteral("album"), text(mAlbum)},
                        {QStringLiteral("title"), text(mTitle)},
                        {QStringLiteral("sources"), sources},
                        {QStringLiteral("albums"), albums},
                        {QStringLiteral("chosen"), chosen ? QJsonValue(jsonForAlbum(*chosen)) : QJsonValue()},
                        {QStringLiteral("error"), text(error)}});
        if (allFailed)
            CliOutput::print(mErr, error + QLatin1Char('\n'));
        return CliOutput::hasFailed(mOut) ? CliOutput::kClosedOutputStatus : status;
    }

    QString text =
        LocalizedStrings::text(QStringLiteral("LookupSourcesHeading")) + QLatin1Char('\n') + sourceText;
    text += QLatin1Char('\n') +
            LocalizedStrings::format(QStringLiteral("LookupAlbumsHeading"),
                                     qint64(lookup.gatheredAlbums().size())) +
            QLatin1Char('\n');
    for (const AlbumInfo& album : lookup.gatheredAlbums())
        text += textForAlbum(album);
    text += QLatin1Char('\n');
    if (chosen)
        text += LocalizedStrings::format(QStringLiteral("LookupChosen"), chosen->name(), chosen->artist(),
                                         WebDBInterface::displayName(chosen->sourceInterfaceName())) +
                QLatin1Char('\n');
    else
        text += LocalizedStrings::text(QStringLiteral("CliLookupNoneChosen")) + QLatin1Char('\n');
    if (!lookup.errorMessage().isEmpty())
        text += lookup.errorMessage() + QLatin1Char('\n');
    CliOutput::print(mOut, text);
    if (allFailed)
        CliOutput::print(mErr, error + QLatin1Char('\n'));
    return CliOutput::hasFailed(mOut) ? CliOutput::kClosedOutputStatus : status;
}
