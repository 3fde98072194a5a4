#include "TagsCommand.h"

#include "CliOutput.h"
#include "CompactJson.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/PictureSize.h"
#include "tags/SongFileDevice.h"
#include "tags/SongFileType.h"

#include <QRegularExpression>

#include <utility>

namespace {

QString typeName(int dataType)
{
    switch (dataType) {
    case 1:
        return QStringLiteral("MP3");
    case 2:
        return QStringLiteral("AAC");
    default:
        return QStringLiteral("unknown");
    }
}

} // namespace

TagsCommand::TagsCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int TagsCommand::run()
{
    bool json = false;
    QStringList paths;
    for (const QString& arg : std::as_const(mArguments)) {
        if (arg == QLatin1String("--json"))
            json = true;
        else if (arg.startsWith(QLatin1String("--"))) {
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliBadOption"), arg) +
                                       QLatin1Char('\n'));
            return 2;
        } else
            paths.append(arg);
    }
    if (paths.isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliTagsUsage")) + QLatin1Char('\n'));
        return 2;
    }
    int status = 0;
    for (const QString& path : std::as_const(paths)) {
        // The file is opened once: a pipe, socket, device or folder is
        // refused there (reading one could wait forever); the type the tag
        // is read as is the file's bytes' first, then its name's.
        SongFileDevice file(path);
        if (!file.open(QIODevice::ReadOnly) && file.isSpecialFile()) {
            status = 1;
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("ErrorNotRegularFile"), path) +
                                       QLatin1Char('\n'));
            if (json)
                CliOutput::print(mOut, jsonForTag(path, 0, nullptr) + '\n');
            continue;
        }
        SongDataType type = SongDataType::Unknown;
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFile(file, true, &type);
        const int dataType = static_cast<int>(type);
        if (!tag) {
            status = 1;
            if (!json)
                CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliNoTag"), path) +
                                           QLatin1Char('\n'));
        }
        if (json) {
            CliOutput::print(mOut, jsonForTag(path, dataType, tag.get()) + '\n');
        } else if (tag) {
            CliOutput::print(mOut, textForTag(path, dataType, tag.get()));
        }
    }
    return status;
}

QByteArray TagsCommand::jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag)
{
    CompactJson o;
    o.add(QLatin1String("path"), path);
    o.add(QLatin1String("type"), typeName(dataType));
    o.add(QLatin1String("readable"), tag != nullptr);
    if (!tag)
        return o.toJson();
    o.addText(QLatin1String("readVersion"), tag->readVersion());
    o.addText(QLatin1String("writeVersion"), tag->writeVersion());
    o.addText(QLatin1String("title"), tag->title());
    o.addText(QLatin1String("artist"), tag->artist());
    o.addText(QLatin1String("album"), tag->album());
    o.addText(QLatin1String("year"), tag->year());
    o.addText(QLatin1String("genres"), tag->genres());
    o.addText(QLatin1String("track"), tag->track());
    o.addText(QLatin1String("bpm"), tag->bpm());
    o.add(QLatin1String("compilation"), tag->isPartOfCompilation());
    o.addText(QLatin1String("lyrics"), tag->lyrics());
    std::vector<QByteArray> pictures;
    for (const ID3Image& picture : tag->images()) {
        const QSize size = PictureSize::of(picture.imageData());
        CompactJson p;
        p.addText(QLatin1String("mimeType"), picture.mimeFormat());
        p.add(QLatin1String("bytes"), qint64(picture.imageData().size()));
        if (size.isValid()) {
            p.add(QLatin1String("width"), size.width());
            p.add(QLatin1String("height"), size.height());
        } else {
            p.addNull(QLatin1String("width"));
            p.addNull(QLatin1String("height"));
        }
        p.add(QLatin1String("pictureType"), picture.pictureType());
        pictures.push_back(p.toJson());
    }
    o.add(QLatin1String("pictureCount"), tag->numberOfImages());
    o.addRaw(QLatin1String("pictures"), CompactJson::arrayOf(pictures));
    o.add(QLatin1String("duration"), tag->duration());
    o.add(QLatin1String("bitrate"), tag->bitrate());
    o.add(QLatin1String("samplerate"), tag->samplerate());
    o.add(QLatin1String("problem"), tag->encounteredProblemDecoding());
    return o.toJson();
}

QString TagsCommand::textForTag(const QString& path, int dataType, const AudioInfoTag* tag)
{
    QString text = path + QLatin1Char('\n');
    const auto line = [&text](const char* label, const QString& value) {
        text += QStringLiteral("  %1: %2\n").arg(QLatin1String(label), value);
    };
    line("type", typeName(dataType));
    if (!tag)
        return text;
    line("read version", tag->readVersion());
    line("title", tag->title());
    line("artist", tag->artist());
    line("album", tag->album());
    line("year", tag->year());
    line("genres", tag->genres());
    line("track", tag->track());
    line("bpm", tag->bpm());
    line("compilation", tag->isPartOfCompilation() ? QStringLiteral("yes") : QStringLiteral("no"));
    const QString lyrics = tag->lyrics();
    if (lyrics.isEmpty()) {
        line("lyrics", QString());
    } else {
        text += QStringLiteral("  lyrics:\n");
        for (const QString& l : lyrics.split(QRegularExpression(QStringLiteral("\r\n|\r|\n"))))
            text += QStringLiteral("    ") + l + QLatin1Char('\n');
    }
    const QList<ID3Image> pictures = tag->images();
    line("pictures", QString::number(tag->numberOfImages()));
    for (qsizetype i = 0; i < pictures.size(); ++i) {
        const ID3Image& picture = pictures.at(i);
        const QSize size = PictureSize::of(picture.imageData());
        text +=
            QStringLiteral("    %1: %2, %3 bytes, %4\n")
                .arg(i + 1)
                .arg(picture.mimeFormat().isEmpty() ? QStringLiteral("unknown type") : picture.mimeFormat())
                .arg(picture.imageData().size())
                .arg(size.isValid() ? QStringLiteral("%1x%2").arg(size.width()).arg(size.height())
                                    : QStringLiteral("unreadable image"));
    }
    const double seconds = tag->duration();
    line("duration", seconds < 0 ? QStringLiteral("unknown")
                                 : QStringLiteral("%1 s (%2)").arg(seconds).arg(tag->formattedDuration()));
    line("bit rate",
         tag->bitrate() < 0 ? QStringLiteral("unknown") : QStringLiteral("%1 kbit/s").arg(tag->bitrate()));
    line("sample rate",
         tag->samplerate() < 0 ? QStringLiteral("unknown") : QStringLiteral("%1 Hz").arg(tag->samplerate()));
    line("problem", tag->encounteredProblemDecoding() ? QStringLiteral("yes") : QStringLiteral("no"));
    return text;
}
