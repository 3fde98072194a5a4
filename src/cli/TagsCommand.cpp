#include "TagsCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"

#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/PosixFile.h"
#include "text/FileNameEncoding.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>
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

// Pixel size of a picture without decoding it; invalid when unreadable.
QSize pictureSize(const QByteArray& data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return reader.size();
}

QJsonValue textValue(const QString& value)
{
    return value.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(value);
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
                CliOutput::printJsonLine(mOut,
                                         jsonForTag(shown, static_cast<int>(SongDataType::Unknown), nullptr,
                                                    LocalizedStrings::text(QStringLiteral("NameNotUtf8"))));
            if (CliOutput::hasFailed(mOut))
                return CliOutput::kClosedOutputStatus;
            continue;
        }
        // A pipe, socket, device or folder is never opened: reading one
        // could wait forever.
        if (PosixFile::isSpecialFile(path)) {
            status = 1;
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("ErrorNotRegularFile"), path) +
                                       QLatin1Char('\n'));
            if (json)
                CliOutput::printJsonLine(
                    mOut, jsonForTag(path, 0, nullptr,
                                     LocalizedStrings::text(QStringLiteral("ReasonNotRegularFile"))));
            if (CliOutput::hasFailed(mOut))
                return CliOutput::kClosedOutputStatus;
            continue;
        }
        // The type the tag is read as: the file's bytes first, then its name,
        // as the tag factory decides.
        int dataType = static_cast<int>(SongFile::songDataTypeAtPath(path));
        if (dataType == static_cast<int>(SongDataType::Unknown))
            dataType = SongFile::claimsToBeMP3(path)   ? static_cast<int>(SongDataType::MPEGAudio)
                       : SongFile::claimsToBeAAC(path) ? static_cast<int>(SongDataType::MPEG4Audio)
                                                       : dataType;
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, true);
        QString error;
        if (!tag) {
            status = 1;
            error = LocalizedStrings::text(QFileInfo::exists(path) ? QStringLiteral("ReasonNoTag")
                                                                   : QStringLiteral("ReasonNoSuchFile"));
            CliOutput::print(mErr, path + QStringLiteral(": ") + error + QLatin1Char('\n'));
        }
        if (json) {
            CliOutput::printJsonLine(mOut, jsonForTag(path, dataType, tag.get(), error));
        } else if (tag) {
            CliOutput::print(mOut, textForTag(path, dataType, tag.get()));
        }
        // Nobody reads on: the other files are not opened.
        if (CliOutput::hasFailed(mOut))
            return CliOutput::kClosedOutputStatus;
    }
    return status;
}

QJsonObject TagsCommand::jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag,
                                    const QString& error)
{
    // Every key on every line; what a file lacks (or a file that could not
    // be read) is null.
    const QJsonValue null;
    QJsonObject o;
    o.insert(QStringLiteral("path"), path);
    o.insert(QStringLiteral("type"), typeName(dataType));
    o.insert(QStringLiteral("readable"), tag != nullptr);
    o.insert(QStringLiteral("error"), error.isEmpty() ? null : QJsonValue(error));
    o.insert(QStringLiteral("readVersion"), tag ? textValue(tag->readVersion()) : null);
    o.insert(QStringLiteral("writeVersion"), tag ? textValue(tag->writeVersion()) : null);
    o.insert(QStringLiteral("title"), tag ? textValue(tag->title()) : null);
    o.insert(QStringLiteral("artist"), tag ? textValue(tag->artist()) : null);
    o.insert(QStringLiteral("album"), tag ? textValue(tag->album()) : null);
    o.insert(QStringLiteral("year"), tag ? textValue(tag->year()) : null);
    o.insert(QStringLiteral("genres"), tag && !tag->genres().isEmpty()
                                           ? QJsonValue(QJsonArray::fromStringList(genreList(tag->genres())))
                                           : null);
    o.insert(QStringLiteral("track"), tag ? textValue(tag->track()) : null);
    o.insert(QStringLiteral("bpm"), tag ? textValue(tag->bpm()) : null);
    o.insert(QStringLiteral("compilation"), tag ? QJsonValue(tag->isPartOfCompilation()) : null);
    o.insert(QStringLiteral("lyrics"), tag ? textValue(tag->lyrics()) : null);
    QJsonArray pictures;
    if (tag) {
        for (const ID3Image& picture : tag->images()) {
            const QSize size = pictureSize(picture.imageData());
            QJsonObject p;
            p.insert(QStringLiteral("mimeType"), textValue(picture.mimeFormat()));
            p.insert(QStringLiteral("bytes"), picture.imageData().size());
            p.insert(QStringLiteral("width"), size.isValid() ? QJsonValue(size.width()) : null);
            p.insert(QStringLiteral("height"), size.isValid() ? QJsonValue(size.height()) : null);
            p.insert(QStringLiteral("pictureType"), picture.pictureType());
            pictures.append(p);
        }
    }
    o.insert(QStringLiteral("pictureCount"), tag ? QJsonValue(tag->numberOfImages()) : null);
    o.insert(QStringLiteral("pictures"), tag ? QJsonValue(pictures) : null);
    o.insert(QStringLiteral("duration"), tag && tag->duration() >= 0 ? QJsonValue(tag->duration()) : null);
    o.insert(QStringLiteral("bitrate"), tag && tag->bitrate() >= 0 ? QJsonValue(tag->bitrate()) : null);
    o.insert(QStringLiteral("samplerate"),
             tag && tag->samplerate() >= 0 ? QJsonValue(tag->samplerate()) : null);
    o.insert(QStringLiteral("problem"), tag ? QJsonValue(tag->encounteredProblemDecoding()) : null);
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
        const QSize size = pictureSize(picture.imageData());
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
