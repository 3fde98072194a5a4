// Interoperability with an independent ID3 implementation (mutagen): what we
// write it reads with the same values and pictures, and what it writes we
// read, carrying the frames we do not interpret over unchanged.
#include "CommandCapture.h"
#include "ID3TestData.h"
#include "TestSupport.h"

#include "MpegTestFiles.h"
#include "cli/SetCommand.h"
#include "tags/MP3InfoTag.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

// Prints one JSON object describing the ID3 tag of argv[1].
const char* kDescribe = R"PY(
import sys, json, hashlib
from mutagen.id3 import ID3
t = ID3(sys.argv[1])
def first(k):
    f = t.get(k)
    return str(f.text[0]) if f is not None and f.text else None
out = {"version": "%d.%d" % (t.version[0], t.version[1])}
for k, name in (("TIT2", "title"), ("TPE1", "artist"), ("TALB", "album"), ("TDRC", "year"), ("TRCK", "track"),
                ("TCON", "genre"), ("TBPM", "bpm"), ("TCMP", "compilation")):
    out[name] = first(k)
uslt = t.getall("USLT")
out["lyrics"] = uslt[0].text if uslt else None
out["USLTlang"] = uslt[0].lang if uslt else None
out["APIC"] = [{"mime": p.mime, "md5": hashlib.md5(p.data).hexdigest(), "type": int(p.type), "desc": p.desc} for p in t.getall("APIC")]
out["COMM"] = [c.text[0] for c in t.getall("COMM")]
out["TXXX"] = {x.desc: x.text[0] for x in t.getall("TXXX")}
print(json.dumps(out))
)PY";

// Writes a full tag into argv[1] in ID3v2.<argv[2]>, pictures from argv[3], argv[4].
const char* kWrite = R"PY(
import sys
from mutagen.id3 import ID3, TIT2, TPE1, TALB, TDRC, TRCK, TCON, TBPM, TCMP, USLT, COMM, TXXX, APIC
t = ID3()
t.add(TIT2(encoding=1, text="Gr\u00fc\u00dfe \u2603 \U0001F3B5"))
t.add(TPE1(encoding=3, text="Bj\u00f6rk & \u5c0f\u6797"))
t.add(TALB(encoding=0, text="Caf\u00e9 Album"))
t.add(TDRC(encoding=0, text="2004"))
t.add(TRCK(encoding=0, text="4/10"))
t.add(TCON(encoding=0, text="Jazz"))
t.add(TBPM(encoding=0, text="128"))
t.add(TCMP(encoding=0, text="1"))
t.add(USLT(encoding=1, lang="deu", desc="d", text="Zeile eins\nZeile \u2603"))
t.add(COMM(encoding=3, lang="eng", desc="", text="a comment \u00e9"))
t.add(TXXX(encoding=1, desc="MusicBrainz Album Id", text="1234-abcd"))
t.add(APIC(encoding=0, mime="image/png", type=3, desc="front", data=open(sys.argv[3], "rb").read()))
t.add(APIC(encoding=1, mime="image/jpeg", type=4, desc="b\u00e4ck \u2603", data=open(sys.argv[4], "rb").read()))
t.save(sys.argv[1], v2_version=int(sys.argv[2]))
)PY";

QJsonObject describe(const QString& path)
{
    return QJsonDocument::fromJson(TestSupport::runPython(kDescribe, {path})).object();
}

// Runs `quillbeat-cli set` in process.
int runSet(const QStringList& arguments)
{
    return CommandCapture::run<SetCommand>(arguments).status;
}

QString md5(const QByteArray& data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

QByteArray fakeJpeg()
{
    return QByteArray("\xff\xd8\xff\xe0\0\x10JFIF", 10) + QByteArray(300, '\x5a');
}

class MutagenInterop : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (TestSupport::pythonWithMutagen().isEmpty())
            GTEST_SKIP() << "mutagen is not installed";
    }
    void TearDown() override { MP3InfoTag::setWriteSynchSafeSizesInV24(false); }
};

} // namespace

