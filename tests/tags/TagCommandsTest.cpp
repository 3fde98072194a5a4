// The `tags` and `set` commands of quillbeat-cli, run in-process.
#include "CommandCapture.h"
#include "ID3TestData.h"
#include "Mp4TestFiles.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "cli/SetCommand.h"
#include "cli/TagsCommand.h"
#include "tags/AudioInfoTag.h"
#include "tags/MP3InfoTag.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

using CommandRun = CommandCapture;

template <typename Command> CommandRun run(const QStringList& arguments)
{
    return CommandCapture::run<Command>(arguments);
}

QString sampleFile(const QString& name)
{
    return T::writeMp3(name,
                       T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("Caf\u00e9 Song"))),
                                  T::frame("APIC", QByteArray("\0image/png\0\x03\0", 13) + T::png(6, 4))}));
}

} // namespace

TEST(TagCommands, TagsAsJsonAndText)
{
    const QString path = sampleFile(QStringLiteral("cli-tags.mp3"));
    const QString tiny = T::scratchPath(QStringLiteral("cli-tiny.mp3"));
    TestSupport::writeFile(tiny, QByteArray(50, 'x'));
    const CommandRun json = run<TagsCommand>({QStringLiteral("--json"), path, tiny});
    EXPECT_EQ(json.status, 1);
    const QStringList lines = json.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    const QJsonObject o = QJsonDocument::fromJson(lines.at(0).toUtf8()).object();
    TestSupport::expectJsonValues(o, {{"path", path},
                                      {"readable", QStringLiteral("true")},
                                      {"readVersion", QStringLiteral("2.3.0")},
                                      {"title", QStringLiteral("Caf\u00e9 Song")},
                                      {"artist", QString()},
                                      {"pictureCount", QStringLiteral("1")},
                                      {"bitrate", QStringLiteral("128")},
                                      {"samplerate", QStringLiteral("44100")},
                                      {"problem", QStringLiteral("false")}});
    const QJsonObject picture = o.value(QStringLiteral("pictures")).toArray().at(0).toObject();
    TestSupport::expectJsonValues(picture, {{"mimeType", QStringLiteral("image/png")},
                                            {"width", QStringLiteral("6")},
                                            {"height", QStringLiteral("4")}});
    const QJsonObject none = QJsonDocument::fromJson(lines.at(1).toUtf8()).object();
    EXPECT_FALSE(none.value(QStringLiteral("readable")).toBool());

    const CommandRun text = run<TagsCommand>({path});
    EXPECT_EQ(text.status, 0);
    EXPECT_TRUE(text.out.contains(QStringLiteral("  title: Caf\u00e9 Song\n")));
    EXPECT_TRUE(text.out.contains(QStringLiteral("image/png, ")));
    EXPECT_TRUE(text.out.contains(QStringLiteral(", 6x4\n")));
    EXPECT_EQ(run<TagsCommand>({}).status, 2);
    EXPECT_EQ(run<TagsCommand>({QStringLiteral("--bogus"), path}).status, 2);
}

TEST(TagCommands, SetChangesTheTag)
{
    const QString path = sampleFile(QStringLiteral("cli-set.mp3"));
    const QString lyrics = T::scratchPath(QStringLiteral("lyrics.txt"));
    TestSupport::writeFile(lyrics, QStringLiteral("First line\nZweite Zeile \u266a").toUtf8());
    const QString picture = T::scratchPath(QStringLiteral("cover.png"));
    TestSupport::writeFile(picture, T::png(3, 3));
    const CommandRun set = run<SetCommand>(
        {path, QStringLiteral("--title"), QStringLiteral("New \u2603"), QStringLiteral("--artist"),
         QStringLiteral("Band"), QStringLiteral("--track"), QStringLiteral("3/12"),
         QStringLiteral("--compilation"), QStringLiteral("yes"), QStringLiteral("--bpm"),
         QStringLiteral("98"), QStringLiteral("--lyrics-file"), lyrics, QStringLiteral("--remove-pictures"),
         QStringLiteral("--add-picture"), picture});
    EXPECT_EQ(set.status, 0) << set.err.toStdString();
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    TestSupport::expectTagValues(*tag, {{"title", QStringLiteral("New \u2603")},
                                        {"artist", QStringLiteral("Band")},
                                        {"track", QStringLiteral("3/12")},
                                        {"bpm", QStringLiteral("98")},
                                        {"lyrics", QStringLiteral("First line\nZweite Zeile \u266a")}});
    EXPECT_TRUE(tag->isPartOfCompilation());
    ASSERT_EQ(tag->numberOfImages(), 1);
    EXPECT_EQ(tag->images().first().imageData(), T::png(3, 3));

    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--no-lyrics"), QStringLiteral("--compilation"),
                               QStringLiteral("no"), QStringLiteral("--remove-pictures")})
                  .status,
              0);
    tag = MP3InfoTag::tagAtPath(path);
    EXPECT_TRUE(tag->lyrics().isNull());
    EXPECT_FALSE(tag->isPartOfCompilation());
    EXPECT_EQ(tag->numberOfImages(), 0);
    EXPECT_EQ(tag->title(), QStringLiteral("New \u2603"));
}

