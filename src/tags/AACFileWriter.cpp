#include "AACFileWriter.h"

#include "AACInfoTag.h"
#include "Atom.h"
#include "AtomFileDevice.h"
#include "FileIdentity.h"
#include "SafeFileRewriter.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QDateTime>
#include <QFileInfo>
#include <QtEndian>

#include <utility>

namespace {

constexpr quint32 kData = 0x64617461; // "data"
constexpr quint32 kHdlr = 0x68646C72; // "hdlr"
constexpr quint32 kMdat = 0x6D646174; // "mdat"
constexpr quint32 kMoov = 0x6D6F6F76; // "moov"
constexpr quint32 kTrak = 0x7472616B; // "trak"

const QString kOffsetsError = QStringLiteral("cannot update chunk offsets");

bool fail(QString* errorText, const QString& text)
{
    if (errorText)
        *errorText = text;
    return false;
}

// The integer value of the leading part of a text, as C's atoi reads it.
int leadingInt(QStringView text)
{
    text = text.trimmed();
    qsizetype i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        negative = text[i++] == QLatin1Char('-');
    qint64 value = 0;
    for (; i < text.size() && text[i].isDigit() && text[i].unicode() < 128 && value < 1000000000; ++i)
        value = value * 10 + (text[i].unicode() - '0');
    return static_cast<int>(negative ? -value : value);
}

quint16 clamp16(int value)
{
    return static_cast<quint16>(qBound(0, value, 0xFFFF));
}

QByteArray valueHeader(quint32 type)
{
    QByteArray header(8, '\0');
    qToBigEndian<quint32>(type, header.data());
    return header;
}

void removeItems(Atom* ilst, const QString& item)
{
    const QString path = QStringLiteral("ilst:") + item;
    while (Atom* atom = ilst->childAtAtomPath(path))
        atom->removeFromContainer();
}

void setItemValue(Atom* ilst, const QString& item, const QByteArray& value)
{
    if (Atom* data = ilst->childAtAtomPath(QStringLiteral("ilst:") + item + QStringLiteral(":data"), true))
        data->setData(value);
    else
        WMLog("AACInfoTag cannot place item '%@'", item);
}

void setItemText(Atom* ilst, const QString& item, const QString& text)
{
    if (text.isEmpty())
        removeItems(ilst, item);
    else
        setItemValue(ilst, item, valueHeader(1) + text.toUtf8());
}

// How many tracks of the movie carry chunk offsets, and whether any of
// them uses the 64-bit table.
void chunkTables(Atom* moov, int* tracks, bool* wide)
{
    *tracks = 0;
    *wide = false;
    for (const Atom::Ptr& trak : moov->contents()) {
        if (trak->name() != kTrak)
            continue;
        const QString base = QStringLiteral("trak:mdia:minf:stbl:");
        const bool stco = trak->childAtAtomPath(base + QStringLiteral("stco")) != nullptr;
        const bool co64 = trak->childAtAtomPath(base + QStringLiteral("co64")) != nullptr;
        if (stco || co64)
            ++*tracks;
        *wide = *wide || co64;
    }
}

// The item list "moov:udta:meta:ilst", made when the file has none, with
// whatever is missing above it; a "meta" made here gets the metadata handler
// that players look for before its items. Null without a "moov".
Atom* findOrMakeItemList(Atom* root)
{
    Atom* moov = root->childAtAtomPath(QStringLiteral("FILE:moov"));
    if (!moov)
        return nullptr;
    if (Atom* ilst = moov->childAtAtomPath(QStringLiteral("moov:udta:meta:ilst")))
        return ilst;
    Atom* meta = moov->childAtAtomPath(QStringLiteral("moov:udta:meta"));
    if (!meta) {
        Atom* udta = moov->childAtAtomPath(QStringLiteral("moov:udta"), true);
        meta = udta ? udta->childAtAtomPath(QStringLiteral("udta:meta"), true) : nullptr;
        if (!meta)
            return nullptr;
        meta->becomeContainer();
        // The version bytes of a "meta" are not part of its counted size.
        if (Atom::autoSizing())
            meta->resizeSiblingFreeBy(-4);
        Atom* hdlr = meta->appendChild(Atom::atomWithName(kHdlr));
        if (Atom::autoSizing())
            hdlr->resizeSiblingFreeBy(-8);
        // Version and flags, no predefined value, handler "mdir" by "appl",
        // the rest of the reserved words and an empty name.
        hdlr->setData(QByteArray(8, '\0') + QByteArray("mdirappl") + QByteArray(9, '\0'));
    }
    return meta->childAtAtomPath(QStringLiteral("meta:ilst"), true);
}

// One replacement: consecutive top-level atoms whose bytes changed.
struct Replacement
{
    qint64 offset = 0;
    qint64 length = 0;
    std::vector<Atom*> atoms;
};

} // namespace

