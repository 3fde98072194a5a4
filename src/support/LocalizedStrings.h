#pragma once

#include "WMFormat.h"

#include <QString>

// The localised string table: user-visible texts looked up by key. English
// ships; texts use printf-like formats with %@ for objects.
class LocalizedStrings
{
public:
    // The text for a key, or the key itself when the table has none.
    static QString text(const QString& key);

    // A count with its noun in the right number: the text under `key`
    // followed by "One" for 1 ("%ld song"), else by "Other" ("%ld songs").
    static QString count(const QString& key, qint64 n);

    // The text for a key with its format filled in.
    template <typename... Args> static QString format(const QString& key, const Args&... args)
    {
        return WMFormat::string(text(key).toUtf8().constData(), args...);
    }
};
