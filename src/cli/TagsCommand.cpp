#include "TagsCommand.h"

#include "CliOutput.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/PictureSize.h"
#include "tags/SongFileDevice.h"
#include "tags/SongFileType.h"

#include <QJsonArray>
#include <QJsonDocument>
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

QJsonValue textValue(const QString& value)
{
    return value.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(value);
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
                CliOutput::print(
                    mOut, QString::fromUtf8(
                              QJsonDocument(jsonForTag(path, 0, nullptr)).toJson(QJsonDocument::Compact)) +
                              QLatin1Char('\n'));
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
            const QByteArray line =
                QJsonDocument(jsonForTag(path, dataType, tag.get())).toJson(QJsonDocument::Compact);
            CliOutput::print(mOut, QString::fromUtf8(line) + QLatin1Char('\n'));
        } else if (tag) {
            CliOutput::print(mOut, textForTag(path, dataType, tag.get()));
        }
    }
    return status;
}

QJsonObject TagsCommand::jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag)
{
    QJsonObject o;
    o.insert(QStringLiteral("path"), path);
    o.insert(QStringLiteral("type"), typeName(dataType));
    o.insert(QStringLiteral("readable"), tag != nullptr);
    if (!tag)
        return o;
    o.insert(QStringLiteral("readVersion"), textValue(tag->readVersion()));
    o.insert(QStringLiteral("writeVersion"), textValue(tag->writeVersion()));
    o.insert(QStringLiteral("title"), textValue(tag->title()));
    o.insert(QStringLiteral("artist"), textValue(tag->artist()));
    o.insert(QStringLiteral("album"), textValue(tag->album()));
    o.insert(QStringLiteral("year"), textValue(tag->year()));
    o.insert(QStringLiteral("genres"), textValue(tag->genres()));
    o.insert(QStringLiteral("track"), textValue(tag->track()));
    o.insert(QStringLiteral("bpm"), textValue(tag->bpm()));
    o.insert(QStringLiteral("compilation"), tag->isPartOfCompilation());
    o.insert(QStringLiteral("lyrics"), textValue(tag->lyrics()));
    QJsonArray pictures;
    for (const ID3Image& picture : tag->images()) {
        const QSize size = PictureSize::of(picture.imageData());
        QJsonObject p;
        p.insert(QStringLiteral("mimeType"), textValue(picture.mimeFormat()));
        p.insert(QStringLiteral("bytes"), picture.imageData().size());
        p.insert(QStringLiteral("width"), size.isValid() ? QJsonValue(size.width()) : QJsonValue());
        p.insert(QStringLiteral("height"), size.isValid() ? QJsonValue(size.height()) : QJsonValue());
        p.insert(QStringLiteral("pictureType"), picture.pictureType());
        pictures.append(p);
    }
    o.insert(QStringLiteral("pictureCount"), tag->numberOfImages());
    o.insert(QStringLiteral("pictures"), pictures);
    o.insert(QStringLiteral("duration"), tag->duration());
    o.insert(QStringLiteral("bitrate"), tag->bitrate());
    o.insert(QStringLiteral("samplerate"), tag->samplerate());
    o.insert(QStringLiteral("problem"), tag->encounteredProblemDecoding());
    return o;
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
