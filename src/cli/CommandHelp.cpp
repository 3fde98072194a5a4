#include "CommandHelp.h"

#include "CommandTable.h"
#include "support/BundleInfo.h"
#include "support/LocalizedStrings.h"

namespace {

constexpr qsizetype kWidth = 79;
// Where the text beside options, commands and exit statuses begins.
constexpr qsizetype kOptionColumn = 24;
constexpr qsizetype kCommandColumn = 14;
constexpr qsizetype kStatusColumn = 8;

QString text(const QString& key)
{
    return LocalizedStrings::text(key);
}

// The words of `paragraph` in lines of at most kWidth characters, every line
// after the first indented by `indent`; the first starts at column `start`.
QString wrapped(const QString& paragraph, qsizetype indent, qsizetype start)
{
    QString out;
    qsizetype column = start;
    bool lineHasWords = false;
    for (const QString& word : paragraph.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (lineHasWords && column + 1 + word.size() > kWidth) {
            out += QLatin1Char('\n') + QString(indent, QLatin1Char(' '));
            column = indent;
            lineHasWords = false;
        }
        if (lineHasWords) {
            out += QLatin1Char(' ');
            ++column;
        }
        out += word;
        column += word.size();
        lineHasWords = true;
    }
    return out;
}

// Each paragraph (lines of the text) wrapped with the same indent.
QString wrappedText(const QString& text, qsizetype indent)
{
    QStringList lines;
    for (const QString& line : text.split(QLatin1Char('\n')))
        lines.append(QString(indent, QLatin1Char(' ')) + wrapped(line, indent, indent));
    return lines.join(QLatin1Char('\n'));
}

QString labelled(const QString& label, const QString& body, qsizetype column = kOptionColumn)
{
    QString line = QStringLiteral("  ") + label;
    if (line.size() + 2 > column)
        return line + QLatin1Char('\n') + QString(column, QLatin1Char(' ')) + wrapped(body, column, column);
    line = line.leftJustified(column);
    return line + wrapped(body, column, column);
}

QString exitStatusLines(const QList<ExitStatus>& statuses)
{
    QString out;
    for (ExitStatus status : statuses)
        out += labelled(QString::number(exitCode(status)),
                        text(QStringLiteral("CliExit") + QString::number(exitCode(status))), kStatusColumn) +
               QLatin1Char('\n');
    return out;
}

QList<ExitStatus> allStatuses()
{
    return {ExitStatus::Ok,          ExitStatus::Failed,        ExitStatus::Usage,
            ExitStatus::Declined,    ExitStatus::SourcesFailed, ExitStatus::Interrupted,
            ExitStatus::OutputClosed};
}

QString positionalUsage(const PositionalSpec& positional)
{
    const QString name = positional.maximum < 0 ? positional.name + QStringLiteral("...") : positional.name;
    return positional.minimum > 0 ? name : QStringLiteral("[%1]").arg(name);
}

// roff: backslashes, dashes and a leading period or quote made literal.
QString roff(const QString& plain)
{
    QString out = plain;
    out.replace(QLatin1Char('\\'), QStringLiteral("\\e"));
    out.replace(QLatin1Char('-'), QStringLiteral("\\-"));
    QStringList lines = out.split(QLatin1Char('\n'));
    for (QString& line : lines) {
        if (line.startsWith(QLatin1Char('.')) || line.startsWith(QLatin1Char('\'')))
            line.prepend(QStringLiteral("\\&"));
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace

QString CommandHelp::optionLabel(const OptionSpec& option)
{
    return option.kind == ValueKind::Flag ? option.name : option.name + QLatin1Char(' ') + option.valueName;
}

QString CommandHelp::optionText(const OptionSpec& option)
{
    QString body = text(option.helpKey);
    if ((option.kind == ValueKind::Choice || option.kind == ValueKind::ChoiceList) && option.choices)
        body += QLatin1Char(' ') + LocalizedStrings::format(QStringLiteral("CliHelpChoices"),
                                                            option.choices().join(QStringLiteral(", ")));
    return body;
}

QString CommandHelp::usageLine(const CommandSpec& spec)
{
    QString line = QStringLiteral("quillbeat-cli ") + spec.name;
    if (!spec.usage.isEmpty())
        return line + QLatin1Char(' ') + spec.usage;
    for (const PositionalSpec& positional : spec.positionals)
        line += QLatin1Char(' ') + positionalUsage(positional);
    QStringList groupsDone;
    for (const OptionSpec& option : spec.options) {
        if (option.group.isEmpty()) {
            line += QStringLiteral(" [") + optionLabel(option) + QLatin1Char(']');
            continue;
        }
        if (groupsDone.contains(option.group))
            continue;
        groupsDone.append(option.group);
        QStringList alternatives;
        for (const OptionSpec& other : spec.options) {
            if (other.group == option.group)
                alternatives.append(optionLabel(other));
        }
        line += QStringLiteral(" [") + alternatives.join(QStringLiteral(" | ")) + QLatin1Char(']');
    }
    return line;
}

QString CommandHelp::usageText(const CommandSpec& spec)
{
    return text(QStringLiteral("CliHelpUsagePrefix")) + QLatin1Char(' ') + wrapped(usageLine(spec), 4, 7);
}

QString CommandHelp::overview()
{
    QString out = LocalizedStrings::format(QStringLiteral("CliAbout"), BundleInfo::shortVersion()) +
                  QStringLiteral("\n\n") + text(QStringLiteral("CliHelpUsage")) + QStringLiteral("\n\n") +
                  text(QStringLiteral("CliHelpCommands")) + QLatin1Char('\n');
    for (const CommandSpec& spec : CommandTable::commands())
        out += labelled(spec.name, text(spec.summaryKey()), kCommandColumn) + QLatin1Char('\n');
    out += QLatin1Char('\n') + wrappedText(text(QStringLiteral("CliHelpSources")), 0) + QLatin1Char('\n') +
           QStringLiteral("  ") + wrapped(CommandTable::sourceNames().join(QStringLiteral(", ")), 2, 2) +
           QStringLiteral("\n\n");
    out += text(QStringLiteral("CliHelpExitStatus")) + QLatin1Char('\n') + exitStatusLines(allStatuses());
    return out;
}

QString CommandHelp::forCommand(const CommandSpec& spec)
{
    QString out = usageText(spec) + QStringLiteral("\n\n") + wrappedText(text(spec.summaryKey()), 0) +
                  QLatin1Char('\n');
    const QString details = text(spec.detailsKey());
    if (details != spec.detailsKey())
        out += QLatin1Char('\n') + wrappedText(details, 0) + QLatin1Char('\n');
    if (!spec.options.isEmpty()) {
        out += QLatin1Char('\n') + text(QStringLiteral("CliHelpOptions")) + QLatin1Char('\n');
        for (const OptionSpec& option : spec.options)
            out += labelled(optionLabel(option), optionText(option)) + QLatin1Char('\n');
        out += labelled(QStringLiteral("--help"), text(QStringLiteral("CliOptHelp"))) + QLatin1Char('\n');
    }
    const QStringList example = text(spec.exampleKey()).split(QLatin1Char('\n'));
    out += QLatin1Char('\n') + text(QStringLiteral("CliHelpExample")) + QLatin1Char('\n') +
           QStringLiteral("  ") + example.value(0) + QLatin1Char('\n');
    if (example.size() > 1)
        out += wrappedText(example.mid(1).join(QLatin1Char(' ')), 6) + QLatin1Char('\n');
    out += QLatin1Char('\n') + text(QStringLiteral("CliHelpExitStatus")) + QLatin1Char('\n') +
           exitStatusLines(spec.statuses);
    return out;
}

QString CommandHelp::manPage()
{
    QString out = QStringLiteral(".TH QUILLBEAT-CLI 1 \"\" \"Quillbeat %1\" \"User Commands\"\n")
                      .arg(BundleInfo::shortVersion());
    out += QStringLiteral(".SH NAME\nquillbeat\\-cli \\- ") + roff(text(QStringLiteral("CliManName"))) +
           QStringLiteral("\n.SH SYNOPSIS\n");
    for (const CommandSpec& spec : CommandTable::commands())
        out += QStringLiteral(".B ") + roff(usageLine(spec)) + QStringLiteral("\n.br\n");
    out += QStringLiteral(".B quillbeat\\-cli help\n.I COMMAND\n.br\n.B quillbeat\\-cli \\-\\-version\n");
    out += QStringLiteral(".SH DESCRIPTION\n") + roff(text(QStringLiteral("CliManDescription"))) +
           QStringLiteral("\n.SH COMMANDS\n");
    for (const CommandSpec& spec : CommandTable::commands()) {
        out += QStringLiteral(".SS ") + spec.name + QLatin1Char('\n') + roff(usageLine(spec)) +
               QStringLiteral("\n.PP\n") + roff(text(spec.summaryKey())) + QLatin1Char('\n');
        const QString details = text(spec.detailsKey());
        if (details != spec.detailsKey())
            out += QStringLiteral(".PP\n") + roff(details) + QLatin1Char('\n');
        for (const OptionSpec& option : spec.options) {
            if (option.kind == ValueKind::Flag)
                out += QStringLiteral(".TP\n.B ") + roff(option.name);
            else
                out += QStringLiteral(".TP\n.BI \"") + roff(option.name) + QStringLiteral(" \" \"") +
                       roff(option.valueName) + QLatin1Char('"');
            out += QLatin1Char('\n') + roff(optionText(option)) + QLatin1Char('\n');
        }
        const QStringList example = text(spec.exampleKey()).split(QLatin1Char('\n'));
        out += QStringLiteral(".PP\n") + roff(text(QStringLiteral("CliHelpExample"))) +
               QStringLiteral("\n.RS\n.B ") + roff(example.value(0)) + QStringLiteral("\n.br\n") +
               roff(example.mid(1).join(QLatin1Char(' '))) + QStringLiteral("\n.RE\n");
    }
    out += QStringLiteral(".SH WEB SOURCES\n") + roff(text(QStringLiteral("CliManSources"))) +
           QStringLiteral("\n.PP\n") + roff(CommandTable::sourceNames().join(QStringLiteral(", "))) +
           QStringLiteral("\n.SH EXIT STATUS\n");
    for (ExitStatus status : allStatuses())
        out += QStringLiteral(".TP\n.B ") + QString::number(exitCode(status)) + QLatin1Char('\n') +
               roff(text(QStringLiteral("CliExit") + QString::number(exitCode(status)))) + QLatin1Char('\n');
    out += QStringLiteral(".SH ENVIRONMENT\n.TP\n.B QUILLBEAT_RESOURCES\n") +
           roff(text(QStringLiteral("CliManResources"))) + QStringLiteral("\n.SH FILES\n") +
           roff(text(QStringLiteral("CliManFiles"))) + QLatin1Char('\n');
    return out;
}

QString CommandHelp::bashCompletion()
{
    QString commands = QStringLiteral("help");
    QString cases;
    for (const CommandSpec& spec : CommandTable::commands()) {
        commands += QLatin1Char(' ') + spec.name;
        QStringList options{QStringLiteral("--help")};
        QString valueCases;
        for (const OptionSpec& option : spec.options) {
            options.append(option.name);
            QString reply;
            switch (option.kind) {
            case ValueKind::File:
                reply = QStringLiteral("compopt -o filenames; COMPREPLY=($(compgen -f -- \"$cur\"))");
                break;
            case ValueKind::Folder:
                reply = QStringLiteral("compopt -o filenames; COMPREPLY=($(compgen -d -- \"$cur\"))");
                break;
            case ValueKind::Choice:
                reply = QStringLiteral("COMPREPLY=($(compgen -W \"%1\" -- \"$cur\"))")
                            .arg(option.choices().join(QLatin1Char(' ')));
                break;
            case ValueKind::ChoiceList:
                // The last item of a comma-separated list.
                reply = QStringLiteral("local head=\"\"; [[ $cur == *,* ]] && head=\"${cur%,*},\"; "
                                       "COMPREPLY=($(compgen -P \"$head\" -W \"%1\" -- \"${cur##*,}\")); "
                                       "compopt -o nospace")
                            .arg(option.choices().join(QLatin1Char(' ')));
                break;
            case ValueKind::Flag:
                continue;
            default:
                reply = QStringLiteral("COMPREPLY=()");
                break;
            }
            valueCases += QStringLiteral("                %1) %2; return ;;\n").arg(option.name, reply);
        }
        QString positional = QStringLiteral("COMPREPLY=()");
        if (!spec.positionals.isEmpty()) {
            const PositionalSpec& first = spec.positionals.first();
            if (first.kind == ValueKind::File)
                positional = QStringLiteral("compopt -o filenames; COMPREPLY=($(compgen -f -- \"$cur\"))");
            else if (first.choices)
                positional = QStringLiteral("COMPREPLY=($(compgen -W \"%1\" -- \"$cur\"))")
                                 .arg(first.choices().join(QLatin1Char(' ')));
        }
        cases += QStringLiteral("        %1)\n            case $prev in\n%2            esac\n"
                                "            if [[ $cur == -* ]]; then\n"
                                "                COMPREPLY=($(compgen -W \"%3\" -- \"$cur\"))\n"
                                "            else\n                %4\n            fi\n            ;;\n")
                     .arg(spec.name, valueCases, options.join(QLatin1Char(' ')), positional);
    }
    return QStringLiteral(
               "# bash completion for quillbeat-cli; made from its own option table.\n"
               "_quillbeat_cli()\n{\n"
               "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
               "    if [[ $COMP_CWORD -eq 1 ]]; then\n"
               "        COMPREPLY=($(compgen -W \"%1 --help --version\" -- \"$cur\"))\n"
               "        return\n    fi\n"
               "    case ${COMP_WORDS[1]} in\n"
               "        help)\n            COMPREPLY=($(compgen -W \"%1\" -- \"$cur\"))\n            ;;\n"
               "%2    esac\n}\n"
               "complete -F _quillbeat_cli quillbeat-cli\n")
        .arg(commands, cases);
}
