#include "iTunesLibInterface.h"

#include "support/WMLog.h"

#include <QFileInfo>

#include <atomic>

namespace {

// Where the framework lives on the platform that has it.
const char* const kFrameworkPath = "/Library/Frameworks/iTunesLibrary.framework/Versions/A/iTunesLibrary";

} // namespace

bool iTunesLibInterface::libraryObject()
{
    static std::atomic<bool> logged{false};
    // The framework is never present outside its own platform; answering
    // no object keeps every caller on the XML export.
    if (!logged.exchange(true))
        WMLog("[iTunesLib] nil: iTunes %d, OS 10.%d, %@", -1, 0,
              QFileInfo::exists(QString::fromUtf8(kFrameworkPath)) ? "framework not loadable here"
                                                                   : "no framework");
    return false;
}

void iTunesLibInterface::uncache()
{
    // Nothing was cached without a library object.
}

QString iTunesLibInterface::musicLibraryMediaPath()
{
    libraryObject();
    return {};
}

bool iTunesLibInterface::canAccessLibrary()
{
    const QString media = musicLibraryMediaPath();
    return !media.isEmpty() && QFileInfo::exists(media);
}

QVariantMap iTunesLibInterface::getTracks()
{
    return {};
}

QVariantList iTunesLibInterface::getPlaylists()
{
    return {};
}

QVariantMap iTunesLibInterface::getMusicLibraryDictionary(QString* error)
{
    // Without a library object (the only case here) there is nothing to read.
    libraryObject();
    if (error)
        *error = QStringLiteral("The music library framework is not available");
    return {};
}

QString iTunesLibInterface::persistentIDString(quint64 identifier)
{
    return WMFormat::string("%16llX", identifier);
}
