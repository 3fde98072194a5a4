#include "Atom.h"

#include "support/WMLog.h"

#include <QFile>
#include <QIODevice>
#include <QSet>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr quint32 kFree = 0x66726565; // "free"
constexpr quint32 kMeta = 0x6D657461; // "meta"
constexpr quint32 kHdlr = 0x68646C72; // "hdlr"
constexpr quint32 kRoot = 0x46494C45; // "FILE"
constexpr qint64 kChunk = 1 << 20;

thread_local bool tAutoSizing = false;

const QSet<quint32>& containerNames()
{
    static const QSet<quint32> names = [] {
        QSet<quint32> set;
        QFile f(QStringLiteral(":/atomcontainers.dat"));
        if (f.open(QIODevice::ReadOnly)) {
            const QByteArray bytes = f.readAll();
            for (qsizetype i = 0; i + 4 <= bytes.size(); i += 4)
                set.insert(qFromBigEndian<quint32>(bytes.constData() + i));
        }
        return set;
    }();
    return names;
}

qsizetype indexIn(const Atom* parent, const Atom* child)
{
    if (!parent)
        return -1;
    const auto& list = parent->contents();
    for (size_t i = 0; i < list.size(); ++i) {
        if (list[i].get() == child)
            return static_cast<qsizetype>(i);
    }
    return -1;
}

// Scans the children of `parent` from `start` for a "free" leaf able to
// absorb `delta`, then the ancestors' following siblings.
bool resizeFreeFrom(Atom* parent, qsizetype start, qint64 delta)
{
    while (parent) {
        const auto& list = parent->contents();
        for (size_t i = static_cast<size_t>(qMax<qsizetype>(start, 0)); i < list.size(); ++i) {
            Atom* sibling = list[i].get();
            if (sibling->name() != kFree || sibling->isContainer())
                continue;
            const quint64 size = sibling->size();
            if (delta < 0 && size <= static_cast<quint64>(-delta))
                continue;
            const bool was = Atom::autoSizing();
            Atom::setAutoSizing(false);
            sibling->setSize(static_cast<quint64>(static_cast<qint64>(size) + delta));
            Atom::setAutoSizing(was);
            return true;
        }
        Atom* grand = parent->parent();
        start = indexIn(grand, parent) + 1;
        parent = grand;
    }
    return false;
}

} // namespace

struct Atom::BuildState
{
    int atoms = 0;
    bool damaged = false;
};

Atom::Atom(quint32 name) : mName(name) {}

Atom::~Atom() = default;

// --- Building ---------------------------------------------------------------

Atom::Ptr Atom::atomContainerFromFile(QIODevice* file)
{
    return atomContainerFromFile(file, 0, file ? file->size() : 0, kRoot);
}

Atom::Ptr Atom::atomContainerFromFile(QIODevice* file, qint64 offset, qint64 length, quint32 name)
{
    const AtomSource source(file);
    if (offset < 0 || length < 0 || offset > source.length() || length > source.length() - offset)
        throw AtomError();
    BuildState state;
    Ptr root = buildContainer(source, file, offset, length, name, state, 0);
    root->mDamaged = state.damaged;
    return root;
}

