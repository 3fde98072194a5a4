#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// Reads property lists (the music library, preferences, our own resources)
// into a tree of QVariantMap / QVariantList / QString / int / bool /
// QDateTime. The platform parser (libplist) is tried where allowed; a
// tolerant reader of the XML form of our own takes over when it fails.
class PropertyListReader
{
public:
    // Answers the root container (a QVariantMap or QVariantList), or a null
    // QVariant. On a damaged file the tree read so far is answered and
    // `errorDescription` (which may hold an earlier error on entry) says why.
    static QVariant mutablePropertyListFromData(const QByteArray& data, bool trySystemFirst,
                                                QString* errorDescription = nullptr);
};
