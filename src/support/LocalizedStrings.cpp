#include "LocalizedStrings.h"

#include "library/PropertyListReader.h"

#include <QFile>
#include <QVariantMap>

namespace {

QVariantMap loadTable()
{
    QFile file(QStringLiteral(":/strings/en.plist"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return PropertyListReader::mutablePropertyListFromData(file.readAll(), false).toMap();
}

} // namespace

QString LocalizedStrings::text(const QString& key)
{
    static const QVariantMap table = loadTable();
    const auto it = table.constFind(key);
    return it == table.constEnd() ? key : it->toString();
}
