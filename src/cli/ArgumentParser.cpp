#include "ArgumentParser.h"

#include "CliOutput.h"
#include "CommandHelp.h"
#include "CommandTable.h"
#include "support/LocalizedStrings.h"

#include <algorithm>
#include <vector>

namespace {

// "-5" is a value, not an option.
bool looksLikeOption(const QString& argument)
{
    return argument.size() > 1 && argument.startsWith(QLatin1Char('-')) && !argument.at(1).isDigit();
}

bool isNumber(const QString& text)
{
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
}

// Edits (insertions, deletions, substitutions, swaps of neighbours) that
// turn one word into the other, ignoring case.
int editDistance(const QString& a, const QString& b)
{
    const QString s = a.toLower();
    const QString t = b.toLower();
    const qsizetype n = s.size(), m = t.size();
    std::vector<std::vector<int>> d(size_t(n + 1), std::vector<int>(size_t(m + 1)));
    for (qsizetype i = 0; i <= n; ++i)
        d[size_t(i)][0] = int(i);
    for (qsizetype j = 0; j <= m; ++j)
        d[0][size_t(j)] = int(j);
    for (qsizetype i = 1; i <= n; ++i) {
        for (qsizetype j = 1; j <= m; ++j) {
            const int cost = s.at(i - 1) == t.at(j - 1) ? 0 : 1;
            int best = std::min({d[size_t(i - 1)][size_t(j)] + 1, d[size_t(i)][size_t(j - 1)] + 1,
                                 d[size_t(i - 1)][size_t(j - 1)] + cost});
            if (i > 1 && j > 1 && s.at(i - 1) == t.at(j - 2) && s.at(i - 2) == t.at(j - 1))
                best = std::min(best, d[size_t(i - 2)][size_t(j - 2)] + 1);
            d[size_t(i)][size_t(j)] = best;
        }
    }
    return d[size_t(n)][size_t(m)];
}

} // namespace

QString ArgumentParser::commandLineOf(const CommandSpec& spec)
{
    if (spec.name == CommandTable::windowSpec().name)
        return spec.name;
    return QStringLiteral("quillbeat-cli ") + spec.name;
}

QString ArgumentParser::prefix(const CommandSpec& spec)
{
    return commandLineOf(spec) + QStringLiteral(": ");
}

QString ArgumentParser::nounForValue(const QString& valueName)
{
    return LocalizedStrings::text(QStringLiteral("CliValue") + valueName);
}