Atom::Ptr Atom::buildContainer(const AtomSource& source, QIODevice* file, qint64 offset, qint64 length,
                               quint32 name, BuildState& state, int depth)
{
    if (depth > kMaxDepth) {
        WMLog("atom tree deeper than %d levels at '%@'", kMaxDepth, nameOf(name));
        throw AtomError();
    }
    Ptr container(new Atom(name));
    container->mIsContainer = true;
    const qint64 end = offset + length;
    qint64 pos = offset;
    while (pos < end) {
        if (depth > 0 && end - pos < 8) {
            WMLog("ignoring %d trailing bytes in '%@'", static_cast<int>(end - pos), nameOf(name));
            state.damaged = true;
            break;
        }
        quint32 code = 0;
        int headerLength = 8;
        bool toEnd = false;
        quint64 size = source.sizeOfAtomAt(pos, &code, &headerLength, &toEnd);
        if (toEnd)
            size = static_cast<quint64>(end - pos);
        if (++state.atoms > kMaxAtoms) {
            WMLog("more than %d atoms in %@", kMaxAtoms, source.kind());
            throw AtomError();
        }
        Ptr child;
        if (isRecognizedContainer(code)) {
            if (size > static_cast<quint64>(end - pos)) {
                WMLog("atom '%@' at %qu runs past its container (%qu > %qu)", nameOf(code), pos, size,
                      end - pos);
                throw AtomError();
            }
            qint64 bodyStart = pos + headerLength;
            qint64 bodyLength = static_cast<qint64>(size) - headerLength;
            bool metaVersion = true;
            if (code == kMeta) {
                // Older QuickTime files have no version bytes: a handler atom follows the header.
                const QByteArray probe = source.read(bodyStart + 4, 4);
                if (bodyLength >= 8 && probe.size() == 4 &&
                    qFromBigEndian<quint32>(probe.constData()) == kHdlr) {
                    metaVersion = false;
                } else if (bodyLength >= 4) {
                    bodyStart += 4;
                    bodyLength -= 4;
                } else {
                    WMLog("meta atom at %qu too short (%qu bytes)", pos, size);
                    throw AtomError();
                }
            }
            child = buildContainer(source, file, bodyStart, bodyLength, code, state, depth + 1);
            child->mMetaVersion = metaVersion;
        } else {
            child.reset(new Atom(code));
            qint64 dataLength =
                static_cast<qint64>(qMin<quint64>(size, static_cast<quint64>(end - pos))) - headerLength;
            bool exact = true;
            if (size > static_cast<quint64>(end - pos)) {
                WMLog("%@ (%@) will trunc setFile:withRange: %u + %u (%u) > %qu", nameOf(code), source.kind(),
                      static_cast<quint64>(pos + headerLength), size - headerLength,
                      static_cast<quint64>(pos) + size, static_cast<quint64>(end));
                size = static_cast<quint64>(end - pos);
                exact = false;
                state.damaged = true;
            }
            if (dataLength < 0) {
                // A long header that does not fit what is left.
                dataLength = 0;
                size = static_cast<quint64>(end - pos);
                exact = false;
            }
            child->mFile = file;
            child->mFileOffset = pos + headerLength;
            child->mFileLength = dataLength;
            child->mPristine = exact;
        }
        child->mLongHeader = headerLength == 16;
        child->mOriginalOffset = pos;
        child->mOriginalTotal = size;
        child->mParent = container.get();
        container->mContents.push_back(std::move(child));
        pos += static_cast<qint64>(size);
    }
    return container;
}

Atom::Ptr Atom::atomWithName(quint32 name)
{
    return Ptr(new Atom(name));
}

Atom::Ptr Atom::atomWithName(const QString& name)
{
    return atomWithName(codeOf(name));
}

bool Atom::isRecognizedContainer(quint32 name)
{
    return containerNames().contains(name);
}

bool Atom::autoSizing()
{
    return tAutoSizing;
}

void Atom::setAutoSizing(bool on)
{
    tAutoSizing = on;
}

// --- Reading without a tree ---------------------------------------------------

quint64 Atom::sizeOfAtomIn(const QByteArray& bytes, qint64 offset, quint32* name)
{
    return AtomSource(bytes).sizeOfAtomAt(offset, name);
}

quint64 Atom::sizeOfAtomIn(QIODevice* file, qint64 offset, quint32* name)
{
    return AtomSource(file).sizeOfAtomAt(offset, name);
}

qint64 Atom::offsetToAtomIn(const QByteArray& bytes, const QString& namePath, const QString& indexPath)
{
    return AtomSource(bytes).offsetOf(namePath, indexPath);
}

qint64 Atom::offsetToAtomIn(QIODevice* file, const QString& namePath, const QString& indexPath)
{
    return AtomSource(file).offsetOf(namePath, indexPath);
}

namespace {

QByteArray dataAt(const AtomSource& source, const QString& namePath, const QString& indexPath)
{
    const qint64 offset = source.offsetOf(namePath, indexPath);
    if (offset < 0)
        return QByteArray();
    int headerLength = 8;
    const quint64 size = qMin<quint64>(source.sizeOfAtomAt(offset, nullptr, &headerLength),
                                       static_cast<quint64>(source.length() - offset));
    if (size < static_cast<quint64>(headerLength))
        return QByteArray();
    QByteArray data = source.read(offset + headerLength, static_cast<qint64>(size) - headerLength);
    if (data.isNull())
        data = QByteArray("");
    return data;
}

} // namespace

QByteArray Atom::atomDataIn(const QByteArray& bytes, const QString& namePath, const QString& indexPath)
{
    return dataAt(AtomSource(bytes), namePath, indexPath);
}

QByteArray Atom::atomDataIn(QIODevice* file, const QString& namePath, const QString& indexPath)
{
    return dataAt(AtomSource(file), namePath, indexPath);
}

QByteArray Atom::headerFor(quint32 name, quint64 bodyLength, bool forceLong)
{
    const bool longForm = forceLong || bodyLength + 8 > 0xFFFFFFFFULL;
    QByteArray header(longForm ? 16 : 8, '\0');
    if (longForm) {
        qToBigEndian<quint32>(1, header.data());
        qToBigEndian<quint32>(name, header.data() + 4);
        qToBigEndian<quint64>(bodyLength + 16, header.data() + 8);
    } else {
        qToBigEndian<quint32>(static_cast<quint32>(bodyLength + 8), header.data());
        qToBigEndian<quint32>(name, header.data() + 4);
    }
    return header;
}

