// Interoperability with mutagen, the independent MP4 tag library used here as
// a peer: files it writes are read by our tag, and files we write are read by
// it with the same values. Skipped when no Python with mutagen is present.
#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "tags/AACInfoTag.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using F = Mp4TestFiles;

namespace {

QString scratch(const QString& name)
{
    return TestSupport::scratchFolder() + QStringLiteral("/mutagen/") + name;
}

QString sha1(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex());
}

const char* kWriteScript = R"(
import sys
from mutagen.mp4 import MP4, MP4Cover
f = MP4(sys.argv[1])
jpeg = open(sys.argv[2], 'rb').read()
png = open(sys.argv[3], 'rb').read()
f['\xa9nam'] = ['Mutagen Title \u2713']
f['\xa9ART'] = ['Mutagen Artist']
f['\xa9alb'] = ['Mutagen Album']
f['\xa9day'] = ['2011-06-01']
f['\xa9lyr'] = ['first line\nsecond line']
f['\xa9gen'] = ['Electronic']
f['trkn'] = [(4, 11)]
f['tmpo'] = [140]
f['cpil'] = True
f['covr'] = [MP4Cover(jpeg, imageformat=MP4Cover.FORMAT_JPEG), MP4Cover(png, imageformat=MP4Cover.FORMAT_PNG)]
f.save()
)";

const char* kDumpScript = R"(
import sys, json, hashlib
from mutagen.mp4 import MP4, MP4Cover
f = MP4(sys.argv[1])
t = f.tags
out = {}
for key, name in [('\xa9nam', 'title'), ('\xa9ART', 'artist'), ('\xa9alb', 'album'), ('\xa9day', 'year'),
                  ('\xa9lyr', 'lyrics'), ('\xa9gen', 'genre')]:
    if key in t:
        out[name] = t[key][0]
if 'trkn' in t:
    out['track'] = list(t['trkn'][0])
if 'tmpo' in t:
    out['bpm'] = t['tmpo'][0]
if 'cpil' in t:
    out['compilation'] = bool(t['cpil'])
out['gnre'] = 'gnre' in t
out['covers'] = [[hashlib.sha1(bytes(c)).hexdigest(), c.imageformat == MP4Cover.FORMAT_JPEG] for c in t.get('covr', [])]
out['length'] = round(f.info.length, 3)
print(json.dumps(out))
)";

QJsonObject dump(const QString& path)
{
    return QJsonDocument::fromJson(TestSupport::runPython(kDumpScript, {path})).object();
}

} // namespace

TEST(Mp4Mutagen, FilesWrittenByMutagenAreRead)
{
    if (TestSupport::pythonWithMutagen().isEmpty())
        GTEST_SKIP() << "no Python with mutagen";
    F::Options o;
    o.items = {F::textItem(QStringLiteral("\u00A9cmt"), QStringLiteral("before"))};
    const QString path = scratch(QStringLiteral("by-mutagen.m4a"));
    const QByteArray jpeg = F::fakeJpeg(40000);
    const QByteArray png = F::fakePng(3000);
    ASSERT_TRUE(TestSupport::writeFile(path, F::m4a(o)));
    ASSERT_TRUE(TestSupport::writeFile(scratch(QStringLiteral("c.jpg")), jpeg));
    ASSERT_TRUE(TestSupport::writeFile(scratch(QStringLiteral("c.png")), png));
    TestSupport::runPython(kWriteScript,
                           {path, scratch(QStringLiteral("c.jpg")), scratch(QStringLiteral("c.png"))});

    auto tag = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    TestSupport::expectTagValues(*tag, {{"title", QStringLiteral("Mutagen Title \u2713")},
                                        {"artist", QStringLiteral("Mutagen Artist")},
                                        {"album", QStringLiteral("Mutagen Album")},
                                        {"year", QStringLiteral("2011")},
                                        {"lyrics", QStringLiteral("first line\nsecond line")},
                                        {"genre", QStringLiteral("Electronic")},
                                        {"track", QStringLiteral("4/11")},
                                        {"bpm", QStringLiteral("140")}});
    EXPECT_TRUE(tag->isPartOfCompilation());
    ASSERT_EQ(tag->images().size(), 2);
    EXPECT_EQ(tag->images()[0].imageData(), jpeg);
    EXPECT_EQ(tag->images()[0].mimeFormat(), QStringLiteral("image/jpeg"));
    EXPECT_EQ(tag->images()[1].imageData(), png);
    EXPECT_EQ(tag->images()[1].mimeFormat(), QStringLiteral("image/png"));
    EXPECT_DOUBLE_EQ(tag->duration(), 10.0);

    // And we can write the file mutagen wrote.
    tag->setTitle(QStringLiteral("Ours now"));
    ASSERT_TRUE(TestSupport::save(*tag, path));
    TestSupport::expectJsonValues(
        dump(path), {{"title", QStringLiteral("Ours now")}, {"artist", QStringLiteral("Mutagen Artist")}});
}

