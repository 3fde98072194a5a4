#include "FixReport.h"

#include "ChangeJson.h"
#include "CliOutput.h"
#include "CommandTable.h"
#include "history/ChangeText.h"
#include "run/SongSourceLoader.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "web/WebDBInterface.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <utility>

namespace {

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QString outcomeName(SongOutcome::Kind kind)
{
    switch (kind) {
    case SongOutcome::Kind::Changed:
        return QStringLiteral("changed");
    case SongOutcome::Kind::NothingFound:
        return QStringLiteral("nothingFound");
    case SongOutcome::Kind::WriteFailed:
        return QStringLiteral("failed");
    case SongOutcome::Kind::Complete:
        return QStringLiteral("complete");
    case SongOutcome::Kind::Cancelled:
        return QStringLiteral("cancelled");
    case SongOutcome::Kind::Unreadable:
    case SongOutcome::Kind::Vanished:
        break;
    }
    return QStringLiteral("skipped");
}

} // namespace

FixReport::FixReport(std::FILE* out, std::FILE* err, bool json, bool dryRun,
                     std::function<void(std::FILE*, const QString&)> print)
    : mOut(out), mErr(err), mJson(json), mDryRun(dryRun), mPrint(std::move(print))
{}

QString FixReport::commonFolder(const QList<std::shared_ptr<SongFile>>& songs)
{
    QString common;
    for (const std::shared_ptr<SongFile>& song : songs) {
        const QString folder = QFileInfo(song->path()).path();
        if (common.isNull()) {
            common = folder;
            continue;
        }
        while (!common.isEmpty() && folder != common && !folder.startsWith(common + QLatin1Char('/')))
            common = common == QStringLiteral("/") ? QString() : QFileInfo(common).path();
    }
    return common;
}

QString FixReport::shownPath(const QString& path) const
{
    if (mRoot.isEmpty())
        return path;
    const QString relative = QDir(mRoot).relativeFilePath(QFileInfo(path).absoluteFilePath());
    return relative.startsWith(QLatin1String("..")) ? path : relative;
}

QString FixReport::songName(const std::shared_ptr<SongFile>& song, const SongOutcome& outcome)
{
    QString artist, title;
    if (!outcome.changes.attributes.isEmpty()) {
        // As the song is (or would be) after the run.
        artist = outcome.changes.after.text(TagAttribute::Artist);
        title = outcome.changes.after.text(TagAttribute::Title);
    } else if (song->hasInfotagCached()) {
        AudioInfoTag* tag = song->infotag();
        artist = tag ? tag->artist() : QString();
        title = tag ? tag->title() : QString();
    }
    return (artist.isEmpty() ? text("NoArtist") : artist) + QStringLiteral(" – ") +
           (title.isEmpty() ? text("NoTrackTitle") : title);
}

void FixReport::printSong(const QString& path, const QString& name, const QStringList& lines)
{
    QString block = shownPath(path) + QStringLiteral("  (") + name + QLatin1Char(')');
    for (const QString& line : lines)
        block += QStringLiteral("\n    ") + line;
    mPrint(mOut, block);
}

void FixReport::printSkipped(const std::shared_ptr<SongFile>& song, const QString& path,
                             const QString& reason, int* counter)
{
    ++*counter;
    SongOutcome outcome;
    outcome.kind = SongOutcome::Kind::Unreadable;
    outcome.reason = reason;
    const QString name =
        song ? songName(song, outcome) : text("NoArtist") + QStringLiteral(" – ") + text("NoTrackTitle");
    if (mJson)
        printSongJson(path, name, outcome);
    else
        printSong(path, name, {LocalizedStrings::format(QStringLiteral("CliFixSkippedBecause"), reason)});
}

