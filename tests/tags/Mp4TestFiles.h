#pragma once

#include "tags/Atom.h"

#include <QBuffer>
#include <QByteArray>
#include <QList>
#include <QString>

// Builds MPEG-4 audio (M4A) test material in code: single atoms, iTunes-style
// item atoms, and whole files with ftyp, moov (mvhd, trak with tkhd, mdia,
// mdhd, hdlr, minf, stbl with stsd/mp4a/esds, stts, stsc, stsz and stco),
// udta/meta/hdlr/ilst, optional free atoms and an mdat whose chunks carry a
// recognisable byte pattern, so that tests can check that every chunk offset
// still points at its own samples after a rewrite.
class Mp4TestFiles
{
public:
    struct Options
    {
        QList<QByteArray> items;    // flattened ilst item atoms (see textItem etc.)
        bool withUdta = true;       // no udta at all when false
        bool withMeta = true;       // udta without meta when false
        bool withIlst = true;       // meta without ilst when false
        int freeInMeta = -1;        // body length of a "free" after ilst inside meta; < 0: none
        int freeAfterMoov = -1;     // body length of a top-level "free" after moov; < 0: none
        bool moovAfterMdat = false; // ftyp, mdat, moov instead of ftyp, moov, mdat
        bool useCo64 = false;       // 64-bit chunk offset table instead of stco
        int tracks = 1;             // further tracks copy the first one's tables
        int chunkCount = 4;
        int chunkBytes = 1024; // bytes per chunk in mdat
        quint32 timeScale = 44100;
        quint32 durationUnits = 441000; // 10 s at 44100
        quint32 sampleRate = 44100;
        quint32 esdsBitRate = 128000; // 0 leaves the field empty
        bool protectedTrack = false;  // "drms" sample entry instead of "mp4a"
    };

    // name: 4 Latin-1 characters ("\u00A9nam" for the copyright-sign names).
    static QByteArray atom(const QString& name, const QByteArray& body);
    static QByteArray fullAtom(const QString& name, quint32 versionAndFlags, const QByteArray& body);
    // A "data" atom: type word, locale 0, value.
    static QByteArray dataAtom(quint32 type, const QByteArray& value);
    static QByteArray textItem(const QString& name, const QString& text);
    static QByteArray trackItem(quint16 track, quint16 total);
    static QByteArray tempoItem(quint16 bpm);
    static QByteArray genreNumberItem(quint16 oneBasedGenre);
    static QByteArray compilationItem(bool on);
    static QByteArray coverItem(const QList<QByteArray>& pictures, quint32 type = 13);

    static QByteArray be16(quint16 v);
    static QByteArray be32(quint32 v);
    static QByteArray be64(quint64 v);

    // A whole M4A file.
    static QByteArray m4a(const Options& options);
    // The bytes of chunk `index` (distinct from every other chunk).
    static QByteArray chunkBytes(int index, int length);
    // A tiny but valid-looking JPEG / PNG byte string of about `length` bytes.
    static QByteArray fakeJpeg(int length);
    static QByteArray fakePng(int length);

    // The chunk offsets of the first track's stco/co64 table in `file`.
    static QList<quint64> chunkOffsets(const QByteArray& file, int track = 1);
    // A test failure for every chunk of the first track whose offset in
    // `file` does not point at that chunk's own bytes.
    static void expectChunksInPlace(const QByteArray& file, const Options& options);
};

// An atom tree read from bytes, kept alive with the device its leaves read.
struct AtomTree
{
    explicit AtomTree(const QByteArray& bytes) : buffer(&data)
    {
        data = bytes;
        buffer.open(QIODevice::ReadOnly);
        root = Atom::atomContainerFromFile(&buffer);
    }
    // The atom at a path below the root ("moov:udta"), or null.
    Atom* at(const QString& path) const { return root->childAtAtomPath(QStringLiteral("FILE:") + path); }
    // The file image the tree stands for (the root's own header dropped).
    QByteArray image() const { return root->flattenedData().mid(8); }

    QByteArray data;
    QBuffer buffer;
    Atom::Ptr root;
};
