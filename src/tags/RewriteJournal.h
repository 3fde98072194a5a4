#pragma once

#include "FileEdit.h"
#include "FileIdentity.h"
#include "JournalChecksum.h"
#include "PosixFile.h"

#include <QByteArray>
#include <QList>
#include <QString>

// The undo journal of a batch of in-place rewrites (one file or several).
// For each file it keeps the path, the file's identity before the write, the
// length the write gives it, the original bytes of every region the write
// overwrites, and the edits it makes, so that recovery can tell a file left
// half-written by us from one another program has changed since.
// Layout (version 2), integers little-endian:
//   "QBJOURNL", u32 version, u32 entry count, i64 end (where the checksum is),
//   per entry: u32 path length, path bytes, identity before (u64 device,
//     u64 inode, i64 size, i64 mtime, i64 ctime), i64 new length, u32 flags
//     (1: same length), u32 region count, u32 edit count, (i64 offset,
//     i64 length) per region, (i64 offset, i64 length, i64 byte count) per
//     edit, the regions' original bytes, the edits' new bytes;
//   u64 checksum of the three header fields and every entry byte.
// A same-length entry's regions are its edits' ranges (only the bytes that
// differ); any other entry has one region, from its first edit to the end.
// Version 1 journals (one file, no change time, no edits) are still read.
//
// Journals live in reusable slot files ("slot-N.journal") so that a write
// costs no file creation and no folder flush once the slot exists; a slot
// whose first eight bytes are not the magic is free. The magic is written
// last, when the journal is sealed. The writer holds an exclusive lock on
// its slot from the first entry to the end, so that recovery and other
// writers never touch the journal of a write still running.
class RewriteJournal
{
public:
    struct Region
    {
        qint64 offset = 0;
        qint64 length = 0;
    };
    struct Entry
    {
        QByteArray path; // the file name as the system spells it
        FileIdentity before;
        qint64 newLength = 0;
        bool sameLength = false;
        QList<Region> regions;
        QList<FileEdit> edits;
        // Where the regions' saved bytes start in the journal, and the same
        // bytes in memory when the writer kept them there.
        qint64 savedAt = 0;
        QByteArray saved;
    };
    enum class OpenResult
    {
        Valid = 0,
        Busy = 1,
        Invalid = 2,
        Free = 3
    };
    // How a file compares with an entry: in its original state, holding
    // only bytes of the original and of the write (a write of ours begun,
    // or finished), or holding bytes neither has (changed by someone else).
    enum class Match
    {
        Original = 0,
        Written = 1,
        Foreign = 2
    };

    RewriteJournal() = default;
    RewriteJournal(RewriteJournal&&) = default;
    RewriteJournal& operator=(RewriteJournal&&) = default;

    // ---- writing
    // Appends an entry (taking a free slot in `folder` for the first one);
    // the regions' original bytes are read from `source`, and also kept in
    // memory with `keepInMemory`. Nothing is flushed.
    bool append(const QString& folder, Entry entry, const PosixFile& source, bool keepInMemory,
                QString* error);
    // Makes the journal valid: counts, checksum, then the magic; with
    // `flush` it is on disk (data, and the folder entry of a new slot)
    // before this returns. Keeps the slot open and locked.
    bool seal(bool flush, QString* error);
    // Bytes written so far.
    qint64 size() const { return mEnd; }
    // Starts writing the entries appended since the last call to disk, once
    // they come to kWriteBackStep bytes, so that sealing waits for less.
    void startWriteBack();
    static constexpr qint64 kWriteBackStep = 1 << 20;

    // ---- reading
    // Opens, locks and validates a journal left behind; every length field
    // is checked against the journal's size before anything is read.
    OpenResult openExisting(const QString& journalPath, QString* reason);
    quint32 version() const { return mVersion; }

    const QList<Entry>& entries() const { return mEntries; }
    const QString& journalPath() const { return mJournalPath; }

    // ---- using the saved bytes of entry `index`
    // Copies `length` original bytes from file offset `from` (inside one
    // region) to `to` in `target`.
    bool copyOriginal(int index, qint64 from, const PosixFile& target, qint64 to, qint64 length) const;
    // Writes the entry's new contents from its first edit on into `target`
    // (the original bytes between and after the edits come from here, since
    // the target's own copy may already be overwritten).
    bool writeShifted(int index, const PosixFile& target) const;
    Match compare(int index, const PosixFile& target) const;
    // Puts the saved bytes back, truncates to the original length and, with
    // `flush`, flushes.
    bool restoreInto(int index, const PosixFile& target, bool flush, QString* error) const;

    // Frees the slot: the writes are complete or undone.
    void discard();
    // Closes without freeing, as a process that died would leave it.
    void abandon();

    // True when the file at `path` holds a journal not yet freed.
    static bool isPending(const QString& path);

    static constexpr quint32 kVersion = 2;
    static constexpr int kMaxSlots = 64;
    // A slot larger than this is emptied when freed.
    static constexpr qint64 kKeptSlotSize = 80 << 20;
    // Saved bytes are kept in memory by a batch while they come to at most
    // this many bytes (16 MiB).
    static qint64 inMemoryLimit();
    static void setInMemoryLimit(qint64 bytes); // tests

private:
    bool takeSlot(const QString& folder, bool* isNew);
    bool readOriginal(int index, qint64 from, char* into, qint64 length) const;
    OpenResult readVersion1(qint64 size, QString* reason);
    OpenResult readVersion2(qint64 size, QString* reason);
    Match compareSameLength(const Entry& entry, int index, const PosixFile& target, qint64 length) const;
    Match compareShifted(const Entry& entry, int index, const PosixFile& target, qint64 length) const;

    QList<Entry> mEntries;
    QString mJournalPath;
    PosixFile mFile;
    quint32 mVersion = kVersion;
    bool mIsNewSlot = false;
    qint64 mEnd = 0;
    qint64 mWrittenBack = 0;
    // Of the entries' bytes, while they are appended.
    JournalChecksum mChecksum;
};
