#include "LookupCommand.h"

#include "CliOutput.h"

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

bool LookupCommand::parse()
{
    for (qsizetype i = 0; i < mArguments.size(); ++i) {
        const QString& arg = mArguments.at(i);
        if (arg == QLatin1String("--json")) {
            mJson = true;
            continue;
        }
        QString* target = nullptr;
        if (arg == QLatin1String("--artist"))
            target = &mArtist;
        else if (arg == QLatin1String("--album"))
            target = &mAlbum;
        else if (arg == QLatin1String("--title"))
            target = &mTitle;
        else if (arg != QLatin1String("--sources")) {
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliBadOption"), arg) +
                                       QLatin1Char('\n'));
            return false;
        }
        if (i + 1 >= mArguments.size()) {
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliMissingValue"), arg) +
                                       QLatin1Char('\n'));
            return false;
        }
        const QString value = mArguments.at(++i);
        if (target)
            *target = value.trimmed();
        else
            for (const QString& name : value.split(QLatin1Char(','), Qt::SkipEmptyParts))
                mSources.append(name.trimmed());
    }
    if (mArtist.isEmpty() || (mAlbum.isEmpty() && mTitle.isEmpty())) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliLookupUsage")) + QLatin1Char('\n'));
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
    if (!parse())
        return 2;
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
