#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariantMap>

#include <optional>

// One group of the song information cache: full file path -> cache entry.
using SongInfoGroup = QHash<QString, QVariantMap>;

// The file form of a cache group: a QDataStream with a magic word and a
// format version, then the entries. Values are typed explicitly (strings,
// integers, doubles, booleans, dates, bytes, images and nested maps and
// lists), so that reading never makes objects of types the file names and
// never reserves room a count claims: every element read must be present in
// the bytes, nesting is bounded, and images are limited in size.
class SongInfoArchive
{
public:
    static constexpr quint32 kMagic = 0x51425343; // "QBSC"
    static constexpr quint32 kFormatVersion = 1;
    // Larger group files are not read.
    static constexpr qint64 kMaxFileBytes = 64 * 1024 * 1024;

    // The bytes of a group. Values of other types are left out.
    static QByteArray archivedGroup(const SongInfoGroup& group);
    // The group held in the bytes; none for damaged or truncated bytes or a
    // newer format version, with the reason in `why`.
    static std::optional<SongInfoGroup> unarchivedGroup(const QByteArray& bytes, QString* why = nullptr);
};
