#include "HistoryRecorder.h"

#include "UnrecordedChanges.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <utility>

HistoryRecorder::HistoryRecorder(OperationKind kind, QString source, qint64 undoes, ChangeHistory& history)
    : mKind(kind), mSource(std::move(source)), mUndoes(undoes), mHistory(history),
      mTime(QDateTime::currentDateTimeUtc())
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
    QString problem;
    if (mOperation == 0) {
        if (const std::optional<qint64> id = mHistory.beginOperation(mKind, mSource, mUndoes, QString(), mTime, &problem))
            mOperation = *id;
    }
    const QString notice = mHistory.takeSetAsideNotice();
    if (!notice.isEmpty())
        mProblem = mProblem.isEmpty() ? notice : mProblem + QLatin1Char('\n') + notice;
    if (mOperation != 0 && mHistory.recordFile(mOperation, record, &problem)) {
        ++mRecorded;
        return;
    }
    ++mUnrecorded;
    UnrecordedChanges::Entry entry{mKey, mTime, mKind, mSource, mUndoes, problem, record};
    if (UnrecordedChanges(mHistory.path()).append(entry)) {
        mUnrecordedProblem = LocalizedStrings::format(QStringLiteral("HistoryDeferred"), problem);
    } else {
        mUnrecordedProblem = LocalizedStrings::format(QStringLiteral("HistoryNotRecorded"), problem);
        WMLog("History: %@ could not be recorded: %@", record.path, problem);
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
    if (mOperation != 0)
        mHistory.finishOperation(mOperation);
}
