#include "SetCommand.h"

#include "CliOutput.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileWriteLock.h"
#include "tags/WriteBatch.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QRegularExpression>

#include <utility>

namespace {

const QStringList& valueOptions()
{
    static const QStringList options = {QStringLiteral("--title"),       QStringLiteral("--artist"),
                                        QStringLiteral("--album"),       QStringLiteral("--year"),
                                        QStringLiteral("--genre"),       QStringLiteral("--track"),
                                        QStringLiteral("--bpm"),         QStringLiteral("--compilation"),
                                        QStringLiteral("--lyrics-file"), QStringLiteral("--add-picture")};
    return options;
}

} // namespace

SetCommand::SetCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

void SetCommand::fail(const QString& key, const QString& argument)
{
    CliOutput::print(mErr, LocalizedStrings::format(key, argument) + QLatin1Char('\n'));
}

bool SetCommand::parse()
{
    bool lyricsFile = false, noLyrics = false;
    for (qsizetype i = 0; i < mArguments.size(); ++i) {
        const QString& arg = mArguments.at(i);
        if (!arg.startsWith(QLatin1String("--"))) {
            mPaths.append(arg);
            continue;
        }
        if (arg == QLatin1String("--no-lyrics")) {
            noLyrics = true;
            mChanges.append({arg, QString()});
            continue;
        }
        if (arg == QLatin1String("--remove-pictures")) {
            mChanges.append({arg, QString()});
            continue;
        }
        if (!valueOptions().contains(arg)) {
            fail(QStringLiteral("CliBadOption"), arg);
            return false;
        }
        if (i + 1 >= mArguments.size()) {
            fail(QStringLiteral("CliMissingValue"), arg);
            return false;
        }
        const QString value = mArguments.at(++i);
        static const QRegularExpression track(QStringLiteral("^[0-9]+(/[0-9]+)?$"));
        static const QRegularExpression number(QStringLiteral("^[0-9]+$"));
        if ((arg == QLatin1String("--track") && !track.match(value).hasMatch()) ||
            (arg == QLatin1String("--bpm") && !number.match(value).hasMatch()) ||
            (arg == QLatin1String("--compilation") && value != QLatin1String("yes") &&
             value != QLatin1String("no"))) {
            fail(QStringLiteral("CliBadValue"), arg + QLatin1Char(' ') + value);
            return false;
        }
        if (arg == QLatin1String("--lyrics-file")) {
            lyricsFile = true;
            QFile file(value);
            if (!file.open(QIODevice::ReadOnly)) {
                fail(QStringLiteral("CliCannotReadFile"), value);
                return false;
            }
            mChanges.append({arg, QString::fromUtf8(file.readAll())});
            continue;
        }
        if (arg == QLatin1String("--add-picture")) {
            QFile file(value);
            if (!file.open(QIODevice::ReadOnly)) {
                fail(QStringLiteral("CliCannotReadFile"), value);
                return false;
            }
            mPictureData = file.readAll();
            QBuffer buffer(&mPictureData);
            buffer.open(QIODevice::ReadOnly);
            QImageReader reader(&buffer);
            const QByteArray format = reader.format();
            if (format.isEmpty() || !reader.size().isValid()) {
                fail(QStringLiteral("CliNotAnImage"), value);
                return false;
            }
            mPictureMime = format == "jpg" || format == "jpeg"
                               ? QStringLiteral("image/jpeg")
                               : QStringLiteral("image/") + QString::fromLatin1(format);
            mChanges.append({arg, value});
            continue;
        }
        mChanges.append({arg, value});
    }
    if (lyricsFile && noLyrics) {
        fail(QStringLiteral("CliBadOption"), QStringLiteral("--no-lyrics"));
        return false;
    }
    if (mPaths.isEmpty()) {
        fail(QStringLiteral("CliSetUsage"));
        return false;
    }
    return true;
}

bool SetCommand::apply(AudioInfoTag& tag)
{
    // Pictures are removed before any is added, whatever the order given.
    for (const auto& [option, value] : std::as_const(mChanges)) {
        if (option == QLatin1String("--remove-pictures"))
            tag.removeAllImages();
    }
    for (const auto& [option, value] : std::as_const(mChanges)) {
        if (option == QLatin1String("--title"))
            tag.setTitle(value);
        else if (option == QLatin1String("--artist"))
            tag.setArtist(value);
        else if (option == QLatin1String("--album"))
            tag.setAlbum(value);
        else if (option == QLatin1String("--year"))
            tag.setYear(value);
        else if (option == QLatin1String("--genre"))
            tag.setGenres(value);
        else if (option == QLatin1String("--track"))
            tag.setTrack(value);
        else if (option == QLatin1String("--bpm"))
            tag.setBPM(value);
        else if (option == QLatin1String("--compilation"))
            tag.setIsPartOfCompilation(value == QLatin1String("yes"));
        else if (option == QLatin1String("--lyrics-file"))
            tag.setLyrics(value);
        else if (option == QLatin1String("--no-lyrics"))
            tag.setLyrics(QString());
        else if (option == QLatin1String("--add-picture")) {
            std::optional<ID3Image> picture = ID3Image::imageWithData(mPictureData, mPictureMime);
            if (!picture || !tag.addImage(*picture))
                return false;
        }
    }
    return true;
}

int SetCommand::run()
{
    if (!parse())
        return 2;
    int status = 0;
    const auto report = [this, &status](const QString& path, bool written, const QString& error,
                                        const QString& version) {
        if (written) {
            CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliWrote"), path, version) +
                                       QLatin1Char('\n'));
            return;
        }
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliWriteFailed"), path, error) +
                                   QLatin1Char('\n'));
        status = 1;
    };
    // Many files: their writes are made durable together, a batch at a time.
    WriteBatch batch;
    const WriteBatch::Scope writing(batch);
    for (const QString& path : std::as_const(mPaths)) {
        // Held from the read to the end of the write: another writer of ours
        // waits, then works on what this one wrote.
        QString lockError;
        const FileWriteLock lock = FileWriteLock::acquire(path, &lockError);
        if (!lock.isLocked()) {
            report(path, false, lockError, QString());
            continue;
        }
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
        if (!tag) {
            fail(QStringLiteral("CliNoTag"), path);
            status = 1;
            continue;
        }
        QString error;
        if (!apply(*tag) || !tag->modifySongFileAtPath(path, &error)) {
            report(path, false,
                   error.isEmpty() ? LocalizedStrings::text(QStringLiteral("ErrorCannotMakeID3")) : error,
                   QString());
            continue;
        }
        WriteBatch::afterWrite(
            path, [&report, path, version = tag->writeVersion()](bool written, const QString& error) {
                report(path, written, error, version);
            });
    }
    batch.commit();
    return status;
}
