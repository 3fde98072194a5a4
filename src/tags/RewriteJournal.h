#pragma once

#include "FileIdentity.h"
#include "PosixFile.h"

#include <QByteArray>
#include <QList>
#include <QString>

// The undo journal of one in-place rewrite: the file's path, its identity
// before the write and the identity expected after it (modification time
// unknown, 0), its original length, and the original bytes of every region
// the write will overwrite. Layout, integers little-endian:
//   "QBJOURNL", u32 version, u32 path length, path bytes,
//   identity before and after (u64 device, u64 inode, i64 size, i64 mtime),
//   i64 original length, u32 region count, (i64 offset, i64 length) per
//   region, the regions' bytes in order, a u64 checksum of everything before it.
// Journals live in reusable slot files ("slot-N.journal") so that a write
// costs no file creation and no folder flush once the slot exists; a slot
// whose first eight bytes are not the magic is free. The writer holds an
// exclusive lock on its slot while the write runs, so that recovery and
// other writers never touch the journal of a write still running.
class RewriteJournal
{
public:
    struct Region
    {
        qint64 offset = 0;
        qint64 length = 0;
    };
    struct Header
    {
        QByteArray path; // the file name as the system spells it
        FileIdentity before;
        FileIdentity after;
        qint64 originalLength = 0;
        QList<Region> regions;
    };
    enum class OpenResult
    {
        Valid = 0,
        Busy = 1,
        Invalid = 2,
        Free = 3
    };

    RewriteJournal() = default;
    RewriteJournal(RewriteJournal&&) = default;
    RewriteJournal& operator=(RewriteJournal&&) = default;

    // Takes a free slot in `folder` and writes the journal into it with the
    // regions' bytes read from `source`; with `flush` the journal is on disk
    // (data, and the folder entry of a new slot) before this returns. Keeps
    // the slot open and locked.
    bool create(const QString& folder, const Header& header, const PosixFile& source, bool flush,
                QString* error);
    // Opens, locks and validates a journal left behind; every length field
    // is checked against the journal's size before anything is read.
    OpenResult openExisting(const QString& journalPath, QString* reason);

    const Header& header() const { return mHeader; }
    const QString& journalPath() const { return mJournalPath; }
    // Where the saved bytes of region `index` start in the journal.
    qint64 dataOffset(int index) const;
    const PosixFile& file() const { return mFile; }
    // The saved bytes of all regions in order, kept in memory by create()
    // when they come to at most inMemoryLimit() bytes (16 MiB).
    bool hasSavedBytes() const { return mHasSaved; }
    const QByteArray& savedBytes() const { return mSaved; }

    // True when `target` still holds the saved bytes everywhere and has the
    // original length (the write never began).
    bool matchesOriginal(const PosixFile& target) const;
    // Puts the saved bytes back, truncates to the original length and flushes.
    bool restoreInto(const PosixFile& target, QString* error) const;
    // Frees the slot: the write is complete or undone.
    void discard();
    // Closes without removing, as a process that died would leave it.
    void abandon();

    // True when the file at `path` holds a journal not yet freed.
    static bool isPending(const QString& path);

    static constexpr quint32 kVersion = 1;
    static constexpr int kMaxSlots = 64;
    // A slot larger than this is emptied when freed.
    static constexpr qint64 kKeptSlotSize = 8 << 20;
    static qint64 inMemoryLimit();
    static void setInMemoryLimit(qint64 bytes); // tests

private:
    qint64 headerSize() const;
    bool takeSlot(const QString& folder, bool* isNew);

    Header mHeader;
    QString mJournalPath;
    PosixFile mFile;
    QByteArray mSaved;
    bool mHasSaved = false;
};
