// The `tags` and `set` commands of quillbeat-cli, run in-process.
#include "ID3TestData.h"
#include "TestSupport.h"

#include "cli/SetCommand.h"
#include "cli/TagsCommand.h"
#include "tags/MP3InfoTag.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

// Runs a command with its output and errors captured.
struct CommandRun
{
    int status = -1;
    QString out, err;
};

QString readAll(std::FILE* f)
{
    std::rewind(f);
    QByteArray bytes;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
        bytes.append(buffer, static_cast<qsizetype>(n));
    std::fclose(f);
    return QString::fromUtf8(bytes);
}

template <typename Command> CommandRun run(const QStringList& arguments)
{
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    CommandRun result;
    result.status = Command(arguments, out, err).run();
    result.out = readAll(out);
    result.err = readAll(err);
    return result;
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
    EXPECT_EQ(o.value(QStringLiteral("path")).toString(), path);
    EXPECT_TRUE(o.value(QStringLiteral("readable")).toBool());
    EXPECT_EQ(o.value(QStringLiteral("readVersion")).toString(), QStringLiteral("2.3.0"));
    EXPECT_EQ(o.value(QStringLiteral("title")).toString(), QStringLiteral("Caf\u00e9 Song"));
    EXPECT_TRUE(o.value(QStringLiteral("artist")).isNull());
    EXPECT_EQ(o.value(QStringLiteral("pictureCount")).toInt(), 1);
    const QJsonObject picture = o.value(QStringLiteral("pictures")).toArray().at(0).toObject();
    EXPECT_EQ(picture.value(QStringLiteral("mimeType")).toString(), QStringLiteral("image/png"));
    EXPECT_EQ(picture.value(QStringLiteral("width")).toInt(), 6);
    EXPECT_EQ(picture.value(QStringLiteral("height")).toInt(), 4);
    EXPECT_EQ(o.value(QStringLiteral("bitrate")).toInt(), 128);
    EXPECT_EQ(o.value(QStringLiteral("samplerate")).toInt(), 44100);
    EXPECT_FALSE(o.value(QStringLiteral("problem")).toBool());
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
    EXPECT_EQ(tag->title(), QStringLiteral("New \u2603"));
    EXPECT_EQ(tag->artist(), QStringLiteral("Band"));
    EXPECT_EQ(tag->track(), QStringLiteral("3/12"));
    EXPECT_EQ(tag->bpm(), QStringLiteral("98"));
    EXPECT_TRUE(tag->isPartOfCompilation());
    EXPECT_EQ(tag->lyrics(), QStringLiteral("First line\nZweite Zeile \u266a"));
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
    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--track"), QStringLiteral("three")}).status, 2);
    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--compilation"), QStringLiteral("maybe")}).status, 2);
    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--title")}).status, 2);
    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--colour"), QStringLiteral("red")}).status, 2);
    EXPECT_EQ(run<SetCommand>({path, QStringLiteral("--add-picture"), path}).status, 2); // not a picture
    EXPECT_EQ(
        run<SetCommand>({path, QStringLiteral("--lyrics-file"), path, QStringLiteral("--no-lyrics")}).status,
        2);
    EXPECT_EQ(run<SetCommand>({QStringLiteral("--title"), QStringLiteral("x")}).status, 2);
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
