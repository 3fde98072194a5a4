#pragma once

#include "FileIdentity.h"
#include "JournalChecksum.h"

#include <QByteArray>
#include <QtEndian>

// The byte layout of the rewrite journal (see RewriteJournal.h), shared by
// its writer and its reader.
namespace RewriteJournalFormat {

constexpr char kMagic[8] = {'Q', 'B', 'J', 'O', 'U', 'R', 'N', 'L'};
constexpr quint32 kMaxPathBytes = 65536;
constexpr quint32 kMaxRegions = 1u << 20;
constexpr quint32 kMaxEntries = 1u << 16;
constexpr quint32 kSameLengthFlag = 1;
// Version 2: magic, version, entry count, end.
constexpr qint64 kLeadSize = 24;
// Version 2, after the path: identity, new length, flags, region and edit counts.
constexpr qint64 kEntryFixedAfterPath = 40 + 8 + 4 + 4 + 4;
constexpr qint64 kRegionEntrySize = 16;
constexpr qint64 kEditEntrySize = 24;
constexpr qint64 kTrailerSize = 8;
// Version 1: magic, version and path length; after the path both
// identities (without change times), the original length and the count.
constexpr qint64 kV1LeadSize = 16;
constexpr qint64 kV1FixedAfterPath = 32 + 32 + 8 + 4;

template <typename T> void put(QByteArray& out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

inline void putIdentity(QByteArray& out, const FileIdentity& identity, bool withChangeTime)
{
    put<quint64>(out, identity.device);
    put<quint64>(out, identity.inode);
    put<qint64>(out, identity.size);
    put<qint64>(out, identity.mtimeNs);
    if (withChangeTime)
        put<qint64>(out, identity.ctimeNs);
}

// The trailer of a version 2 journal: the header fields after the magic
// and the checksum of the entries, checked together.
inline quint64 sealedChecksum(const QByteArray& lead, quint64 entries)
{
    JournalChecksum checksum;
    checksum.update(lead.constData(), lead.size());
    QByteArray value;
    put<quint64>(value, entries);
    checksum.update(value.constData(), value.size());
    return checksum.value();
}

// Sequential reads from a buffer already known to be long enough.
class Cursor
{
public:
    explicit Cursor(const QByteArray& bytes) : mBytes(bytes) {}
    template <typename T> T take()
    {
        const T value = qFromLittleEndian<T>(mBytes.constData() + mAt);
        mAt += sizeof(T);
        return value;
    }
    FileIdentity identity(bool withChangeTime)
    {
        FileIdentity identity;
        identity.device = take<quint64>();
        identity.inode = take<quint64>();
        identity.size = take<qint64>();
        identity.mtimeNs = take<qint64>();
        if (withChangeTime)
            identity.ctimeNs = take<qint64>();
        return identity;
    }

private:
    const QByteArray& mBytes;
    qsizetype mAt = 0;
};

} // namespace RewriteJournalFormat
