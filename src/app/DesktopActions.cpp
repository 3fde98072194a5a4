#include "DesktopActions.h"

#include "library/iTunesBridge.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace {

bool showItemsOverBus(const QStringList& paths)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QStringList uris;
    for (const QString& path : paths)
        uris.append(QUrl::fromLocalFile(path).toString());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    const QDBusMessage reply = bus.call(call, QDBus::Block, DesktopActions::kFileManagerTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    WMLog("ShowItems: %@", reply.errorMessage());
    return false;
}

} // namespace

QString DesktopActions::reveal(const QStringList& paths)
{
    QStringList existing;
    for (const QString& path : paths) {
        if (QFileInfo::exists(path))
            existing.append(path);
    }
    if (existing.isEmpty())
        return paths.isEmpty() ? QString()
                               : LocalizedStrings::format(QStringLiteral("RevealMissing"),
                                                          QFileInfo(paths.first()).fileName());
    if (showItemsOverBus(existing))
        return {};
    const QString folder = QFileInfo(existing.first()).absolutePath();
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        return {};
    return LocalizedStrings::format(QStringLiteral("RevealFailed"), folder);
}

QString DesktopActions::play(const QString& path)
{
    if (!QFileInfo::exists(path))
        return LocalizedStrings::format(QStringLiteral("PlayMissing"), QFileInfo(path).fileName());
#ifdef Q_OS_MACOS
    if (iTunesBridge::playTrackAtPath(path))
        return {};
#endif
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        return {};
    return LocalizedStrings::format(QStringLiteral("PlayFailed"), QFileInfo(path).fileName());
}

QString DesktopActions::openWebPage(const QUrl& url)
{
    if (QDesktopServices::openUrl(url))
        return {};
    return LocalizedStrings::format(QStringLiteral("ManualSearchFailed"), url.toDisplayString());
}
