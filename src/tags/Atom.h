#pragma once

#include "AtomSource.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <utility>
#include <vector>

class QIODevice;

// One node of the atom tree of an MPEG-4 file. A node is either a container
// of child atoms or a leaf whose data are held in memory or stay in the file
// (a range of an open device, read on demand). A file's tree has a root
// container named "FILE" holding the top-level atoms, so paths read
// "FILE:moov:udta:meta:ilst". Which names are containers comes from the
// "atomcontainers" resource. The readers raise AtomError on structural
// damage; callers inside the tags module catch it.
//
// A file-backed leaf keeps a plain pointer to its device: the device must
// outlive the tree (or the leaf must be given other data first).
class Atom
{
public:
    using Ptr = std::unique_ptr<Atom>;

    // Limits that keep hostile files from exhausting stack or memory.
    static constexpr int kMaxDepth = 48;
    static constexpr int kMaxAtoms = 200000;

    ~Atom();
    Atom(const Atom&) = delete;
    Atom& operator=(const Atom&) = delete;

    // --- Building --------------------------------------------------------

    // The root "FILE" container over the whole device.
    static Ptr atomContainerFromFile(QIODevice* file);
    // A container called `name` over [offset, offset + length) of the device.
    static Ptr atomContainerFromFile(QIODevice* file, qint64 offset, qint64 length, quint32 name);
    // A new leaf with empty data.
    static Ptr atomWithName(quint32 name);
    static Ptr atomWithName(const QString& name);
    static bool isRecognizedContainer(quint32 name);

    // When on, edits keep the total size of the tree by growing or shrinking
    // a following "free" atom (see resizeSiblingFreeBy). The switch is per
    // thread, so that saves on different threads do not disturb each other.
    static bool autoSizing();
    static void setAutoSizing(bool on);

    // --- Reading without a tree ------------------------------------------

    // Total size (header included) of the atom at `offset`; raises AtomError.
    static quint64 sizeOfAtomIn(const QByteArray& bytes, qint64 offset, quint32* name = nullptr);
    static quint64 sizeOfAtomIn(QIODevice* file, qint64 offset, quint32* name = nullptr);
    // Offset of the atom at a name path ("moov:trak:mdia") with per-level
    // occurrence numbers ("1:2:1"; empty means the first everywhere), -1
    // when absent. Paths cannot pass through "meta" (its version bytes).
    static qint64 offsetToAtomIn(const QByteArray& bytes, const QString& namePath,
                                 const QString& indexPath = {});
    static qint64 offsetToAtomIn(QIODevice* file, const QString& namePath, const QString& indexPath = {});
    // The data (after the 8-byte header) of the atom found so; null when absent.
    static QByteArray atomDataIn(const QByteArray& bytes, const QString& namePath,
                                 const QString& indexPath = {});
    static QByteArray atomDataIn(QIODevice* file, const QString& namePath, const QString& indexPath = {});

    static quint32 codeOf(QStringView name) { return AtomSource::codeOf(name); }
    static QString nameOf(quint32 code) { return AtomSource::nameOf(code); }
    // The header for an atom with a body of `bodyLength` bytes: 8 bytes, or
    // the 16-byte form (size 1, name, 64-bit total) when the total does not
    // fit in 32 bits or `forceLong` asks for it.
    static QByteArray headerFor(quint32 name, quint64 bodyLength, bool forceLong = false);

    // --- Node ---------------------------------------------------------------

    quint32 name() const { return mName; }
    QString nameString() const;
    void setName(quint32 name);

    const std::vector<Ptr>& contents() const { return mContents; }
    bool isContainer() const { return mIsContainer; }
    // Drops data and file range and becomes an empty container.
    void becomeContainer();

    // The leaf's data (read from the file when file-backed); null for a container.
    QByteArray data() const;
    // The leaf's data from byte `from` on (a value without its 8-byte type
    // and locale words), read without copying the rest; null when shorter.
    QByteArray dataFrom(qint64 from) const;
    // Holds `bytes` in memory; with auto-sizing compensates old - new size.
    void setData(const QByteArray& bytes);
    // Makes the leaf file-backed over [offset, offset + length).
    void setFile(QIODevice* file, qint64 offset, qint64 length);
    QIODevice* file() const { return mFile; }
    qint64 fileDataOffset() const { return mFileOffset; }
    qint64 fileDataLength() const { return mFileLength; }
    // (offset, length) of a file-backed leaf's data; (0, 0) otherwise.
    std::pair<qint64, qint64> fileDataRange() const { return {mFileOffset, mFileLength}; }

