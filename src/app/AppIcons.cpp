#include "AppIcons.h"

#include "ThemedSvgIconEngine.h"

#include <QFile>
#include <QHash>

namespace {

QString pathOf(const QString& name)
{
    return QStringLiteral(":/images/") + name + QStringLiteral(".svg");
}

} // namespace

QIcon AppIcons::icon(const QString& name)
{
    static QHash<QString, QIcon> icons;
    const auto found = icons.constFind(name);
    if (found != icons.constEnd())
        return *found;
    const QIcon made = exists(name) ? QIcon(new ThemedSvgIconEngine(pathOf(name))) : QIcon();
    icons.insert(name, made);
    return made;
}

bool AppIcons::exists(const QString& name)
{
    return QFile::exists(pathOf(name));
}

QIcon AppIcons::applicationIcon()
{
    return icon(QStringLiteral("com.wendmark.quillbeat"));
}
