#include "HistoryCommand.h"

#include "ArgumentParser.h"
#include "ChangeJson.h"
#include "CliOutput.h"
#include "history/ChangeHistory.h"
#include "history/ChangeText.h"
#include "support/LocalizedStrings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

namespace {

void printLine(std::FILE* to, const QJsonObject& object)
{
    CliOutput::print(to, QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) + QLatin1Char('\n'));
}

} // namespace

HistoryCommand::HistoryCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int HistoryCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("history"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    const bool json = parsed->has(QStringLiteral("--json"));
    std::optional<qint64> id;
    if (!parsed->positionals().isEmpty())
        id = parsed->positionals().first().toLongLong();
    ChangeHistory& history = ChangeHistory::shared();
    QString problem;
    if (!history.open(&problem)) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem) +
                                   QLatin1Char('\n'));
        return 1;
    }
    if (const QString notice = history.takeSetAsideNotice(); !notice.isEmpty())
        CliOutput::print(mErr, notice + QLatin1Char('\n'));
    return id ? show(*id, json) : list(json);
}

int HistoryCommand::list(bool json)
{
    QString problem;
    const QList<HistoryOperation> operations = ChangeHistory::shared().operations(1000, &problem);
    for (const HistoryOperation& operation : operations) {
        const QString time = operation.time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        const bool redo = operation.kind == OperationKind::Redo;
        const qint64 undoes = redo ? 0 : operation.undoes;
        const qint64 redoes = redo ? operation.undoes : 0;
        if (json) {
            printLine(mOut,
                      QJsonObject{{QStringLiteral("id"), operation.id},
                                  {QStringLiteral("time"), operation.time.toString(Qt::ISODate)},
                                  {QStringLiteral("kind"), HistoryOperation::nameOf(operation.kind)},
                                  {QStringLiteral("source"), operation.source},
                                  {QStringLiteral("files"), operation.files},
                                  {QStringLiteral("undoes"), undoes > 0 ? QJsonValue(undoes) : QJsonValue()},
                                  {QStringLiteral("redoes"), redoes > 0 ? QJsonValue(redoes) : QJsonValue()},
                                  {QStringLiteral("note"),
                                   operation.note.isEmpty() ? QJsonValue() : QJsonValue(operation.note)}});
            continue;
        }
        QString line = LocalizedStrings::format(
            QStringLiteral("CliHistoryLine"), operation.id, time, HistoryOperation::nameOf(operation.kind),
            LocalizedStrings::count(QStringLiteral("CountFiles"), operation.files), operation.source);
        if (operation.undoes > 0)
            line += QLatin1Char(' ') + LocalizedStrings::format(redo ? QStringLiteral("CliHistoryRedoes")
                                                                     : QStringLiteral("CliHistoryUndoes"),
                                                                operation.undoes);
        if (!operation.note.isEmpty())
            line += QStringLiteral(" (") + operation.note + QLatin1Char(')');
        CliOutput::print(mOut, line + QLatin1Char('\n'));
    }
    if (!problem.isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem) +
                                   QLatin1Char('\n'));
        return 1;
    }
    if (operations.isEmpty() && !json)
        CliOutput::print(mOut, LocalizedStrings::text(QStringLiteral("CliHistoryEmpty")) + QLatin1Char('\n'));
    return 0;
}

int HistoryCommand::show(qint64 id, bool json)
{
    ChangeHistory& history = ChangeHistory::shared();
    QString problem;
    const std::optional<HistoryOperation> operation = history.operation(id, &problem);
    if (!operation) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliHistoryNoOperation"), id) +
                                   QLatin1Char('\n'));
        return 2;
    }
    const QList<FileChangeRecord> files = history.filesOf(id, &problem);
    if (!json)
        CliOutput::print(mOut, LocalizedStrings::format(
                                   QStringLiteral("CliHistoryHeader"), id,
                                   operation->time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                                   HistoryOperation::nameOf(operation->kind), operation->source) +
                                   QLatin1Char('\n'));
    for (const FileChangeRecord& file : files) {
        if (json) {
            printLine(mOut, QJsonObject{{QStringLiteral("operation"), id},
                                        {QStringLiteral("path"), file.path},
                                        {QStringLiteral("changes"), ChangeJson::changes(file)}});
            continue;
        }
        QString text = file.path + QLatin1Char('\n');
        for (TagAttribute attribute : file.attributes)
            text += QStringLiteral("  ") + ChangeText::change(attribute, file.before, file.after) +
                    QStringLiteral("  (") + ChangeText::origin(file.originOf(attribute)) + QStringLiteral(")\n");
        CliOutput::print(mOut, text);
    }
    if (!problem.isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("HistoryUnavailable"), problem) +
                                   QLatin1Char('\n'));
        return 1;
    }
    return 0;
}