    // Body size without the 8-byte header: for a container 8 per child plus
    // the children's sizes (not counting the "meta" version bytes).
    quint64 size() const;
    // Bytes flattenedData() produces: header (8 or 16) plus body, "meta"
    // version bytes included.
    quint64 flattenedSize() const;
    // A leaf is cut or padded with zero bytes; a container answers false.
    bool setSize(quint64 size);

    // A value atom's text: data from byte 8 as UTF-8 (null under 9 bytes).
    QString stringValue() const;
    // Data = type 1 (text), locale 0, then the UTF-8 text.
    void setStringValue(const QString& text);
    // Sum over the data of position * byte; 0 for no data.
    quint64 atomHash() const;

    // Path lookup starting at this atom, which stands for the first
    // component: root->childAtAtomPath("FILE:moov:udta").
    Atom* childAtAtomPath(const QString& namePath) { return childAtAtomPath(namePath, false, QString()); }
    Atom* childAtAtomPath(const QString& namePath, bool create)
    {
        return childAtAtomPath(namePath, create, QString());
    }
    Atom* childAtAtomPath(const QString& namePath, bool create, const QString& indexPath);

    Atom* parent() const { return mParent; }
    // Records the containing atom without touching any child list; the
    // containers set it themselves when they take a child.
    void setParent(Atom* parent) { mParent = parent; }
    Atom* nextSibling() const;
    // Appends `atom` to this atom's parent (null without a parent).
    Atom* addSibling(Ptr atom);
    // Appends `atom` to this container's children (no free-space compensation).
    Atom* appendChild(Ptr atom);
    // Takes the atom out of its parent and hands it back (null when it had
    // no parent); with auto-sizing compensates +(8 + size).
    Ptr removeFromContainer();
    // Finds a following "free" sibling (or one of an ancestor) able to absorb
    // `delta` bytes and resizes it; false when there is none.
    bool resizeSiblingFreeBy(qint64 delta);

    // The atom as bytes, header included; null for an empty result.
    QByteArray flattenedData() const;

    // Where the atom stood in the file it was read from (header offset and
    // total size), -1 / 0 for atoms made in memory.
    qint64 originalOffset() const { return mOriginalOffset; }
    quint64 originalTotalSize() const { return mOriginalTotal; }
    // True while a leaf still holds exactly the file bytes it was read with,
    // so that its flattened form equals the file region.
    bool isUnchangedFromFile() const;
    // A "meta" atom read without version bytes (older QuickTime layout):
    // its children follow the header directly and flattening adds none.
    bool hasMetaVersion() const { return mMetaVersion; }
    // On a root read from a file: damage was met and tolerated (a cut leaf,
    // stray bytes at the end of a container); the details are in the log.
    bool hadTolerableDamage() const { return mDamaged; }

    QString shortDescription() const;
    QString descriptionWithIndentLevel(int level) const;
    QString description() const { return descriptionWithIndentLevel(0); }

private:
    struct BuildState;

    explicit Atom(quint32 name);
    static Ptr buildContainer(const AtomSource& source, QIODevice* file, qint64 offset, qint64 length,
                              quint32 name, BuildState& state, int depth);
    void appendFlattened(QByteArray& out) const;
    quint64 flattenedBodySize() const;
    void adjustFree(qint64 delta);

    quint32 mName = 0;
    bool mIsContainer = false;
    bool mMetaVersion = true;
    std::vector<Ptr> mContents;
    QByteArray mData;
    QIODevice* mFile = nullptr;
    qint64 mFileOffset = 0;
    qint64 mFileLength = 0;
    Atom* mParent = nullptr;
    qint64 mOriginalOffset = -1;
    quint64 mOriginalTotal = 0;
    bool mPristine = false;
    bool mLongHeader = false;
    bool mDamaged = false;
};