TEST(TagCommands, SetRefusesBadInputAndLeavesFilesAlone)
{
    const QString path = sampleFile(QStringLiteral("cli-bad.mp3"));
    const QByteArray before = TestSupport::readFile(path);
    // The picture and lyrics given are the song itself: not a picture.
    for (const QString& arguments :
         {QStringLiteral("$ --compilation maybe"), QStringLiteral("$ --title"),
          QStringLiteral("$ --colour red"), QStringLiteral("$ --add-picture $"),
          QStringLiteral("$ --lyrics-file $ --no-lyrics"), QStringLiteral("--title x")})
        EXPECT_EQ(run<SetCommand>(QString(arguments).replace(QLatin1Char('$'), path).split(QLatin1Char(' ')))
                      .status,
                  2)
            << arguments.toStdString();
    EXPECT_EQ(TestSupport::readFile(path), before);

    // A file with too little audio to be an MP3 is not written.
    const QString shortFile = T::scratchPath(QStringLiteral("cli-short.mp3"));
    const QByteArray shortBytes =
        T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("t")))}, 60) + QByteArray(90, '\x22');
    TestSupport::writeFile(shortFile, shortBytes);
    const CommandRun failed =
        run<SetCommand>({shortFile, QStringLiteral("--title"), QStringLiteral("changed")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains(shortFile));
    EXPECT_EQ(TestSupport::readFile(shortFile), shortBytes);
}

// `set` on an MPEG-4 file that has no tag at all gives it an item list: the
// other implementation reads every value back, and each chunk offset still
// points at its own media bytes, also when the movie atom grew in front of
// them.
TEST(TagCommands, SetTagsAnUntaggedMpeg4File)
{
    using F = Mp4TestFiles;
    if (TestSupport::pythonWithMutagen().isEmpty())
        GTEST_SKIP() << "mutagen is not installed";
    const char* dump = R"PY(
import sys, json
from mutagen.mp4 import MP4
f = MP4(sys.argv[1])
t = f.tags or {}
print(json.dumps({"title": t.get("\xa9nam", [None])[0], "artist": t.get("\xa9ART", [None])[0],
                  "year": t.get("\xa9day", [None])[0], "track": list(t.get("trkn", [[0, 0]])[0]),
                  "bpm": t.get("tmpo", [0])[0], "compilation": bool(t.get("cpil", False)),
                  "length": round(f.info.length, 3)}))
)PY";
    struct Row
    {
        const char* name;
        bool udta, meta, ilst, moovAfterMdat;
        int freeAfterMoov;
    };
    const Row rows[] = {
        {"no udta", false, true, true, false, -1},
        {"udta without meta", true, false, true, false, -1},
        {"meta without ilst", true, true, false, false, -1},
        {"moov after mdat", false, true, true, true, -1},
        {"free space after moov", false, true, true, false, 4000},
    };
    const QString title = QStringLiteral("T\u00eftle \u2603 \U0001F3B5");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        F::Options o;
        o.withUdta = row.udta;
        o.withMeta = row.meta;
        o.withIlst = row.ilst;
        o.moovAfterMdat = row.moovAfterMdat;
        o.freeAfterMoov = row.freeAfterMoov;
        const QString path =
            T::scratchPath(QString::fromLatin1(row.name).replace(QLatin1Char(' '), QLatin1Char('-')) +
                           QStringLiteral(".m4a"));
        ASSERT_TRUE(TestSupport::writeFile(path, F::m4a(o)));
        const CommandRun set =
            run<SetCommand>({path, QStringLiteral("--title"), title, QStringLiteral("--artist"),
                             QStringLiteral("Band"), QStringLiteral("--year"), QStringLiteral("1999"),
                             QStringLiteral("--track"), QStringLiteral("3/12"), QStringLiteral("--bpm"),
                             QStringLiteral("120"), QStringLiteral("--compilation"), QStringLiteral("yes")});
        ASSERT_EQ(set.status, 0) << set.err.toStdString();
        EXPECT_TRUE(set.err.isEmpty()) << set.err.toStdString();

        TestSupport::expectJsonValues(QJsonDocument::fromJson(TestSupport::runPython(dump, {path})).object(),
                                      {{"title", title},
                                       {"artist", QStringLiteral("Band")},
                                       {"year", QStringLiteral("1999")},
                                       {"track", QStringLiteral("3/12")},
                                       {"bpm", QStringLiteral("120")},
                                       {"compilation", QStringLiteral("true")},
                                       {"length", QStringLiteral("10")}});

        F::expectChunksInPlace(TestSupport::readFile(path), o);
    }
}