void FixReport::printSongJson(const QString& path, const QString& name, const SongOutcome& outcome)
{
    QJsonArray sources;
    for (const SourceReport& report : outcome.sources)
        sources.append(QJsonObject{{QStringLiteral("source"), CommandTable::sourceNameOfClass(report.source)},
                                   {QStringLiteral("albums"), report.albums},
                                   {QStringLiteral("error"), ChangeJson::orNull(report.failure.reason())}});
    const qsizetype dash = name.indexOf(QStringLiteral(" – "));
    const QString artist = name.left(dash);
    const QString title = name.mid(dash + 3);
    CliOutput::printJsonLine(
        mOut, QJsonObject{
                  {QStringLiteral("kind"), QStringLiteral("song")},
                  {QStringLiteral("path"), path},
                  {QStringLiteral("relativePath"), shownPath(path)},
                  {QStringLiteral("artist"), artist == text("NoArtist") ? QJsonValue() : QJsonValue(artist)},
                  {QStringLiteral("title"), title == text("NoTrackTitle") ? QJsonValue() : QJsonValue(title)},
                  {QStringLiteral("outcome"), outcomeName(outcome.kind)},
                  {QStringLiteral("error"), ChangeJson::orNull(outcome.reason)},
                  {QStringLiteral("changes"), ChangeJson::changes(outcome.changes)},
                  {QStringLiteral("fromPath"), ChangeJson::pathTags(outcome.fromPath)},
                  {QStringLiteral("sources"), sources},
                  {QStringLiteral("note"), ChangeJson::orNull(outcome.note)},
                  {QStringLiteral("dryRun"), mDryRun}});
}

void FixReport::reportSkippedAtLoad(const SongSourceLoader& loader)
{
    for (const std::shared_ptr<SongFile>& song : loader.allSongs()) {
        if (song->activityStatus() == SongActivityStatus::Problem)
            printSkipped(song, song->path(), text("ReasonDamaged"), &mDamaged);
        else if (song->activityStatus() == SongActivityStatus::Locked)
            printSkipped(song, song->path(), text("ReasonReadOnly"), &mReadOnly);
    }
    for (const SongSourceLoader::UnopenedFile& file : loader.unopenedFiles())
        printSkipped(nullptr, file.path, file.reason, &mUnreadable);
}

void FixReport::reportSong(const std::shared_ptr<SongFile>& song, const SongOutcome& outcome)
{
    if (outcome.kind != SongOutcome::Kind::Cancelled)
        ++mReported;
    // What the web sources said, whatever came of the song.
    bool asked = false;
    for (const SourceReport& report : outcome.sources) {
        const QString name = WebDBInterface::displayName(report.source);
        if (report.failure.kind() == SourceFailure::Kind::NotConfigured) {
            if (!mNotAsked.contains(name)) {
                mNotAsked.insert(name);
                mPrint(mErr, LocalizedStrings::format(QStringLiteral("CliFixSourceNotAsked"), name,
                                                      report.failure.reason()));
            }
            continue;
        }
        asked = true;
        if (report.failed() && !mSourceFailures.contains(name)) {
            mSourceFailures.insert(name, report.failure.reason());
            mFailedSources.append(name + QStringLiteral(": ") + report.failure.reason());
        }
    }
    if (asked) {
        ++mLookedUp;
        if (outcome.allSourcesFailed())
            ++mAllFailed;
    }

    QStringList lines;
    for (TagAttribute attribute : outcome.changes.attributes)
        lines.append(ChangeText::change(attribute, outcome.changes.before, outcome.changes.after) +
                     QStringLiteral("  (") + ChangeText::origin(outcome.changes.originOf(attribute)) +
                     QLatin1Char(')'));
    switch (outcome.kind) {
    case SongOutcome::Kind::Complete:
        ++mComplete;
        return;
    case SongOutcome::Kind::Cancelled:
        return;
    case SongOutcome::Kind::Changed:
        ++mChanged;
        break;
    case SongOutcome::Kind::NothingFound:
        ++mNothingFound;
        lines.append(text("CliFixNothingFound"));
        for (const SourceReport& report : outcome.sources) {
            if (report.failed())
                lines.append(WebDBInterface::displayName(report.source) + QStringLiteral(": ") +
                             report.failure.reason());
        }
        break;
    case SongOutcome::Kind::WriteFailed:
        ++mFailed;
        lines.append(LocalizedStrings::format(mDryRun ? QStringLiteral("CliFixWouldNotWrite")
                                                      : QStringLiteral("CliFixNotWritten"),
                                              outcome.reason));
        mFailures.append(shownPath(song->path()) + QStringLiteral(": ") + outcome.reason);
        break;
    case SongOutcome::Kind::Unreadable:
        ++mUnreadable;
        lines.append(LocalizedStrings::format(QStringLiteral("CliFixSkippedBecause"), outcome.reason));
        break;
    case SongOutcome::Kind::Vanished:
        ++mVanished;
        lines.append(LocalizedStrings::format(QStringLiteral("CliFixSkippedBecause"), outcome.reason));
        break;
    }
    if (!outcome.note.isEmpty())
        lines.append(outcome.note);

    if (mJson)
        printSongJson(song->path(), songName(song, outcome), outcome);
    else
        printSong(song->path(), songName(song, outcome), lines);
}