// --- Node -------------------------------------------------------------------

QString Atom::nameString() const
{
    return nameOf(mName);
}

void Atom::setName(quint32 name)
{
    mName = name;
    mPristine = false;
}

void Atom::becomeContainer()
{
    mData = QByteArray();
    mFile = nullptr;
    mFileOffset = mFileLength = 0;
    mPristine = false;
    if (!mIsContainer) {
        mIsContainer = true;
        mContents.clear();
    }
}

QByteArray Atom::data() const
{
    if (mIsContainer)
        return QByteArray();
    if (!mFile)
        return mData.isNull() ? QByteArray("") : mData;
    if (mFileLength == 0)
        return QByteArray("");
    if (!mFile->seek(mFileOffset))
        throw AtomError();
    QByteArray bytes = mFile->read(mFileLength);
    if (bytes.size() != mFileLength)
        throw AtomError();
    return bytes;
}

QByteArray Atom::dataFrom(qint64 from) const
{
    if (mIsContainer || from < 0 || static_cast<quint64>(from) > size())
        return QByteArray();
    if (!mFile)
        return mData.mid(from);
    const qint64 length = mFileLength - from;
    if (length == 0)
        return QByteArray("");
    if (!mFile->seek(mFileOffset + from))
        throw AtomError();
    QByteArray bytes = mFile->read(length);
    if (bytes.size() != length)
        throw AtomError();
    return bytes;
}

void Atom::setData(const QByteArray& bytes)
{
    const quint64 old = size();
    mContents.clear();
    mIsContainer = false;
    mFile = nullptr;
    mFileOffset = mFileLength = 0;
    mPristine = false;
    mData = bytes;
    if (tAutoSizing)
        resizeSiblingFreeBy(static_cast<qint64>(old) - bytes.size());
}

void Atom::setFile(QIODevice* file, qint64 offset, qint64 length)
{
    mContents.clear();
    mIsContainer = false;
    mData = QByteArray();
    mFile = file;
    mFileOffset = qMax<qint64>(offset, 0);
    mFileLength = qMax<qint64>(length, 0);
    mPristine = false;
}

quint64 Atom::size() const
{
    if (!mIsContainer)
        return mFile ? static_cast<quint64>(mFileLength) : static_cast<quint64>(mData.size());
    quint64 total = 0;
    for (const Ptr& child : mContents)
        total += 8 + child->size();
    return total;
}

quint64 Atom::flattenedBodySize() const
{
    if (!mIsContainer)
        return size();
    quint64 body = mName == kMeta && mMetaVersion ? 4 : 0;
    for (const Ptr& child : mContents)
        body += child->flattenedSize();
    return body;
}

quint64 Atom::flattenedSize() const
{
    const quint64 body = flattenedBodySize();
    return body + (mLongHeader || body + 8 > 0xFFFFFFFFULL ? 16 : 8);
}

bool Atom::setSize(quint64 newSize)
{
    if (mIsContainer || newSize > 0x7FFFFFF0ULL)
        return false;
    if (mFile && static_cast<qint64>(newSize) <= mFileLength) {
        mFileLength = static_cast<qint64>(newSize);
    } else {
        QByteArray bytes = data();
        bytes.resize(static_cast<qsizetype>(newSize), '\0');
        mFile = nullptr;
        mFileOffset = mFileLength = 0;
        mData = bytes;
    }
    mPristine = false;
    return true;
}

QString Atom::stringValue() const
{
    const QByteArray bytes = data();
    if (bytes.size() < 9)
        return QString();
    return QString::fromUtf8(bytes.constData() + 8, bytes.size() - 8);
}

void Atom::setStringValue(const QString& text)
{
    QByteArray bytes("\x00\x00\x00\x01\x00\x00\x00\x00", 8);
    bytes += text.toUtf8();
    setData(bytes);
}

quint64 Atom::atomHash() const
{
    if (mIsContainer)
        return 0;
    quint64 hash = 0;
    quint64 position = 0;
    for (qint64 at = 0; at < static_cast<qint64>(size()); at += kChunk) {
        const QByteArray part = mFile
                                    ? AtomSource(mFile).read(mFileOffset + at, qMin(kChunk, mFileLength - at))
                                    : mData.mid(at, kChunk);
        if (part.isEmpty())
            break;
        for (char c : part)
            hash += position++ * static_cast<quint8>(c);
    }
    return hash;
}

