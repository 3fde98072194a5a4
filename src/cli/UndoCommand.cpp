#include "UndoCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "history/ChangeHistory.h"
#include "history/HistoryUndo.h"
#include "support/LocalizedStrings.h"

#include <utility>

namespace {

QString attributeNames(const QList<TagAttribute>& attributes)
{
    QStringList names;
    for (TagAttribute attribute : attributes)
        names.append(TagSnapshot::nameOf(attribute));
    return names.join(QStringLiteral(", "));
}

} // namespace

UndoCommand::UndoCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int UndoCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("undo"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    const bool dryRun = parsed->has(QStringLiteral("--dry-run"));
    const bool force = parsed->has(QStringLiteral("--force"));
    const bool last = parsed->has(QStringLiteral("--last"));
    qint64 id = parsed->positionals().isEmpty() ? 0 : parsed->positionals().first().toLongLong();
    if (last == !parsed->positionals().isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::text(last ? QStringLiteral("CliUndoBoth")
                                                           : QStringLiteral("CliUndoNeedsOperation")) +
                                   QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    }
    ChangeHistory& history = ChangeHistory::shared();
    QString problem;
    if (!history.open(&problem)) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem) +
                                   QLatin1Char('\n'));
        return 1;
    }
    if (const QString notice = history.takeSetAsideNotice(); !notice.isEmpty())
        CliOutput::print(mErr, notice + QLatin1Char('\n'));
    if (last)
        id = history.lastOperationID();
    if (id == 0) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliHistoryEmpty")) + QLatin1Char('\n'));
        return 2;
    }
    const HistoryUndo::Result result = HistoryUndo::undo(history, id, dryRun, force);
    if (!result.found) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliHistoryNoOperation"), id) +
                                   QLatin1Char('\n'));
        return 2;
    }
    qint64 restored = 0;
    for (const HistoryUndo::FileResult& file : result.files) {
        const QString names = attributeNames(file.attributes);
        switch (file.outcome) {
        case HistoryUndo::Outcome::Restored:
            ++restored;
            CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliUndoRestored"), file.path, names) +
                                       QLatin1Char('\n'));
            break;
        case HistoryUndo::Outcome::WouldRestore:
            ++restored;
            CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliUndoWouldRestore"), file.path, names) +
                                       QLatin1Char('\n'));
            break;
        case HistoryUndo::Outcome::AlreadyRestored:
            ++restored;
            CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliUndoAlready"), file.path) +
                                       QLatin1Char('\n'));
            break;
        case HistoryUndo::Outcome::ChangedSince:
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliUndoChangedSince"), file.path, names) +
                                       QLatin1Char('\n'));
            break;
        case HistoryUndo::Outcome::Vanished:
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliUndoVanished"), file.path) +
                                       QLatin1Char('\n'));
            break;
        case HistoryUndo::Outcome::Failed:
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliUndoFailed"), file.path, file.reason) +
                                       QLatin1Char('\n'));
            break;
        }
    }
    if (!result.historyProblem.isEmpty())
        CliOutput::print(mErr, result.historyProblem + QLatin1Char('\n'));
    const QString summaryKey = dryRun ? QStringLiteral("CliUndoSummaryDryRun") : QStringLiteral("CliUndoSummary");
    CliOutput::print(mOut, LocalizedStrings::format(
                               summaryKey, id, restored,
                               LocalizedStrings::count(QStringLiteral("CountFiles"), result.files.size())) +
                               QLatin1Char('\n'));
    if (result.undoOperation > 0)
        CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliUndoRecorded"), result.undoOperation) +
                                   QLatin1Char('\n'));
    return result.complete() ? 0 : 1;
}
