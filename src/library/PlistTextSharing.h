#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <vector>

// Lets the texts of a property list share their storage while it is read.
// Keys repeat in every dictionary of a library ("Track ID", "Name", ...) and
// some values repeat under their key across thousands of dictionaries
// ("Kind", "Genre", artist and album names): each is made once. Keys whose
// values rarely repeat (names, locations, persistent IDs) stop being looked
// up after a trial, and fixed limits keep the tables small whatever the
// input. The texts are UTF-8.
class PlistTextSharing
{
public:
    // The index of a key's entry, or -1 past the limits (the key is then
    // made afresh each time).
    int keyIndex(const char* key, qsizetype length);
    // The key's text: the shared one for an index, else made from the bytes.
    QString keyText(int index, const char* key, qsizetype length) const;
    // A value found under the key of `keyIndex` (-1: under no shared key).
    QString value(const char* text, qsizetype length, int keyIndex);

private:
    // The values seen under one key, shared while they keep repeating.
    struct KeyEntry
    {
        QString text;
        QHash<QByteArray, QString> values;
        qint64 lookups = 0;
        qint64 hits = 0;
        bool sharesValues = true;
    };

    std::vector<KeyEntry> mKeys;
    QHash<QByteArray, int> mKeyIndex;
    qsizetype mSharedValues = 0;
};