QString ArgumentParser::nearest(const QString& word, const QStringList& candidates)
{
    QString best;
    int bestDistance = 0;
    for (const QString& candidate : candidates) {
        const int distance = editDistance(word, candidate);
        if (best.isNull() || distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    }
    // Near enough: a slip of a third of the word at most, or the word is a
    // beginning of the candidate.
    const QString bare = QString(word).remove(QLatin1Char('-'));
    if (!best.isNull() &&
        (bestDistance * 3 <= std::max<qsizetype>(bare.size(), 3) ||
         (bare.size() >= 3 && QString(best).remove(QLatin1Char('-')).startsWith(bare, Qt::CaseInsensitive))))
        return best;
    return QString();
}

QString ArgumentParser::checkValue(const CommandSpec& spec, const OptionSpec& option, const QString& value)
{
    switch (option.kind) {
    case ValueKind::Number:
        if (!isNumber(value))
            return LocalizedStrings::format(QStringLiteral("CliArgNotANumber"), prefix(spec), option.name,
                                            value);
        break;
    case ValueKind::Choice:
    case ValueKind::ChoiceList: {
        const QStringList choices = option.choices ? option.choices() : QStringList();
        const QStringList given = option.kind == ValueKind::Choice
                                      ? QStringList{value}
                                      : value.split(QLatin1Char(','), Qt::SkipEmptyParts);
        if (given.isEmpty())
            return LocalizedStrings::format(QStringLiteral("CliArgNeedsChoice"), prefix(spec), option.name,
                                            choices.join(QStringLiteral(", ")));
        for (const QString& part : given) {
            if (option.accepts ? option.accepts(part.trimmed())
                               : choices.contains(part.trimmed(), Qt::CaseInsensitive))
                continue;
            QString text =
                LocalizedStrings::format(QStringLiteral("CliArgBadChoice"), prefix(spec),
                                         LocalizedStrings::text(QStringLiteral("CliNoun") + option.noun),
                                         part.trimmed(), choices.join(QStringLiteral(", ")));
            return text;
        }
        break;
    }
    default:
        break;
    }
    return QString();
}

ArgumentParser::Result ArgumentParser::parse(const CommandSpec& spec, const QStringList& arguments)
{
    Result result;
    ParsedArguments parsed;
    QStringList optionNames;
    for (const OptionSpec& option : spec.options)
        optionNames.append(option.name);
    const auto fail = [&result](const QString& error) {
        result.error = error;
        return result;
    };

    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (optionsEnded || !looksLikeOption(argument)) {
            parsed.addPositional(argument, i);
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            result.helpRequested = true;
            return result;
        }
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        const QString name = equals > 0 ? argument.left(equals) : argument;
        const OptionSpec* option = spec.option(name);
        if (!option) {
            const QString guess = nearest(name, optionNames);
            if (!guess.isEmpty())
                return fail(
                    LocalizedStrings::format(QStringLiteral("CliArgDidYouMean"), prefix(spec), name, guess));
            return fail(LocalizedStrings::format(QStringLiteral("CliArgUnknownOption"), prefix(spec), name,
                                                 commandLineOf(spec)));
        }
        if (parsed.has(option->name))
            return fail(LocalizedStrings::format(QStringLiteral("CliArgTwice"), prefix(spec), option->name));
        if (!option->group.isEmpty()) {
            for (const auto& [given, value] : parsed.options()) {
                const OptionSpec* other = spec.option(given);
                if (other && other->group == option->group)
                    return fail(LocalizedStrings::format(QStringLiteral("CliArgConflict"), prefix(spec),
                                                         given, option->name));
            }
        }
        if (option->kind == ValueKind::Flag) {
            if (equals > 0)
                return fail(
                    LocalizedStrings::format(QStringLiteral("CliArgNoValue"), prefix(spec), option->name));
            parsed.addOption(option->name, QString());
            continue;
        }
        QString value;
        if (equals > 0) {
            value = argument.mid(equals + 1);
        } else {
            const bool anyText = option->kind == ValueKind::Text;
            if (i + 1 >= arguments.size() ||
                (!anyText && arguments.at(i + 1).startsWith(QLatin1String("--")))) {
                if (option->choices)
                    return fail(LocalizedStrings::format(QStringLiteral("CliArgNeedsChoice"), prefix(spec),
                                                         option->name,
                                                         option->choices().join(QStringLiteral(", "))));
                return fail(LocalizedStrings::format(QStringLiteral("CliArgNeedsValue"), prefix(spec),
                                                     option->name, nounForValue(option->valueName)));
            }
            value = arguments.at(++i);
        }
        const QString refusal = checkValue(spec, *option, value);
        if (!refusal.isEmpty())
            return fail(refusal);
        parsed.addOption(option->name, value);
    }

    // The other arguments, against what the command takes.
    qsizetype expectedMinimum = 0;
    qsizetype expectedMaximum = 0;
    for (const PositionalSpec& positional : spec.positionals) {
        expectedMinimum += positional.minimum;
        expectedMaximum =
            expectedMaximum < 0 || positional.maximum < 0 ? -1 : expectedMaximum + positional.maximum;
    }
    const QStringList& positionals = parsed.positionals();
    if (expectedMaximum >= 0 && positionals.size() > expectedMaximum)
        return fail(LocalizedStrings::format(QStringLiteral("CliArgUnexpected"), prefix(spec),
                                             positionals.at(expectedMaximum)));
    if (positionals.size() < expectedMinimum) {
        qsizetype counted = 0;
        for (const PositionalSpec& positional : spec.positionals) {
            counted += positional.minimum;
            if (positionals.size() < counted)
                return fail(LocalizedStrings::format(QStringLiteral("CliArgMissing"), spec.name,
                                                     nounForValue(positional.name)));
        }
    }
    qsizetype index = 0;
    for (const PositionalSpec& positional : spec.positionals) {
        const qsizetype count = positional.maximum < 0
                                    ? positionals.size() - index
                                    : std::min<qsizetype>(positional.maximum, positionals.size() - index);
        for (qsizetype k = 0; k < count; ++k, ++index) {
            if (positional.kind == ValueKind::Number && !isNumber(positionals.at(index)))
                return fail(LocalizedStrings::format(QStringLiteral("CliArgPositionalNotANumber"),
                                                     prefix(spec), positional.name, positionals.at(index)));
        }
    }
    result.arguments = std::move(parsed);
    return result;
}

std::optional<ParsedArguments> ArgumentParser::parseFor(const QString& command, const QStringList& arguments,
                                                        std::FILE* out, std::FILE* err, int* status)
{
    const CommandSpec* spec = CommandTable::find(command);
    Result result = parse(*spec, arguments);
    if (result.arguments) {
        *status = exitCode(ExitStatus::Ok);
        return std::move(result.arguments);
    }
    if (result.helpRequested) {
        CliOutput::print(out, CommandHelp::forCommand(*spec));
        *status = exitCode(ExitStatus::Ok);
        return std::nullopt;
    }
    CliOutput::print(err,
                     result.error + QLatin1Char('\n') + CommandHelp::usageText(*spec) + QLatin1Char('\n'));
    *status = exitCode(ExitStatus::Usage);
    return std::nullopt;
}