TEST_F(MutagenInterop, ItReadsWhatWeWrite)
{
    const QByteArray png = T::png(8, 8);
    const TestSupport::TagValues values = {{"title", QStringLiteral("Gr\u00fc\u00dfe \u2603 \U0001F3B5")},
                                           {"artist", QStringLiteral("Caf\u00e9")},
                                           {"album", QStringLiteral("Album")},
                                           {"year", QStringLiteral("1999")},
                                           {"track", QStringLiteral("2/9")},
                                           {"genre", QStringLiteral("Rock")},
                                           {"bpm", QStringLiteral("120")},
                                           {"lyrics", QStringLiteral("Line \u00e9\nLine \u266a")}};
    struct Case
    {
        int major;
        bool synchSafe;
    };
    for (const Case c : {Case{2, false}, Case{3, false}, Case{4, false}, Case{4, true}}) {
        SCOPED_TRACE(c.major * 10 + (c.synchSafe ? 1 : 0));
        MP3InfoTag::setWriteSynchSafeSizesInV24(c.synchSafe);
        const QString path = T::writeMp3(QStringLiteral("ours-%1%2.mp3").arg(c.major).arg(c.synchSafe),
                                         T::tag(c.major, {}, 20), QByteArray(), 80);
        auto tag = MP3InfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        TestSupport::setTagValues(*tag, values);
        tag->setIsPartOfCompilation(true);
        tag->addImage(ID3Image(png, QString()));
        tag->addImage(ID3Image(fakeJpeg(), QString()));
        ASSERT_TRUE(TestSupport::save(*tag, path));

        const QJsonObject o = describe(path);
        TestSupport::expectJsonValues(o, values);
        TestSupport::expectJsonValues(o, {{"version", QStringLiteral("2.%1").arg(c.major)},
                                          {"compilation", QStringLiteral("1")},
                                          {"USLTlang", QStringLiteral("eng")}});
        const QJsonArray pictures = o.value(QStringLiteral("APIC")).toArray();
        ASSERT_EQ(pictures.size(), 2);
        EXPECT_EQ(pictures.at(0).toObject().value(QStringLiteral("md5")).toString(), md5(png));
        EXPECT_EQ(pictures.at(0).toObject().value(QStringLiteral("mime")).toString(),
                  QStringLiteral("image/png"));
        EXPECT_EQ(pictures.at(1).toObject().value(QStringLiteral("md5")).toString(), md5(fakeJpeg()));
        EXPECT_EQ(pictures.at(1).toObject().value(QStringLiteral("mime")).toString(),
                  QStringLiteral("image/jpeg"));
    }
}

TEST_F(MutagenInterop, WeReadWhatItWritesAndKeepItsOtherFrames)
{
    const QByteArray png = T::png(7, 5);
    const QString pngPath = T::scratchPath(QStringLiteral("m-cover.png"));
    const QString jpegPath = T::scratchPath(QStringLiteral("m-back.jpg"));
    TestSupport::writeFile(pngPath, png);
    TestSupport::writeFile(jpegPath, fakeJpeg());
    for (const int version : {3, 4}) {
        SCOPED_TRACE(version);
        const QString path =
            T::writeMp3(QStringLiteral("theirs-%1.mp3").arg(version), QByteArray(), QByteArray(), 80);
        const QByteArray audio = T::audio(80);
        TestSupport::runPython(kWrite, {path, QString::number(version), pngPath, jpegPath});
        auto tag = MP3InfoTag::tagAtPath(path);
        ASSERT_TRUE(tag);
        EXPECT_TRUE(tag->readVersion().startsWith(QStringLiteral("2.%1").arg(version)));
        EXPECT_FALSE(tag->encounteredProblemDecoding());
        TestSupport::expectTagValues(*tag, {{"title", QStringLiteral("Gr\u00fc\u00dfe \u2603 \U0001F3B5")},
                                            {"artist", QStringLiteral("Bj\u00f6rk & \u5c0f\u6797")},
                                            {"album", QStringLiteral("Caf\u00e9 Album")},
                                            {"year", QStringLiteral("2004")},
                                            {"track", QStringLiteral("4/10")},
                                            {"genre", QStringLiteral("Jazz")},
                                            {"bpm", QStringLiteral("128")},
                                            {"lyrics", QStringLiteral("Zeile eins\nZeile \u2603")}});
        EXPECT_TRUE(tag->isPartOfCompilation());
        ASSERT_EQ(tag->numberOfImages(), 2);
        EXPECT_EQ(tag->images().at(0).imageData(), png);
        EXPECT_EQ(tag->images().at(0).mimeFormat(), QStringLiteral("image/png"));
        EXPECT_EQ(tag->images().at(0).pictureDescription(), QStringLiteral("front"));
        EXPECT_EQ(tag->images().at(1).imageData(), fakeJpeg());
        EXPECT_EQ(tag->images().at(1).pictureDescription(), QStringLiteral("b\u00e4ck \u2603"));
        EXPECT_TRUE(tag->frameIDs().contains(QStringLiteral("COMM")));
        EXPECT_TRUE(tag->frameIDs().contains(QStringLiteral("TXXX")));

        // Our rewrite keeps the frames we only carry, and the audio.
        tag->setAlbum(QStringLiteral("Rewritten"));
        ASSERT_TRUE(TestSupport::save(*tag, path));
        const QByteArray file = TestSupport::readFile(path);
        EXPECT_EQ(file.right(audio.size()), audio);
        const QJsonObject o = describe(path);
        TestSupport::expectJsonValues(o, {{"album", QStringLiteral("Rewritten")}});
        EXPECT_EQ(o.value(QStringLiteral("COMM")).toArray().at(0).toString(),
                  QStringLiteral("a comment \u00e9"));
        EXPECT_EQ(o.value(QStringLiteral("TXXX"))
                      .toObject()
                      .value(QStringLiteral("MusicBrainz Album Id"))
                      .toString(),
                  QStringLiteral("1234-abcd"));
        const QJsonArray pictures = o.value(QStringLiteral("APIC")).toArray();
        ASSERT_EQ(pictures.size(), 2);
        EXPECT_EQ(pictures.at(0).toObject().value(QStringLiteral("desc")).toString(),
                  QStringLiteral("front"));
        EXPECT_EQ(pictures.at(1).toObject().value(QStringLiteral("desc")).toString(),
                  QStringLiteral("b\u00e4ck \u2603"));
    }
}

