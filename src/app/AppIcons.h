#pragma once

#include <QIcon>
#include <QString>

// The program's own pictures (resources/images/<name>.svg) as icons.
class AppIcons
{
public:
    // A null icon when there is no picture of that name.
    static QIcon icon(const QString& name);
    static bool exists(const QString& name);
    // The program's icon, for windows and the desktop.
    static QIcon applicationIcon();
};
