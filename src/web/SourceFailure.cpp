#include "web/SourceFailure.h"

#include "support/LocalizedStrings.h"
#include "web/WebDBInterface.h"

#include <QNetworkInterface>
#include <QUrl>

namespace {

// True when some network connection other than this machine's own is up:
// without one a host that can't be found means that there is no network.
bool hasNetworkConnection()
{
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning) &&
            !flags.testFlag(QNetworkInterface::IsLoopBack) && !interface.addressEntries().isEmpty())
            return true;
    }
    return false;
}

} // namespace

SourceFailure SourceFailure::fromAnswer(const QVariantMap& answer)
{
    const QVariantMap error = answer.value(QStringLiteral("WMHTTPErrorKey")).toMap();
    if (error.isEmpty())
        return {};
    const QString host = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl().host();
    const int code = error.value(QStringLiteral("code")).toInt();
    if (error.value(QStringLiteral("domain")).toString() == QLatin1String("WMHTTPStatus")) {
        if (code == 404 || code == 410)
            return {};
        return {Kind::Server,
                LocalizedStrings::format(QStringLiteral("SourceErrorStatus"), host, qint64(code))};
    }
    switch (code) {
    case -1001:
        return {Kind::Network, LocalizedStrings::format(QStringLiteral("SourceErrorTimedOut"), host)};
    case -1003:
        if (!hasNetworkConnection())
            return {Kind::Network, LocalizedStrings::text(QStringLiteral("SourceErrorOffline"))};
        return {Kind::Network, LocalizedStrings::format(QStringLiteral("SourceErrorHostNotFound"), host)};
    case -1004:
        return {Kind::Network, LocalizedStrings::format(QStringLiteral("SourceErrorRefused"), host)};
    case -1005:
        return {Kind::Network, LocalizedStrings::format(QStringLiteral("SourceErrorConnectionLost"), host)};
    case -1009:
        return {Kind::Network, LocalizedStrings::text(QStringLiteral("SourceErrorOffline"))};
    case -1103:
        return {Kind::Server, LocalizedStrings::format(QStringLiteral("SourceErrorTooLarge"), host)};
    default:
        break;
    }
    return {Kind::Network, LocalizedStrings::format(QStringLiteral("SourceErrorOther"), host,
                                                    error.value(QStringLiteral("description")).toString())};
}

SourceFailure SourceFailure::notConfigured(const QString& reason)
{
    return {Kind::NotConfigured, reason};
}

SourceReport SourceReport::of(const WebDBInterface& source)
{
    return {QString::fromLatin1(source.metaObject()->className()), source.albums().size(), source.failure()};
}