AACFileWriter::AACFileWriter(QString path) : mPath(std::move(path)) {}

void AACFileWriter::writeItems(const AACInfoTag& tag, Atom* ilst, QString* errorText)
{
    const QVariantMap& values = tag.attributes();
    setItemText(ilst, QStringLiteral("\u00A9nam"), values.value(QStringLiteral("title")).toString());
    setItemText(ilst, QStringLiteral("\u00A9ART"), values.value(QStringLiteral("artist")).toString());
    setItemText(ilst, QStringLiteral("\u00A9alb"), values.value(QStringLiteral("album")).toString());
    setItemText(ilst, QStringLiteral("\u00A9day"), values.value(QStringLiteral("year")).toString());
    setItemText(ilst, QStringLiteral("\u00A9lyr"), values.value(QStringLiteral("lyrics")).toString());

    // Genres are always written as text.
    removeItems(ilst, QStringLiteral("gnre"));
    const QString genres = tag.genres();
    if (!genres.isNull())
        setItemValue(ilst, QStringLiteral("\u00A9gen"), valueHeader(1) + genres.toUtf8());
    else
        removeItems(ilst, QStringLiteral("\u00A9gen"));

    const QString track = tag.track();
    if (track.isNull()) {
        removeItems(ilst, QStringLiteral("trkn"));
    } else {
        QByteArray value(16, '\0');
        const qsizetype slash = track.indexOf(QLatin1Char('/'));
        if (slash > 0 && slash < track.size() - 1) {
            qToBigEndian<quint16>(clamp16(leadingInt(QStringView(track).left(slash))), value.data() + 10);
            qToBigEndian<quint16>(clamp16(leadingInt(QStringView(track).mid(slash + 1))), value.data() + 12);
        } else {
            qToBigEndian<quint16>(clamp16(leadingInt(track)), value.data() + 10);
        }
        setItemValue(ilst, QStringLiteral("trkn"), value);
    }

    const int tempo = leadingInt(tag.bpm());
    if (tempo != 0) {
        QByteArray value = valueHeader(21) + QByteArray(2, '\0');
        qToBigEndian<quint16>(clamp16(tempo), value.data() + 8);
        setItemValue(ilst, QStringLiteral("tmpo"), value);
    } else {
        removeItems(ilst, QStringLiteral("tmpo"));
    }

    setItemValue(ilst, QStringLiteral("cpil"),
                 valueHeader(21) + QByteArray(1, tag.isPartOfCompilation() ? '\1' : '\0'));

    const QList<ID3Image> pictures = tag.images();
    if (pictures.isEmpty()) {
        removeItems(ilst, QStringLiteral("covr"));
        return;
    }
    Atom* covr = ilst->childAtAtomPath(QStringLiteral("ilst:covr"), true);
    if (covr && !covr->isContainer() && covr->size() == 0)
        covr->becomeContainer();
    if (!covr || !covr->isContainer()) {
        if (errorText)
            *errorText = QStringLiteral("cannot output covr");
        return;
    }
    while (!covr->contents().empty())
        covr->contents().front()->removeFromContainer();
    for (const ID3Image& picture : pictures) {
        const qsizetype length = picture.imageData().size();
        if (length < 1 || length > 0x7FFFFFFE - 8)
            continue;
        Atom::Ptr data = Atom::atomWithName(kData);
        data->setData(valueHeader(13) + picture.imageData());
        Atom* added = covr->appendChild(std::move(data));
        if (Atom::autoSizing())
            added->resizeSiblingFreeBy(-static_cast<qint64>(8 + added->size()));
    }
}

