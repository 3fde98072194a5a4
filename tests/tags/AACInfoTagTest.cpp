#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "tags/AACInfoTag.h"
#include "tags/Atom.h"

#include <QBuffer>
#include <QDateTime>
#include <QFileInfo>
#include <QtEndian>

#include <gtest/gtest.h>

using F = Mp4TestFiles;

namespace {

const QString kNam = QStringLiteral("\u00A9nam");

QString scratch(const QString& name)
{
    return TestSupport::scratchFolder() + QStringLiteral("/aac/") + name + QStringLiteral(".m4a");
}

QString writeM4a(const QString& name, const F::Options& o)
{
    const QString path = scratch(name);
    EXPECT_TRUE(TestSupport::writeFile(path, F::m4a(o)));
    return path;
}

bool hasItem(const QByteArray& file, const QString& item)
{
    return AtomTree(file).at(QStringLiteral("moov:udta:meta:ilst:") + item);
}

// The data of an item's first value atom.
QByteArray itemData(const QByteArray& file, const QString& item)
{
    const AtomTree tree(file);
    Atom* data = tree.at(QStringLiteral("moov:udta:meta:ilst:") + item + QStringLiteral(":data"));
    return data ? data->data() : QByteArray();
}

F::Options richFile()
{
    F::Options o;
    o.items = {F::textItem(kNam, QStringLiteral("Title \u00E9")),
               F::textItem(QStringLiteral("\u00A9ART"), QStringLiteral("Artist")),
               F::textItem(QStringLiteral("\u00A9alb"), QStringLiteral("Album")),
               F::textItem(QStringLiteral("\u00A9day"), QStringLiteral("2003-05-01T00:00:00Z")),
               F::textItem(QStringLiteral("\u00A9lyr"), QStringLiteral("la la\nla")),
               F::genreNumberItem(18),
               F::textItem(QStringLiteral("\u00A9gen"), QStringLiteral("Ignored")),
               F::trackItem(3, 12),
               F::tempoItem(120),
               F::compilationItem(true),
               F::coverItem({F::fakeJpeg(300), F::fakePng(200)}),
               F::textItem(QStringLiteral("aART"), QStringLiteral("Kept as it is"))};
    return o;
}

} // namespace

TEST(AACInfoTag, EveryValueRoundTrips)
{
    F::Options o;
    o.items = {F::textItem(kNam, QStringLiteral("old"))};
    o.freeInMeta = 64;
    const QString path = writeM4a(QStringLiteral("roundtrip"), o);
    auto tag = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    TestSupport::TagValues values = {
        {"title", QStringLiteral("T\u00EDtulo")},         {"artist", QStringLiteral("Artista")},
        {"album", QStringLiteral("\u00C1lbum")},          {"year", QStringLiteral("1999-12-31")},
        {"genre", QStringLiteral("Jazz/Funk")},           {"track", QStringLiteral("7/9")},
        {"lyrics", QStringLiteral("line one\nline two")}, {"bpm", QStringLiteral("98")}};
    TestSupport::setTagValues(*tag, values);
    tag->setIsPartOfCompilation(true);
    ASSERT_TRUE(tag->addImage(*ID3Image::imageWithData(F::fakeJpeg(5000))));
    ASSERT_TRUE(tag->addImage(*ID3Image::imageWithData(F::fakePng(700))));
    EXPECT_TRUE(tag->tagHasBeenModified());
    ASSERT_TRUE(TestSupport::save(*tag, path));

    auto back = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(back);
    values[3].second = QStringLiteral("1999"); // the whole date stays in the attributes
    TestSupport::expectTagValues(*back, values);
    EXPECT_EQ(back->attributes().value(QStringLiteral("year")).toString(), QStringLiteral("1999-12-31"));
    EXPECT_TRUE(back->isPartOfCompilation());
    ASSERT_EQ(back->images().size(), 2);
    EXPECT_EQ(back->images()[0].imageData(), F::fakeJpeg(5000));
    EXPECT_EQ(back->images()[1].imageData(), F::fakePng(700));
    EXPECT_EQ(back->images()[1].mimeFormat(), QStringLiteral("image/png"));
    const QByteArray file = TestSupport::readFile(path);
    F::expectChunksInPlace(file, o);
    // Every picture is stored as type 13, the PNG included.
    const AtomTree tree(file);
    Atom* covr = tree.at(QStringLiteral("moov:udta:meta:ilst:covr"));
    ASSERT_TRUE(covr);
    ASSERT_EQ(covr->contents().size(), 2u);
    for (const Atom::Ptr& data : covr->contents())
        EXPECT_EQ(data->data().left(4), F::be32(13));

    // Clearing values removes their items; compilation is always written.
    back->setTitle(QString());
    back->setGenres(QString());
    back->setTrack(QString());
    back->setBPM(QStringLiteral("0"));
    back->setIsPartOfCompilation(false);
    back->removeAllImages();
    ASSERT_TRUE(TestSupport::save(*back, path));
    const QByteArray cleared = TestSupport::readFile(path);
    for (const QString& item : {kNam, QStringLiteral("\u00A9gen"), QStringLiteral("trkn"),
                                QStringLiteral("tmpo"), QStringLiteral("covr")})
        EXPECT_FALSE(hasItem(cleared, item)) << item.toStdString();
    EXPECT_EQ(itemData(cleared, QStringLiteral("cpil")), F::be32(21) + F::be32(0) + QByteArray(1, '\0'));
    EXPECT_TRUE(hasItem(cleared, QStringLiteral("\u00A9ART")));
    F::expectChunksInPlace(cleared, o);
}

