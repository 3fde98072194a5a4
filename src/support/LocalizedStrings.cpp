#include "LocalizedStrings.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// The table is made at build time from resources/strings/en.plist.
QJsonObject loadTable()
{
    QFile file(QStringLiteral(":/strings/en.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

} // namespace

QString LocalizedStrings::text(const QString& key)
{
    static const QJsonObject table = loadTable();
    const auto it = table.constFind(key);
    return it == table.constEnd() ? key : it->toString();
}

QString LocalizedStrings::count(const QString& key, qint64 n)
{
    return format(key + (n == 1 ? QStringLiteral("One") : QStringLiteral("Other")), n);
}
