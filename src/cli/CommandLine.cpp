#include "CommandLine.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "CommandHelp.h"
#include "CommandTable.h"
#include "FixCommand.h"
#include "HistoryCommand.h"
#include "LibraryCommand.h"
#include "LookupCommand.h"
#include "PrefsCommand.h"
#include "RegenerateCommand.h"
#include "ScanCommand.h"
#include "SetCommand.h"
#include "TagsCommand.h"
#include "UndoCommand.h"
#include "library/LiveResources.h"
#include "support/BundleInfo.h"
#include "support/LocalizedStrings.h"
#include "text/FileNameEncoding.h"

#include <utility>

namespace {

QStringList commandNames()
{
    QStringList names;
    for (const CommandSpec& spec : CommandTable::commands())
        names.append(spec.name);
    return names;
}

} // namespace

CommandLine::CommandLine(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int CommandLine::run()
{
    const QStringList args = mArguments.mid(1);
    // Nothing asked: what can be asked, and a status that says so.
    if (args.isEmpty()) {
        print(mErr, CommandHelp::overview());
        return exitCode(ExitStatus::Usage);
    }
    const QString& first = args.first();
    if (first == QStringLiteral("--help") || first == QStringLiteral("-h"))
        return printHelp();
    if (first == QStringLiteral("--version") || first == QStringLiteral("-v"))
        return printVersion();
    if (first == QStringLiteral("help")) {
        if (args.size() == 1)
            return printHelp();
        const CommandSpec* spec = CommandTable::find(args.at(1));
        if (!spec)
            return unknownCommand(args.at(1));
        print(mOut, CommandHelp::forCommand(*spec));
        return exitCode(ExitStatus::Ok);
    }
    if (!CommandTable::find(first))
        return unknownCommand(first);
    // Resources that would silently be the shipped ones: refused.
    if (const QString problem = LiveResources::environmentFileProblem(); !problem.isEmpty()) {
        print(mErr, QStringLiteral("quillbeat-cli: ") + problem + QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    }

    const QStringList rest = args.mid(1);
    const QList<QByteArray> rawRest =
        mRawArguments.size() == mArguments.size() ? mRawArguments.mid(2) : QList<QByteArray>();
    if (first == QStringLiteral("tags")) {
        // It reports such a file among the others.
        TagsCommand tags(rest, mOut, mErr);
        tags.setRawArguments(rawRest);
        return tags.run();
    }
    // A name that is not UTF-8 would reach the command changed: refused.
    bool unusable = false;
    for (const QByteArray& raw : rawRest) {
        if (FileNameEncoding::isRepresentable(raw))
            continue;
        print(mErr, LocalizedStrings::format(QStringLiteral("CliArgumentNotUtf8"),
                                             FileNameEncoding::shellQuoted(raw)) +
                        QLatin1Char('\n'));
        unusable = true;
    }
    if (unusable)
        return exitCode(ExitStatus::Usage);
    if (first == QStringLiteral("library"))
        return LibraryCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("lookup"))
        return LookupCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("prefs"))
        return PrefsCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("set"))
        return SetCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("scan"))
        return ScanCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("fix"))
        return FixCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("regenerate"))
        return RegenerateCommand(rest, mOut, mErr).run();
    if (first == QStringLiteral("history"))
        return HistoryCommand(rest, mOut, mErr).run();
    return UndoCommand(rest, mOut, mErr).run();
}

int CommandLine::unknownCommand(const QString& name)
{
    const QString guess = ArgumentParser::nearest(name, commandNames());
    print(mErr, (guess.isEmpty()
                     ? LocalizedStrings::format(QStringLiteral("CliUnknownCommand"), name,
                                                commandNames().join(QStringLiteral(", ")))
                     : LocalizedStrings::format(QStringLiteral("CliUnknownCommandGuess"), name, guess)) +
                    QLatin1Char('\n'));
    return exitCode(ExitStatus::Usage);
}

int CommandLine::printHelp()
{
    print(mOut, CommandHelp::overview());
    return exitCode(ExitStatus::Ok);
}

int CommandLine::printVersion()
{
    print(mOut,
          QStringLiteral("quillbeat-cli %1 (%2)\n").arg(BundleInfo::shortVersion(), BundleInfo::version()));
    return exitCode(ExitStatus::Ok);
}

void CommandLine::print(std::FILE* to, const QString& text)
{
    CliOutput::print(to, text);
}