bool AACFileWriter::write(const AACInfoTag& tag, QString* errorText)
{
    mKeptMediaInPlace = false;
    // The file must still be in the state the tag's values were read from.
    const FileIdentity identity = tag.expectedIdentityAt(mPath);
    AtomFileDevice file(mPath);
    if (!identity.isValid() || !QFileInfo(mPath).isWritable() || !file.open(QIODevice::ReadOnly)) {
        WMLog("AACInfoTag cannot open %@ for updating", mPath);
        return fail(errorText, LocalizedStrings::text(QStringLiteral("ErrorCannotOpenForWrite")));
    }
    if (FileIdentity::of(mPath) != identity) {
        WMLog("AACInfoTag will not write %@: it changed since its tag was read", mPath);
        return fail(errorText, LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), mPath));
    }
    const bool wasAutoSizing = Atom::autoSizing();
    Atom::setAutoSizing(true);
    bool done = false;
    try {
        Atom::Ptr root = Atom::atomContainerFromFile(&file);
        done = writeTree(tag, root.get(), errorText);
        root.reset();
        file.close();
        if (done && !mPendingEdits.isEmpty()) {
            QString rewriteError;
            done = SafeFileRewriter::apply(mPath, mPendingEdits, identity, &rewriteError);
            if (!done) {
                WMLog("AACInfoTag could not write %@: %@", mPath, rewriteError);
                fail(errorText, rewriteError);
            }
        }
    } catch (const std::exception& e) {
        WMLog("AACInfoTag cannot modify %@: %@", mPath, e.what());
        done = fail(errorText,
                    QStringLiteral("can't modify (an error occurred): ") + QString::fromUtf8(e.what()));
    }
    Atom::setAutoSizing(wasAutoSizing);
    mPendingEdits.clear();
    if (!done)
        mKeptMediaInPlace = false;
    return done;
}

bool AACFileWriter::writeTree(const AACInfoTag& tag, Atom* root, QString* errorText)
{
    Atom* ilst = findOrMakeItemList(root);
    if (!ilst) {
        WMLog("AACInfoTag will not write %@: it has no movie atom", mPath);
        return fail(errorText, LocalizedStrings::text(QStringLiteral("ErrorNoMovieAtom")));
    }
    writeItems(tag, ilst, errorText);
    Atom* moov = root->childAtAtomPath(QStringLiteral("FILE:moov"));

    // Lay the top-level atoms out again; unchanged leaves (the media data)
    // keep their bytes in the file.
    std::vector<Replacement> replacements;
    qint64 oldEnd = 0;
    qint64 newOffset = 0;
    qint64 oldMdat = -1;
    qint64 newMdat = -1;
    bool mdatMovesEvenly = true;
    bool startNew = true;
    for (const Atom::Ptr& child : root->contents()) {
        const bool fromFile = child->originalOffset() >= 0;
        const qint64 oldOffset = fromFile ? child->originalOffset() : oldEnd;
        const qint64 oldLength = fromFile ? static_cast<qint64>(child->originalTotalSize()) : 0;
        const quint64 newLength = child->flattenedSize();
        if (child->name() == kMdat && fromFile) {
            if (oldMdat < 0) {
                oldMdat = oldOffset;
                newMdat = newOffset;
            } else if (oldOffset - oldMdat != newOffset - newMdat) {
                mdatMovesEvenly = false;
            }
        }
        if (child->isUnchangedFromFile() && newLength == static_cast<quint64>(oldLength)) {
            startNew = true;
        } else {
            if (startNew)
                replacements.push_back(Replacement{oldOffset, 0, {}});
            startNew = false;
            replacements.back().length += oldLength;
            replacements.back().atoms.push_back(child.get());
        }
        oldEnd = oldOffset + oldLength;
        newOffset += static_cast<qint64>(newLength);
    }

    const bool mediaMoves = oldMdat >= 0 && (newMdat != oldMdat || !mdatMovesEvenly);
    if (mediaMoves) {
        int tracks = 0;
        bool wide = false;
        chunkTables(moov, &tracks, &wide);
        QString reason;
        if (!mdatMovesEvenly)
            reason = QStringLiteral("the media data are split in blocks that would move apart");
        else if (wide)
            reason = QStringLiteral("the chunk offsets are in a 64-bit table");
        else if (tracks > 1)
            reason = QStringLiteral("the chunk offsets are spread over %1 tracks").arg(tracks);
        if (!reason.isEmpty()) {
            WMLog("AACInfoTag will not move the media data of %@: %@", mPath, reason);
            return fail(errorText, kOffsetsError + QStringLiteral(": ") + reason);
        }
    }

    for (const Replacement& r : replacements) {
        QByteArray bytes;
        for (Atom* atom : r.atoms) {
            if (atom != moov) {
                bytes += atom->flattenedData();
                continue;
            }
            QByteArray movie = atom->flattenedData();
            if (movie.size() < 9)
                return fail(errorText, QStringLiteral("cannot generate atom data"));
            if (!AACInfoTag::setModifiedTime(QDateTime::currentDateTimeUtc(), movie))
                return fail(errorText, QStringLiteral("cannot set modification date"));
            if (mediaMoves && !AACInfoTag::adjustChunkOffsetsInAtomData(movie, oldMdat, newMdat))
                return fail(errorText, kOffsetsError);
            bytes += movie;
        }
        mPendingEdits.append(FileEdit{r.offset, r.length, bytes});
    }
    mKeptMediaInPlace = !mediaMoves;
    return true;
}