Atom* Atom::childAtAtomPath(const QString& namePath, bool create, const QString& indexPath)
{
    const QList<quint32> codes = AtomSource::namePathCodes(namePath);
    if (codes.isEmpty())
        return nullptr;
    const QList<int> indexes = AtomSource::indexPathValues(indexPath, codes.size());
    for (int index : indexes) {
        if (index < 1 || (create && index > 10000))
            return nullptr;
    }
    const qsizetype last = codes.size() - 1;
    Atom* current = this;
    qsizetype position = indexIn(mParent, this);
    qsizetype level = 0;
    int count = 0;
    for (;;) {
        if (current->mName == codes.at(level) && ++count == indexes.at(level)) {
            if (level == last)
                return current;
            if (!current->mIsContainer) {
                if (!create || current->size() != 0)
                    return nullptr;
                current->becomeContainer();
            }
            if (current->mContents.empty()) {
                if (!create)
                    return nullptr;
                Ptr child = atomWithName(codes.at(level + 1));
                if (level + 1 < last)
                    child->becomeContainer();
                Atom* added = current->appendChild(std::move(child));
                if (tAutoSizing)
                    added->resizeSiblingFreeBy(-8);
            }
            current = current->mContents.front().get();
            position = 0;
            ++level;
            count = 0;
            continue;
        }
        Atom* parent = current->mParent;
        if (parent && position >= 0 && static_cast<size_t>(position + 1) < parent->mContents.size()) {
            current = parent->mContents[static_cast<size_t>(++position)].get();
            continue;
        }
        if (!create || !parent)
            return nullptr;
        Ptr sibling = atomWithName(codes.at(level));
        if (level < last)
            sibling->becomeContainer();
        current = current->addSibling(std::move(sibling));
        position = static_cast<qsizetype>(parent->mContents.size()) - 1;
    }
}

Atom* Atom::nextSibling() const
{
    const qsizetype i = indexIn(mParent, this);
    if (i < 0 || static_cast<size_t>(i + 1) >= mParent->mContents.size())
        return nullptr;
    return mParent->mContents[static_cast<size_t>(i + 1)].get();
}

Atom* Atom::addSibling(Ptr atom)
{
    if (!mParent || !atom)
        return nullptr;
    Atom* added = mParent->appendChild(std::move(atom));
    if (tAutoSizing)
        added->resizeSiblingFreeBy(-static_cast<qint64>(8 + added->size()));
    return added;
}

Atom* Atom::appendChild(Ptr atom)
{
    if (!atom)
        return nullptr;
    if (!mIsContainer)
        becomeContainer();
    atom->mParent = this;
    mContents.push_back(std::move(atom));
    return mContents.back().get();
}

Atom::Ptr Atom::removeFromContainer()
{
    Atom* parent = mParent;
    const qsizetype i = indexIn(parent, this);
    if (i < 0)
        return nullptr;
    Ptr self = std::move(parent->mContents[static_cast<size_t>(i)]);
    parent->mContents.erase(parent->mContents.begin() + i);
    mParent = nullptr;
    if (tAutoSizing)
        resizeFreeFrom(parent, i, static_cast<qint64>(8 + size()));
    return self;
}

bool Atom::resizeSiblingFreeBy(qint64 delta)
{
    if (delta == 0)
        return true;
    if (!mParent)
        return false;
    return resizeFreeFrom(mParent, indexIn(mParent, this) + 1, delta);
}

QByteArray Atom::flattenedData() const
{
    QByteArray out;
    const quint64 total = flattenedSize();
    if (total <= 0x7FFFFFF0ULL)
        out.reserve(static_cast<qsizetype>(total));
    appendFlattened(out);
    return out;
}

void Atom::appendFlattened(QByteArray& out) const
{
    out += headerFor(mName, flattenedBodySize(), mLongHeader);
    if (mIsContainer) {
        if (mName == kMeta && mMetaVersion)
            out += QByteArray(4, '\0');
        for (const Ptr& child : mContents)
            child->appendFlattened(out);
    } else {
        out += data();
    }
}

bool Atom::isUnchangedFromFile() const
{
    return mPristine && !mIsContainer && mFile;
}

QString Atom::shortDescription() const
{
    if (mIsContainer) {
        const long count = static_cast<long>(mContents.size());
        return WMFormat::string("<%@ %p '%@': contains %ld %@>", "Atom", static_cast<const void*>(this),
                                nameString(), count, count == 1 ? "item" : "items");
    }
    return WMFormat::string("<%@ %p '%@': %qu bytes (%lu hash)>", "Atom", static_cast<const void*>(this),
                            nameString(), size(), atomHash());
}

QString Atom::descriptionWithIndentLevel(int level) const
{
    QString text = QString(4 * qBound(0, level, 1000), QLatin1Char(' ')) + shortDescription();
    if (mIsContainer) {
        for (const Ptr& child : mContents)
            text += QLatin1Char('\n') + child->descriptionWithIndentLevel(level + 1);
    }
    return text;
}
