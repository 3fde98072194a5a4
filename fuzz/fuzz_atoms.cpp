// Feeds arbitrary bytes to the MPEG-4 atom reader: as a file for the tree and
// the metadata tag, and as a buffer for the tree-less lookups. A tree that
// was read is also edited with free-space compensation and flattened.
#include "tags/AACInfoTag.h"
#include "tags/Atom.h"

#include <QBuffer>
#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);

    try {
        AACInfoTag tag;
        tag.getAttributesFromAACFile(&device);
        (void)tag.title();
        (void)tag.genres();
        (void)tag.images();
    } catch (const std::exception&) {
    }

    try {
        Atom::Ptr root = Atom::atomContainerFromFile(&device);
        (void)root->description();
        Atom::setAutoSizing(true);
        if (Atom* meta = root->childAtAtomPath(QStringLiteral("FILE:moov:udta:meta"))) {
            if (Atom* title = meta->childAtAtomPath(QStringLiteral("meta:ilst:\u00A9nam:data"), true))
                title->setStringValue(QStringLiteral("fuzzed title"));
            if (Atom* covr = meta->childAtAtomPath(QStringLiteral("meta:ilst:covr")))
                covr->removeFromContainer();
        }
        Atom::setAutoSizing(false);
        (void)root->flattenedData();
    } catch (const std::exception&) {
        Atom::setAutoSizing(false);
    }

    try {
        (void)Atom::offsetToAtomIn(bytes, QStringLiteral("moov:trak:mdia:minf:stbl:stco"));
        QByteArray movie = Atom::atomDataIn(bytes, QStringLiteral("moov"));
        if (!movie.isNull()) {
            movie = Atom::headerFor(Atom::codeOf(u"moov"), static_cast<quint64>(movie.size())) + movie;
            (void)AACInfoTag::adjustChunkOffsetsInAtomData(movie, 64, 128);
            (void)AACInfoTag::setModifiedTime(QDateTime::fromSecsSinceEpoch(0), movie);
        }
    } catch (const std::exception&) {
    }
    return 0;
}