TEST(Mp4Mutagen, ANumericGenreKeptByMutagenIsRead)
{
    if (TestSupport::pythonWithMutagen().isEmpty())
        GTEST_SKIP() << "no Python with mutagen";
    // mutagen offers no way to write a numeric genre, but it shows how it
    // reads one, and after it saved the file we read what it left.
    F::Options o;
    o.items = {F::genreNumberItem(18), F::textItem(QStringLiteral("\u00A9nam"), QStringLiteral("x"))};
    const QString path = scratch(QStringLiteral("gnre.m4a"));
    ASSERT_TRUE(TestSupport::writeFile(path, F::m4a(o)));
    TestSupport::expectJsonValues(dump(path), {{"genre", QStringLiteral("Rock")}});
    TestSupport::runPython("import sys\nfrom mutagen.mp4 import MP4\nf = MP4(sys.argv[1])\n"
                           "f['\\xa9nam'] = ['y']\nf.save()\n",
                           {path});
    auto tag = AACInfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    TestSupport::expectTagValues(*tag, {{"title", QStringLiteral("y")}, {"genre", QStringLiteral("Rock")}});
}

TEST(Mp4Mutagen, FilesWeWriteAreReadByMutagenWithEqualValues)
{
    if (TestSupport::pythonWithMutagen().isEmpty())
        GTEST_SKIP() << "no Python with mutagen";
    const TestSupport::TagValues values = {{"title", QStringLiteral("T\u00EDtulo \u266B")},
                                           {"artist", QStringLiteral("Artist")},
                                           {"album", QStringLiteral("Album")},
                                           {"year", QStringLiteral("1987")},
                                           {"lyrics", QStringLiteral("one\ntwo")},
                                           {"genre", QStringLiteral("Jazz")},
                                           {"track", QStringLiteral("2/13")},
                                           {"bpm", QStringLiteral("101")}};
    for (bool growing : {false, true}) {
        SCOPED_TRACE(growing ? "growing" : "in the free space");
        F::Options o;
        o.items = {F::genreNumberItem(18)};
        o.freeInMeta = growing ? -1 : 60000;
        const QString path = scratch(QStringLiteral("ours%1.m4a").arg(growing));
        ASSERT_TRUE(TestSupport::writeFile(path, F::m4a(o)));
        auto tag = AACInfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        const QByteArray jpeg = F::fakeJpeg(20000);
        const QByteArray png = F::fakePng(900);
        TestSupport::setTagValues(*tag, values);
        tag->setIsPartOfCompilation(true);
        tag->addImage(*ID3Image::imageWithData(jpeg));
        tag->addImage(*ID3Image::imageWithData(png));
        ASSERT_TRUE(TestSupport::save(*tag, path));
        EXPECT_EQ(tag->lastSaveKeptMediaInPlace(), !growing);

        const QJsonObject m = dump(path);
        TestSupport::expectJsonValues(m, values);
        EXPECT_FALSE(m.value(QStringLiteral("gnre")).toBool());
        EXPECT_TRUE(m.value(QStringLiteral("compilation")).toBool());
        const QJsonArray covers = m.value(QStringLiteral("covers")).toArray();
        ASSERT_EQ(covers.size(), 2);
        EXPECT_EQ(covers[0].toArray()[0].toString(), sha1(jpeg));
        EXPECT_EQ(covers[1].toArray()[0].toString(), sha1(png));
        EXPECT_DOUBLE_EQ(m.value(QStringLiteral("length")).toDouble(), 10.0);
    }
}
