#include "HistoryRecorder.h"

#include "UnrecordedChanges.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSettings>

#include <utility>

namespace {

// Files are recorded in batches: one transaction for up to this many files
// or this long after the first of them was written.
constexpr qsizetype kBatchFiles = 64;
constexpr qint64 kBatchMilliseconds = 500;

} // namespace

HistoryRecorder::HistoryRecorder(OperationKind kind, QString source, qint64 undoes, ChangeHistory& history)
    : mKind(kind), mSource(std::move(source)), mUndoes(undoes), mHistory(history),
      mTime(QDateTime::currentDateTimeUtc()),
      mEnabled(QSettings().value(QStringLiteral("recordHistory"), true).toBool())
{
    mKey = QString::number(QCoreApplication::applicationPid()) + QLatin1Char('-') +
           QString::number(mTime.toMSecsSinceEpoch()) + QLatin1Char('-') +
           QString::number(reinterpret_cast<quintptr>(this), 16);
}

HistoryRecorder::~HistoryRecorder()
{
    finish();
}

void HistoryRecorder::record(const FileChangeRecord& record)
{
    if (!mEnabled)
        return;
    if (mPending.isEmpty())
        mPendingSince.start();
    mPending.append(record);
    if (mPending.size() >= kBatchFiles || mPendingSince.elapsed() >= kBatchMilliseconds)
        flush();
}

void HistoryRecorder::flush()
{
    if (mPending.isEmpty())
        return;
    QString problem;
    if (mOperation == 0) {
        if (const std::optional<qint64> id = mHistory.beginOperation(mKind, mSource, mUndoes, QString(), mTime, &problem))
            mOperation = *id;
    }
    const QString notice = mHistory.takeSetAsideNotice();
    if (!notice.isEmpty())
        mProblem = mProblem.isEmpty() ? notice : mProblem + QLatin1Char('\n') + notice;
    const QList<FileChangeRecord> pending = std::exchange(mPending, {});
    if (mOperation != 0 && mHistory.recordFiles(mOperation, pending, &problem)) {
        mRecorded += static_cast<int>(pending.size());
        return;
    }
    mUnrecorded += static_cast<int>(pending.size());
    const UnrecordedChanges aside(mHistory.path());
    bool kept = true;
    for (const FileChangeRecord& record : pending)
        kept = aside.append({mKey, mTime, mKind, mSource, mUndoes, problem, record}) && kept;
    if (kept) {
        mUnrecordedProblem = LocalizedStrings::format(QStringLiteral("HistoryDeferred"), problem);
    } else {
        mUnrecordedProblem = LocalizedStrings::format(QStringLiteral("HistoryNotRecorded"), problem);
        WMLog("History: changes of %@ could not be recorded: %@", mSource, problem);
    }
}

QString HistoryRecorder::sourceOfFiles(const QStringList& paths)
{
    QStringList absolute;
    for (const QString& path : paths)
        absolute.append(QFileInfo(path).absoluteFilePath());
    if (absolute.size() == 1)
        return absolute.constFirst();
    QString common = absolute.isEmpty() ? QString() : QFileInfo(absolute.constFirst()).absolutePath();
    for (const QString& path : std::as_const(absolute)) {
        while (!common.isEmpty() && !path.startsWith(common + QLatin1Char('/')) && common != QLatin1String("/"))
            common = QFileInfo(common).absolutePath() == common ? QString() : QFileInfo(common).absolutePath();
    }
    return common;
}

QString HistoryRecorder::problem() const
{
    if (mUnrecordedProblem.isEmpty() || mProblem.isEmpty())
        return mProblem + mUnrecordedProblem;
    return mProblem + QLatin1Char('\n') + mUnrecordedProblem;
}

void HistoryRecorder::finish()
{
    if (mFinished)
        return;
    mFinished = true;
    flush();
    if (mOperation != 0)
        mHistory.finishOperation(mOperation);
}
