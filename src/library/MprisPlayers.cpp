#include "MprisPlayers.h"

#include "support/WMLog.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFileInfo>
#include <QMutex>
#include <QUrl>
#include <QVariantMap>

#include <optional>

namespace {

const QString kServicePrefix = QStringLiteral("org.mpris.MediaPlayer2.");
const QString kObjectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

struct BusChoice
{
    QMutex lock;
    QString address;
};

BusChoice& busChoice()
{
    static BusChoice choice;
    return choice;
}

QDBusConnection bus()
{
    QString address;
    {
        QMutexLocker locker(&busChoice().lock);
        address = busChoice().address;
    }
    if (address.isEmpty())
        return QDBusConnection::sessionBus();
    return QDBusConnection::connectToBus(address, QStringLiteral("quillbeat-mpris ") + address);
}

std::optional<QVariant> callAnswer(QDBusConnection& connection, const QDBusMessage& call)
{
    const QDBusMessage reply = connection.call(call, QDBus::Block, MprisPlayers::kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return reply.arguments().first();
}

QVariant playerProperty(QDBusConnection& connection, const QString& service, const QString& name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, kObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << kPlayerInterface << name;
    const std::optional<QVariant> answer = callAnswer(connection, call);
    if (!answer)
        return {};
    return qvariant_cast<QDBusVariant>(*answer).variant();
}

// The file a player's metadata names, or empty.
QString playingPath(QDBusConnection& connection, const QString& service)
{
    const QVariant metadata = playerProperty(connection, service, QStringLiteral("Metadata"));
    QVariantMap values;
    if (metadata.canConvert<QDBusArgument>())
        metadata.value<QDBusArgument>() >> values;
    else
        values = metadata.toMap();
    const QUrl url(values.value(QStringLiteral("xesam:url")).toString());
    return url.isLocalFile() ? QFileInfo(url.toLocalFile()).canonicalFilePath() : QString();
}

QDBusMessage playerCall(const QString& service, const QString& method)
{
    return QDBusMessage::createMethodCall(service, kObjectPath, kPlayerInterface, method);
}

} // namespace

QStringList MprisPlayers::pausePlayersPlaying(const QString& path)
{
    QDBusConnection connection = bus();
    if (!connection.isConnected())
        return {};
    const std::optional<QVariant> names =
        callAnswer(connection, QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                              QStringLiteral("/org/freedesktop/DBus"),
                                                              QStringLiteral("org.freedesktop.DBus"),
                                                              QStringLiteral("ListNames")));
    if (!names)
        return {};
    const QString file = QFileInfo(path).canonicalFilePath();
    QStringList paused;
    for (const QString& service : names->toStringList()) {
        if (!service.startsWith(kServicePrefix) || file.isEmpty())
            continue;
        if (playerProperty(connection, service, QStringLiteral("PlaybackStatus")).toString() !=
                QLatin1String("Playing") ||
            playingPath(connection, service) != file)
            continue;
        const QDBusMessage reply =
            connection.call(playerCall(service, QStringLiteral("Pause")), QDBus::Block, kCallTimeoutMs);
        if (reply.type() == QDBusMessage::ReplyMessage) {
            WMLog("Paused %@ while writing %@", service, path);
            paused.append(service);
        }
    }
    return paused;
}

void MprisPlayers::resumePlayers(const QStringList& players)
{
    if (players.isEmpty())
        return;
    QDBusConnection connection = bus();
    for (const QString& service : players)
        connection.send(playerCall(service, QStringLiteral("Play")));
}

void MprisPlayers::setBusAddress(const QString& address)
{
    QMutexLocker locker(&busChoice().lock);
    busChoice().address = address;
}