TEST(AACInfoTag, AFileWithoutItemListIsGivenOne)
{
    const char* variants[] = {"no udta", "udta without meta", "meta without ilst"};
    for (int variant = 0; variant < 3; ++variant) {
        SCOPED_TRACE(variants[variant]);
        F::Options o;
        o.withUdta = variant != 0;
        o.withMeta = variant != 1;
        o.withIlst = variant != 2;
        const QString path = writeM4a(QStringLiteral("nometa%1").arg(variant), o);
        auto tag = AACInfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        tag->setTitle(QStringLiteral("x"));
        ASSERT_TRUE(TestSupport::save(*tag, path));
        const QByteArray file = TestSupport::readFile(path);
        EXPECT_EQ(itemData(file, kNam).mid(8), QByteArray("x"));
        F::expectChunksInPlace(file, o);
        const AtomTree tree(file);
        Atom* meta = tree.at(QStringLiteral("moov:udta:meta"));
        ASSERT_TRUE(meta);
        // The metadata handler leads a "meta" we made; one that was there stays.
        ASSERT_GE(meta->contents().size(), 2u);
        EXPECT_EQ(meta->contents().front()->nameString(), QStringLiteral("hdlr"));
        EXPECT_EQ(meta->contents().front()->data().mid(8, 8), QByteArray("mdirappl"));
        if (variant == 1) {
            EXPECT_TRUE(tree.at(QStringLiteral("moov:udta:\u00A9cmt")));
        }
    }

    // Without a movie atom there is no place for a tag: refused with a reason.
    const QString bare = scratch(QStringLiteral("nomoov"));
    const QByteArray bareBytes = F::atom(QStringLiteral("ftyp"), QByteArray("M4A ") + F::be32(0)) +
                                 F::atom(QStringLiteral("mdat"), F::chunkBytes(0, 4000));
    ASSERT_TRUE(TestSupport::writeFile(bare, bareBytes));
    auto tag = AACInfoTag::tagAtPath(bare);
    ASSERT_TRUE(tag);
    tag->setTitle(QStringLiteral("x"));
    QString error;
    EXPECT_FALSE(tag->modifySongFileAtPath(bare, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(TestSupport::readFile(bare), bareBytes);
    AACInfoTag missing;
    EXPECT_FALSE(missing.modifySongFileAtPath(scratch(QStringLiteral("missing")), &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(AACInfoTag, AGrowingWriteMovesTheMediaAndEveryChunkOffset)
{
    for (bool moovLast : {false, true}) {
        F::Options o = richFile();
        o.moovAfterMdat = moovLast;
        const QString path = writeM4a(QStringLiteral("grow%1").arg(moovLast), o);
        const QByteArray before = TestSupport::readFile(path);
        auto tag = AACInfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        tag->setLyrics(QString(5000, QLatin1Char('w')));
        ASSERT_TRUE(TestSupport::save(*tag, path));
        EXPECT_EQ(tag->lastSaveKeptMediaInPlace(), moovLast);
        const QByteArray after = TestSupport::readFile(path);
        const qint64 growth = after.size() - before.size();
        EXPECT_GT(growth, 4900); // 4992 more lyrics, less the numeric genre and a shorter genre text
        const qsizetype oldMdat = before.indexOf("mdat") - 4;
        const qsizetype newMdat = after.indexOf("mdat") - 4;
        EXPECT_EQ(newMdat - oldMdat, moovLast ? 0 : growth);
        const qsizetype mdatLength = 8 + o.chunkCount * o.chunkBytes;
        EXPECT_EQ(after.mid(newMdat, mdatLength), before.mid(oldMdat, mdatLength));
        const QList<quint64> oldOffsets = F::chunkOffsets(before);
        const QList<quint64> newOffsets = F::chunkOffsets(after);
        ASSERT_EQ(newOffsets.size(), oldOffsets.size());
        for (qsizetype i = 0; i < oldOffsets.size(); ++i)
            EXPECT_EQ(newOffsets[i] - oldOffsets[i], static_cast<quint64>(newMdat - oldMdat));
        F::expectChunksInPlace(after, o);
        EXPECT_EQ(AACInfoTag::tagAtPath(path)->lyrics().size(), 5000);

        // A second save in the same process, of the file just written.
        tag->setLyrics(QStringLiteral("short again"));
        tag->setAlbum(QStringLiteral("Second"));
        ASSERT_TRUE(TestSupport::save(*tag, path));
        const QByteArray again = TestSupport::readFile(path);
        F::expectChunksInPlace(again, o);
        auto reread = AACInfoTag::tagAtPath(path);
        EXPECT_EQ(reread->lyrics(), QStringLiteral("short again"));
        EXPECT_EQ(reread->album(), QStringLiteral("Second"));
        EXPECT_EQ(reread->title(), QStringLiteral("Title \u00E9"));
        EXPECT_TRUE(hasItem(again, QStringLiteral("aART"))); // items we do not know survive
    }
}

TEST(AACInfoTag, MediaThatCannotBeRelocatedSafelyIsRefused)
{
    for (int variant = 0; variant < 2; ++variant) {
        F::Options o = richFile();
        o.useCo64 = variant == 0;
        o.tracks = variant == 1 ? 2 : 1;
        o.freeInMeta = 100;
        const QString path = writeM4a(QStringLiteral("refuse%1").arg(variant), o);
        const QByteArray before = TestSupport::readFile(path);
        auto tag = AACInfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        tag->setLyrics(QString(3000, QLatin1Char('r')));
        QString error;
        EXPECT_FALSE(tag->modifySongFileAtPath(path, &error));
        EXPECT_TRUE(error.startsWith(QStringLiteral("cannot update chunk offsets: "))) << error.toStdString();
        EXPECT_TRUE(error.contains(variant == 0 ? QStringLiteral("64-bit") : QStringLiteral("2 tracks")));
        EXPECT_EQ(TestSupport::readFile(path), before);

        // A change the free space absorbs moves nothing, so it is fine.
        tag->setLyrics(QStringLiteral("fits"));
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        F::expectChunksInPlace(TestSupport::readFile(path), o);
    }
}

TEST(AACInfoTag, AChunkTableClaimingTooManyEntriesFailsTheSanityCheck)
{
    F::Options o = richFile();
    QByteArray bytes = F::m4a(o);
    const qsizetype stco = bytes.indexOf("stco");
    qToBigEndian<quint32>(1000, bytes.data() + stco + 8);
    const QString path = scratch(QStringLiteral("insane"));
    ASSERT_TRUE(TestSupport::writeFile(path, bytes));
    auto tag = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setLyrics(QString(2000, QLatin1Char('s')));
    QString error;
    EXPECT_FALSE(tag->modifySongFileAtPath(path, &error));
    EXPECT_EQ(error, QStringLiteral("cannot update chunk offsets"));
    EXPECT_TRUE(TestSupport::readFile(WMLogLocation())
                    .contains("adjustChunkOffsets failed sanity check (4016 > 32)"));
    EXPECT_EQ(TestSupport::readFile(path), bytes);
}

TEST(AACInfoTag, ChunkOffsetsAndTimeStampsInMovieBytes)
{
    F::Options o;
    o.chunkCount = 3;
    const QByteArray file = F::m4a(o);
    const qsizetype moovAt = file.indexOf("moov") - 4;
    const QByteArray movie = file.mid(moovAt, qFromBigEndian<quint32>(file.constData() + moovAt));
    const QList<quint64> offsets = F::chunkOffsets(movie);
    ASSERT_EQ(offsets.size(), 3);

    QByteArray shifted = movie;
    // Entries before the old media offset stay; the others move.
    ASSERT_TRUE(AACInfoTag::adjustChunkOffsetsInAtomData(shifted, static_cast<qint64>(offsets[1]),
                                                         static_cast<qint64>(offsets[1]) + 100));
    EXPECT_EQ(F::chunkOffsets(shifted), (QList<quint64>{offsets[0], offsets[1] + 100, offsets[2] + 100}));
    QByteArray down = movie;
    EXPECT_FALSE(AACInfoTag::adjustChunkOffsetsInAtomData(down, 0, -static_cast<qint64>(offsets[0]) - 1));
    QByteArray none = F::atom(QStringLiteral("moov"), F::atom(QStringLiteral("mvhd"), QByteArray(100, '\0')));
    EXPECT_FALSE(AACInfoTag::adjustChunkOffsetsInAtomData(none, 0, 8));

    QByteArray stamped = movie;
    const QDateTime when(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    ASSERT_TRUE(AACInfoTag::setModifiedTime(when, stamped));
    const quint32 seconds = 3660779045u; // 2020-01-02 03:04:05 UTC since 1904
    for (const char* path : {"moov:mvhd", "moov:trak:tkhd", "moov:trak:mdia:mdhd"}) {
        const qint64 at = Atom::offsetToAtomIn(stamped, QString::fromLatin1(path));
        ASSERT_GE(at, 0);
        EXPECT_EQ(qFromBigEndian<quint32>(stamped.constData() + at + 16), seconds) << path;
        EXPECT_EQ(qFromBigEndian<quint32>(stamped.constData() + at + 12), 0u) << path; // creation untouched
    }
    EXPECT_FALSE(AACInfoTag::setModifiedTime(when, none));
}

TEST(AACInfoTag, DamagedFilesGiveNoTagOrAFlaggedOne)
{
    const QByteArray whole = F::m4a(richFile());
    int unreadable = 0;
    int flagged = 0;
    for (qsizetype cut = 0; cut < whole.size(); cut += 97) {
        const QString path = scratch(QStringLiteral("cut"));
        ASSERT_TRUE(TestSupport::writeFile(path, whole.left(cut)));
        auto tag = AACInfoTag::tagAtPath(path);
        if (!tag)
            ++unreadable;
        else if (tag->encounteredProblemDecoding())
            ++flagged;
    }
    EXPECT_GT(unreadable, 0);
    EXPECT_GT(flagged, 0); // cut inside mdat: the tag is read, the damage noted

    // A cut file is never written with a wrong layout: saving rewrites it whole.
    const QString path = scratch(QStringLiteral("cutmdat"));
    ASSERT_TRUE(TestSupport::writeFile(path, whole.left(whole.size() - 100)));
    auto tag = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setTitle(QStringLiteral("Saved anyway"));
    ASSERT_TRUE(tag->modifySongFileAtPath(path, nullptr));
    EXPECT_EQ(AACInfoTag::tagAtPath(path)->title(), QStringLiteral("Saved anyway"));
}