namespace {

// Three files of the kinds `set` writes: ID3v2.3, ID3v1 only, MPEG-4.
QStringList valueFiles(const QString& stem)
{
    MpegTestFiles::Id3v1Fields v1;
    v1.title = "Old";
    const QString m4a = T::scratchPath(stem + QStringLiteral(".m4a"));
    TestSupport::writeFile(m4a, Mp4TestFiles::m4a(Mp4TestFiles::Options()));
    return {sampleFile(stem + QStringLiteral(".mp3")),
            T::writeMp3(stem + QStringLiteral("-v1.mp3"), QByteArray(), MpegTestFiles::id3v1Trailer(v1)),
            m4a};
}

QString valueOf(const QString& path, const QString& option)
{
    const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
    if (!tag)
        return QStringLiteral("(unreadable)");
    if (option == QLatin1String("--year"))
        return tag->year();
    if (option == QLatin1String("--track"))
        return tag->track();
    return tag->bpm();
}

} // namespace

// A number that a tag can't hold as given refuses the whole command, naming
// the value and what the option takes; no file is touched. What is accepted
// reads back as stored, in every kind of file.
TEST(TagCommands, SetChecksValuesBeforeWritingAnything)
{
    struct Row
    {
        const char* option;
        const char* value;
        const char* refusal; // null: accepted and read back as `stored`
        const char* stored;
    };
    const Row rows[] = {
        {"--year", "19x7", "a year is four digits, from 1000 to 9999", nullptr},
        {"--year", "99999", "a year is four digits, from 1000 to 9999", nullptr},
        {"--year", "0999", "a year is four digits, from 1000 to 9999", nullptr},
        {"--year", "-1997", "a year is four digits, from 1000 to 9999", nullptr},
        {"--track", "0", "each from 1 to 65535", nullptr},
        {"--track", "0/12", "each from 1 to 65535", nullptr},
        {"--track", "3/0", "each from 1 to 65535", nullptr},
        {"--track", "70000/80000", "each from 1 to 65535", nullptr},
        {"--track", "3/", "each from 1 to 65535", nullptr},
        {"--track", "three", "each from 1 to 65535", nullptr},
        {"--bpm", "0", "from 1 to 65535", nullptr},
        {"--bpm", "65536", "from 1 to 65535", nullptr},
        {"--bpm", "98.5", "from 1 to 65535", nullptr},
        {"--year", "1000", nullptr, "1000"},
        {"--year", "2024", nullptr, "2024"},
        {"--track", "03/012", nullptr, "3/12"},
        {"--track", "65535", nullptr, "65535"},
        {"--bpm", "0098", nullptr, "98"},
        {"--bpm", "", nullptr, ""},
    };
    int serial = 0;
    for (const Row& row : rows) {
        const std::string name = std::string(row.option) + " \"" + row.value + "\"";
        SCOPED_TRACE(name);
        const QStringList files = valueFiles(QStringLiteral("values-%1").arg(++serial));
        QList<QByteArray> before;
        for (const QString& file : files)
            before.append(TestSupport::readFile(file));
        const QString option = QString::fromLatin1(row.option);
        const CommandRun set =
            run<SetCommand>(files + QStringList{QStringLiteral("--title"), QStringLiteral("Changed"), option,
                                                QString::fromLatin1(row.value)});
        if (row.refusal) {
            EXPECT_EQ(set.status, 2);
            EXPECT_TRUE(set.err.contains(option + QStringLiteral(" \"") + QString::fromLatin1(row.value) +
                                         QLatin1Char('"')))
                << set.err.toStdString();
            EXPECT_TRUE(set.err.contains(QString::fromLatin1(row.refusal))) << set.err.toStdString();
            EXPECT_TRUE(set.out.isEmpty()) << set.out.toStdString();
            for (qsizetype i = 0; i < files.size(); ++i)
                EXPECT_EQ(TestSupport::readFile(files.at(i)), before.at(i)) << files.at(i).toStdString();
        } else {
            EXPECT_EQ(set.status, 0) << set.err.toStdString();
            for (const QString& file : files)
                EXPECT_EQ(valueOf(file, option), QString::fromLatin1(row.stored)) << file.toStdString();
        }
    }
}