// Text that ISO-8859-1 cannot hold, set through the command line, reads back
// exactly in the other implementation from both tag versions: no stray
// byte-order mark, surrogate pairs intact.
TEST_F(MutagenInterop, ItReadsOurUnicodeTextExactly)
{
    struct Row
    {
        const char* name;
        QString title;
        QString artist;
    };
    const Row rows[] = {
        {"snowman", QStringLiteral("Gr\u00fc\u00dfe \u2603"), QStringLiteral("Caf\u00e9")},
        {"cjk", QStringLiteral("\u5c0f\u6797 \u305f\u3061"), QStringLiteral("\u0411\u0430\u043d\u0434")},
        {"surrogates", QStringLiteral("\U0001F3B5 Notes \U0001D11E"), QStringLiteral("\U0001F600")},
    };
    for (const int major : {3, 4}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.name) + " v2." + std::to_string(major));
            const QString path =
                T::writeMp3(QStringLiteral("uni-%1-%2.mp3").arg(major).arg(QLatin1String(row.name)),
                            T::tag(major, {T::frame("TALB", T::textBody(QStringLiteral("A")))}));
            ASSERT_EQ(
                runSet({path, QStringLiteral("--title"), row.title, QStringLiteral("--artist"), row.artist}),
                0);
            TestSupport::expectJsonValues(describe(path), {{"version", QStringLiteral("2.%1").arg(major)},
                                                           {"title", row.title},
                                                           {"artist", row.artist}});
        }
    }

    // An ID3v1 comment in UTF-8 becomes a comment frame when the file gains
    // an ID3v2 tag, without turning into question marks.
    MpegTestFiles::Id3v1Fields fields;
    fields.title = "Old";
    fields.comment = QStringLiteral("\u041f\u0440\u0438\u0432\u0435\u0442").toUtf8();
    const QString v1 =
        T::writeMp3(QStringLiteral("uni-v1.mp3"), QByteArray(), MpegTestFiles::id3v1Trailer(fields));
    ASSERT_EQ(runSet({v1, QStringLiteral("--title"), QStringLiteral("\u2603")}), 0);
    const QJsonObject o = describe(v1);
    TestSupport::expectJsonValues(o, {{"title", QStringLiteral("\u2603")}});
    EXPECT_EQ(o.value(QStringLiteral("COMM")).toArray().at(0).toString(),
              QStringLiteral("\u041f\u0440\u0438\u0432\u0435\u0442"));
}
