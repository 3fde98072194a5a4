#include "SetCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "SetValueCheck.h"

#include "history/ChangeText.h"
#include "history/HistoryRecorder.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileWriteLock.h"
#include "tags/WriteBatch.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#include <utility>

SetCommand::SetCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

void SetCommand::fail(const QString& key, const QString& argument)
{
    CliOutput::print(mErr, LocalizedStrings::format(key, argument) + QLatin1Char('\n'));
}

bool SetCommand::parse(int* status)
{
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("set"), mArguments, mOut, mErr, status);
    if (!parsed)
        return false;
    *status = exitCode(ExitStatus::Usage);
    mPaths = parsed->positionals();
    for (const auto& [option, given] : parsed->options()) {
        if (option == QLatin1String("--no-lyrics") || option == QLatin1String("--remove-pictures")) {
            mChanges.append({option, QString()});
            continue;
        }
        QString refusal;
        // Choices are taken in any case, as everywhere.
        const QString text = option == QLatin1String("--compilation") ? given.toLower() : given;
        const std::optional<QString> checked = SetValueCheck::checked(option, text, &refusal);
        if (!checked) {
            CliOutput::print(mErr, refusal + QLatin1Char('\n'));
            return false;
        }
        const QString& value = *checked;
        if (option == QLatin1String("--lyrics-file")) {
            QFile file(value);
            if (!file.open(QIODevice::ReadOnly)) {
                fail(QStringLiteral("CliCannotReadFile"), value);
                return false;
            }
            mChanges.append({option, QString::fromUtf8(file.readAll())});
            continue;
        }
        if (option == QLatin1String("--add-picture")) {
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
            mChanges.append({option, value});
            continue;
        }
        mChanges.append({option, value});
    }
    if (mChanges.isEmpty()) {
        fail(QStringLiteral("CliNothingToChange"));
        return false;
    }
    return true;
}

bool SetCommand::apply(AudioInfoTag& tag, bool* changed)
{
    using Getter = QString (AudioInfoTag::*)() const;
    using Setter = void (AudioInfoTag::*)(const QString&);
    struct TextOption
    {
        QLatin1String option;
        Getter get;
        Setter set;
    };
    static const TextOption textOptions[] = {
        {QLatin1String("--title"), &AudioInfoTag::title, &AudioInfoTag::setTitle},
        {QLatin1String("--artist"), &AudioInfoTag::artist, &AudioInfoTag::setArtist},
        {QLatin1String("--album"), &AudioInfoTag::album, &AudioInfoTag::setAlbum},
        {QLatin1String("--year"), &AudioInfoTag::year, &AudioInfoTag::setYear},
        {QLatin1String("--genre"), &AudioInfoTag::genres, &AudioInfoTag::setGenres},
        {QLatin1String("--track"), &AudioInfoTag::track, &AudioInfoTag::setTrack},
        {QLatin1String("--bpm"), &AudioInfoTag::bpm, &AudioInfoTag::setBPM},
        {QLatin1String("--lyrics-file"), &AudioInfoTag::lyrics, &AudioInfoTag::setLyrics},
        {QLatin1String("--no-lyrics"), &AudioInfoTag::lyrics, &AudioInfoTag::setLyrics},
    };
    // A value the tag holds already is not set again, so that a file whose
    // values all match is left as it is.
    *changed = false;
    // Pictures are removed before any is added, whatever the order given.
    for (const auto& [option, value] : std::as_const(mChanges)) {
        if (option == QLatin1String("--remove-pictures") && tag.numberOfImages() > 0) {
            tag.removeAllImages();
            *changed = true;
        }
    }
    for (const auto& [option, value] : std::as_const(mChanges)) {
        for (const TextOption& text : textOptions) {
            if (option != text.option)
                continue;
            const QString current = (tag.*text.get)();
            if (current != value && !(current.isEmpty() && value.isEmpty())) {
                (tag.*text.set)(value);
                *changed = true;
            }
        }
        if (option == QLatin1String("--compilation")) {
            const bool wanted = value == QLatin1String("yes");
            if (tag.isPartOfCompilation() != wanted) {
                tag.setIsPartOfCompilation(wanted);
                *changed = true;
            }
        } else if (option == QLatin1String("--add-picture")) {
            std::optional<ID3Image> picture = ID3Image::imageWithData(mPictureData, mPictureMime);
            if (!picture || !tag.addImage(*picture))
                return false;
            *changed = true;
        }
    }
    return true;
}

int SetCommand::run()
{
    int usage = 0;
    if (!parse(&usage))
        return usage;
    int status = 0;
    HistoryRecorder history(OperationKind::Set, HistoryRecorder::sourceOfFiles(mPaths));
    // Told once the file holds the values: each value it changed, old → new,
    // as fix shows them, and recorded in the history.
    const auto report = [&](const QString& path, const TagSnapshot& before, const TagSnapshot& after,
                            const QString& version, bool written, const QString& error) {
        if (!written) {
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliWriteFailed"), path, error) +
                                       QLatin1Char('\n'));
            status = 1;
            return;
        }
        const FileChangeRecord record =
            FileChangeRecord::between(QFileInfo(path).absoluteFilePath(), before, after, ChangeOrigin{});
        QString text = LocalizedStrings::format(QStringLiteral("CliWrote"), path, version);
        for (TagAttribute attribute : record.attributes)
            text += QStringLiteral("\n    ") + ChangeText::change(attribute, record.before, record.after);
        CliOutput::print(mOut, text + QLatin1Char('\n'));
        history.record(record);
    };
    // Many files: their writes are made durable together, a batch at a time.
    WriteBatch batch;
    const WriteBatch::Scope writing(batch);
    for (const QString& path : std::as_const(mPaths)) {
        // Nobody reads on: the files after this one are left alone.
        if (CliOutput::hasFailed(mOut))
            break;
        // Held from the read to the end of the write: another writer of ours
        // waits, then works on what this one wrote.
        QString lockError;
        const FileWriteLock lock = FileWriteLock::acquire(path, &lockError);
        if (!lock.isLocked()) {
            report(path, {}, {}, QString(), false, lockError);
            continue;
        }
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
        if (!tag) {
            fail(QStringLiteral("CliNoTag"), path);
            status = 1;
            continue;
        }
        const TagSnapshot before = TagSnapshot::of(*tag);
        QString error;
        bool changed = false;
        const bool applied = apply(*tag, &changed);
        if (applied && !changed) {
            CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliUnchanged"), path) +
                                       QLatin1Char('\n'));
            continue;
        }
        if (!applied || !tag->modifySongFileAtPath(path, &error)) {
            report(path, {}, {}, QString(), false,
                   error.isEmpty() ? LocalizedStrings::text(QStringLiteral("ErrorTagNotWritten")) : error);
            continue;
        }
        WriteBatch::afterWrite(path, [&report, path, before, after = TagSnapshot::of(*tag),
                                      version = tag->writeVersion()](bool written, const QString& reason) {
            report(path, before, after, version, written, reason);
        });
    }
    batch.commit();
    history.finish();
    if (!history.problem().isEmpty())
        CliOutput::print(mErr, history.problem() + QLatin1Char('\n'));
    return CliOutput::hasFailed(mOut) ? CliOutput::kClosedOutputStatus : status;
}