// `set` with nothing to change, or with values the file holds already,
// writes nothing and says so.
TEST(TagCommands, SetWithNothingToChangeLeavesFilesAlone)
{
    const QStringList files = valueFiles(QStringLiteral("unchanged"));
    const QStringList values = {
        QStringLiteral("--title"),       QStringLiteral("Same"),    QStringLiteral("--year"),
        QStringLiteral("2001"),          QStringLiteral("--track"), QStringLiteral("4/9"),
        QStringLiteral("--compilation"), QStringLiteral("no"),      QStringLiteral("--remove-pictures")};
    ASSERT_EQ(run<SetCommand>(files + values).status, 0);
    const QDateTime past = QDateTime::currentDateTimeUtc().addDays(-30);
    QList<QByteArray> before;
    for (const QString& file : files) {
        QFile f(file);
        ASSERT_TRUE(f.open(QIODevice::ReadWrite));
        ASSERT_TRUE(f.setFileTime(past, QFileDevice::FileModificationTime));
        before.append(TestSupport::readFile(file));
    }
    const auto untouched = [&] {
        for (qsizetype i = 0; i < files.size(); ++i) {
            EXPECT_EQ(TestSupport::readFile(files.at(i)), before.at(i)) << files.at(i).toStdString();
            EXPECT_EQ(QFileInfo(files.at(i)).lastModified().toSecsSinceEpoch(), past.toSecsSinceEpoch())
                << files.at(i).toStdString();
        }
    };

    const CommandRun nothing = run<SetCommand>(files);
    EXPECT_EQ(nothing.status, 2);
    EXPECT_TRUE(nothing.err.contains(QStringLiteral("nothing to change"))) << nothing.err.toStdString();
    untouched();

    const CommandRun same = run<SetCommand>(files + values);
    EXPECT_EQ(same.status, 0) << same.err.toStdString();
    EXPECT_EQ(same.out.count(QStringLiteral("already holds these values")), files.size())
        << same.out.toStdString();
    untouched();
}

// When the quick search of the first blocks finds no usable frame, the
// playing time comes from the frames themselves: a Xing/Info or VBRI frame
// count, or a walk over the frames. Read as `tags --json` shows it.
TEST(TagCommands, DurationOfFilesTheQuickSearchMisses)
{
    using M = MpegTestFiles;
    const M::FrameSpec cbr; // MPEG-1 layer III, 128 kbit/s, 44.1 kHz
    const QByteArray vbr = M::frames(cbr, 10) + M::frames(M::FrameSpec{M::Version::Mpeg1, 3, 64, 44100}, 10) +
                           M::frames(M::FrameSpec{M::Version::Mpeg1, 3, 192, 44100}, 10);
    const double vbrSeconds = 30 * 1152 / 44100.0;
    const int vbrRate = qRound(vbr.size() * 8 / vbrSeconds / 1000);
    struct Row
    {
        const char* name;
        QByteArray audio;
        double seconds;
        int bitRate, sampleRate;
    };
    const Row rows[] = {
        {"short CBR", M::frames(cbr, 20), 20 * 1152 / 44100.0, 128, 44100},
        {"short VBR with Xing", M::xingFrame(cbr, 30, quint32(vbr.size())) + vbr, vbrSeconds, vbrRate, 44100},
        {"short VBR with VBRI", M::vbriFrame(cbr, 30, quint32(vbr.size())) + vbr, vbrSeconds, vbrRate, 44100},
        {"short MPEG-2 walk", M::frames(M::FrameSpec{M::Version::Mpeg2, 3, 64, 22050}, 50),
         50 * 576 / 22050.0, 64, 22050},
        {"CBR walk behind 20 KB of padding", QByteArray(20000, '\0') + M::frames(cbr, 500),
         500 * 1152 / 44100.0, 128, 44100},
    };
    M::Id3v1Fields v1;
    v1.title = "Trailer";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const QString path =
            T::scratchPath(QString::fromLatin1(row.name).replace(QLatin1Char(' '), QLatin1Char('-')) +
                           QStringLiteral(".mp3"));
        ASSERT_TRUE(M::writeFile(path, T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("t")))}),
                                 row.audio, M::id3v1Trailer(v1)));
        const CommandRun tags = run<TagsCommand>({QStringLiteral("--json"), path});
        ASSERT_EQ(tags.status, 0) << tags.err.toStdString();
        const QJsonObject o = QJsonDocument::fromJson(tags.out.toUtf8()).object();
        EXPECT_NEAR(o.value(QStringLiteral("duration")).toDouble(), row.seconds, 0.001);
        EXPECT_EQ(o.value(QStringLiteral("bitrate")).toInt(), row.bitRate);
        EXPECT_EQ(o.value(QStringLiteral("samplerate")).toInt(), row.sampleRate);
    }
}
