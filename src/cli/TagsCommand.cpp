#include "TagsCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"

#include "CompactJson.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/PictureSize.h"
#include "tags/SongFileDevice.h"
#include "tags/SongFileType.h"
#include "text/FileNameEncoding.h"

#include <QFileInfo>
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

// The genres of a tag's text ("Rock/Pop"): each on its own.
QStringList genreList(const QString& genres)
{
    QStringList list;
    for (const QString& genre : genres.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (!genre.trimmed().isEmpty())
            list.append(genre.trimmed());
    }
    return list;
}

} // namespace

TagsCommand::TagsCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int TagsCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("tags"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    const bool json = parsed->has(QStringLiteral("--json"));
    const QStringList& paths = parsed->positionals();
    QList<QByteArray> rawPaths;
    const bool rawKnown = mRawArguments.size() == mArguments.size();
    for (qsizetype index : parsed->positionalIndexes())
        rawPaths.append(rawKnown ? mRawArguments.at(index) : QByteArray());
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const QString& path = paths.at(i);
        const QByteArray& raw = rawPaths.at(i);
        if (!raw.isEmpty() && !FileNameEncoding::isRepresentable(raw)) {
            // Opened under the name Qt makes of it, it would not be this file.
            status = 1;
            const QString shown = FileNameEncoding::shellQuoted(raw);
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("SongNameNotUtf8"), shown) +
                                       QLatin1Char('\n'));
            if (json)
                CliOutput::print(mOut, jsonForTag(shown, static_cast<int>(SongDataType::Unknown), nullptr,
                                                  LocalizedStrings::text(QStringLiteral("NameNotUtf8"))) +
                                           '\n');
            if (CliOutput::hasFailed(mOut))
                return CliOutput::kClosedOutputStatus;
            continue;
        }
        // The file is opened once: a pipe, socket, device or folder is
        // refused there (reading one could wait forever); the type the tag
        // is read as is the file's bytes' first, then its name's.
        SongFileDevice file(path);
        if (!file.open(QIODevice::ReadOnly) && file.isSpecialFile()) {
            status = 1;
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("ErrorNotRegularFile"), path) +
                                       QLatin1Char('\n'));
            if (json)
                CliOutput::print(mOut, jsonForTag(path, 0, nullptr,
                                                  LocalizedStrings::text(QStringLiteral("ReasonNotRegularFile"))) +
                                           '\n');
            if (CliOutput::hasFailed(mOut))
                return CliOutput::kClosedOutputStatus;
            continue;
        }
        SongDataType type = SongDataType::Unknown;
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFile(file, true, &type);
        const int dataType = static_cast<int>(type);
        QString error;
        if (!tag) {
            status = 1;
            error = LocalizedStrings::text(QFileInfo::exists(path) ? QStringLiteral("ReasonNoTag")
                                                                   : QStringLiteral("ReasonNoSuchFile"));
            CliOutput::print(mErr, path + QStringLiteral(": ") + error + QLatin1Char('\n'));
        }
        if (json) {
            CliOutput::print(mOut, jsonForTag(path, dataType, tag.get(), error) + '\n');
        } else if (tag) {
            CliOutput::print(mOut, textForTag(path, dataType, tag.get()));
        }
        // Nobody reads on: the other files are not opened.
        if (CliOutput::hasFailed(mOut))
            return CliOutput::kClosedOutputStatus;
    }
    return status;
}

QByteArray TagsCommand::jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag,
                                   const QString& error)
{
    // Every key on every line; what a file lacks (or a file that could not
    // be read) is null.
    CompactJson o;
    const auto text = [&o, tag](const char* key, const QString& value) {
        if (tag && !value.isEmpty())
            o.add(QLatin1String(key), value);
        else
            o.addNull(QLatin1String(key));
    };
    o.add(QLatin1String("path"), path);
    o.add(QLatin1String("type"), typeName(dataType));
    o.add(QLatin1String("readable"), tag != nullptr);
    if (error.isEmpty())
        o.addNull(QLatin1String("error"));
    else
        o.add(QLatin1String("error"), error);
    text("readVersion", tag ? tag->readVersion() : QString());
    text("writeVersion", tag ? tag->writeVersion() : QString());
    text("title", tag ? tag->title() : QString());
    text("artist", tag ? tag->artist() : QString());
    text("album", tag ? tag->album() : QString());
    text("year", tag ? tag->year() : QString());
    const QStringList genres = tag ? genreList(tag->genres()) : QStringList();
    if (genres.isEmpty()) {
        o.addNull(QLatin1String("genres"));
    } else {
        QByteArray list("[");
        for (qsizetype i = 0; i < genres.size(); ++i) {
            if (i > 0)
                list += ',';
            CompactJson::appendString(list, genres.at(i));
        }
        o.addRaw(QLatin1String("genres"), list + ']');
    }
    text("track", tag ? tag->track() : QString());
    text("bpm", tag ? tag->bpm() : QString());
    text("lyrics", tag ? tag->lyrics() : QString());
    if (!tag) {
        for (const char* key : {"compilation", "pictureCount", "pictures", "duration", "bitrate", "samplerate",
                                "problem"})
            o.addNull(QLatin1String(key));
        return o.toJson();
    }
    o.add(QLatin1String("compilation"), tag->isPartOfCompilation());
    std::vector<QByteArray> pictures;
    for (const ID3Image& picture : tag->images()) {
        const QSize size = PictureSize::of(picture.imageData());
        CompactJson p;
        if (picture.mimeFormat().isEmpty())
            p.addNull(QLatin1String("mimeType"));
        else
            p.add(QLatin1String("mimeType"), picture.mimeFormat());
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
    if (tag->duration() >= 0)
        o.add(QLatin1String("duration"), tag->duration());
    else
        o.addNull(QLatin1String("duration"));
    if (tag->bitrate() >= 0)
        o.add(QLatin1String("bitrate"), tag->bitrate());
    else
        o.addNull(QLatin1String("bitrate"));
    if (tag->samplerate() >= 0)
        o.add(QLatin1String("samplerate"), tag->samplerate());
    else
        o.addNull(QLatin1String("samplerate"));
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
    line("genres", genreList(tag->genres()).join(QStringLiteral(", ")));
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