QString FixReport::sourcesSummary() const
{
    return mFailedSources.join(QStringLiteral("; "));
}

void FixReport::finish(bool cancelled, qint64 notDone, int status)
{
    const int skipped = mDamaged + mReadOnly + mUnreadable + mVanished;
    if (mJson) {
        CliOutput::printJsonLine(
            mOut, QJsonObject{{QStringLiteral("kind"), QStringLiteral("summary")},
                              {QStringLiteral("dryRun"), mDryRun},
                              {QStringLiteral("changed"), mChanged},
                              {QStringLiteral("nothingFound"), mNothingFound},
                              {QStringLiteral("failed"), mFailed},
                              {QStringLiteral("skipped"), skipped},
                              {QStringLiteral("damaged"), mDamaged},
                              {QStringLiteral("readOnly"), mReadOnly},
                              {QStringLiteral("unreadable"), mUnreadable},
                              {QStringLiteral("vanished"), mVanished},
                              {QStringLiteral("complete"), mComplete},
                              {QStringLiteral("cancelled"), cancelled},
                              {QStringLiteral("notDone"), notDone},
                              {QStringLiteral("allSourcesFailed"), allSourcesFailed()},
                              {QStringLiteral("sourceErrors"), ChangeJson::orNull(sourcesSummary())},
                              {QStringLiteral("status"), status}});
        return;
    }
    QStringList kinds;
    const auto add = [&kinds](const char* key, int n) {
        if (n > 0)
            kinds.append(LocalizedStrings::format(QLatin1String(key), qint64(n)));
    };
    add("CliFixSkippedDamaged", mDamaged);
    add("CliFixSkippedReadOnly", mReadOnly);
    add("CliFixSkippedUnreadable", mUnreadable);
    add("CliFixSkippedVanished", mVanished);
    QString skippedText = LocalizedStrings::format(QStringLiteral("CliFixSkipped"), qint64(skipped));
    if (!kinds.isEmpty())
        skippedText += QStringLiteral(" (") + kinds.join(QStringLiteral(", ")) + QLatin1Char(')');
    const QString changed = LocalizedStrings::count(
        mDryRun ? QStringLiteral("CliFixSongsWouldChange") : QStringLiteral("CliFixSongsChanged"), mChanged);
    QString summary;
    if (cancelled)
        summary = LocalizedStrings::format(QStringLiteral("CliFixSummaryStopped"), changed, mNothingFound,
                                           mFailed, skippedText, mComplete, notDone);
    else
        summary = LocalizedStrings::format(mDryRun ? QStringLiteral("CliFixSummaryDryRun")
                                                   : QStringLiteral("CliFixSummary"),
                                           changed, mNothingFound, mFailed, skippedText, mComplete);
    if (!mFailures.isEmpty()) {
        summary += QLatin1Char('\n') + text(mDryRun ? "CliFixFailuresDryRun" : "CliFixFailures");
        for (const QString& failure : mFailures)
            summary += QStringLiteral("\n  ") + failure;
    }
    mPrint(mOut, summary);
    if (allSourcesFailed())
        mPrint(mErr, LocalizedStrings::format(QStringLiteral("CliFixAllSourcesFailed"), sourcesSummary()));
}
