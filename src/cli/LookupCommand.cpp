#include "LookupCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "CommandHelp.h"
#include "CommandTable.h"

#include "run/PrefsController.h"
#include "support/LocalizedStrings.h"
#include "web/AlbumLookup.h"
#include "web/WMHTTPQueue.h"

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
    QJsonObject object;
    object.insert(QStringLiteral("artist"), album.artist());
    object.insert(QStringLiteral("name"), album.name());
    object.insert(QStringLiteral("year"), album.year());
    object.insert(QStringLiteral("genre"), album.genre());
    object.insert(QStringLiteral("tracks"), QJsonArray::fromStringList(album.trackNames()));
    object.insert(QStringLiteral("artworkURL"), album.artURLString());
    object.insert(QStringLiteral("lyrics"), QJsonArray::fromStringList(album.lyrics().keys()));
    object.insert(QStringLiteral("source"), album.sourceInterfaceName());
    object.insert(QStringLiteral("duplicates"), album.duplicates());
    return object;
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
    if (mJson) {
        QJsonArray albums;
        for (const AlbumInfo& album : lookup.gatheredAlbums())
            albums.append(jsonForAlbum(album));
        QJsonObject object;
        object.insert(QStringLiteral("sources"), QJsonArray::fromStringList(lookup.sourcesAsked()));
        object.insert(QStringLiteral("albums"), albums);
        object.insert(QStringLiteral("chosen"), chosen ? QJsonValue(jsonForAlbum(*chosen)) : QJsonValue());
        if (!lookup.errorMessage().isEmpty())
            object.insert(QStringLiteral("error"), lookup.errorMessage());
        CliOutput::printJson(mOut, object);
        return 0;
    }

    QString text = LocalizedStrings::format(QStringLiteral("CliLookupSources"),
                                            lookup.sourcesAsked().join(QStringLiteral(", "))) +
                   QLatin1Char('\n');
    text += LocalizedStrings::format(QStringLiteral("CliLookupGathered"),
                                     qint64(lookup.gatheredAlbums().size())) +
            QLatin1Char('\n');
    for (const AlbumInfo& album : lookup.gatheredAlbums())
        text += QStringLiteral("  [") + album.sourceInterfaceName() + QStringLiteral("] ") +
                album.description() + QLatin1Char('\n');
    if (chosen)
        text += LocalizedStrings::format(QStringLiteral("CliLookupChosen"), chosen->description()) +
                QLatin1Char('\n');
    else
        text += LocalizedStrings::text(QStringLiteral("CliLookupNoneChosen")) + QLatin1Char('\n');
    if (!lookup.errorMessage().isEmpty())
        text += lookup.errorMessage() + QLatin1Char('\n');
    CliOutput::print(mOut, text);
    return 0;
}
